#include "command_line/program.h"

#include <CLI/CLI.hpp>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>

#include "util/standard_output.h"

namespace vam {

void Print(const std::string& text) {
  const int problem = WriteToStandardOutput(text);
  if (problem != 0) {
    throw std::runtime_error(std::string("standard output cannot be written: ") +
                             std::strerror(problem) + "; what it got is not complete");
  }
}

bool Parse(CLI::App& program, int argc, const char* const* argv) {
  // Asked for by the parser, a missing command would hide a word that is none.
  program.require_subcommand(0, 1);
  try {
    program.parse(argc, argv);
    if (program.get_subcommands().empty()) {
      throw CLI::RequiredError("A command");
    }
    return true;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      throw WrongUsage(std::string(error.what()) + "; see " + program.get_name() + " --help");
    }
    std::ostringstream text;
    program.exit(error, text, text);
    Print(text.str());
    return false;
  }
}

}  // namespace vam
