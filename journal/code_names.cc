#include "journal/code_names.h"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>

#include "interface/trusted_application.h"

namespace vam {

namespace {

// Arrays, not pointers: nothing to relocate.
struct NamedNumber {
  char name[24];
  int number;
};

constexpr NamedNumber kErrorNumbers[] = {
    {"EPERM", EPERM},         {"ENOENT", ENOENT}, {"EINTR", EINTR},   {"EIO", EIO},
    {"ENXIO", ENXIO},         {"EAGAIN", EAGAIN}, {"ENOMEM", ENOMEM}, {"EACCES", EACCES},
    {"EFAULT", EFAULT},       {"EBUSY", EBUSY},   {"EEXIST", EEXIST}, {"ENODEV", ENODEV},
    {"ENOTDIR", ENOTDIR},     {"EINVAL", EINVAL}, {"EMFILE", EMFILE}, {"ENOTTY", ENOTTY},
    {"ETIMEDOUT", ETIMEDOUT}, {"EBADF", EBADF},   {"EROFS", EROFS},
};

constexpr NamedNumber kOrigins[] = {
    {"TEEC_ORIGIN_API", 1},
    {"TEEC_ORIGIN_COMMS", 2},
    {"TEEC_ORIGIN_TEE", 3},
    {"TEEC_ORIGIN_TRUSTED_APP", 4},
};

}  // namespace

std::optional<int> ErrorNumberByName(const std::string& name) {
  for (const NamedNumber& error : kErrorNumbers) {
    if (name == error.name) {
      return error.number;
    }
  }
  return std::nullopt;
}

const char* ErrorNumberName(int number) {
  for (const NamedNumber& error : kErrorNumbers) {
    if (number == error.number) {
      return error.name;
    }
  }
  return nullptr;
}

std::optional<std::uint32_t> CommandByName(const std::string& name) {
  for (const NamedCommand& command : kCommands) {
    if (name == command.method) {
      return command.identifier;
    }
  }
  return std::nullopt;
}

const char* CommandName(std::uint32_t identifier) {
  for (const NamedCommand& command : kCommands) {
    if (identifier == command.identifier) {
      return command.method;
    }
  }
  return nullptr;
}

bool CarriesKeys(std::uint32_t identifier) {
  switch (identifier) {
    case kVamCheckVamAk:
    case kVamAkProvision:
    case kVamAkProvisionRpmb:
    case kVamGetPublicKeyStatus:
    case kVamRemoveAkKeys:
      return true;
    default:
      return false;
  }
}

const char* OriginName(std::uint32_t origin) {
  for (const NamedNumber& each : kOrigins) {
    if (origin == static_cast<std::uint32_t>(each.number)) {
      return each.name;
    }
  }
  return nullptr;
}

}  // namespace vam
