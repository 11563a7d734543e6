#include "verdict/program.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>
#include <vector>

#include "report/run_record.h"
#include "report/texts.h"
#include "tests/support/private_tmp.h"

namespace vam {
namespace {

RunRecord RunWords(std::vector<std::string> words, int blocked = 0) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  sigset_t mask;
  sigemptyset(&mask);
  if (blocked != 0) {
    sigaddset(&mask, blocked);
  }
  RunRecord record;
  RunProgram(arguments.data(), mask, record);
  return record;
}

RunRecord RunScript(const std::string& script) { return RunWords({"sh", "-c", script}); }

TEST(RunProgramTest, Program_ThatExits_LeavesItsStatus) {
  for (const int status : {0, 1, 127, 255}) {
    const RunRecord record = RunScript("exit " + std::to_string(status));
    EXPECT_EQ(record.status, status);
    EXPECT_EQ(record.signal, 0);
    EXPECT_TRUE(record.problems.empty());
  }
}

TEST(RunProgramTest, Program_EndedByASignal_LeavesTheSignal) {
  for (const int signal : {SIGKILL, SIGSEGV, SIGTERM}) {
    const RunRecord record = RunScript("kill -" + std::to_string(signal) + " $$");
    EXPECT_EQ(record.status, -1);
    EXPECT_EQ(record.signal, signal);
  }
}

TEST(RunProgramTest, Program_ThatCannotBeStarted_IsAProblem) {
  const PrivateTmp tmp;
  RunRecord record = RunWords({"/tmp/nothing"});
  EXPECT_EQ(record.status, 127);
  EXPECT_EQ(record.problems, std::vector<std::string>{
                                 "/tmp/nothing could not be started: No such file or directory"});
  std::ofstream("/tmp/file") << "text";
  record = RunWords({"/tmp/file"});
  EXPECT_EQ(record.status, 126);
  EXPECT_EQ(record.problems,
            std::vector<std::string>{"/tmp/file could not be started: Permission denied"});
  std::string lines;
  for (int i = 0; i < 300; ++i) {
    lines += "\\x0a";
  }
  record = RunWords({"/" + std::string(300, '\n')});
  EXPECT_EQ(record.problems,
            std::vector<std::string>{"/" + lines + " could not be started: File name too long"});
}

TEST(RunProgramTest, Program_HasTheGivenMask) {
  // A bit for each signal, the lowest for 1.
  EXPECT_EQ(RunWords({"grep", "-q", "^SigBlk:\t0000000000000000$", "/proc/self/status"}).status, 0);
  EXPECT_EQ(
      RunWords({"grep", "-q", "^SigBlk:\t0000000000000200$", "/proc/self/status"}, SIGUSR1).status,
      0);
}

/// Ends the process with 0 when the end of a program is seen although nobody waits for children.
[[noreturn]] void RunWithIgnoredChildren() {
  std::signal(SIGCHLD, SIG_IGN);
  _exit(RunScript("exit 7").status == 7 ? 0 : 1);
}

TEST(RunProgramTest, End_WhereChildrenAreIgnored_IsSeen) {
  EXPECT_EXIT(RunWithIgnoredChildren(), testing::ExitedWithCode(0), "");
}

TEST(RunProgramTest, Signal_ThatEndsAProcess_IsSentOnAndEndsNothingHere) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    // The program has this process as its parent.
    const std::string script = Formatted("kill -%d $PPID; while :; do sleep 0.01; done", signal);
    const RunRecord caught = RunScript(Formatted("trap 'exit 7' %d; %s", signal, script.c_str()));
    EXPECT_EQ(caught.status, 7) << signal;
    const RunRecord ended = RunScript(script);
    EXPECT_EQ(ended.signal, signal);
  }
}

/// Ends the process with 0 when it survives a write to a pipe without a reader.
[[noreturn]] void WriteToNobody() {
  int ends[2];
  if (pipe(ends) != 0) {
    _exit(2);
  }
  close(ends[0]);
  const sigset_t before = SurviveLostConsole();
  const bool isFailed = write(ends[1], "", 1) < 0;
  _exit(isFailed && sigismember(&before, SIGPIPE) == 0 ? 0 : 1);
}

TEST(SurviveLostConsoleTest, Write_ToNobody_EndsNothing) {
  EXPECT_EXIT(WriteToNobody(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vam
