// Uses once everything that the system takes from the vendor's headers, as the system uses it, and
// is compiled before the rest. Where a header lacks a name, or has it in another form, the compiler
// names it here and not deep in a command. Nothing in this file is ever run.

#include <cstdint>
#include <type_traits>

#include "platform/device_node.h"
#include "platform/marshaller.h"
#include "platform/tee_client.h"
#ifndef VAM_UPDATE_TOOL_ONLY
#include "platform/settings_store.h"
#include "platform/system_information.h"
#endif

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "This target is big-endian. The trusted application writes its numbers as "
              "little-endian, and they are copied byte for byte.");

static_assert(TEEC_SUCCESS == 0, "TEEC_SUCCESS must be 0");
static_assert(TEEC_ERROR_GENERIC == 0xFFFF0000, "TEEC_ERROR_GENERIC differs from the standard");
static_assert(TEEC_ERROR_NO_DATA == 0xFFFF000B, "TEEC_ERROR_NO_DATA differs from the standard");
static_assert(TEEC_ERROR_COMMUNICATION == 0xFFFF000E,
              "TEEC_ERROR_COMMUNICATION differs from the standard");
static_assert(TEEC_ORIGIN_COMMS == 2, "TEEC_ORIGIN_COMMS differs from the standard");
static_assert(TEEC_LOGIN_PUBLIC == 0, "TEEC_LOGIN_PUBLIC differs from the standard");
static_assert(TEEC_MEM_INPUT == 1, "TEEC_MEM_INPUT differs from the standard");
static_assert(TEEC_MEM_OUTPUT == 2, "TEEC_MEM_OUTPUT differs from the standard");
static_assert(TEEC_NONE == 0, "TEEC_NONE differs from the standard");
static_assert(TEEC_MEMREF_PARTIAL_INOUT == 15,
              "TEEC_MEMREF_PARTIAL_INOUT differs from the standard");
static_assert(TEEC_PARAM_TYPES(1, 2, 3, 4) == 0x4321, "TEEC_PARAM_TYPES differs from the standard");

static_assert(std::is_unsigned<TEEC_Result>::value, "TEEC_Result must be an unsigned number");
static_assert(std::is_trivially_copyable<TEEC_UUID>::value, "TEEC_UUID must be a plain C record");
static_assert(std::is_trivially_copyable<TEEC_Context>::value,
              "TEEC_Context must be a plain C record");
static_assert(std::is_trivially_copyable<TEEC_Session>::value,
              "TEEC_Session must be a plain C record");
static_assert(std::is_trivially_copyable<TEEC_SharedMemory>::value,
              "TEEC_SharedMemory must be a plain C record");
static_assert(std::is_trivially_copyable<TEEC_Operation>::value,
              "TEEC_Operation must be a plain C record");
static_assert(sizeof(TEEC_UUID::clockSeqAndNode) == 8,
              "TEEC_UUID::clockSeqAndNode must have 8 bytes");

[[maybe_unused]] TEEC_Result UseTeeClient(TEEC_Context& context, TEEC_Session& session,
                                          TEEC_SharedMemory& memory, TEEC_Operation& operation) {
  constexpr std::uint32_t kTimeLow = 0xFFFFFFFF;
  constexpr std::uint16_t kTime = 0xFFFF;
  constexpr std::uint8_t kByte = 0xFF;
  TEEC_UUID uuid{};
  uuid.timeLow = kTimeLow;
  uuid.timeMid = kTime;
  uuid.timeHiAndVersion = kTime;
  uuid.clockSeqAndNode[7] = kByte;

  constexpr std::uint32_t kSize = 8192;
  memory.size = kSize;
  memory.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  operation.paramTypes =
      TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  operation.params[0].memref.parent = &memory;
  operation.params[0].memref.size = memory.size;
  operation.params[0].memref.offset = 0;

  constexpr std::uint32_t kIdentifier = 18;
  std::uint32_t origin = 0;
  TEEC_Result results[] = {
      TEEC_InitializeContext(nullptr, &context),
      TEEC_OpenSession(&context, &session, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, &origin),
      TEEC_AllocateSharedMemory(&context, &memory),
      TEEC_InvokeCommand(&session, kIdentifier, &operation, &origin),
  };
  TEEC_ReleaseSharedMemory(&memory);
  TEEC_CloseSession(&session);
  TEEC_FinalizeContext(&context);
  return results[0];
}

[[maybe_unused]] bool UseMarshaller(void* sharedMemoryRecord, std::uint8_t* bytes,
                                    std::uint32_t length) {
  CNolvWsm marshaller(sharedMemoryRecord);
  std::int32_t number = 0;
  std::uint32_t count = 0;
  const bool put =
      marshaller.PutInt(number) && marshaller.PutUint(count) && marshaller.PutBlob(bytes, length);
  marshaller.PrepareReset(1);
  const bool got = marshaller.GetInt(&number) && marshaller.GetUint(&count);
  const void* blob = marshaller.GetBlob(length);
  return put && got && blob != nullptr;
}

#ifndef VAM_UPDATE_TOOL_ONLY
[[maybe_unused]] char* UseServices(system_info_key_e key) {
  char* text = vconf_get_str("key");
  const bool refused = system_info_get_value_string(key, &text) != 0;
  return refused ? nullptr : text;
}
#endif

}  // namespace
