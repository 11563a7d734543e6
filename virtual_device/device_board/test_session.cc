#include "virtual_device/device_board/test_session.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "interface/trusted_application.h"

namespace vam {
namespace {

/// The most bytes that one command carries. An object may be larger.
constexpr std::size_t kPieceSize = 16384;

std::runtime_error Refused(const char* what, TEEC_Result result, std::uint32_t origin) {
  char line[128];
  std::snprintf(line, sizeof line, "%s: the secure world answers 0x%08X, origin %u", what,
                static_cast<unsigned>(result), static_cast<unsigned>(origin));
  return std::runtime_error(line);
}

/// The TEE client library has one record for inputs and outputs. It does not write to an input.
TEEC_TempMemoryReference InputReference(const void* bytes, std::size_t size) {
  return {const_cast<void*>(bytes), size};
}

TEEC_Value ValueOf(StoredObject object) {
  TEEC_Value value{};
  value.a = object;
  return value;
}

}  // namespace

TestSession::TestSession() {
  TEEC_UUID uuid{kUuidTimeLow, kUuidTimeMid, kUuidTimeHiAndVersion, {}};
  std::copy(std::begin(kUuidClockSeqAndNode), std::end(kUuidClockSeqAndNode),
            std::begin(uuid.clockSeqAndNode));
  TEEC_Result result = TEEC_InitializeContext(nullptr, &context);
  if (result != TEEC_SUCCESS) {
    throw Refused("the TEE context", result, TEEC_ORIGIN_API);
  }
  std::uint32_t origin{};
  result =
      TEEC_OpenSession(&context, &session, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, &origin);
  if (result != TEEC_SUCCESS) {
    TEEC_FinalizeContext(&context);
    throw Refused("the session with the trusted application", result, origin);
  }
}

TestSession::~TestSession() {
  TEEC_CloseSession(&session);
  TEEC_FinalizeContext(&context);
}

void TestSession::Replace(StoredObject object, const std::vector<std::uint8_t>& bytes) {
  const TEEC_Value value = ValueOf(object);
  Invoke(kBeginObject, &value, TEEC_NONE, nullptr);
  for (std::size_t offset = 0; offset < bytes.size(); offset += kPieceSize) {
    auto piece = InputReference(bytes.data() + offset, std::min(kPieceSize, bytes.size() - offset));
    Invoke(kAppendToObject, &value, TEEC_MEMREF_TEMP_INPUT, &piece);
  }
}

std::vector<std::uint8_t> TestSession::Read(StoredObject object) {
  std::vector<std::uint8_t> bytes;
  TEEC_TempMemoryReference piece{};
  do {
    const std::size_t offset = bytes.size();
    const TEEC_Value value{object, static_cast<std::uint32_t>(offset)};
    bytes.resize(offset + kPieceSize);
    piece = {bytes.data() + offset, kPieceSize};
    Invoke(kReadObject, &value, TEEC_MEMREF_TEMP_OUTPUT, &piece);
    bytes.resize(offset + piece.size);
  } while (piece.size != 0);
  return bytes;
}

void TestSession::Remove(StoredObject object) {
  const TEEC_Value value = ValueOf(object);
  Invoke(kRemoveObject, &value, TEEC_NONE, nullptr);
}

void TestSession::SetFaults(const std::vector<AnswerFault>& faults) {
  Invoke(kClearFaults, nullptr, TEEC_NONE, nullptr);
  for (const AnswerFault& fault : faults) {
    auto record = InputReference(&fault, sizeof fault);
    Invoke(kAddFault, nullptr, TEEC_MEMREF_TEMP_INPUT, &record);
  }
}

std::vector<std::uint32_t> TestSession::Applied() {
  std::vector<std::uint32_t> applied(kFaultCapacity);
  TEEC_TempMemoryReference numbers{applied.data(), applied.size() * sizeof applied[0]};
  Invoke(kGetApplied, nullptr, TEEC_MEMREF_TEMP_OUTPUT, &numbers);
  applied.resize(numbers.size / sizeof applied[0]);
  return applied;
}

void TestSession::StopAfterWrites(std::uint32_t writes, StopKind kind) {
  const TEEC_Value value{writes, kind};
  Invoke(kStopAfterWrites, &value, TEEC_NONE, nullptr);
}

void TestSession::Invoke(TestCommand command, const TEEC_Value* value, std::uint32_t memoryType,
                         TEEC_TempMemoryReference* memory) {
  TEEC_Operation operation{};
  operation.paramTypes = TEEC_PARAM_TYPES(value == nullptr ? TEEC_NONE : TEEC_VALUE_INPUT,
                                          memoryType, TEEC_NONE, TEEC_NONE);
  if (value != nullptr) {
    operation.params[0].value = *value;
  }
  if (memory != nullptr) {
    operation.params[1].tmpref = *memory;
  }
  std::uint32_t origin{};
  const TEEC_Result result = TEEC_InvokeCommand(&session, command, &operation, &origin);
  if (result != TEEC_SUCCESS) {
    throw Refused("a test command", result, origin);
  }
  if (memory != nullptr) {
    memory->size = operation.params[1].tmpref.size;
  }
}

}  // namespace vam
