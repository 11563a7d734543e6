#include <cstdlib>
#include <cstring>
#include <string>

#include "tee_client_api.h"

// The made-up SDK's TEE client and trusted application. They refuse whatever arrives in another
// place or with another value than the API says.

namespace {

constexpr unsigned kCookie = 0x51AB1E;
const unsigned char kClockSeqAndNode[8] = {0x97, 0x99, 0x7f, 0x5a, 0xf3, 0xf9, 0xc7, 0xbb};
char driver;

std::string Word(unsigned value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

std::string Version(const std::string& text) {
  return Word(static_cast<unsigned>(text.size() + 1)) + text + '\0';
}

std::string Reply(unsigned command, int mode) {
  if (command == 18 && (mode == 7 || mode == 3 || mode == 11)) {
    return Word(0) + Word(0) + Version("2.0,17/4,X") + Version("3.1");
  }
  if (command == 19) {
    std::string reply = Word(10);
    for (unsigned i = 0; i < 10; ++i) {
      reply += Word(100 - 20 * i);
    }
    return reply;
  }
  return {};
}

}  // namespace

TEEC_Result TEEC_InitializeContext(const char* name, TEEC_Context* context) {
  context->driver = name == nullptr ? &driver : nullptr;
  return name == nullptr ? TEEC_SUCCESS : TEEC_ERROR_ITEM_NOT_FOUND;
}

void TEEC_FinalizeContext(TEEC_Context* context) { context->driver = nullptr; }

TEEC_Result TEEC_OpenSession(TEEC_Context* context, TEEC_Session* session,
                             const TEEC_UUID* destination, sdk_u32 connectionMethod,
                             const void* connectionData, TEEC_Operation* operation,
                             sdk_u32* returnOrigin) {
  *returnOrigin = TEEC_ORIGIN_TRUSTED_APP;
  if (context->driver != &driver || destination->timeLow != 0x58d50001 ||
      destination->timeMid != 0x1105 || destination->timeHiAndVersion != 0x000f ||
      std::memcmp(destination->clockSeqAndNode, kClockSeqAndNode, 8) != 0 ||
      connectionMethod != TEEC_LOGIN_PUBLIC || connectionData != nullptr || operation != nullptr) {
    return TEEC_ERROR_BAD_PARAMETERS;
  }
  session->context = context;
  return TEEC_SUCCESS;
}

void TEEC_CloseSession(TEEC_Session* session) { session->context = nullptr; }

TEEC_Result TEEC_AllocateSharedMemory(TEEC_Context* context, TEEC_SharedMemory* sharedMemory) {
  if (context->driver != &driver || sharedMemory->size != 8192 ||
      sharedMemory->flags != (TEEC_MEM_INPUT | TEEC_MEM_OUTPUT)) {
    return TEEC_ERROR_BAD_PARAMETERS;
  }
  sharedMemory->buffer = std::calloc(1, sharedMemory->size);
  sharedMemory->cookie = kCookie;
  return TEEC_SUCCESS;
}

void TEEC_ReleaseSharedMemory(TEEC_SharedMemory* sharedMemory) { std::free(sharedMemory->buffer); }

TEEC_Result TEEC_InvokeCommand(TEEC_Session* session, sdk_u32 command, TEEC_Operation* operation,
                               sdk_u32* returnOrigin) {
  *returnOrigin = TEEC_ORIGIN_TRUSTED_APP;
  const TEEC_RegisteredMemoryReference& memory = operation->params[0].memref;
  if (session->context == nullptr || session->context->driver != &driver ||
      operation->paramTypes != TEEC_MEMREF_PARTIAL_INOUT || memory.offset != 0 ||
      memory.size != 8192 || memory.parent->cookie != kCookie) {
    return TEEC_ERROR_BAD_PARAMETERS;
  }
  int mode = 0;
  std::memcpy(&mode, memory.parent->buffer, sizeof mode);
  const std::string reply = Reply(command, mode);
  std::memcpy(memory.parent->buffer, reply.data(), reply.size());
  return reply.empty() ? TEEC_ERROR_GENERIC : TEEC_SUCCESS;
}
