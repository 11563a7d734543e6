#include "simulator/run/board_program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "report/trusted_file.h"
#include "simulator/run/board_paths.h"
#include "simulator/run/group_witness.h"
#include "simulator/run/power_line.h"
#include "simulator/run/prepared_program.h"
#include "simulator/run/process_tree.h"
#include "simulator/run/program_console.h"
#include "simulator/run/program_environment.h"
#include "simulator/run/run.h"

namespace vam {

namespace {

constexpr int kNotExecutable = 126;
constexpr int kNotFound = 127;
constexpr int kPassedOn[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP};

[[noreturn]] void FailOn(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

void PutUpNode(const std::string& runFolder) {
  const std::string folder = runFolder + kNodeFolder;
  const std::string file = runFolder + kNodeFile;
  if (mkdir(folder.c_str(), 0700) != 0) {
    FailOn(folder);
  }
  const Descriptor node(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  if (!node.IsOpen()) {
    FailOn(file);
  }
}

/// The signals that come to the launcher while the program runs, read from a descriptor.
class Signals {
 public:
  Signals() {
    // Where the caller ignores it, there would be no exit statuses.
    childActionBefore = std::signal(SIGCHLD, SIG_DFL);
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    for (const int signal : kPassedOn) {
      struct sigaction action;
      // What whoever started the launcher has turned off is turned off for the program too.
      if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
        sigaddset(&set, signal);
      }
    }
    sigprocmask(SIG_BLOCK, &set, &blockedBefore);
    descriptor = signalfd(-1, &set, SFD_CLOEXEC);
    if (descriptor == -1) {
      FailOn("no signals");
    }
  }
  /// The signals stay blocked: one that comes late must not keep the launcher from tidying up.
  ~Signals() { close(descriptor); }
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  /// Returns the next signal. REQUIRES: the descriptor is readable.
  int Next() const {
    signalfd_siginfo signal = {};
    [[maybe_unused]] const ssize_t size = read(descriptor, &signal, sizeof signal);
    return static_cast<int>(signal.ssi_signo);
  }

  int Descriptor() const { return descriptor; }

  /// In a child: makes everything as it was before.
  void Restore() const {
    std::signal(SIGCHLD, childActionBefore);
    sigprocmask(SIG_SETMASK, &blockedBefore, nullptr);
  }

 private:
  sigset_t set;
  sigset_t blockedBefore;
  sighandler_t childActionBefore = SIG_DFL;
  int descriptor;
};

/// Returns why the file at `path` cannot be executed; 0: it can.
int WhyNotExecutable(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) {
    return errno;
  }
  if (!S_ISREG(status.st_mode)) {
    return EACCES;
  }
  return faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

/// Returns the interpreter that the script at `path` names; nothing for what is no script, names
/// none, or cannot be read.
std::string InterpreterOf(const std::string& path) {
  // The kernel reads no more of it.
  constexpr std::streamsize kLongestLine = 255;
  constexpr char kBlanks[] = " \t";
  std::string line(kLongestLine, '\0');
  std::ifstream file(path);
  file.read(line.data(), kLongestLine);
  line.resize(static_cast<std::size_t>(file.gcount()));
  line = line.substr(0, line.find('\n'));
  const std::size_t start =
      line.rfind("#!", 0) == 0 ? line.find_first_not_of(kBlanks, 2) : std::string::npos;
  return start == std::string::npos
             ? ""
             : line.substr(start, line.find_first_of(kBlanks, start) - start);
}

/// Throws NotStarted where `file`, the program `name`, is a script whose interpreter cannot be run.
void RequireInterpreter(const std::string& name, const std::string& file) {
  const std::string interpreter = InterpreterOf(file);
  const int error = interpreter.empty() ? 0 : WhyNotExecutable(interpreter);
  if (error != 0) {
    throw NotStarted(name + ": its interpreter " + interpreter, error);
  }
}

bool IsShortOfMemory(const BoardProgram& program) {
  return std::any_of(program.faults.begin(), program.faults.end(),
                     [](const Fault& fault) { return fault.kind == Fault::Kind::kMemory; });
}

/// In the child: becomes the program. Returns the error number when it cannot.
int BecomeProgram(const BoardProgram& program, pid_t launcher, const Signals& signals,
                  const ProgramConsole& console) {
  // A board does not outlive its launcher.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != launcher) {
    return ESRCH;
  }
  setenv(Run::kEnvironmentVariable, program.runFolder.c_str(), 1);
  SetUpProgramEnvironment(program.libraries, IsShortOfMemory(program));
  signals.Restore();
  console.BecomeStandardOutput();
  ExecuteProgram(program.command);
  return errno;
}

/// Starts the program anew. Returns its process.
pid_t Execute(const BoardProgram& program, const Signals& signals, const ProgramConsole& console) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    FailOn("no pipe");
  }
  const Descriptor report(ends[0]);
  const pid_t launcher = getpid();
  const pid_t child = fork();
  if (child < 0) {
    FailOn("no process");
  }
  if (child == 0) {
    const int why = BecomeProgram(program, launcher, signals, console);
    // The parent takes a pipe that was closed without a word for a success, and this for the end.
    [[maybe_unused]] const ssize_t told = write(ends[1], &why, sizeof why);
    _exit(kNotExecutable);
  }
  close(ends[1]);
  int error = 0;
  if (read(report.Number(), &error, sizeof error) == sizeof error) {
    waitpid(child, nullptr, 0);
    throw NotStarted(program.command[0], error);
  }
  return child;
}

/// Starts the program, as it is prepared where it is. Returns its process.
pid_t Start(const BoardProgram& program, const Signals& signals, const ProgramConsole& console) {
  PreparedProgram* prepared = program.prepared;
  if (prepared != nullptr && prepared->IsReady() && !IsShortOfMemory(program)) {
    const pid_t started = prepared->Start(program.runFolder, console.StandardOutput());
    if (started >= 0) {
      return started;
    }
  }
  return Execute(program, signals, console);
}

/// The program that was started, and everything that it started: all children of the launcher,
/// which inherits them.
class Programs {
 public:
  explicit Programs(pid_t started) : program(started) {}

  /// Takes note of those that have ended. Returns whether any is left.
  bool Reap() {
    int ended = 0;
    pid_t process = 0;
    while ((process = waitpid(-1, &ended, WNOHANG)) > 0) {
      if (process == program) {
        program = 0;
        status = ended;
      }
    }
    return process == 0;
  }

  /// Returns whether the program itself still runs.
  bool ProgramRuns() const { return program != 0; }

  /// Gives the program a signal that the launcher got, unless the witness tells that it got the
  /// signal as well.
  void PassOn(int signal, const GroupWitness* witness) const {
    if (witness == nullptr || !witness->Saw(signal) || getpgid(program) != getpgrp()) {
      kill(program, signal);
    }
  }

  static void SignalAll(int signal) {
    for (const pid_t process : DescendantsOf(getpid())) {
      kill(process, signal);
    }
  }

  /// Stops all, also those that are started meanwhile.
  static void StopAll() {
    std::vector<pid_t> before;
    std::vector<pid_t> now = DescendantsOf(getpid());
    while (now != before) {
      for (const pid_t process : now) {
        kill(process, SIGSTOP);
      }
      before = now;
      now = DescendantsOf(getpid());
    }
  }

  /// The program's exit status, or 128 and the number of the signal that ended it.
  int ExitStatus() const {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  pid_t program;
  int status = 0;
};

/// Reads a program's slow console: not before the program has found it full.
class SlowConsole {
 public:
  SlowConsole(ProgramConsole& programsConsole, const std::string& runFolder)
      : console(programsConsole) {
    if (console.ReadingEnd() >= 0) {
      run.emplace(runFolder);
    }
  }

  /// Returns the descriptor that is to be waited for now, or -1.
  int ToRead() {
    isRead = isRead || !run || waits == kMostWaits || run->WhatWasCounted().lines != 0;
    return isRead ? console.ReadingEnd() : -1;
  }

  /// Returns for how many milliseconds; -1: for any time.
  int HowLong() {
    ++waits;
    return isRead ? -1 : 1;
  }

  void PassOn() { console.PassOn(); }

 private:
  /// What stdio writes for a program is not counted.
  static constexpr int kMostWaits = 100;

  ProgramConsole& console;
  std::optional<Run> run;
  int waits = 0;
  bool isRead = false;
};

/// Waits until all have ended, or until a signal ends the waiting for what the program left behind.
void Wait(Programs& programs, const Signals& signals, const GroupWitness* witness,
          const PowerLine& power, SlowConsole& console) {
  bool hasPower = true;
  while (programs.Reap()) {
    // A negative descriptor is not waited for. The line stays readable once the power is gone.
    pollfd events[] = {{signals.Descriptor(), POLLIN, {}},
                       {hasPower ? power.Descriptor() : -1, POLLIN, {}},
                       {console.ToRead(), POLLIN, {}}};
    poll(events, std::size(events), console.HowLong());
    if (events[2].revents != 0) {
      console.PassOn();
    }
    if (events[0].revents == 0 && events[1].revents == 0) {
      continue;
    }
    if (hasPower && events[1].revents != 0) {
      hasPower = false;
      // All stand still before the first is ended and what it held is free for the others.
      Programs::StopAll();
    }
    if (!hasPower) {
      Programs::SignalAll(SIGKILL);
    }
    const int signal = events[0].revents != 0 ? signals.Next() : SIGCHLD;
    if (signal == SIGCHLD || !programs.Reap()) {
      continue;
    }
    if (!programs.ProgramRuns()) {
      return;
    }
    programs.PassOn(signal, witness);
  }
}

}  // namespace

NotStarted::NotStarted(const std::string& program, int errorNumber)
    : std::runtime_error(program.empty()
                             ? "the program's name is empty; give a program after --"
                             : program + ": cannot be run: " + std::strerror(errorNumber)),
      status(errorNumber == ENOENT ? kNotFound : kNotExecutable) {}

std::string FindProgram(const std::string& name) {
  if (name.find('/') != std::string::npos) {
    if (const int error = WhyNotExecutable(name)) {
      throw NotStarted(name, error);
    }
    RequireInterpreter(name, name);
    return name;
  }
  // A file that cannot be executed tells more than that there is no other. A folder that cannot be
  // searched tells nothing.
  int error = ENOENT;
  const char* path = std::getenv("PATH");
  // An empty folder, also at the end, is the working folder.
  std::istringstream folders(std::string(path == nullptr ? "/bin:/usr/bin" : path) + ":");
  std::string folder;
  while (!name.empty() && std::getline(folders, folder, ':')) {
    std::string file = folder.empty() ? name : folder.append("/").append(name);
    struct stat status;
    if (stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
      error = WhyNotExecutable(file);
      if (error == 0) {
        RequireInterpreter(name, file);
        return file;
      }
    }
  }
  throw NotStarted(name, error);
}

int RunOnBoard(const BoardProgram& program) {
  if (program.libraries.find_first_of(":;") != std::string::npos) {
    throw std::runtime_error(program.libraries +
                             ": no library is found where a folder's name has a colon or a "
                             "semicolon; move the installation to another folder");
  }
  if (program.probe.nodePresent) {
    PutUpNode(program.runFolder);
  }
  const PowerLine power(program.runFolder);
  // What the program leaves behind becomes the launcher's to wait for.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  // Before the program starts: from then on it may expect them to be passed on.
  const Signals signals;
  std::optional<GroupWitness> witness;
  if (program.prepared == nullptr) {
    witness.emplace();
  }
  ProgramConsole console(program.faults);
  Programs programs(Start(program, signals, console));
  console.LeaveToProgram();
  SlowConsole reader(console, program.runFolder);
  Wait(programs, signals, witness ? &*witness : nullptr, power, reader);
  while (console.ReadingEnd() != -1) {
    console.PassOn();
  }
  return programs.ExitStatus();
}

}  // namespace vam
