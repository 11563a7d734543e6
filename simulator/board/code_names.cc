#include "simulator/board/code_names.h"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>

#include "interface/trusted_application.h"

namespace vam {

namespace {

template <typename Value>
struct Named {
  const char* name;
  Value value;
};

constexpr Named<std::uint32_t> kTeeResults[] = {
    {"TEEC_SUCCESS", 0x00000000},
    {"TEEC_ERROR_GENERIC", 0xFFFF0000},
    {"TEEC_ERROR_ACCESS_DENIED", 0xFFFF0001},
    {"TEEC_ERROR_CANCEL", 0xFFFF0002},
    {"TEEC_ERROR_ACCESS_CONFLICT", 0xFFFF0003},
    {"TEEC_ERROR_EXCESS_DATA", 0xFFFF0004},
    {"TEEC_ERROR_BAD_FORMAT", 0xFFFF0005},
    {"TEEC_ERROR_BAD_PARAMETERS", 0xFFFF0006},
    {"TEEC_ERROR_BAD_STATE", 0xFFFF0007},
    {"TEEC_ERROR_ITEM_NOT_FOUND", 0xFFFF0008},
    {"TEEC_ERROR_NOT_IMPLEMENTED", 0xFFFF0009},
    {"TEEC_ERROR_NOT_SUPPORTED", 0xFFFF000A},
    {"TEEC_ERROR_NO_DATA", 0xFFFF000B},
    {"TEEC_ERROR_OUT_OF_MEMORY", 0xFFFF000C},
    {"TEEC_ERROR_BUSY", 0xFFFF000D},
    {"TEEC_ERROR_COMMUNICATION", 0xFFFF000E},
    {"TEEC_ERROR_SECURITY", 0xFFFF000F},
    {"TEEC_ERROR_SHORT_BUFFER", 0xFFFF0010},
    {"TEEC_ERROR_TARGET_DEAD", 0xFFFF3024},
};

constexpr Named<int> kErrorNumbers[] = {
    {"EPERM", EPERM},   {"ENOENT", ENOENT},       {"EINTR", EINTR},   {"EIO", EIO},
    {"ENXIO", ENXIO},   {"EAGAIN", EAGAIN},       {"ENOMEM", ENOMEM}, {"EACCES", EACCES},
    {"EBUSY", EBUSY},   {"ENODEV", ENODEV},       {"EINVAL", EINVAL}, {"EMFILE", EMFILE},
    {"ENOTTY", ENOTTY}, {"ETIMEDOUT", ETIMEDOUT},
};

constexpr Named<std::uint32_t> kCommands[] = {
    {"vm_updateFW", kVmUpdateFw},
    {"vm_getFWInfo", kVmGetFwInfo},
    {"vam_checkVamAk", kVamCheckVamAk},
    {"vam_akProvision", kVamAkProvision},
    {"vam_akProvisionRPMB", kVamAkProvisionRpmb},
    {"vam_getPublicKeyStatus", kVamGetPublicKeyStatus},
    {"vam_getInfo", kVamGetInfo},
    {"vam_getAppInfo", kVamGetAppInfo},
    {"vam_updateFW", kVamUpdateFw},
    {"vam_selfTestAll", kVamSelfTestAll},
    {"vam_getHackInfo", kVamGetHackInfo},
    {"vam_getFWInfo", kVamGetFwInfo},
    {"vam_forceRecovery", kVamForceRecovery},
    {"vam_forceRecoverySP", kVamForceRecoverySp},
    {"vam_removeAkKeys", kVamRemoveAkKeys},
};

template <typename Value, std::size_t Count>
std::optional<Value> ByName(const Named<Value> (&table)[Count], const std::string& name) {
  for (const Named<Value>& entry : table) {
    if (name == entry.name) {
      return entry.value;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::uint32_t> TeeResultByName(const std::string& name) {
  return ByName(kTeeResults, name);
}

std::optional<int> ErrorNumberByName(const std::string& name) {
  return ByName(kErrorNumbers, name);
}

std::string ErrorNumberName(int number) {
  for (const Named<int>& entry : kErrorNumbers) {
    if (number == entry.value) {
      return entry.name;
    }
  }
  return std::to_string(number);
}

std::optional<std::uint32_t> CommandByName(const std::string& name) {
  return ByName(kCommands, name);
}

}  // namespace vam
