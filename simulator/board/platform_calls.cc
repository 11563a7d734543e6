#include "simulator/board/platform_calls.h"

#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

namespace vam {

namespace {

struct NamedCall {
  std::string_view name;
  PlatformCall call;
  CallFailure failure;
};

constexpr NamedCall kCalls[] = {
    {"TEEC_InitializeContext", PlatformCall::kInitializeContext, CallFailure::kTeeResult},
    {"TEEC_FinalizeContext", PlatformCall::kFinalizeContext, CallFailure::kNone},
    {"TEEC_OpenSession", PlatformCall::kOpenSession, CallFailure::kTeeResultAndOrigin},
    {"TEEC_CloseSession", PlatformCall::kCloseSession, CallFailure::kNone},
    {"TEEC_RegisterSharedMemory", PlatformCall::kRegisterSharedMemory, CallFailure::kTeeResult},
    {"TEEC_AllocateSharedMemory", PlatformCall::kAllocateSharedMemory, CallFailure::kTeeResult},
    {"TEEC_ReleaseSharedMemory", PlatformCall::kReleaseSharedMemory, CallFailure::kNone},
    {"TEEC_InvokeCommand", PlatformCall::kInvokeCommand, CallFailure::kTeeResultAndOrigin},
    {"TEEC_RequestCancellation", PlatformCall::kRequestCancellation, CallFailure::kNone},
    {"CNolvWsm::CNolvWsm", PlatformCall::kMakeMarshaller, CallFailure::kNone},
    {"CNolvWsm::~CNolvWsm", PlatformCall::kDestroyMarshaller, CallFailure::kNone},
    {"CNolvWsm::PutInt", PlatformCall::kPutInt, CallFailure::kWithoutReason},
    {"CNolvWsm::PutUint", PlatformCall::kPutUint, CallFailure::kWithoutReason},
    {"CNolvWsm::PutBlob", PlatformCall::kPutBlob, CallFailure::kWithoutReason},
    {"CNolvWsm::PrepareReset", PlatformCall::kPrepareReset, CallFailure::kNone},
    {"CNolvWsm::GetInt", PlatformCall::kGetInt, CallFailure::kWithoutReason},
    {"CNolvWsm::GetUint", PlatformCall::kGetUint, CallFailure::kWithoutReason},
    {"CNolvWsm::GetBlob", PlatformCall::kGetBlob, CallFailure::kWithoutReason},
    {"open", PlatformCall::kOpen, CallFailure::kErrorNumber},
    {"ioctl", PlatformCall::kIoctl, CallFailure::kErrorNumber},
    {"close", PlatformCall::kClose, CallFailure::kNone},
    {"vconf_get_str", PlatformCall::kVconfGetStr, CallFailure::kWithoutReason},
    {"system_info_get_value_string", PlatformCall::kSystemInfoGetValueString,
     CallFailure::kNegativeNumber},
};

constexpr bool FollowsTheEnumeration() {
  for (std::size_t i = 0; i < std::size(kCalls); ++i) {
    if (kCalls[i].call != static_cast<PlatformCall>(i)) {
      return false;
    }
  }
  return true;
}
static_assert(FollowsTheEnumeration(), "a call finds its row by its value");

const NamedCall& RowOf(PlatformCall call) { return kCalls[static_cast<std::size_t>(call)]; }

}  // namespace

std::string_view PlatformCallName(PlatformCall call) { return RowOf(call).name; }

std::optional<PlatformCall> PlatformCallByName(std::string_view name) {
  for (const NamedCall& each : kCalls) {
    if (each.name == name) {
      return each.call;
    }
  }
  return std::nullopt;
}

CallFailure FailureOf(PlatformCall call) { return RowOf(call).failure; }

std::vector<PlatformCall> CallsThatCanFail() {
  std::vector<PlatformCall> calls;
  for (const NamedCall& each : kCalls) {
    if (each.failure != CallFailure::kNone) {
      calls.push_back(each.call);
    }
  }
  return calls;
}

}  // namespace vam
