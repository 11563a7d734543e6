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
