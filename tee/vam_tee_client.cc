#include "tee/vam_tee_client.h"

#include <cstdint>
#include <cstring>
#include <string>

#include "tee/shared_block.h"
#include "util/console_line.h"

namespace {

/// Returns one of the TEE library's records with every byte zero, unions included, so that a
/// library that gets a record which it never filled finds no wild pointer in it.
template <typename Record>
Record ZeroedRecord() {
  Record record;
  std::memset(&record, 0, sizeof record);
  return record;
}

}  // namespace

VAMTEEClient::VAMTEEClient()
    : context(ZeroedRecord<TEEC_Context>()),
      session(ZeroedRecord<TEEC_Session>()),
      sharedMemory(ZeroedRecord<TEEC_SharedMemory>()),
      uuid(ZeroedRecord<TEEC_UUID>()) {}

VAMTEEClient::~VAMTEEClient() { Close(); }

bool VAMTEEClient::Open(TEEC_UUID trustedApplication) {
  uuid = trustedApplication;
  if (!OpenContext() || !OpenSession() || !AllocateMemory()) {
    return false;
  }
  vam::PrintLine("TEE connection has been set");
  return true;
}

void VAMTEEClient::Close() {
  FreeMemory();
  CloseSession();
  CloseContext();
}

TEEC_Result VAMTEEClient::InvokeCommand(std::uint32_t identifier) {
  auto operation = ZeroedRecord<TEEC_Operation>();
  operation.paramTypes =
      TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  operation.params[0].memref.parent = &sharedMemory;
  operation.params[0].memref.size = sharedMemory.size;
  operation.params[0].memref.offset = 0;

  std::uint32_t origin = 0;
  const TEEC_Result result = TEEC_InvokeCommand(&session, identifier, &operation, &origin);
  if (result != TEEC_SUCCESS) {
    vam::PrintLine({"TEEC_InvokeCommand() failed for cmd = ", std::to_string(identifier),
                    ", result = ", std::to_string(result),
                    ", retOrigin = ", std::to_string(origin)});
    if (result == TEEC_ERROR_GENERIC && origin == TEEC_ORIGIN_COMMS) {
      vam::PrintLine("TZ reported recoverable error, session should be restarted");
    }
  }
  return result;
}

void* VAMTEEClient::getSHMPtr() { return &sharedMemory; }

bool VAMTEEClient::OpenContext() {
  if (contextInitialized) {
    return true;
  }
  const TEEC_Result result = TEEC_InitializeContext(nullptr, &context);
  if (result != TEEC_SUCCESS) {
    vam::PrintLine({"Failed to initialize TEE context, result = ", std::to_string(result)});
    return false;
  }
  contextInitialized = true;
  return true;
}

bool VAMTEEClient::OpenSession() {
  if (sessionOpened) {
    return true;
  }
  std::uint32_t origin = 0;
  const TEEC_Result result =
      TEEC_OpenSession(&context, &session, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, &origin);
  if (result != TEEC_SUCCESS) {
    // The result and the origin run together; log readers depend on it.
    vam::PrintLine({"Failed to open TEE session, result and retOrigin = ", std::to_string(result),
                    std::to_string(origin)});
    return false;
  }
  sessionOpened = true;
  return true;
}

bool VAMTEEClient::AllocateMemory() {
  if (memoryAllocated) {
    return true;
  }
  sharedMemory.size = vam::kSharedBlockSize;
  sharedMemory.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  const TEEC_Result result = TEEC_AllocateSharedMemory(&context, &sharedMemory);
  if (result != TEEC_SUCCESS) {
    vam::PrintLine({"Failed to allocate shared memory, result = ", std::to_string(result)});
    return false;
  }
  memoryAllocated = true;
  return true;
}

void VAMTEEClient::FreeMemory() {
  if (memoryAllocated) {
    TEEC_ReleaseSharedMemory(&sharedMemory);
    memoryAllocated = false;
  }
}

void VAMTEEClient::CloseSession() {
  if (sessionOpened) {
    TEEC_CloseSession(&session);
    sessionOpened = false;
  }
}

void VAMTEEClient::CloseContext() {
  if (contextInitialized) {
    TEEC_FinalizeContext(&context);
    contextInitialized = false;
  }
}
