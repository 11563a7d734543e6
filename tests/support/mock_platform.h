#ifndef TESTS_SUPPORT_MOCK_PLATFORM_H_
#define TESTS_SUPPORT_MOCK_PLATFORM_H_

// What commands call outside, and the console's lines, as one GoogleMock object, so that one
// sequence fixes the order of them all. A program that links this has no other TEE client library,
// marshaller or console.

#include <gmock/gmock.h>

#include <cstdint>
#include <string>

#include "platform/tee_client.h"

namespace vam {

/// Receives the calls for as long as it lives; there is one at a time. A call while there is none
/// ends the program.
class MockPlatform {
 public:
  MockPlatform();
  virtual ~MockPlatform();
  MockPlatform(const MockPlatform&) = delete;
  MockPlatform& operator=(const MockPlatform&) = delete;

  MOCK_METHOD(void, Line, (const std::string& text));

  MOCK_METHOD(TEEC_Result, InitializeContext, (const char* name, TEEC_Context* context));
  MOCK_METHOD(void, FinalizeContext, (TEEC_Context * context));
  MOCK_METHOD(TEEC_Result, OpenSession,
              (TEEC_Context * context, TEEC_Session* session, const TEEC_UUID* destination,
               std::uint32_t connectionMethod, const void* connectionData,
               TEEC_Operation* operation, std::uint32_t* origin));
  MOCK_METHOD(void, CloseSession, (TEEC_Session * session));
  MOCK_METHOD(TEEC_Result, AllocateSharedMemory,
              (TEEC_Context * context, TEEC_SharedMemory* sharedMemory));
  MOCK_METHOD(void, ReleaseSharedMemory, (TEEC_SharedMemory * sharedMemory));
  MOCK_METHOD(TEEC_Result, InvokeCommand,
              (TEEC_Session * session, std::uint32_t identifier, TEEC_Operation* operation,
               std::uint32_t* origin));

  MOCK_METHOD(void, ConstructMarshaller, (void* sharedMemory));
  MOCK_METHOD(void, DestroyMarshaller, ());
  MOCK_METHOD(bool, PutInt, (std::int32_t value));
  MOCK_METHOD(bool, PutUint, (std::uint32_t value));
  MOCK_METHOD(bool, PutBlob, (const void* bytes, std::uint32_t length));
  MOCK_METHOD(void, PrepareReset, (int mode));
  MOCK_METHOD(bool, GetInt, (std::int32_t * value));
  MOCK_METHOD(bool, GetUint, (std::uint32_t * value));
  MOCK_METHOD(void*, GetBlob, (std::uint32_t length));
};

}  // namespace vam

#endif  // TESTS_SUPPORT_MOCK_PLATFORM_H_
