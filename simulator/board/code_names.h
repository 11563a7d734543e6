#ifndef SIMULATOR_BOARD_CODE_NAMES_H_
#define SIMULATOR_BOARD_CODE_NAMES_H_

#include <cstdint>
#include <optional>
#include <string>

namespace vam {

/// Returns the error number that POSIX names `name`, such as EIO; none for a name that no device
/// node gives.
[[nodiscard]] std::optional<int> ErrorNumberByName(const std::string& name);

/// Returns the name of an error number, or its decimal digits when ErrorNumberByName() has none.
[[nodiscard]] std::string ErrorNumberName(int number);

/// Returns the command identifier that the method `name` of the command interface sends; none when
/// it has no such method.
[[nodiscard]] std::optional<std::uint32_t> CommandByName(const std::string& name);

}  // namespace vam

#endif  // SIMULATOR_BOARD_CODE_NAMES_H_
