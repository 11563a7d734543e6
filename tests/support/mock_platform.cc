#include "tests/support/mock_platform.h"

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/marshaller.h"
#include "util/console_line.h"

namespace vam {
namespace {

MockPlatform* current = nullptr;

MockPlatform& Current() {
  if (current == nullptr) {
    std::abort();
  }
  return *current;
}

}  // namespace

MockPlatform::MockPlatform() {
  if (current != nullptr) {
    std::abort();
  }
  current = this;
}

MockPlatform::~MockPlatform() { current = nullptr; }

void PrintLine(std::initializer_list<std::string_view> pieces) {
  std::string line;
  for (const std::string_view piece : pieces) {
    line += piece;
  }
  Current().Line(line);
}

}  // namespace vam

using vam::Current;

TEEC_Result TEEC_InitializeContext(const char* name, TEEC_Context* context) {
  return Current().InitializeContext(name, context);
}

void TEEC_FinalizeContext(TEEC_Context* context) { Current().FinalizeContext(context); }

TEEC_Result TEEC_OpenSession(TEEC_Context* context, TEEC_Session* session,
                             const TEEC_UUID* destination, std::uint32_t connectionMethod,
                             const void* connectionData, TEEC_Operation* operation,
                             std::uint32_t* returnOrigin) {
  return Current().OpenSession(context, session, destination, connectionMethod, connectionData,
                               operation, returnOrigin);
}

void TEEC_CloseSession(TEEC_Session* session) { Current().CloseSession(session); }

TEEC_Result TEEC_AllocateSharedMemory(TEEC_Context* context, TEEC_SharedMemory* sharedMemory) {
  return Current().AllocateSharedMemory(context, sharedMemory);
}

void TEEC_ReleaseSharedMemory(TEEC_SharedMemory* sharedMemory) {
  Current().ReleaseSharedMemory(sharedMemory);
}

TEEC_Result TEEC_InvokeCommand(TEEC_Session* session, std::uint32_t commandID,
                               TEEC_Operation* operation, std::uint32_t* returnOrigin) {
  return Current().InvokeCommand(session, commandID, operation, returnOrigin);
}

CNolvWsm::CNolvWsm(void* sharedMemory) : block(nullptr), size(0), position(0), number(0) {
  Current().ConstructMarshaller(sharedMemory);
}

CNolvWsm::~CNolvWsm() {
  try {
    Current().DestroyMarshaller();
  } catch (...) {
    std::abort();
  }
}

bool CNolvWsm::PutInt(std::int32_t value) { return Current().PutInt(value); }

bool CNolvWsm::PutUint(std::uint32_t value) { return Current().PutUint(value); }

bool CNolvWsm::PutBlob(const void* bytes, std::uint32_t length) {
  return Current().PutBlob(bytes, length);
}

void CNolvWsm::PrepareReset(int mode) { Current().PrepareReset(mode); }

bool CNolvWsm::GetInt(std::int32_t* value) { return Current().GetInt(value); }

bool CNolvWsm::GetUint(std::uint32_t* value) { return Current().GetUint(value); }

void* CNolvWsm::GetBlob(std::uint32_t length) { return Current().GetBlob(length); }
