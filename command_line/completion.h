#ifndef COMMAND_LINE_COMPLETION_H_
#define COMMAND_LINE_COMPLETION_H_

#include <CLI/CLI.hpp>
#include <string>

// Scripts that complete a program's command line in a shell, made of its parser: its commands,
// their options, and the values that the types in command_line/values.h stand for.

namespace vam {

/// Return the script of `program`. It asks `vam-board list` for the names of boards.
[[nodiscard]] std::string BashCompletion(const CLI::App& program);
[[nodiscard]] std::string ZshCompletion(const CLI::App& program);

}  // namespace vam

#endif  // COMMAND_LINE_COMPLETION_H_
