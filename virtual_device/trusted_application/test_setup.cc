#include "virtual_device/trusted_application/test_setup.h"

#include <string.h>
#include <tee_internal_api.h>
#include <trace.h>

#include "virtual_device/trusted_application/secure_storage.h"
#include "virtual_device/trusted_application/test_commands.h"

namespace vam {
namespace {

class Faults final : public AnswerFaults {
 public:
  uint32_t Count() override { return count; }

  const AnswerFault* Select(uint32_t index, uint32_t command, bool hasMode, int32_t mode) override {
    Declared& fault = declared[index];
    const AnswerFault& answer = fault.answer;
    if (answer.command != command || (answer.hasMode != 0 && (!hasMode || answer.mode != mode))) {
      return nullptr;
    }
    ++fault.invocations;
    if (answer.occurrence != 0 && answer.occurrence != fault.invocations) {
      return nullptr;
    }
    return &answer;
  }

  void Applied(uint32_t index) override { ++declared[index].applied; }

  void Clear() { count = 0; }

  TEE_Result Add(const void* bytes, size_t size) {
    if (size != sizeof(AnswerFault)) {
      return TEE_ERROR_BAD_PARAMETERS;
    }
    if (count == kFaultCapacity) {
      return TEE_ERROR_OVERFLOW;
    }
    Declared& fault = declared[count++];
    memcpy(&fault.answer, bytes, size);
    fault.invocations = 0;
    fault.applied = 0;
    return TEE_SUCCESS;
  }

  TEE_Result GetApplied(void* bytes, size_t* size) const {
    const size_t needed = count * sizeof(uint32_t);
    if (*size < needed) {
      *size = needed;
      return TEE_ERROR_SHORT_BUFFER;
    }
    for (uint32_t i = 0; i < count; ++i) {
      memcpy(static_cast<uint8_t*>(bytes) + i * sizeof(uint32_t), &declared[i].applied,
             sizeof(uint32_t));
    }
    *size = needed;
    return TEE_SUCCESS;
  }

 private:
  struct Declared {
    AnswerFault answer;
    uint32_t invocations;
    uint32_t applied;
  };
  Declared declared[kFaultCapacity];
  uint32_t count = 0;
};

Faults faults;

/// How many writes are left until the stop; 0: there is no stop.
uint32_t writesLeft;
uint32_t stopKind;

constexpr uint32_t kNone = TEE_PARAM_TYPE_NONE;
constexpr uint32_t kValue = TEE_PARAM_TYPE_VALUE_INPUT;
constexpr uint32_t kInput = TEE_PARAM_TYPE_MEMREF_INPUT;
constexpr uint32_t kOutput = TEE_PARAM_TYPE_MEMREF_OUTPUT;

uint32_t TypesOf(uint32_t command) {
  switch (command) {
    case kBeginObject:
    case kRemoveObject:
    case kStopAfterWrites:
      return TEE_PARAM_TYPES(kValue, kNone, kNone, kNone);
    case kAppendToObject:
      return TEE_PARAM_TYPES(kValue, kInput, kNone, kNone);
    case kReadObject:
      return TEE_PARAM_TYPES(kValue, kOutput, kNone, kNone);
    case kAddFault:
      return TEE_PARAM_TYPES(kNone, kInput, kNone, kNone);
    case kGetApplied:
      return TEE_PARAM_TYPES(kNone, kOutput, kNone, kNone);
    default:
      return TEE_PARAM_TYPES(kNone, kNone, kNone, kNone);
  }
}

}  // namespace

TEE_Result RunTestCommand(uint32_t command, uint32_t types, TEE_Param* parameters) {
  if (command < kBeginObject || command > kStopAfterWrites) {
    return TEE_ERROR_NOT_SUPPORTED;
  }
  if (types != TypesOf(command)) {
    return TEE_ERROR_BAD_PARAMETERS;
  }
  const auto& value = parameters[0].value;
  const auto object = static_cast<StoredObject>(value.a);
  auto& memory = parameters[1].memref;
  switch (command) {
    case kBeginObject:
      return ReplaceObject(object, nullptr, 0);
    case kAppendToObject:
      return OpenObject(object, TEE_DATA_FLAG_ACCESS_WRITE).Append(memory.buffer, memory.size);
    case kReadObject:
      memory.size =
          OpenObject(object, TEE_DATA_FLAG_ACCESS_READ).Read(value.b, memory.buffer, memory.size);
      return TEE_SUCCESS;
    case kRemoveObject:
      OpenObject(object, TEE_DATA_FLAG_ACCESS_WRITE_META).Remove();
      return TEE_SUCCESS;
    case kAddFault:
      return faults.Add(memory.buffer, memory.size);
    case kGetApplied:
      return faults.GetApplied(memory.buffer, &memory.size);
    case kStopAfterWrites:
      writesLeft = value.a;
      stopKind = value.b;
      return TEE_SUCCESS;
    default:
      faults.Clear();
      writesLeft = 0;
      return TEE_SUCCESS;
  }
}

AnswerFaults& DeclaredFaults() { return faults; }

void ChipMemoryWritten() {
  if (writesLeft == 0 || --writesLeft != 0) {
    return;
  }
  if (stopKind == kPanic) {
    TEE_Panic(TEE_ERROR_TARGET_DEAD);
  }
  IMSG("%s", kPowerCutTrace);
  TEE_Wait(TEE_TIMEOUT_INFINITE);
}

}  // namespace vam
