// The commands that carry keys and diagnostics.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "interface/ca_vam_interface_sp.h"
#include "interface/exchange_test.h"

namespace vam {
namespace {

using ::testing::_;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Throw;

constexpr std::uint8_t kRecord[] = {0x41, 0x4b, 0x00, 0xff};
constexpr std::uint32_t kLength = sizeof kRecord;

/// A command that sends an AK record.
struct KeyCommand {
  const char* name;
  std::uint32_t identifier;
  TEEC_Result (CaVamInterfaceSp::*run)(const std::uint8_t* data, std::uint32_t length);
};

class KeyCommandTest : public ExchangeTest, public testing::WithParamInterface<KeyCommand> {
 protected:
  TEEC_Result Run(const std::uint8_t* data, std::uint32_t length) {
    return (interface.*GetParam().run)(data, length);
  }
};

TEST_P(KeyCommandTest, Record_IsSentAfterItsLength) {
  ExpectOpen(GetParam().name);
  ExpectMarshaller();
  ExpectPutUint(kLength);
  ExpectPutBlob(kRecord, kLength);
  ExpectInvoke(GetParam().identifier);
  ExpectMarshallerDestroyed();
  ExpectClose();
  EXPECT_EQ(Run(kRecord, kLength), TEEC_SUCCESS);
}

TEST_P(KeyCommandTest, NullPointerAndZeroLength_ArePassedOn) {
  ExpectOpen(GetParam().name);
  ExpectMarshaller();
  ExpectPutUint(0);
  ExpectPutBlob(nullptr, 0);
  ExpectInvoke(GetParam().identifier);
  ExpectMarshallerDestroyed();
  ExpectClose();
  EXPECT_EQ(Run(nullptr, 0), TEEC_SUCCESS);
}

TEST_P(KeyCommandTest, NullPointerWithLength_IsPassedOn) {
  ExpectOpen(GetParam().name);
  ExpectMarshaller();
  ExpectPutUint(0xFFFFFFFF);
  ExpectPutBlob(nullptr, 0xFFFFFFFF, false);
  ExpectLine("WSM error");
  ExpectMarshallerDestroyed();
  ExpectClose();
  EXPECT_EQ(Run(nullptr, 0xFFFFFFFF), 0xFFFF000B);
}

TEST_P(KeyCommandTest, LengthRefusedByMarshaller_StillPutsTheRecord) {
  ExpectOpen(GetParam().name);
  ExpectMarshaller();
  ExpectPutUint(kLength, false);
  ExpectPutBlob(kRecord, kLength);
  ExpectLine("WSM error");
  ExpectMarshallerDestroyed();
  ExpectClose();
  EXPECT_EQ(Run(kRecord, kLength), 0xFFFF000B);
}

TEST_P(KeyCommandTest, RecordRefusedByMarshaller_InvokesNothing) {
  ExpectOpen(GetParam().name);
  ExpectMarshaller();
  ExpectPutUint(kLength);
  ExpectPutBlob(kRecord, kLength, false);
  ExpectLine("WSM error");
  ExpectMarshallerDestroyed();
  ExpectClose();
  EXPECT_EQ(Run(kRecord, kLength), 0xFFFF000B);
}

TEST_P(KeyCommandTest, ConnectionDoesNotOpen_MarshalsAnyway) {
  ExpectFailedOpen(GetParam().name);
  ExpectMarshallerWithoutMemory();
  ExpectPutUint(kLength, false);
  ExpectPutBlob(kRecord, kLength, false);
  ExpectLine("WSM error");
  ExpectMarshallerDestroyed();
  EXPECT_EQ(Run(kRecord, kLength), 0xFFFF000B);
}

TEST_P(KeyCommandTest, InvocationFails_ReturnsItsResult) {
  ExpectOpen(GetParam().name);
  ExpectMarshaller();
  ExpectPutUint(kLength);
  ExpectPutBlob(kRecord, kLength);
  ExpectInvoke(GetParam().identifier,
               {0xFFFF000F, 4,
                "TEEC_InvokeCommand() failed for cmd = " + std::to_string(GetParam().identifier) +
                    ", result = 4294901775, retOrigin = 4"});
  ExpectMarshallerDestroyed();
  ExpectClose();
  EXPECT_EQ(Run(kRecord, kLength), 0xFFFF000F);
}

TEST_P(KeyCommandTest, MarshallerThrows_LeavesNothingOpen) {
  ExpectOpen(GetParam().name);
  ExpectMarshaller();
  ExpectPutUint(kLength);
  EXPECT_CALL(platform, PutBlob(_, _)).WillOnce(Throw(std::runtime_error("marshaller")));
  ExpectMarshallerDestroyed();
  ExpectClose();
  EXPECT_THROW(Run(kRecord, kLength), std::runtime_error);
}

TEST_P(KeyCommandTest, MarshallersConstructorThrows_LeavesNothingOpen) {
  ExpectOpen(GetParam().name);
  EXPECT_CALL(platform, ConstructMarshaller(_)).WillOnce(Throw(std::runtime_error("marshaller")));
  ExpectClose();
  EXPECT_THROW(Run(kRecord, kLength), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, KeyCommandTest,
    testing::Values(KeyCommand{"vam_akProvision", 24, &CaVamInterfaceSp::vam_akProvision},
                    KeyCommand{"vam_checkVamAk", 23, &CaVamInterfaceSp::vam_checkVamAk}),
    [](const auto& param) { return std::string(param.param.name); });

class HackInformationTest : public ExchangeTest {
 protected:
  /// The exchange up to the reply's first item.
  void ExpectReply() {
    ExpectOpen("vam_getHackInfo");
    ExpectInvoke(39);
    ExpectMarshaller();
    ExpectReading();
  }
  void ExpectEnd() {
    ExpectMarshallerDestroyed();
    ExpectClose();
  }

  std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(6, 0xA5);
  std::vector<std::uint8_t> record = {1, 2, 3, 4};
};

TEST_F(HackInformationTest, ShorterRecord_LeavesZerosAfterIt) {
  ExpectReply();
  ExpectGetInt(4);
  ExpectGetBlob(record);
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 6), TEEC_SUCCESS);
  EXPECT_THAT(buffer, ElementsAre(1, 2, 3, 4, 0, 0));
}

TEST_F(HackInformationTest, RecordOfTheBuffersSize_FillsIt) {
  ExpectReply();
  ExpectGetInt(4);
  ExpectGetBlob(record);
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 4), TEEC_SUCCESS);
  EXPECT_THAT(buffer, ElementsAre(1, 2, 3, 4, 0xA5, 0xA5));
}

TEST_F(HackInformationTest, RecordOfOneByte_IsCopied) {
  record = {7};
  ExpectReply();
  ExpectGetInt(1);
  ExpectGetBlob(record);
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 6), TEEC_SUCCESS);
  EXPECT_THAT(buffer, ElementsAre(7, 0, 0, 0, 0, 0));
}

TEST_F(HackInformationTest, LongerRecord_IsCutWithoutNotice) {
  ExpectReply();
  ExpectGetInt(4);
  ExpectGetBlob(record);
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 3), TEEC_SUCCESS);
  EXPECT_THAT(buffer, ElementsAre(1, 2, 3, 0xA5, 0xA5, 0xA5));
}

class HackInformationWithoutRoomTest : public HackInformationTest,
                                       public testing::WithParamInterface<std::int32_t> {};

TEST_P(HackInformationWithoutRoomTest, WholeReply_IsReadAndBufferUntouched) {
  ExpectReply();
  ExpectGetInt(4);
  ExpectGetBlob(record);
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), GetParam()), TEEC_SUCCESS);
  EXPECT_THAT(buffer, Each(0xA5));
}

TEST_P(HackInformationWithoutRoomTest, ReplyMissing_LeavesTheBufferUntouched) {
  ExpectReply();
  ExpectNoInt();
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), GetParam()), 0xFFFF000B);
  EXPECT_THAT(buffer, Each(0xA5));
}

INSTANTIATE_TEST_SUITE_P(Sizes, HackInformationWithoutRoomTest,
                         testing::Values(0, -1, std::numeric_limits<std::int32_t>::min()));

TEST_F(HackInformationTest, InvocationFails_LeavesZeros) {
  ExpectOpen("vam_getHackInfo");
  ExpectInvoke(39,
               {0xFFFF000A, 4,
                "TEEC_InvokeCommand() failed for cmd = 39, result = 4294901770, retOrigin = 4"});
  ExpectClose();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 5), 0xFFFF000A);
  EXPECT_THAT(buffer, ElementsAre(0, 0, 0, 0, 0, 0xA5));
}

TEST_F(HackInformationTest, BufferOfOneByte_InvocationFails_IsZeroed) {
  ExpectOpen("vam_getHackInfo");
  ExpectInvoke(39,
               {0xFFFF000A, 4,
                "TEEC_InvokeCommand() failed for cmd = 39, result = 4294901770, retOrigin = 4"});
  ExpectClose();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 1), 0xFFFF000A);
  EXPECT_THAT(buffer, ElementsAre(0, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5));
}

TEST_F(HackInformationTest, Buffer_IsZeroBeforeTheConnectionOpens) {
  const auto isZeroed = [this](const char*, TEEC_Context*) {
    EXPECT_THAT(buffer, Each(0));
    return TEEC_Result{TEEC_ERROR_GENERIC};
  };
  ExpectLine("CA InterfaceSP: vam_getHackInfo");
  EXPECT_CALL(platform, InitializeContext(_, _)).WillOnce(isZeroed);
  ExpectLine("Failed to initialize TEE context, result = 4294901760");
  ExpectInvoke(39,
               {0xFFFF0006, 1,
                "TEEC_InvokeCommand() failed for cmd = 39, result = 4294901766, retOrigin = 1"});
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 6), 0xFFFF0006);
}

TEST_F(HackInformationTest, ReplyWithoutCount_IsRefused) {
  ExpectReply();
  ExpectNoInt();
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 6), 0xFFFF000B);
  EXPECT_THAT(buffer, Each(0));
}

TEST_F(HackInformationTest, CountThatTheMarshallerDoesNotWrite_IsRefused) {
  ExpectReply();
  ExpectUnwrittenInt();
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 6), 0xFFFF000B);
  EXPECT_THAT(buffer, Each(0));
}

class HackInformationCountTest : public HackInformationTest,
                                 public testing::WithParamInterface<std::int32_t> {};

TEST_P(HackInformationCountTest, CountOfZeroOrBelow_IsRefusedWithoutALine) {
  ExpectReply();
  ExpectGetInt(GetParam());
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 6), 0xFFFF000B);
  EXPECT_THAT(buffer, Each(0));
}

INSTANTIATE_TEST_SUITE_P(ZeroAndBelow, HackInformationCountTest,
                         testing::Values(0, -1, std::numeric_limits<std::int32_t>::min()));

TEST_F(HackInformationTest, ReplyWithoutRecord_IsRefused) {
  ExpectReply();
  ExpectGetInt(4);
  ExpectNoBlob(4);
  ExpectEnd();
  EXPECT_EQ(interface.vam_getHackInfo(buffer.data(), 6), 0xFFFF000B);
  EXPECT_THAT(buffer, Each(0));
}

TEST_F(HackInformationTest, MarshallerThrows_LeavesNothingOpen) {
  ExpectReply();
  EXPECT_CALL(platform, GetInt(_)).WillOnce(Throw(std::runtime_error("marshaller")));
  ExpectEnd();
  EXPECT_THROW(interface.vam_getHackInfo(buffer.data(), 6), std::runtime_error);
}

}  // namespace
}  // namespace vam
