#ifndef COMMAND_LINE_VALUES_H_
#define COMMAND_LINE_VALUES_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

// The values that options and arguments take. An option's type says what its value is: the help
// shows it, and the shell's completion is made of it.

namespace vam {

/// Types of values. Alternatives, such as "image|update|chip", are a type too.
inline constexpr char kFileType[] = "FILE";
inline constexpr char kFolderType[] = "FOLDER";
inline constexpr char kBoardType[] = "BOARD";
inline constexpr char kCommandType[] = "COMMAND";

/// Returns the number that `text` is, a whole one in decimal with nothing around it; nothing where
/// it is none or not from `least` to `most`.
[[nodiscard]] std::optional<std::int64_t> WholeNumber(const std::string& text, std::int64_t least,
                                                      std::int64_t most);

/// Makes `option` take a whole number from `least` to `most`.
void TakeNumber(CLI::Option* option, std::int64_t least, std::int64_t most);

/// Makes `option` take a value of `type` that is not empty.
void TakeNamed(CLI::Option* option, const char* type);

}  // namespace vam

#endif  // COMMAND_LINE_VALUES_H_
