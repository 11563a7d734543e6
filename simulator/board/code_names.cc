#include "simulator/board/code_names.h"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>

#include "interface/trusted_application.h"

namespace vam {

namespace {

struct NamedError {
  const char* name;
  int number;
};

constexpr NamedError kErrorNumbers[] = {
    {"EPERM", EPERM},         {"ENOENT", ENOENT}, {"EINTR", EINTR},   {"EIO", EIO},
    {"ENXIO", ENXIO},         {"EAGAIN", EAGAIN}, {"ENOMEM", ENOMEM}, {"EACCES", EACCES},
    {"EFAULT", EFAULT},       {"EBUSY", EBUSY},   {"EEXIST", EEXIST}, {"ENODEV", ENODEV},
    {"ENOTDIR", ENOTDIR},     {"EINVAL", EINVAL}, {"EMFILE", EMFILE}, {"ENOTTY", ENOTTY},
    {"ETIMEDOUT", ETIMEDOUT},
};

}  // namespace

std::optional<int> ErrorNumberByName(const std::string& name) {
  for (const NamedError& error : kErrorNumbers) {
    if (name == error.name) {
      return error.number;
    }
  }
  return std::nullopt;
}

std::string ErrorNumberName(int number) {
  for (const NamedError& error : kErrorNumbers) {
    if (number == error.number) {
      return error.name;
    }
  }
  return std::to_string(number);
}

std::optional<std::uint32_t> CommandByName(const std::string& name) {
  for (const NamedCommand& command : kCommands) {
    if (name == command.method) {
      return command.identifier;
    }
  }
  return std::nullopt;
}

}  // namespace vam
