#include "simulator/board/platform_calls.h"

#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

namespace vam {

namespace {

struct NamedCall {
  PlatformCall call;
  std::string_view name;
  CallFailure failure;
};

constexpr NamedCall kCalls[] = {
    {PlatformCall::kInitializeContext, "TEEC_InitializeContext", CallFailure::kTeeResult},
    {PlatformCall::kFinalizeContext, "TEEC_FinalizeContext", CallFailure::kNone},
    {PlatformCall::kOpenSession, "TEEC_OpenSession", CallFailure::kTeeResultAndOrigin},
    {PlatformCall::kCloseSession, "TEEC_CloseSession", CallFailure::kNone},
    {PlatformCall::kAllocateSharedMemory, "TEEC_AllocateSharedMemory", CallFailure::kTeeResult},
    {PlatformCall::kReleaseSharedMemory, "TEEC_ReleaseSharedMemory", CallFailure::kNone},
    {PlatformCall::kInvokeCommand, "TEEC_InvokeCommand", CallFailure::kTeeResultAndOrigin},
    {PlatformCall::kMakeMarshaller, "CNolvWsm::CNolvWsm", CallFailure::kNone},
    {PlatformCall::kDestroyMarshaller, "CNolvWsm::~CNolvWsm", CallFailure::kNone},
    {PlatformCall::kPutInt, "CNolvWsm::PutInt", CallFailure::kWithoutReason},
    {PlatformCall::kPutUint, "CNolvWsm::PutUint", CallFailure::kWithoutReason},
    {PlatformCall::kPutBlob, "CNolvWsm::PutBlob", CallFailure::kWithoutReason},
    {PlatformCall::kPrepareReset, "CNolvWsm::PrepareReset", CallFailure::kNone},
    {PlatformCall::kGetInt, "CNolvWsm::GetInt", CallFailure::kWithoutReason},
    {PlatformCall::kGetUint, "CNolvWsm::GetUint", CallFailure::kWithoutReason},
    {PlatformCall::kGetBlob, "CNolvWsm::GetBlob", CallFailure::kWithoutReason},
    {PlatformCall::kOpen, "open", CallFailure::kErrorNumber},
    {PlatformCall::kIoctl, "ioctl", CallFailure::kErrorNumber},
    {PlatformCall::kClose, "close", CallFailure::kNone},
    {PlatformCall::kVconfGetStr, "vconf_get_str", CallFailure::kWithoutReason},
    {PlatformCall::kSystemInfoGetValueString, "system_info_get_value_string",
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
