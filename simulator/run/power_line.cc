#include "simulator/run/power_line.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>

namespace vam {

namespace {

/// A FIFO: it can be opened for writing only while the launcher lives.
std::string LineIn(const std::string& runFolder) { return runFolder + "/power"; }

[[noreturn]] void EndProcess() {
  for (;;) {
    std::raise(SIGKILL);
  }
}

}  // namespace

PowerLine::PowerLine(const std::string& runFolder) : descriptor(-1) {
  const std::string line = LineIn(runFolder);
  if (mkfifo(line.c_str(), 0600) == 0) {
    // For writing too: the line stays open when its only writer has gone.
    descriptor = open(line.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  }
  if (descriptor < 0) {
    throw std::runtime_error(line + ": " + std::strerror(errno));
  }
}

PowerLine::~PowerLine() { close(descriptor); }

void CutPowerAtLauncher(const std::string& runFolder) {
  const int line = open(LineIn(runFolder).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  if (line < 0) {
    return;
  }
  if (write(line, "", 1) == 1) {
    // Nothing of this process happens after the cut; the launcher ends it with the others.
    std::raise(SIGSTOP);
    EndProcess();
  }
  close(line);
}

void CutPower(const std::string& runFolder) {
  CutPowerAtLauncher(runFolder);
  EndProcess();
}

}  // namespace vam
