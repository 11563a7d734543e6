#ifndef TESTS_SUPPORT_PROCESS_H_
#define TESTS_SUPPORT_PROCESS_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vam {

/// How a test starts a program.
struct Process {
  std::vector<std::string> command;
  /// Variables set beside the test's own environment.
  std::map<std::string, std::string> environment;
  /// Descriptors that become the program's standard output and standard error; none: closed.
  std::optional<int> standardOutput;
  std::optional<int> standardError;
  /// The program's standard input; none: an empty one.
  std::optional<int> standardInput = std::nullopt;
};

/// Starts `process` and waits for it. Returns its exit status, or 128
/// and the number of the signal that ended it. Throws std::runtime_error when there is no process
/// to be had.
[[nodiscard]] int RunProcess(const Process& process);

/// What a finished program said.
struct Output {
  int status;
  std::string standardOutput;
  std::string standardError;
};

/// Runs a program with its outputs in files and returns them.
[[nodiscard]] Output Capture(const std::vector<std::string>& command,
                             const std::map<std::string, std::string>& environment = {});

/// Returns the bytes of a regular file; none when there is no such file.
[[nodiscard]] std::optional<std::string> ReadFile(const std::string& path);

/// Makes `path` a file of `bytes`.
void WriteFile(const std::string& path, const std::string& bytes);

/// Gives up, until this process ends, what lets root pass by the permissions of files. Throws
/// std::runtime_error when that is refused.
void GiveUpPrivileges();

}  // namespace vam

#endif  // TESTS_SUPPORT_PROCESS_H_
