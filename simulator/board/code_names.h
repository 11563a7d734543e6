#ifndef SIMULATOR_BOARD_CODE_NAMES_H_
#define SIMULATOR_BOARD_CODE_NAMES_H_

#include <cstdint>
#include <optional>
#include <string>

namespace vam {

/// Returns the error number that POSIX names `name` (EIO, ...), if it is one that a device node
/// gives.
[[nodiscard]] std::optional<int> ErrorNumberByName(const std::string& name);

/// Returns the name of an error number, or the number in decimal where it has none here.
[[nodiscard]] std::string ErrorNumberName(int number);

/// Returns the command identifier of the method `name` of the command interface, if there is one.
[[nodiscard]] std::optional<std::uint32_t> CommandByName(const std::string& name);

}  // namespace vam

#endif  // SIMULATOR_BOARD_CODE_NAMES_H_
