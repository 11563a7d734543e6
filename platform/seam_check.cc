// Compiled in every build, against whatever headers the build takes: a vendor header that lacks
// something, or has it in another form, fails here by name and not deep in a command.

#include <cstdint>
#include <type_traits>
#include <utility>

#include "platform/device_node.h"
#include "platform/marshaller.h"
#include "platform/tee_client.h"
#ifndef VAM_UPDATE_TOOL_ONLY
#include "platform/settings_store.h"
#include "platform/system_information.h"
#endif

namespace {

static_assert(TEEC_SUCCESS == 0, "TEEC_SUCCESS must be 0");
static_assert(TEEC_ERROR_GENERIC == 0xFFFF0000, "TEEC_ERROR_GENERIC differs from the standard");
static_assert(TEEC_ERROR_NO_DATA == 0xFFFF000B, "TEEC_ERROR_NO_DATA differs from the standard");
static_assert(TEEC_ERROR_COMMUNICATION == 0xFFFF000E,
              "TEEC_ERROR_COMMUNICATION differs from the standard");
static_assert(TEEC_ORIGIN_COMMS == 2, "TEEC_ORIGIN_COMMS differs from the standard");
static_assert(TEEC_LOGIN_PUBLIC == 0, "TEEC_LOGIN_PUBLIC differs from the standard");
static_assert((TEEC_MEM_INPUT | TEEC_MEM_OUTPUT) == 3, "TEEC_MEM_ flags differ from the standard");
static_assert(TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE) == 15,
              "TEEC_PARAM_TYPES differs from the standard");
static_assert(std::is_trivially_copyable<TEEC_Context>::value &&
                  std::is_trivially_copyable<TEEC_Session>::value &&
                  std::is_trivially_copyable<TEEC_SharedMemory>::value &&
                  std::is_trivially_copyable<TEEC_Operation>::value,
              "the TEE client's records must be plain C records");

static_assert(std::is_constructible<CNolvWsm, void*>::value,
              "CNolvWsm must be constructible on a shared-memory record's address");
static_assert(
    std::is_convertible<decltype(std::declval<CNolvWsm&>().PutInt(std::int32_t{})), bool>::value,
    "CNolvWsm::PutInt must tell success");
static_assert(
    std::is_convertible<decltype(std::declval<CNolvWsm&>().PutUint(std::uint32_t{})), bool>::value,
    "CNolvWsm::PutUint must tell success");
static_assert(std::is_convertible<decltype(std::declval<CNolvWsm&>().PutBlob(
                                      std::declval<std::uint8_t*>(), std::uint32_t{})),
                                  bool>::value,
              "CNolvWsm::PutBlob must take bytes and a length, and tell success");
static_assert(
    std::is_convertible<decltype(std::declval<CNolvWsm&>().GetInt(std::declval<std::int32_t*>())),
                        bool>::value,
    "CNolvWsm::GetInt must tell success");
static_assert(
    std::is_convertible<decltype(std::declval<CNolvWsm&>().GetUint(std::declval<std::uint32_t*>())),
                        bool>::value,
    "CNolvWsm::GetUint must tell success");
static_assert(std::is_convertible<decltype(std::declval<CNolvWsm&>().GetBlob(std::uint32_t{})),
                                  const void*>::value,
              "CNolvWsm::GetBlob must return a pointer");

#ifndef VAM_UPDATE_TOOL_ONLY
static_assert(std::is_same<decltype(vconf_get_str("")), char*>::value,
              "vconf_get_str must return a text that its caller frees");
static_assert(std::is_convertible<decltype(system_info_get_value_string(
                                      std::declval<system_info_key_e>(), std::declval<char**>())),
                                  int>::value,
              "system_info_get_value_string must take a key and a text pointer, and return a code");
#endif

}  // namespace
