#include "interface/ca_vam_interface_sp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>

#include "interface/exchange_test.h"

namespace vam {
namespace {

// The interface holds nothing but the UUID.
static_assert(!std::is_polymorphic_v<CaVamInterfaceSp>);
static_assert(sizeof(CaVamInterfaceSp) == sizeof(TEEC_UUID));

TEST(TrustedApplicationTest, Uuid_EachField_HasTheAgreedValue) {
  EXPECT_EQ(kUuidTimeLow, 0x58d50001U);
  EXPECT_EQ(kUuidTimeMid, 0x1105);
  EXPECT_EQ(kUuidTimeHiAndVersion, 0x000f);
  EXPECT_THAT(kUuidClockSeqAndNode,
              testing::ElementsAre(0x97, 0x99, 0x7f, 0x5a, 0xf3, 0xf9, 0xc7, 0xbb));
}

/// A command without request and reply.
struct SimpleCommand {
  const char* name;
  std::uint32_t identifier;
  TEEC_Result (CaVamInterfaceSp::*run)();
};

class SimpleCommandTest : public ExchangeTest, public testing::WithParamInterface<SimpleCommand> {
 protected:
  TEEC_Result Run() { return (interface.*GetParam().run)(); }
};

TEST_P(SimpleCommandTest, InvocationSucceeds_DoesNothingElse) {
  ExpectOpen(GetParam().name);
  ExpectInvoke(GetParam().identifier);
  ExpectClose();
  EXPECT_EQ(Run(), TEEC_SUCCESS);
}

TEST_P(SimpleCommandTest, InvocationFails_ReturnsItsResult) {
  ExpectOpen(GetParam().name);
  ExpectInvoke(GetParam().identifier,
               {0xFFFF0007, 4,
                "TEEC_InvokeCommand() failed for cmd = " + std::to_string(GetParam().identifier) +
                    ", result = 4294901767, retOrigin = 4"});
  ExpectClose();
  EXPECT_EQ(Run(), 0xFFFF0007);
}

TEST_P(SimpleCommandTest, ConnectionDoesNotOpen_InvokesAnyway) {
  ExpectFailedOpen(GetParam().name);
  ExpectInvoke(GetParam().identifier,
               {0xFFFF0006, 1,
                "TEEC_InvokeCommand() failed for cmd = " + std::to_string(GetParam().identifier) +
                    ", result = 4294901766, retOrigin = 1"});
  EXPECT_EQ(Run(), 0xFFFF0006);
}

TEST_P(SimpleCommandTest, RunTwice_OpensTwoConnections) {
  for (int i = 0; i < 2; ++i) {
    ExpectOpen(GetParam().name);
    ExpectInvoke(GetParam().identifier);
    ExpectClose();
  }
  EXPECT_EQ(Run(), TEEC_SUCCESS);
  EXPECT_EQ(Run(), TEEC_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, SimpleCommandTest,
    testing::Values(
        SimpleCommand{"vam_removeAkKeys", 44, &CaVamInterfaceSp::vam_removeAkKeys},
        SimpleCommand{"vam_getPublicKeyStatus", 26, &CaVamInterfaceSp::vam_getPublicKeyStatus},
        SimpleCommand{"vam_akProvisionRPMB", 25, &CaVamInterfaceSp::vam_akProvisionRPMB},
        SimpleCommand{"vam_forceRecoverySP", 43, &CaVamInterfaceSp::vam_forceRecoverySP},
        SimpleCommand{"vam_forceRecovery", 42, &CaVamInterfaceSp::vam_forceRecovery},
        SimpleCommand{"vam_selfTestAll", 32, &CaVamInterfaceSp::vam_selfTestAll},
        SimpleCommand{"vam_getAppInfo", 29, &CaVamInterfaceSp::vam_getAppInfo},
        SimpleCommand{"vam_getInfo", 28, &CaVamInterfaceSp::vam_getInfo}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(ExchangeTest, Command_RecoverableError_PrintsTwoLinesAndReturnsIt) {
  ExpectOpen("vam_getInfo");
  ExpectInvoke(28,
               {0xFFFF0000, 2,
                "TEEC_InvokeCommand() failed for cmd = 28, result = 4294901760, retOrigin = 2"});
  ExpectLine("TZ reported recoverable error, session should be restarted");
  ExpectClose();
  EXPECT_EQ(interface.vam_getInfo(), 0xFFFF0000);
}

}  // namespace
}  // namespace vam
