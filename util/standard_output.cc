#include "util/standard_output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <string_view>

namespace vam {

namespace {

/// While it lives, a write without a reader fails and does nothing else.
class SigpipeHeldBack {
 public:
  SigpipeHeldBack() {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    wasPending = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &before);
  }
  ~SigpipeHeldBack() {
    constexpr timespec kNow{0, 0};
    if (!wasPending) {
      while (sigtimedwait(&pipe, nullptr, &kNow) == -1 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  SigpipeHeldBack(const SigpipeHeldBack&) = delete;
  SigpipeHeldBack& operator=(const SigpipeHeldBack&) = delete;

 private:
  sigset_t pipe{};
  sigset_t before{};
  bool wasPending = false;
};

}  // namespace

void HoldClosedStandardStreams() {
  int descriptor = -1;
  // Each open takes the lowest free descriptor, so closed standard streams are filled in turn.
  do {
    descriptor = open("/dev/null", O_PATH | O_CLOEXEC);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor != -1) {
    close(descriptor);
  }
}

int WriteToStandardOutput(std::string_view text) {
  const SigpipeHeldBack held;
  if (std::fflush(stdout) != 0) {
    return errno;
  }
  while (!text.empty()) {
    const ssize_t count = write(STDOUT_FILENO, text.data(), text.size());
    if (count != -1) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      // Another holder of the same terminal or pipe may have made it non-blocking.
      pollfd output{STDOUT_FILENO, POLLOUT, 0};
      poll(&output, 1, -1);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

}  // namespace vam
