#include "simulator/board/platform_calls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>

namespace vam {
namespace {

using ::testing::ElementsAre;

struct NamedCall {
  const char* name;
  PlatformCall call;
};

class PlatformCallTest : public ::testing::TestWithParam<NamedCall> {};

TEST_P(PlatformCallTest, Call_HasItsNameBothWays) {
  EXPECT_EQ(PlatformCallName(GetParam().call), GetParam().name);
  EXPECT_EQ(PlatformCallByName(GetParam().name), std::optional(GetParam().call));
}

const NamedCall kCalls[] = {
    {"TEEC_InitializeContext", PlatformCall::kInitializeContext},
    {"TEEC_FinalizeContext", PlatformCall::kFinalizeContext},
    {"TEEC_OpenSession", PlatformCall::kOpenSession},
    {"TEEC_CloseSession", PlatformCall::kCloseSession},
    {"TEEC_RegisterSharedMemory", PlatformCall::kRegisterSharedMemory},
    {"TEEC_AllocateSharedMemory", PlatformCall::kAllocateSharedMemory},
    {"TEEC_ReleaseSharedMemory", PlatformCall::kReleaseSharedMemory},
    {"TEEC_InvokeCommand", PlatformCall::kInvokeCommand},
    {"TEEC_RequestCancellation", PlatformCall::kRequestCancellation},
    {"CNolvWsm::CNolvWsm", PlatformCall::kMakeMarshaller},
    {"CNolvWsm::~CNolvWsm", PlatformCall::kDestroyMarshaller},
    {"CNolvWsm::PutInt", PlatformCall::kPutInt},
    {"CNolvWsm::PutUint", PlatformCall::kPutUint},
    {"CNolvWsm::PutBlob", PlatformCall::kPutBlob},
    {"CNolvWsm::PrepareReset", PlatformCall::kPrepareReset},
    {"CNolvWsm::GetInt", PlatformCall::kGetInt},
    {"CNolvWsm::GetUint", PlatformCall::kGetUint},
    {"CNolvWsm::GetBlob", PlatformCall::kGetBlob},
    {"open", PlatformCall::kOpen},
    {"ioctl", PlatformCall::kIoctl},
    {"close", PlatformCall::kClose},
    {"vconf_get_str", PlatformCall::kVconfGetStr},
    {"system_info_get_value_string", PlatformCall::kSystemInfoGetValueString},
};

INSTANTIATE_TEST_SUITE_P(Calls, PlatformCallTest, ::testing::ValuesIn(kCalls),
                         [](const auto& instance) {
                           std::string name = instance.param.name;
                           std::replace(name.begin(), name.end(), ':', '_');
                           std::replace(name.begin(), name.end(), '~', '_');
                           return name;
                         });

TEST(PlatformCallsTest, OtherName_NamesNoCall) {
  for (const char* other : {"", "TEEC_opensession", "PutInt", "open64", "TEEC_OpenSession "}) {
    EXPECT_EQ(PlatformCallByName(other), std::nullopt) << other;
  }
}

TEST(PlatformCallsTest, CallWithoutAnAnswerToChange_CannotFail) {
  EXPECT_THAT(
      CallsThatCanFail(),
      ElementsAre(PlatformCall::kInitializeContext, PlatformCall::kOpenSession,
                  PlatformCall::kRegisterSharedMemory, PlatformCall::kAllocateSharedMemory,
                  PlatformCall::kInvokeCommand, PlatformCall::kPutInt, PlatformCall::kPutUint,
                  PlatformCall::kPutBlob, PlatformCall::kGetInt, PlatformCall::kGetUint,
                  PlatformCall::kGetBlob, PlatformCall::kOpen, PlatformCall::kIoctl,
                  PlatformCall::kVconfGetStr, PlatformCall::kSystemInfoGetValueString));
}

TEST(PlatformCallsTest, Call_FailsInItsOwnWay) {
  EXPECT_EQ(FailureOf(PlatformCall::kInitializeContext), CallFailure::kTeeResult);
  EXPECT_EQ(FailureOf(PlatformCall::kOpenSession), CallFailure::kTeeResultAndOrigin);
  EXPECT_EQ(FailureOf(PlatformCall::kRegisterSharedMemory), CallFailure::kTeeResult);
  EXPECT_EQ(FailureOf(PlatformCall::kAllocateSharedMemory), CallFailure::kTeeResult);
  EXPECT_EQ(FailureOf(PlatformCall::kInvokeCommand), CallFailure::kTeeResultAndOrigin);
  EXPECT_EQ(FailureOf(PlatformCall::kGetBlob), CallFailure::kWithoutReason);
  EXPECT_EQ(FailureOf(PlatformCall::kOpen), CallFailure::kErrorNumber);
  EXPECT_EQ(FailureOf(PlatformCall::kClose), CallFailure::kNone);
  EXPECT_EQ(FailureOf(PlatformCall::kVconfGetStr), CallFailure::kWithoutReason);
  EXPECT_EQ(FailureOf(PlatformCall::kSystemInfoGetValueString), CallFailure::kNegativeNumber);
}

}  // namespace
}  // namespace vam
