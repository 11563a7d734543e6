#include "simulator/run/program_console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "simulator/board/board.h"

namespace vam {
namespace {

static_assert(!std::is_copy_constructible_v<ProgramConsole>);
static_assert(!std::is_copy_assignable_v<ProgramConsole>);

std::vector<Fault> Faults(const std::vector<std::string>& consoles) {
  std::string board;
  for (const std::string& console : consoles) {
    board.append("[[fault]]\nconsole = \"").append(console).append("\"\n");
  }
  return ReadBoardText(board, "board.toml").faults;
}

/// Writes a byte as a program on the console does. Returns "written" or the
/// text of the error.
std::string Written(const ProgramConsole& console) {
  std::signal(SIGPIPE, SIG_IGN);
  const bool done = write(console.StandardOutput(), "x", 1) == 1;
  return done ? "written" : std::strerror(errno);
}

TEST(ProgramConsoleTest, WithoutAFault_IsTheLaunchers) {
  ProgramConsole console(ReadBoardText("[[fault]]\nmemory_fails_at_request = 1\n", "b").faults);
  EXPECT_EQ(console.StandardOutput(), STDOUT_FILENO);
  EXPECT_EQ(console.ReadingEnd(), -1);
  console.LeaveToProgram();
  EXPECT_EQ(console.StandardOutput(), STDOUT_FILENO);
}

TEST(ProgramConsoleTest, FirstFault_SaysHowItIs) {
  EXPECT_EQ(ProgramConsole(Faults({"closed", "full"})).StandardOutput(), -1);
  EXPECT_EQ(Written(ProgramConsole(Faults({"full", "closed"}))), "No space left on device");
  EXPECT_EQ(Written(ProgramConsole(Faults({"without reader"}))), "Broken pipe");
  EXPECT_EQ(Written(ProgramConsole(Faults({"slow"}))), "Resource temporarily unavailable");
}

TEST(ProgramConsoleTest, Descriptors_AreNotTheProgramsByAccident) {
  for (const char* state : {"full", "without reader", "slow"}) {
    const ProgramConsole console(Faults({state}));
    for (const int descriptor : {console.StandardOutput(), console.ReadingEnd()}) {
      EXPECT_TRUE(descriptor < 0 || (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0) << state;
    }
    EXPECT_EQ(console.ReadingEnd() >= 0, std::string(state) == "slow");
  }
}

TEST(ProgramConsoleTest, Descriptors_AreClosedAtTheEnd) {
  const int before = dup(STDOUT_FILENO);
  close(before);
  for (const char* state : {"full", "without reader", "slow"}) {
    { const ProgramConsole console(Faults({state})); }
    { ProgramConsole(Faults({state})).LeaveToProgram(); }
    const int after = dup(STDOUT_FILENO);
    close(after);
    EXPECT_EQ(after, before) << state;
  }
}

/// What the child that `become` makes of itself has as standard output.
template <typename Become>
int StatusOf(Become become) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(become());
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

TEST(ProgramConsoleTest, Child_HasItAsStandardOutput) {
  EXPECT_EQ(StatusOf([] {
              ProgramConsole(Faults({"closed"})).BecomeStandardOutput();
              return fcntl(STDOUT_FILENO, F_GETFD) < 0 && errno == EBADF ? 0 : 1;
            }),
            0);
  EXPECT_EQ(StatusOf([] {
              ProgramConsole(Faults({"full"})).BecomeStandardOutput();
              return write(STDOUT_FILENO, "x", 1) < 0 && errno == ENOSPC ? 0 : 1;
            }),
            0);
  EXPECT_EQ(StatusOf([] {
              ProgramConsole(Faults({})).BecomeStandardOutput();
              return fcntl(STDOUT_FILENO, F_GETFD) == 0 ? 0 : 1;
            }),
            0);
}

TEST(ProgramConsoleTest, SlowOne_PassesOnWhatTheProgramWroteAlone) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(StatusOf([&ends] {
              dup2(ends[1], STDOUT_FILENO);
              ProgramConsole console(Faults({"slow"}));
              // A page at a time: what filled the pipe, and then what the program writes.
              console.PassOn();
              const int program = console.StandardOutput();
              bool isWritten = write(program, "line\n", 5) == 5;
              console.PassOn();
              isWritten = isWritten && write(program, "more\n", 5) == 5;
              console.LeaveToProgram();
              while (console.ReadingEnd() >= 0) {
                console.PassOn();
              }
              return isWritten ? 0 : 1;
            }),
            0);
  char bytes[64] = {};
  EXPECT_EQ(read(ends[0], bytes, sizeof bytes), 10);
  EXPECT_STREQ(bytes, "line\nmore\n");
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace vam
