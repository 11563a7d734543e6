// signal_probe: prints each signal that comes, a line each, until SIGTERM comes.

#include <unistd.h>

#include <csignal>
#include <string>

namespace {

void Print(const char* text) {
  const std::string line = std::string(text) + "\n";
  if (write(STDOUT_FILENO, line.data(), line.size()) < 0) {
    _exit(1);
  }
}

struct NamedSignal {
  int number;
  const char* name;
};

constexpr NamedSignal kSignals[] = {
    {SIGHUP, "HUP"}, {SIGINT, "INT"}, {SIGQUIT, "QUIT"}, {SIGTERM, "TERM"}};

}  // namespace

int main() {
  sigset_t set;
  sigemptyset(&set);
  for (const NamedSignal& each : kSignals) {
    sigaddset(&set, each.number);
  }
  sigprocmask(SIG_BLOCK, &set, nullptr);
  Print("ready");
  int signal = 0;
  while (signal != SIGTERM && sigwait(&set, &signal) == 0) {
    for (const NamedSignal& each : kSignals) {
      if (each.number == signal) {
        Print(each.name);
      }
    }
  }
  return 0;
}
