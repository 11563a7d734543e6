#ifndef COMMAND_LINE_PROGRAM_H_
#define COMMAND_LINE_PROGRAM_H_

#include <exception>
#include <stdexcept>
#include <string>

// How a program with commands talks to its user. It prints through Print(), and its failures are
// exceptions with one line that says what was wrong and what to do.

namespace vam {

/// A command line that asks for nothing that there is.
class WrongUsage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Something that was printed is lost.
class OutputLost : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Writes all of `text` to standard output. Throws OutputLost when some of it is lost.
void Print(const std::string& text);

/// Names standard input, or standard output, where a file is asked for.
inline constexpr char kStandardStream[] = "-";

/// Returns all that standard input brings. Throws std::runtime_error when it cannot be read or
/// brings more than 64 MiB.
[[nodiscard]] std::string ReadStandardInput();

/// Returns what went wrong, in a line for the user. Exceptions of the standard library, such as
/// that of memory that is not to be had, name themselves and not what happened.
[[nodiscard]] std::string ProblemInWords(const std::exception& error);

/// Writes `text` to standard error as one line of the program `name`.
void Tell(const std::string& name, const std::string& text);

}  // namespace vam

#endif  // COMMAND_LINE_PROGRAM_H_
