#include "verdict/program.h"

#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "report/texts.h"

namespace vam {

namespace {

constexpr int kNotFound = 127;
constexpr int kNotExecutable = 126;

/// Starts the program. Returns 0 or the reason why it cannot be started.
int Start(char* const* arguments, const sigset_t& mask, pid_t& child) {
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  posix_spawnattr_setsigmask(&attributes, &mask);
  const int reason = posix_spawnp(&child, arguments[0], nullptr, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  return reason;
}

/// Whether the kernel sent the signal to the program too. A terminal's key reaches the whole
/// foreground group. Its hang-up reaches the session's leader alone.
bool HasReachedProgram(const siginfo_t& signal, pid_t child) {
  return signal.si_code == SI_KERNEL && getpgid(child) == getpgrp() &&
         (signal.si_signo != SIGHUP || getsid(0) != getpid());
}

/// Sends on every signal that comes before the program ends and comes here alone. Returns how it
/// ended, as waitpid() tells it.
int WaitForEnd(pid_t child, const sigset_t& awaited) {
  int end = 0;
  siginfo_t signal = {};
  for (;;) {
    const int number = sigwaitinfo(&awaited, &signal);
    if (number == SIGCHLD) {
      if (waitpid(child, &end, WNOHANG) == child) {
        return end;
      }
    } else if (number > 0 && !HasReachedProgram(signal, child)) {
      kill(child, number);
    }
  }
}

}  // namespace

sigset_t SurviveLostConsole() {
  sigset_t pipe;
  sigset_t before;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigprocmask(SIG_BLOCK, &pipe, &before);
  return before;
}

void RunProgram(char* const* arguments, const sigset_t& mask, RunRecord& record) {
  // Ignored, it would leave no end to wait for.
  std::signal(SIGCHLD, SIG_DFL);
  sigset_t awaited;
  sigemptyset(&awaited);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) {
    sigaddset(&awaited, signal);
  }
  sigprocmask(SIG_BLOCK, &awaited, nullptr);

  pid_t child = 0;
  const int reason = Start(arguments, mask, child);
  if (reason != 0) {
    record.status = reason == ENOENT ? kNotFound : kNotExecutable;
    record.problems.push_back(Formatted("%s could not be started: %s",
                                        Escaped(arguments[0]).c_str(), std::strerror(reason)));
    return;
  }
  const int end = WaitForEnd(child, awaited);
  if (WIFSIGNALED(end)) {
    record.signal = WTERMSIG(end);
  } else {
    record.status = WEXITSTATUS(end);
  }
}

}  // namespace vam
