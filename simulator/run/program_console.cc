#include "simulator/run/program_console.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/board/board.h"

namespace vam {

namespace {

constexpr char kFullDevice[] = "/dev/full";
/// The kernel rounds it up to a page.
constexpr int kSmallestPipe = 1;
constexpr std::size_t kChunk = 4096;

[[noreturn]] void FailOn(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

void Close(int& descriptor) {
  if (descriptor >= 0) {
    close(descriptor);
    descriptor = -1;
  }
}

}  // namespace

ProgramConsole::ProgramConsole(const std::vector<Fault>& faults) {
  for (const Fault& fault : faults) {
    if (fault.kind == Fault::Kind::kConsole && state == Fault::Console::kWhole) {
      state = fault.console;
    }
  }
  if (state == Fault::Console::kFull) {
    writing = open(kFullDevice, O_WRONLY | O_CLOEXEC);
    if (writing == -1) {
      FailOn(kFullDevice);
    }
    return;
  }
  if (state != Fault::Console::kWithoutReader && state != Fault::Console::kSlow) {
    return;
  }
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    FailOn("no pipe");
  }
  reading = ends[0];
  writing = ends[1];
  if (state == Fault::Console::kWithoutReader) {
    Close(reading);
    return;
  }
  fcntl(writing, F_SETPIPE_SZ, kSmallestPipe);
  // A process that outlives the program may keep the pipe open; no read waits for it.
  fcntl(reading, F_SETFL, O_NONBLOCK);
  fcntl(writing, F_SETFL, O_NONBLOCK);
  const char filler[kChunk] = {};
  ssize_t written = 0;
  while ((written = write(writing, filler, sizeof filler)) != -1) {
    filling += written;
  }
}

ProgramConsole::~ProgramConsole() {
  Close(writing);
  Close(reading);
}

int ProgramConsole::StandardOutput() const {
  if (state == Fault::Console::kClosed) {
    return -1;
  }
  return writing >= 0 ? writing : STDOUT_FILENO;
}

void ProgramConsole::BecomeStandardOutput() const {
  const int output = StandardOutput();
  if (output < 0) {
    close(STDOUT_FILENO);
  } else if (output != STDOUT_FILENO) {
    dup2(output, STDOUT_FILENO);
  }
}

void ProgramConsole::LeaveToProgram() { Close(writing); }

void ProgramConsole::PassOn() {
  char bytes[kChunk];
  const ssize_t count = read(reading, bytes, sizeof bytes);
  if (count <= 0) {
    Close(reading);
    return;
  }
  const auto skipped = std::min<long long>(filling, count);
  filling -= skipped;
  const auto rest = static_cast<std::size_t>(count - skipped);
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, bytes + skipped, rest);
}

}  // namespace vam
