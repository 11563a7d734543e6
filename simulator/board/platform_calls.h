#ifndef SIMULATOR_BOARD_PLATFORM_CALLS_H_
#define SIMULATOR_BOARD_PLATFORM_CALLS_H_

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace vam {

/// The calls of the platform that a simulated board answers.
enum class PlatformCall : std::uint8_t {
  kInitializeContext,
  kFinalizeContext,
  kOpenSession,
  kCloseSession,
  kRegisterSharedMemory,
  kAllocateSharedMemory,
  kReleaseSharedMemory,
  kInvokeCommand,
  kRequestCancellation,
  kMakeMarshaller,
  kDestroyMarshaller,
  kPutInt,
  kPutUint,
  kPutBlob,
  kPrepareReset,
  kGetInt,
  kGetUint,
  kGetBlob,
  kOpen,
  kIoctl,
  kClose,
  kVconfGetStr,
  kSystemInfoGetValueString,
};

/// How a call that a fault makes fail tells its caller.
enum class CallFailure : std::uint8_t {
  /// No fault can make it fail.
  kNone,
  /// By a result of the TEE's.
  kTeeResult,
  /// By a result of the TEE's and its return origin.
  kTeeResultAndOrigin,
  /// By an error number of POSIX.
  kErrorNumber,
  /// By a negative number.
  kNegativeNumber,
  /// By false or a null pointer, without a reason.
  kWithoutReason,
};

/// Returns the name of `call` as C or C++ has it, a method with its class: "TEEC_OpenSession",
/// "CNolvWsm::PutInt".
[[nodiscard]] std::string_view PlatformCallName(PlatformCall call);

/// Returns the call that PlatformCallName() names `name`, if there is one.
[[nodiscard]] std::optional<PlatformCall> PlatformCallByName(std::string_view name);

/// Returns how `call` fails under a fault.
[[nodiscard]] CallFailure FailureOf(PlatformCall call);

/// Returns the calls that a fault can make fail, in the order in which users read them.
[[nodiscard]] std::vector<PlatformCall> CallsThatCanFail();

}  // namespace vam

#endif  // SIMULATOR_BOARD_PLATFORM_CALLS_H_
