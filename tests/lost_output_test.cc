// What the programs do when their standard output cannot be written: whatever they print there, its
// loss is a failure that they tell.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"
#include "tests/support/recorded_run.h"

namespace vam {
namespace {

/// A standard output of a program under test, closed with the object.
class LostOutput {
 public:
  enum class Kind { kFull, kClosed, kWithoutReader };

  explicit LostOutput(Kind kind) {
    int ends[2] = {-1, -1};
    if (kind == Kind::kFull) {
      descriptor = open("/dev/full", O_WRONLY | O_CLOEXEC);
    } else if (kind == Kind::kWithoutReader && pipe2(ends, O_CLOEXEC) == 0) {
      close(ends[0]);
      descriptor = ends[1];
    }
  }
  ~LostOutput() {
    if (descriptor) {
      close(*descriptor);
    }
  }
  LostOutput(const LostOutput&) = delete;
  LostOutput& operator=(const LostOutput&) = delete;

  std::optional<int> descriptor;
};

/// Runs `command` and returns its status and what it says on standard error.
Output RunWith(LostOutput::Kind kind, const std::vector<std::string>& command) {
  const LostOutput output(kind);
  const std::string errors = PrivateTmp::Folder() + "/errors";
  const int error = open(errors.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
  const int status = RunProcess({command, BoardEnvironment(), output.descriptor, error});
  close(error);
  return {status, "", ReadFile(errors).value()};
}

struct Row {
  std::vector<std::string> command;
  int status;
};

std::vector<Row> Rows() {
  const std::string board = BoardLauncher();
  const std::string image = board.substr(0, board.rfind('/')) + "/vam-image";
  const std::string made = PrivateTmp::Folder() + "/image";
  EXPECT_EQ(RunProcess({{image, "make", "--system-version", "1", "--app-version", "2", "-o", made},
                        {},
                        STDOUT_FILENO,
                        STDERR_FILENO}),
            0);
  return {
      {{board, "--help"}, 125},
      {{board, "run", "--help"}, 125},
      {{board, "--version"}, 125},
      {{board, "list"}, 125},
      {{board, "show", "--board", "no-vam"}, 125},
      {{image, "--help"}, 1},
      {{image, "--version"}, 1},
      {{image, "show", made}, 1},
      {{Vamctl(), "--help"}, 1},
      {{Vamctl(), "update-fw", "--help"}, 1},
      {{Vamctl(), "--version"}, 1},
      {{Vamctl(), "verdict", "--json"}, 5},
      {{Vamctl(), "get-inof", "--json"}, 2},
      {OnBoard("up-to-date", {Vamctl(), "get-info"}), 1},
      {OnBoard("up-to-date", {Vamctl(), "get-info", "--json"}), 1},
      {{VerdictProgram(), "--help"}, 5},
      {{VerdictProgram(), "--version"}, 5},
      {{VerdictProgram(), "--json", "--folder", PrivateTmp::Folder()}, 5},
  };
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += word + " ";
  }
  return text;
}

TEST(LostOutputTest, EveryProgram_TellsAndFails) {
  const PrivateTmp tmp;
  const std::pair<LostOutput::Kind, const char*> kinds[] = {
      {LostOutput::Kind::kFull, "No space left on device"},
      {LostOutput::Kind::kClosed, "Bad file descriptor"},
      {LostOutput::Kind::kWithoutReader, "Broken pipe"}};
  for (const Row& row : Rows()) {
    for (const auto& [kind, reason] : kinds) {
      SCOPED_TRACE(Joined(row.command) + reason);
      const Output lost = RunWith(kind, row.command);
      EXPECT_EQ(lost.status, row.status);
      const std::string line = std::string(": standard output cannot be written: ") + reason +
                               "; what it got is not complete\n";
      const std::string::size_type found = lost.standardError.find(line);
      ASSERT_NE(found, std::string::npos) << lost.standardError;
      EXPECT_EQ(found + line.size(), lost.standardError.size()) << lost.standardError;
    }
  }
}

TEST(LostOutputTest, QuietVerdict_NeedsNoOutput) {
  const PrivateTmp tmp;
  const std::vector<std::string> arguments = {"--quiet", "--folder", PrivateTmp::Folder()};
  std::vector<std::string> command = arguments;
  command.insert(command.begin(), VerdictProgram());
  const Output quiet = RunWith(LostOutput::Kind::kClosed, command);
  EXPECT_EQ(quiet.status, Ask(arguments).status);
  EXPECT_EQ(quiet.standardError, "");
}

TEST(LostOutputTest, ClosedStreams_TakeNoFile) {
  const PrivateTmp tmp;
  const std::string made = PrivateTmp::Folder() + "/made";
  // With standard error closed too, the image must not get the line of a failure.
  const std::string script = "exec '" + BoardLauncher().substr(0, BoardLauncher().rfind('/')) +
                             "/vam-image' make --system-version 1 --app-version 2 -o " + made +
                             " <&- >&- 2>&-";
  EXPECT_EQ(RunProcess({{"/bin/sh", "-c", script}, {}, STDOUT_FILENO, STDERR_FILENO}), 0);
  const std::string image = ReadFile(made).value();
  EXPECT_EQ(image.find("vam-image"), std::string::npos);
  EXPECT_GT(image.size(), 8U);
}

}  // namespace
}  // namespace vam
