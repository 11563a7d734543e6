// vam-board and the processes of a run: signals, waiting, the loss of power, what is left behind.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"
#include "tests/support/terminal.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using Words = std::vector<std::string>;

/// A launcher that runs beside the test, with a program that writes lines.
class RunningLauncher {
 public:
  /// `inChild` is called in the launcher's process before it starts; standard output is a pipe
  /// that ReadLine() reads from.
  explicit RunningLauncher(
      const Words& command, const std::function<void()>& inChild = [] {}) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe");
    }
    lines = ends[0];
    Words words = command;
    process = fork();
    if (process == 0) {
      dup2(ends[1], STDOUT_FILENO);
      for (const auto& [name, value] : BoardEnvironment()) {
        setenv(name.c_str(), value.c_str(), 1);
      }
      std::vector<char*> arguments;
      for (std::string& word : words) {
        arguments.push_back(word.data());
      }
      arguments.push_back(nullptr);
      inChild();
      execv(arguments[0], arguments.data());
      _exit(127);
    }
    close(ends[1]);
  }
  ~RunningLauncher() {
    if (process > 0) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
    }
    close(lines);
  }
  RunningLauncher(const RunningLauncher&) = delete;
  RunningLauncher& operator=(const RunningLauncher&) = delete;

  pid_t Process() const { return process; }

  /// Returns the next line that the program writes, or an empty text at the end.
  std::string ReadLine() const {
    std::string line;
    char byte = 0;
    while (read(lines, &byte, 1) == 1 && byte != '\n') {
      line += byte;
    }
    return line;
  }

  /// Waits for the end. Returns the exit status.
  int Status() {
    int status = 0;
    waitpid(process, &status, 0);
    process = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  pid_t process = -1;
  int lines = -1;
};

Words OnNoVam(const Words& program) { return OnBoard("no-vam", program); }

Words Shell(const std::string& script) { return {"/bin/sh", "-c", script}; }

/// Waits until `holds`; a test that waits in vain is ended from outside.
void WaitUntil(const std::function<bool()>& holds) {
  while (!holds()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

/// Returns what /proc says of a process under `name`.
std::string Status(pid_t process, const std::string& name) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  std::string line;
  while (std::getline(file, line) && line.rfind(name + ":\t", 0) != 0) {
  }
  return line.substr(std::min(line.size(), name.size() + 2));
}

bool IsStopped(pid_t process) { return Status(process, "State") == "T (stopped)"; }

/// Returns whether a process was sent a signal that it has not taken yet.
bool Awaits(pid_t process, int signal) {
  const unsigned long long pending = std::stoull(Status(process, "ShdPnd"), nullptr, 16);
  return (pending >> (signal - 1)) % 2 != 0;
}

bool Runs(pid_t process) { return fs::exists("/proc/" + std::to_string(process)); }

void OwnGroup() { setpgid(0, 0); }

/// Makes a group of this process and of many more that take no signal.
void LargeGroup() {
  OwnGroup();
  for (int i = 0; i < 400; ++i) {
    const pid_t between = fork();
    if (between == 0) {
      sigset_t all;
      sigfillset(&all);
      sigprocmask(SIG_BLOCK, &all, nullptr);
      // The launcher waits for its children, which one of an ended process's is not.
      if (fork() != 0) {
        _exit(0);
      }
      while (true) {
        pause();
      }
    }
    waitpid(between, nullptr, 0);
  }
}

class SignalTest : public ::testing::Test {
 protected:
  const PrivateTmp tmp;
};

TEST_F(SignalTest, SignalToTheGroup_ReachesTheProgramOnce) {
  RunningLauncher launcher(OnNoVam({VAM_SIGNAL_PROBE}), &OwnGroup);
  ASSERT_EQ(launcher.ReadLine(), "ready");
  // A second one would come before the line of the last.
  for (int round = 0; round < 100; ++round) {
    ASSERT_EQ(kill(-launcher.Process(), SIGINT), 0);
    ASSERT_EQ(launcher.ReadLine(), "INT");
    ASSERT_EQ(kill(-launcher.Process(), SIGHUP), 0);
    ASSERT_EQ(launcher.ReadLine(), "HUP") << round;
  }
  kill(-launcher.Process(), SIGTERM);
  EXPECT_EQ(launcher.ReadLine(), "TERM");
  EXPECT_EQ(launcher.ReadLine(), "");
  EXPECT_EQ(launcher.Status(), 0);
}

TEST_F(SignalTest, SignalToALargeGroup_ReachesTheProgramOnce) {
  RunningLauncher launcher(OnNoVam({VAM_SIGNAL_PROBE}), &LargeGroup);
  const pid_t group = launcher.Process();
  EXPECT_EQ(launcher.ReadLine(), "ready");
  // The launcher is among the last that get it, and still asks about the first when the second is
  // under way.
  for (int round = 0; round < 20; ++round) {
    kill(-group, SIGINT);
    EXPECT_EQ(launcher.ReadLine(), "INT");
    kill(-group, SIGINT);
    EXPECT_EQ(launcher.ReadLine(), "INT");
    kill(-group, SIGHUP);
    EXPECT_EQ(launcher.ReadLine(), "HUP") << round;
  }
  kill(launcher.Process(), SIGTERM);
  EXPECT_EQ(launcher.ReadLine(), "TERM");
  EXPECT_EQ(launcher.Status(), 0);
  kill(-group, SIGKILL);
}

TEST_F(SignalTest, SignalToTheLauncher_ReachesTheProgramOnce) {
  RunningLauncher launcher(OnNoVam({VAM_SIGNAL_PROBE}), &OwnGroup);
  ASSERT_EQ(launcher.ReadLine(), "ready");
  for (const auto& [signal, name] :
       std::map<int, std::string>{{SIGHUP, "HUP"}, {SIGINT, "INT"}, {SIGQUIT, "QUIT"}}) {
    for (int round = 0; round < 50; ++round) {
      ASSERT_EQ(kill(launcher.Process(), signal), 0);
      ASSERT_EQ(launcher.ReadLine(), name);
    }
  }
  kill(launcher.Process(), SIGTERM);
  EXPECT_EQ(launcher.ReadLine(), "TERM");
  EXPECT_EQ(launcher.ReadLine(), "");
  EXPECT_EQ(launcher.Status(), 0);
}

TEST_F(SignalTest, KeysOfTheTerminal_ReachTheProgramOnce) {
  const Terminal terminal;
  RunningLauncher launcher(OnNoVam({VAM_SIGNAL_PROBE}), [&] {
    setsid();
    ioctl(terminal.Descriptor(), TIOCSCTTY, 0);
  });
  ASSERT_EQ(launcher.ReadLine(), "ready");
  for (int round = 0; round < 50; ++round) {
    terminal.Type("\x03");
    ASSERT_EQ(launcher.ReadLine(), "INT");
    terminal.Type("\x1c");
    ASSERT_EQ(launcher.ReadLine(), "QUIT") << round;
  }
  kill(launcher.Process(), SIGTERM);
  EXPECT_EQ(launcher.ReadLine(), "TERM");
  EXPECT_EQ(launcher.ReadLine(), "");
  EXPECT_EQ(launcher.Status(), 0);
}

TEST_F(SignalTest, SignalToTheGroup_ReachesAProgramThatLeftIt) {
  RunningLauncher launcher(OnNoVam({"/usr/bin/setsid", VAM_SIGNAL_PROBE}), &OwnGroup);
  ASSERT_EQ(launcher.ReadLine(), "ready");
  kill(-launcher.Process(), SIGINT);
  EXPECT_EQ(launcher.ReadLine(), "INT");
  kill(-launcher.Process(), SIGTERM);
  EXPECT_EQ(launcher.ReadLine(), "TERM");
  EXPECT_EQ(launcher.Status(), 0);
}

TEST_F(SignalTest, ProgramThatWaitsInOpen_IsEnded) {
  const std::string fifo = PrivateTmp::Folder() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::string file = PrivateTmp::Folder() + "/process";
  RunningLauncher launcher(OnNoVam(Shell("echo $$ >" + file + "; echo started; exec cat " + fifo)));
  ASSERT_EQ(launcher.ReadLine(), "started");
  const auto program = static_cast<pid_t>(std::stol(*ReadFile(file)));
  WaitUntil([&] {
    return Status(program, "Name") == "cat" && Status(program, "State") == "S (sleeping)";
  });
  kill(launcher.Process(), SIGTERM);
  EXPECT_EQ(launcher.Status(), 128 + SIGTERM);
}

TEST_F(SignalTest, SignalThatTheCallerIgnores_IsIgnored) {
  const std::string fifo = PrivateTmp::Folder() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  RunningLauncher launcher(OnNoVam(Shell("kill -HUP $$; echo $$; cat " + fifo + " & exit 3")),
                           [] { std::signal(SIGHUP, SIG_IGN); });
  const auto program = static_cast<pid_t>(std::stol(launcher.ReadLine()));
  WaitUntil([&] { return !Runs(program); });
  // Nor does the signal end the waiting for the program's children.
  kill(launcher.Process(), SIGHUP);
  WaitUntil([&] {
    return Status(launcher.Process(), "ShdPnd") == "0000000000000000" &&
           Status(launcher.Process(), "State").front() != 'R';
  });
  EXPECT_EQ(Status(launcher.Process(), "State"), "S (sleeping)");
  std::ofstream(fifo) << "";
  EXPECT_EQ(launcher.Status(), 3);
}

TEST_F(SignalTest, Launcher_BlocksOnlyWhatItPassesOn) {
  RunningLauncher launcher(OnNoVam(Shell("grep SigBlk /proc/$PPID/status")));
  // SIGHUP, SIGINT, SIGQUIT, SIGTERM and SIGCHLD.
  EXPECT_EQ(launcher.ReadLine(), "SigBlk:\t0000000000014007");
  EXPECT_EQ(launcher.Status(), 0);
}

TEST_F(SignalTest, CallerThatIgnoresTheEndOfChildren_GetsTheStatusAllTheSame) {
  const auto ignore = [] { std::signal(SIGCHLD, SIG_IGN); };
  RunningLauncher failing(OnNoVam(Shell("exit 3")), ignore);
  EXPECT_EQ(failing.Status(), 3);
  // The program finds it ignored, as without the launcher.
  RunningLauncher looking(OnNoVam({"grep", "-q", "^SigIgn:.*1....$", "/proc/self/status"}), ignore);
  EXPECT_EQ(looking.Status(), 0);
}

TEST_F(SignalTest, SignalAfterTheProgramsEnd_EndsTheWaiting) {
  // The fifo is read by what the program leaves behind, until the test has seen the launcher's end.
  const std::string fifo = PrivateTmp::Folder() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::string file = PrivateTmp::Folder() + "/process";
  RunningLauncher launcher(
      OnNoVam(Shell("cat " + fifo + " & echo $$ >" + file + "; echo started; exit 3")));
  ASSERT_EQ(launcher.ReadLine(), "started");
  const auto program = static_cast<pid_t>(std::stol(*ReadFile(file)));
  WaitUntil([&] { return !Runs(program); });
  kill(launcher.Process(), SIGTERM);
  EXPECT_EQ(launcher.Status(), 3);
  std::ofstream(fifo) << "";
}

TEST_F(SignalTest, SignalsThatComeWithTheProgramsEnd_KeepTheStatusAndTheFolderIsRemoved) {
  const std::string fifo = PrivateTmp::Folder() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  RunningLauncher launcher(OnNoVam(Shell("echo $$; cat " + fifo + "; exit 4")));
  const auto program = static_cast<pid_t>(std::stol(launcher.ReadLine()));
  kill(launcher.Process(), SIGSTOP);
  WaitUntil([&] { return IsStopped(launcher.Process()); });
  kill(launcher.Process(), SIGHUP);
  kill(launcher.Process(), SIGINT);
  kill(launcher.Process(), SIGTERM);
  std::ofstream(fifo) << "";
  WaitUntil([&] { return Status(program, "State") == "Z (zombie)"; });
  kill(launcher.Process(), SIGCONT);
  EXPECT_EQ(launcher.Status(), 4);
  fs::remove(fifo);
  EXPECT_TRUE(fs::is_empty(PrivateTmp::Folder()));
}

TEST(PowerCutTest, EndsEveryProgramOfTheRun) {
  const PrivateTmp tmp;
  // One sibling in the program's group, one in a session of its own whose parent has ended.
  const Output output =
      Capture(OnBoard("power-cut-during-update",
                      Shell("sleep 1000 & (setsid sh -c 'sleep 1000; echo apart' &) ; '" +
                            UpdateTool() + "' >/dev/null; echo survived")),
              BoardEnvironment());
  EXPECT_EQ(output.status, 128 + SIGKILL);
  EXPECT_EQ(output.standardOutput, "");
}

/// Stops a launcher at each of its calls of kill().
class TracedLauncher {
 public:
  explicit TracedLauncher(const RunningLauncher& launcher) : process(launcher.Process()) {
    isTraced = ptrace(PTRACE_SEIZE, process, nullptr, PTRACE_O_TRACESYSGOOD) == 0 &&
               ptrace(PTRACE_INTERRUPT, process, nullptr, nullptr) == 0 && HasStopped();
  }
  ~TracedLauncher() { ptrace(PTRACE_DETACH, process, nullptr, nullptr); }
  TracedLauncher(const TracedLauncher&) = delete;
  TracedLauncher& operator=(const TracedLauncher&) = delete;

  bool IsTraced() const { return isTraced; }

  /// Lets the launcher go on until it begins, or has ended, a call kill(`receiver`, `signal`).
  /// Returns whether there was one.
  bool GoOnTo(std::uint8_t moment, pid_t receiver, int signal) {
    while (ptrace(PTRACE_SYSCALL, process, nullptr, nullptr) == 0 && HasStopped()) {
      struct __ptrace_syscall_info call = {};
      ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof call, &call);
      if (call.op == PTRACE_SYSCALL_INFO_ENTRY) {
        isAsked = call.entry.nr == SYS_kill &&
                  call.entry.args[0] == static_cast<unsigned>(receiver) &&
                  call.entry.args[1] == static_cast<unsigned>(signal);
      }
      if (isAsked && call.op == moment) {
        return true;
      }
    }
    return false;
  }

 private:
  bool HasStopped() const {
    int status = 0;
    return waitpid(process, &status, __WALL) == process && WIFSTOPPED(status);
  }

  const pid_t process;
  bool isTraced;
  bool isAsked = false;
};

TEST(PowerCutTest, AllStandStill_BeforeTheFirstIsEnded) {
  const PrivateTmp tmp;
  const std::string more = PrivateTmp::Folder() + "/more";
  const std::string start = PrivateTmp::Folder() + "/start";
  ASSERT_EQ(mkfifo(more.c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(start.c_str(), 0600), 0);
  RunningLauncher launcher(
      OnBoard("power-cut-during-update",
              Shell("echo $$; (read line <" + more + "; sleep 1000 & echo $!; wait) & read line <" +
                    start + "; '" + UpdateTool() + "' >/dev/null")));
  const auto shell = static_cast<pid_t>(std::stol(launcher.ReadLine()));
  pid_t startedMeanwhile = 0;
  {
    TracedLauncher traced(launcher);
    if (!traced.IsTraced()) {
      GTEST_SKIP() << "not run: this machine lets no process be traced";
    }
    std::ofstream(start) << "\n";
    ASSERT_TRUE(traced.GoOnTo(PTRACE_SYSCALL_INFO_EXIT, shell, SIGSTOP));
    std::ofstream(more) << "\n";
    startedMeanwhile = static_cast<pid_t>(std::stol(launcher.ReadLine()));
    ASSERT_TRUE(traced.GoOnTo(PTRACE_SYSCALL_INFO_ENTRY, shell, SIGKILL));
    for (const pid_t process : {shell, startedMeanwhile}) {
      // It takes the signal when it gets a processor.
      WaitUntil([process] { return IsStopped(process) || !Awaits(process, SIGSTOP); });
      EXPECT_TRUE(IsStopped(process));
    }
  }
  EXPECT_EQ(launcher.Status(), 128 + SIGKILL);
  EXPECT_FALSE(Runs(startedMeanwhile));
}

TEST(PowerCutTest, ReachesAProgramThatHasEndedTooLate) {
  const PrivateTmp tmp;
  const Output output =
      Capture(OnBoard("power-cut-during-update",
                      Shell("(while kill -0 $$ 2>/dev/null; do sleep 0.01; done; '" + UpdateTool() +
                            "' >/dev/null; echo survived) & exit 4")),
              BoardEnvironment());
  EXPECT_EQ(output.status, 4);
  EXPECT_EQ(output.standardOutput, "");
}

class LeftOverTest : public ::testing::Test {
 protected:
  /// The folders and files of temporary files that look like a run's.
  static Words Folders() {
    Words names;
    for (const fs::directory_entry& entry : fs::directory_iterator(PrivateTmp::Folder())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  static void RunTrue() { EXPECT_EQ(Capture(OnNoVam({"true"}), BoardEnvironment()).status, 0); }

  const PrivateTmp tmp;
};

TEST_F(LeftOverTest, KilledLauncher_TakesTheProgramAlongAndTheNextRunTidiesUp) {
  const std::string file = PrivateTmp::Folder() + "/process";
  RunningLauncher launcher(OnNoVam(Shell("echo $$ >" + file + "; echo started; exec sleep 1000")));
  ASSERT_EQ(launcher.ReadLine(), "started");
  const auto program = static_cast<pid_t>(std::stol(*ReadFile(file)));
  fs::remove(file);
  kill(launcher.Process(), SIGKILL);
  EXPECT_EQ(launcher.Status(), 128 + SIGKILL);
  WaitUntil([&] { return !Runs(program) || kill(program, 0) != 0; });
  EXPECT_EQ(Folders().size(), 1U);
  RunTrue();
  EXPECT_THAT(Folders(), ElementsAre());
}

TEST_F(LeftOverTest, LivingRun_KeepsItsFolder) {
  RunningLauncher launcher(OnNoVam({VAM_SIGNAL_PROBE}));
  ASSERT_EQ(launcher.ReadLine(), "ready");
  const Words before = Folders();
  EXPECT_EQ(before.size(), 1U);
  RunTrue();
  EXPECT_EQ(Folders(), before);
  kill(launcher.Process(), SIGTERM);
  EXPECT_EQ(launcher.Status(), 0);
  EXPECT_THAT(Folders(), ElementsAre());
}

TEST_F(LeftOverTest, WhatIsNoRunsFolder_Stays) {
  const auto make = [](const std::string& name) {
    fs::create_directory(PrivateTmp::Folder() + "/" + name);
    std::ofstream(PrivateTmp::Folder() + "/" + name + "/file") << "kept";
  };
  make("vam-board-abc");
  make("vam-board-abcdefg");
  make("vam-board-abc.ef");
  make("a-vam-board-abcdef");
  make("target");
  std::ofstream(PrivateTmp::Folder() + "/vam-board-FILEaa") << "kept";
  fs::create_directory_symlink(PrivateTmp::Folder() + "/target",
                               PrivateTmp::Folder() + "/vam-board-LINKaa");
  const Words before = Folders();
  make("vam-board-abcdef");
  RunTrue();
  EXPECT_EQ(Folders(), before);
  EXPECT_EQ(ReadFile(PrivateTmp::Folder() + "/target/file"), "kept");
  EXPECT_EQ(ReadFile(PrivateTmp::Folder() + "/vam-board-abc/file"), "kept");
}

TEST_F(LeftOverTest, AnotherUsersFolder_Stays) {
  const std::string folder = PrivateTmp::Folder() + "/vam-board-abcdef";
  fs::create_directory(folder);
  if (chown(folder.c_str(), 65534, 65534) != 0) {
    GTEST_SKIP() << "only root makes folders of other users";
  }
  RunTrue();
  EXPECT_THAT(Folders(), ElementsAre("vam-board-abcdef"));
}

/// Runs that begin and end at the same time remove nothing of each other's.
TEST_F(LeftOverTest, ManyRunsAtOnce_AllSucceed) {
  std::vector<std::thread> threads;
  threads.reserve(4);
  std::atomic<int> succeeded{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 25; ++round) {
        const Output output = Capture(OnNoVam({UpdateTool()}), BoardEnvironment());
        succeeded += output.status == 0 && output.standardError.empty() ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(succeeded, 100);
  EXPECT_THAT(Folders(), ElementsAre());
}

}  // namespace
}  // namespace vam
