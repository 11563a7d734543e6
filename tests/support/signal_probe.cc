// signal_probe: prints each signal that comes, a line each, until SIGTERM comes.

#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>

namespace {

void Print(const char* text) {
  const std::string line = std::string(text) + "\n";
  if (write(STDOUT_FILENO, line.data(), line.size()) < 0) {
    _exit(1);
  }
}

}  // namespace

int main() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    sigaddset(&set, signal);
  }
  sigprocmask(SIG_BLOCK, &set, nullptr);
  Print("ready");
  int signal = 0;
  while (signal != SIGTERM && sigwait(&set, &signal) == 0) {
    Print(sigabbrev_np(signal));
  }
  return 0;
}
