#include "vamctl/tee_witness.h"

#include <cstdint>
#include <optional>

#include "platform/tee_client.h"

namespace vam {

namespace {

struct Seen {
  std::optional<FailedStep> failure;
  bool isInvoked = false;
};

/// The library's functions carry no object of ours, so there is one for the process.
Seen& SeenUpToNow() {
  static Seen seen;
  return seen;
}

TEEC_Result Note(const char* function, TEEC_Result result,
                 std::optional<std::uint32_t> origin = std::nullopt) {
  if (result != TEEC_SUCCESS && !SeenUpToNow().failure) {
    SeenUpToNow().failure = FailedStep{function, result, origin};
  }
  return result;
}

}  // namespace

void WatchNextExchange() { SeenUpToNow() = Seen(); }

FailedStep FirstFailedStep() {
  const Seen& seen = SeenUpToNow();
  if (seen.failure) {
    return *seen.failure;
  }
  return {seen.isInvoked ? "reply" : "request"};
}

}  // namespace vam

// The linker's option --wrap leads a call of NAME to __wrap_NAME, and one of __real_NAME to NAME.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {

TEEC_Result __real_TEEC_InitializeContext(const char* name, TEEC_Context* context);
TEEC_Result __real_TEEC_OpenSession(TEEC_Context* context, TEEC_Session* session,
                                    const TEEC_UUID* destination, std::uint32_t connectionMethod,
                                    const void* connectionData, TEEC_Operation* operation,
                                    std::uint32_t* returnOrigin);
TEEC_Result __real_TEEC_AllocateSharedMemory(TEEC_Context* context, TEEC_SharedMemory* memory);
TEEC_Result __real_TEEC_InvokeCommand(TEEC_Session* session, std::uint32_t command,
                                      TEEC_Operation* operation, std::uint32_t* returnOrigin);

TEEC_Result __wrap_TEEC_InitializeContext(const char* name, TEEC_Context* context) {
  return vam::Note("TEEC_InitializeContext", __real_TEEC_InitializeContext(name, context));
}

TEEC_Result __wrap_TEEC_OpenSession(TEEC_Context* context, TEEC_Session* session,
                                    const TEEC_UUID* destination, std::uint32_t connectionMethod,
                                    const void* connectionData, TEEC_Operation* operation,
                                    std::uint32_t* returnOrigin) {
  const TEEC_Result result = __real_TEEC_OpenSession(
      context, session, destination, connectionMethod, connectionData, operation, returnOrigin);
  return vam::Note("TEEC_OpenSession", result, *returnOrigin);
}

TEEC_Result __wrap_TEEC_AllocateSharedMemory(TEEC_Context* context, TEEC_SharedMemory* memory) {
  return vam::Note("TEEC_AllocateSharedMemory", __real_TEEC_AllocateSharedMemory(context, memory));
}

TEEC_Result __wrap_TEEC_InvokeCommand(TEEC_Session* session, std::uint32_t command,
                                      TEEC_Operation* operation, std::uint32_t* returnOrigin) {
  vam::SeenUpToNow().isInvoked = true;
  const TEEC_Result result = __real_TEEC_InvokeCommand(session, command, operation, returnOrigin);
  return vam::Note("TEEC_InvokeCommand", result, *returnOrigin);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
