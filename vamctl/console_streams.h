#ifndef VAMCTL_CONSOLE_STREAMS_H_
#define VAMCTL_CONSOLE_STREAMS_H_

#include <string>

namespace vam {

/// While it lives, what is printed to standard output goes elsewhere: to standard error, for
/// example, so that the lines which the commands print do not mix with JSON.
class StandardOutputMoved {
 public:
  /// Moves standard output to what `descriptor` writes to. Throws std::runtime_error when there is
  /// no descriptor left for it, or when `descriptor` is not open.
  explicit StandardOutputMoved(int descriptor);
  ~StandardOutputMoved();
  StandardOutputMoved(const StandardOutputMoved&) = delete;
  StandardOutputMoved& operator=(const StandardOutputMoved&) = delete;

 private:
  int standardOutput;
};

/// Asks `question` on standard error and returns whether the answer on standard input is "y" or
/// "yes", in whatever case.
[[nodiscard]] bool Confirmed(const std::string& question);

/// Returns whether somebody can be asked: standard input and standard error are terminals.
[[nodiscard]] bool OnTerminal();

}  // namespace vam

#endif  // VAMCTL_CONSOLE_STREAMS_H_
