#ifndef COMMAND_LINE_PARSING_H_
#define COMMAND_LINE_PARSING_H_

#include <CLI/CLI.hpp>

namespace vam {

/// Reads the command line of `program`, which bears its name, and carries out the callbacks of its
/// commands. Prints the help or the version where the line asks for it, and returns whether it asks
/// for anything else. Throws WrongUsage.
[[nodiscard]] bool Parse(CLI::App& program, int argc, const char* const* argv);

}  // namespace vam

#endif  // COMMAND_LINE_PARSING_H_
