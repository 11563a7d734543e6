// The commands that update the firmware and read its information.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
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
using ::testing::Return;
using ::testing::Throw;

constexpr std::int32_t kNoData = -65525;
constexpr std::int32_t kCommunication = -65522;

class UpdateTest : public ExchangeTest {
 protected:
  std::int32_t Run(std::int32_t mode = 3) {
    return interface.vm_updateFW(mode, systemVersion, appVersion, &result);
  }

  /// The exchange up to the reply's first item.
  void ExpectReply(std::int32_t mode = 3) {
    ExpectOpen("vm_updateFW");
    ExpectMarshaller();
    ExpectPutInt(mode);
    ExpectInvoke(18);
    ExpectReading();
  }
  void ExpectEnd() {
    ExpectMarshallerDestroyed();
    ExpectClose();
  }

  void ExpectStringsUntouched() {
    EXPECT_EQ(systemVersion, "system before");
    EXPECT_EQ(appVersion, "app before");
  }
  void ExpectRecordUntouched() {
    EXPECT_EQ(result.vamCode, 77);
    EXPECT_EQ(result.fwCode, -78);
  }
  void ExpectRecordFilled() {
    EXPECT_EQ(result.vamCode, 13);
    EXPECT_EQ(result.fwCode, -141);
  }

  std::string systemVersion = "system before";
  std::string appVersion = "app before";
  VamResult result{77, -78};
  /// 13, then -141, in little-endian order.
  std::vector<std::uint8_t> record = {13, 0, 0, 0, 0x73, 0xff, 0xff, 0xff};
  std::vector<std::uint8_t> system = {'1', '.', '2', '.', '3', 0};
  std::vector<std::uint8_t> app = {'4', '.', '5', 0};
};

TEST_F(UpdateTest, WholeReply_BringsBackRecordAndVersions) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectGetUint(6);
  ExpectGetBlob(system);
  ExpectGetUint(4);
  ExpectGetBlob(app);
  ExpectEnd();
  EXPECT_EQ(Run(), 0) << "the record is the caller's to judge";
  ExpectRecordFilled();
  EXPECT_EQ(systemVersion, std::string("1.2.3\0", 6));
  EXPECT_EQ(appVersion, std::string("4.5\0", 4));
}

TEST_F(UpdateTest, ZeroByteInAVersion_IsKept) {
  system = {'1', 0, 0xff, '2'};
  app = {0};
  ExpectReply();
  ExpectGetBlob(record);
  ExpectGetUint(4);
  ExpectGetBlob(system);
  ExpectGetUint(1);
  ExpectGetBlob(app);
  ExpectEnd();
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(systemVersion, std::string("1\0\xff\x32", 4));
  EXPECT_EQ(appVersion, std::string(1, '\0'));
}

class UpdateModeTest : public UpdateTest, public testing::WithParamInterface<std::int32_t> {};

TEST_P(UpdateModeTest, AnyMode_IsSentUnchanged) {
  ExpectReply(GetParam());
  ExpectNoBlob(8);
  ExpectLine("Error GetBlob VamResult");
  ExpectEnd();
  EXPECT_EQ(Run(GetParam()), kCommunication);
}

INSTANTIATE_TEST_SUITE_P(Any, UpdateModeTest,
                         testing::Values(3, 7, 11, 0, -1, std::numeric_limits<std::int32_t>::min(),
                                         std::numeric_limits<std::int32_t>::max()));

TEST_F(UpdateTest, ModeRefusedByMarshaller_InvokesNothing) {
  ExpectOpen("vm_updateFW");
  ExpectMarshaller();
  ExpectPutInt(3, false);
  ExpectLine("WSM error");
  ExpectEnd();
  EXPECT_EQ(Run(), kNoData);
  ExpectRecordUntouched();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, InvocationFails_ReadsNothing) {
  ExpectOpen("vm_updateFW");
  ExpectMarshaller();
  ExpectPutInt(3);
  ExpectInvoke(18,
               {0xFFFF0000, 4,
                "TEEC_InvokeCommand() failed for cmd = 18, result = 4294901760, retOrigin = 4"});
  ExpectLine("InvokeCommand error");
  ExpectEnd();
  EXPECT_EQ(Run(), -65536);
  ExpectRecordUntouched();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, RecoverableError_PrintsItsLineLast) {
  ExpectOpen("vm_updateFW");
  ExpectMarshaller();
  ExpectPutInt(3);
  ExpectInvoke(18,
               {0xFFFF0000, 2,
                "TEEC_InvokeCommand() failed for cmd = 18, result = 4294901760, retOrigin = 2"});
  ExpectLine("TZ reported recoverable error, session should be restarted");
  ExpectLine("InvokeCommand error");
  ExpectEnd();
  EXPECT_EQ(Run(), -65536);
}

TEST_F(UpdateTest, ConnectionDoesNotOpen_InvokesAnyway) {
  ExpectFailedOpen("vm_updateFW");
  ExpectMarshallerWithoutMemory();
  ExpectPutInt(3);
  ExpectInvoke(18,
               {0xFFFF0006, 1,
                "TEEC_InvokeCommand() failed for cmd = 18, result = 4294901766, retOrigin = 1"});
  ExpectLine("InvokeCommand error");
  ExpectMarshallerDestroyed();
  EXPECT_EQ(Run(), -65530);
}

TEST_F(UpdateTest, ReplyWithoutRecord_IsRefused) {
  ExpectReply();
  ExpectNoBlob(8);
  ExpectLine("Error GetBlob VamResult");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
  ExpectRecordUntouched();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, ReplyWithoutSystemSize_IsRefused) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectNoUint();
  ExpectLine("GetUint() system_ver_size error");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
  ExpectRecordFilled();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, SystemSizeOfZero_IsRefused) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectGetUint(0);
  ExpectLine("GetUint() system_ver_size error");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
  ExpectRecordFilled();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, SystemSizeThatTheMarshallerDoesNotWrite_IsRefused) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectUnwrittenUint();
  ExpectLine("GetUint() system_ver_size error");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
  ExpectRecordFilled();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, ReplyWithoutSystemVersion_IsRefused) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectGetUint(6);
  ExpectNoBlob(6);
  ExpectLine("GetBlob() system_version_buf error");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
  ExpectRecordFilled();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, ReplyWithoutAppSize_IsRefused) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectGetUint(6);
  ExpectGetBlob(system);
  ExpectNoUint();
  ExpectLine("GetUint() app_ver_size error");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
  ExpectRecordFilled();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, AppSizeOfZero_IsRefused) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectGetUint(6);
  ExpectGetBlob(system);
  ExpectGetUint(0);
  ExpectLine("GetUint() app_ver_size error");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
  ExpectRecordFilled();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, AppSizeThatTheMarshallerDoesNotWrite_IsRefused) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectGetUint(6);
  ExpectGetBlob(system);
  ExpectUnwrittenUint();
  ExpectLine("GetUint() app_ver_size error");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
  ExpectRecordFilled();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, ReplyWithoutAppVersion_IsRefused) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectGetUint(6);
  ExpectGetBlob(system);
  ExpectGetUint(4);
  ExpectNoBlob(4);
  ExpectLine("GetBlob() app_version_buf error");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
  ExpectRecordFilled();
  ExpectStringsUntouched();
}

TEST_F(UpdateTest, LargestSize_IsAskedOfTheMarshaller) {
  ExpectReply();
  ExpectGetBlob(record);
  ExpectGetUint(0xFFFFFFFF);
  ExpectNoBlob(0xFFFFFFFF);
  ExpectLine("GetBlob() system_version_buf error");
  ExpectEnd();
  EXPECT_EQ(Run(), kCommunication);
}

TEST_F(UpdateTest, SizeNegativeAsSigned_GivesAnEmptyVersion) {
  for (const std::uint32_t size : {0x80000000U, 0xFFFFFFFFU}) {
    ExpectReply();
    ExpectGetBlob(record);
    ExpectGetUint(size);
    EXPECT_CALL(platform, GetBlob(size)).WillOnce(Return(system.data()));
    ExpectGetUint(size);
    EXPECT_CALL(platform, GetBlob(size)).WillOnce(Return(app.data()));
    ExpectEnd();
    systemVersion = "system before";
    appVersion = "app before";
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(systemVersion, "");
    EXPECT_EQ(appVersion, "");
  }
}

TEST_F(UpdateTest, MarshallerThrows_LeavesNothingOpen) {
  ExpectReply();
  ExpectGetBlob(record);
  EXPECT_CALL(platform, GetUint(_)).WillOnce(Throw(std::runtime_error("marshaller")));
  ExpectEnd();
  EXPECT_THROW(Run(), std::runtime_error);
}

class OlderUpdateTest : public UpdateModeTest {};

TEST_P(OlderUpdateTest, InvocationSucceeds_ReadsNothing) {
  ExpectOpen("vam_updateFW");
  ExpectMarshaller();
  ExpectPutInt(GetParam());
  ExpectInvoke(30);
  ExpectEnd();
  EXPECT_EQ(interface.vam_updateFW(GetParam()), 0);
}

TEST_P(OlderUpdateTest, ModeRefusedByMarshaller_InvokesNothing) {
  ExpectOpen("vam_updateFW");
  ExpectMarshaller();
  ExpectPutInt(GetParam(), false);
  ExpectLine("WSM error");
  ExpectEnd();
  EXPECT_EQ(interface.vam_updateFW(GetParam()), kNoData);
}

TEST_P(OlderUpdateTest, InvocationFails_PrintsNoLineOfItsOwn) {
  ExpectOpen("vam_updateFW");
  ExpectMarshaller();
  ExpectPutInt(GetParam());
  ExpectInvoke(30,
               {0xFFFF0000, 4,
                "TEEC_InvokeCommand() failed for cmd = 30, result = 4294901760, retOrigin = 4"});
  ExpectEnd();
  EXPECT_EQ(interface.vam_updateFW(GetParam()), -65536);
}

INSTANTIATE_TEST_SUITE_P(Modes, OlderUpdateTest, testing::Values(3, -1));

/// The two generations of the information query; both print the older name.
struct InformationQuery {
  const char* name;
  std::uint32_t identifier;
  std::int32_t (CaVamInterfaceSp::*run)(std::uint32_t* words, std::uint32_t count);
};

class InformationTest : public ExchangeTest, public testing::WithParamInterface<InformationQuery> {
 protected:
  InformationTest() { words.fill(0xA5A5A5A5); }

  std::int32_t Run(std::uint32_t count = 10) {
    return (interface.*GetParam().run)(words.data(), count);
  }
  /// The exchange up to the reply's first item.
  void ExpectReply() {
    ExpectOpen("vam_getFWInfo");
    ExpectInvoke(GetParam().identifier);
    ExpectMarshaller();
    ExpectReading();
  }
  void ExpectEnd() {
    ExpectMarshallerDestroyed();
    ExpectClose();
  }
  void ExpectWordsUntouched() { EXPECT_THAT(words, Each(0xA5A5A5A5)); }

  /// Words 0x01020300, 0x01020301 and so on, in little-endian order.
  static std::vector<std::uint8_t> Words(std::uint8_t count) {
    std::vector<std::uint8_t> bytes;
    for (std::uint8_t i = 0; i < count; ++i) {
      bytes.insert(bytes.end(), {i, 3, 2, 1});
    }
    return bytes;
  }

  std::array<std::uint32_t, 12> words;
};

TEST_P(InformationTest, FewerWordsThanCount_LeavesTheOtherElements) {
  std::vector<std::uint8_t> bytes = Words(4);
  ExpectReply();
  ExpectGetUint(4);
  ExpectGetBlob(bytes);
  ExpectEnd();
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(words,
              ElementsAre(0x01020300, 0x01020301, 0x01020302, 0x01020303, 0xA5A5A5A5, 0xA5A5A5A5,
                          0xA5A5A5A5, 0xA5A5A5A5, 0xA5A5A5A5, 0xA5A5A5A5, 0xA5A5A5A5, 0xA5A5A5A5));
}

TEST_P(InformationTest, OneWord_IsCopied) {
  std::vector<std::uint8_t> bytes = Words(1);
  ExpectReply();
  ExpectGetUint(1);
  ExpectGetBlob(bytes);
  ExpectEnd();
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(words[0], 0x01020300U);
  EXPECT_EQ(words[1], 0xA5A5A5A5U);
}

TEST_P(InformationTest, MoreWordsThanCount_IgnoresTheOthers) {
  std::vector<std::uint8_t> bytes = Words(12);
  ExpectReply();
  ExpectGetUint(12);
  ExpectGetBlob(bytes);
  ExpectEnd();
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(words,
              ElementsAre(0x01020300, 0x01020301, 0x01020302, 0x01020303, 0x01020304, 0x01020305,
                          0x01020306, 0x01020307, 0x01020308, 0x01020309, 0xA5A5A5A5, 0xA5A5A5A5));
}

TEST_P(InformationTest, BlobAtOddAddress_IsRead) {
  std::vector<std::uint8_t> bytes = {0xee, 1, 0, 0, 0, 0xff, 0xff, 0xff, 0xff};
  ExpectReply();
  ExpectGetUint(2);
  EXPECT_CALL(platform, GetBlob(8)).WillOnce(Return(bytes.data() + 1));
  ExpectEnd();
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(words[0], 1U);
  EXPECT_EQ(words[1], 0xFFFFFFFF);
}

TEST_P(InformationTest, CountOfZero_CopiesNothing) {
  std::vector<std::uint8_t> bytes = Words(4);
  ExpectReply();
  ExpectGetUint(4);
  ExpectGetBlob(bytes);
  ExpectEnd();
  EXPECT_EQ(Run(0), 0);
  ExpectWordsUntouched();
}

TEST_P(InformationTest, ReplyWithoutTotal_IsRefused) {
  ExpectReply();
  ExpectNoUint();
  ExpectEnd();
  EXPECT_EQ(Run(), kNoData);
  ExpectWordsUntouched();
}

TEST_P(InformationTest, TotalOfZero_IsRefused) {
  ExpectReply();
  ExpectGetUint(0);
  ExpectEnd();
  EXPECT_EQ(Run(), kNoData);
  ExpectWordsUntouched();
}

TEST_P(InformationTest, TotalThatTheMarshallerDoesNotWrite_IsRefused) {
  ExpectReply();
  ExpectUnwrittenUint();
  ExpectEnd();
  EXPECT_EQ(Run(), kNoData);
  ExpectWordsUntouched();
}

TEST_P(InformationTest, ReplyWithoutWords_IsRefused) {
  ExpectReply();
  ExpectGetUint(10);
  ExpectNoBlob(40);
  ExpectEnd();
  EXPECT_EQ(Run(), kNoData);
  ExpectWordsUntouched();
}

TEST_P(InformationTest, ByteLengthWraps_CopiesNoMoreThanTheBlob) {
  // 0x40000001 words are 4 bytes in 32-bit arithmetic.
  std::vector<std::uint8_t> bytes = Words(1);
  ExpectReply();
  ExpectGetUint(0x40000001);
  ExpectGetBlob(bytes);
  ExpectEnd();
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(words[0], 0x01020300U);
  EXPECT_EQ(words[1], 0xA5A5A5A5);
}

TEST_P(InformationTest, InvocationFails_BuildsNoMarshaller) {
  ExpectOpen("vam_getFWInfo");
  ExpectInvoke(GetParam().identifier,
               {0xFFFF000E, 3,
                "TEEC_InvokeCommand() failed for cmd = " + std::to_string(GetParam().identifier) +
                    ", result = 4294901774, retOrigin = 3"});
  ExpectClose();
  EXPECT_EQ(Run(), kCommunication);
  ExpectWordsUntouched();
}

TEST_P(InformationTest, ConnectionDoesNotOpen_InvokesAnyway) {
  ExpectFailedOpen("vam_getFWInfo");
  ExpectInvoke(GetParam().identifier,
               {0xFFFF0006, 1,
                "TEEC_InvokeCommand() failed for cmd = " + std::to_string(GetParam().identifier) +
                    ", result = 4294901766, retOrigin = 1"});
  EXPECT_EQ(Run(), -65530);
}

TEST_P(InformationTest, MarshallerThrows_LeavesNothingOpen) {
  ExpectReply();
  ExpectGetUint(1);
  EXPECT_CALL(platform, GetBlob(_)).WillOnce(Throw(std::runtime_error("marshaller")));
  ExpectEnd();
  EXPECT_THROW(Run(), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(
    Generations, InformationTest,
    testing::Values(InformationQuery{"vm_getFWInfo", 19, &CaVamInterfaceSp::vm_getFWInfo},
                    InformationQuery{"vam_getFWInfo", 40, &CaVamInterfaceSp::vam_getFWInfo}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(ConvertToStringTest, AnyByte_IsTakenUnchanged) {
  const std::uint8_t bytes[] = {'a', 0, 0xff, '\n'};
  EXPECT_EQ(convertToString(bytes, 4), std::string("a\0\xff\n", 4));
  EXPECT_EQ(convertToString(bytes, 1), "a");
}

TEST(ConvertToStringTest, SizeOfZeroOrBelow_ReadsNothing) {
  EXPECT_EQ(convertToString(nullptr, 0), "");
  EXPECT_EQ(convertToString(nullptr, -5), "");
  EXPECT_EQ(convertToString(nullptr, std::numeric_limits<std::int32_t>::min()), "");
}

}  // namespace
}  // namespace vam
