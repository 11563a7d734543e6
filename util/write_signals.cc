#include "util/write_signals.h"

#include <cerrno>
#include <csignal>
#include <ctime>

namespace vam {

namespace {

constexpr int kSignals[] = {SIGPIPE, SIGXFSZ};

}  // namespace

WriteSignalsHeld::WriteSignalsHeld() {
  sigset_t held;
  sigemptyset(&held);
  for (const int signal : kSignals) {
    sigaddset(&held, signal);
  }
  sigpending(&pendingBefore);
  pthread_sigmask(SIG_BLOCK, &held, &maskBefore);
}

WriteSignalsHeld::~WriteSignalsHeld() {
  const int error = errno;
  sigset_t pending;
  sigpending(&pending);
  for (const int signal : kSignals) {
    if (sigismember(&pending, signal) == 1 && sigismember(&pendingBefore, signal) == 0) {
      sigset_t taken;
      sigemptyset(&taken);
      sigaddset(&taken, signal);
      const timespec noTime = {};
      sigtimedwait(&taken, nullptr, &noTime);
    }
  }
  pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
  errno = error;
}

}  // namespace vam
