// A TEE client library and a device node that cost nothing: every call succeeds, and the board
// carries a VAM.

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "platform/device_node.h"
#include "platform/tee_client.h"

TEEC_Result TEEC_InitializeContext(const char* /*name*/, TEEC_Context* /*context*/) {
  return TEEC_SUCCESS;
}
void TEEC_FinalizeContext(TEEC_Context* /*context*/) {}
TEEC_Result TEEC_OpenSession(TEEC_Context* /*context*/, TEEC_Session* /*session*/,
                             const TEEC_UUID* /*destination*/, std::uint32_t /*connectionMethod*/,
                             const void* /*connectionData*/, TEEC_Operation* /*operation*/,
                             std::uint32_t* /*returnOrigin*/) {
  return TEEC_SUCCESS;
}
void TEEC_CloseSession(TEEC_Session* /*session*/) {}
TEEC_Result TEEC_AllocateSharedMemory(TEEC_Context* /*context*/,
                                      TEEC_SharedMemory* /*sharedMemory*/) {
  return TEEC_SUCCESS;
}
void TEEC_ReleaseSharedMemory(TEEC_SharedMemory* /*sharedMemory*/) {}
TEEC_Result TEEC_InvokeCommand(TEEC_Session* /*session*/, std::uint32_t /*commandID*/,
                               TEEC_Operation* /*operation*/, std::uint32_t* /*returnOrigin*/) {
  return TEEC_SUCCESS;
}

// The node's calls. A program finds these before the C library's.

extern "C" int QuietOpen(const char* path, int flags, ...) __asm__("open");
extern "C" int QuietOpen(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  const char* opened = std::strcmp(path, kVamDeviceNode) == 0 ? "/dev/null" : path;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, opened, flags, mode));
}

extern "C" int QuietIoctl(int descriptor, unsigned long request, ...) __asm__("ioctl");
extern "C" int QuietIoctl(int /*descriptor*/, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  *va_arg(arguments, std::int32_t*) = 1;
  va_end(arguments);
  return 0;
}
