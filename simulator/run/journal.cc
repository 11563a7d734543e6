#include "simulator/run/journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "simulator/files/write_signals.h"

namespace vam {

namespace {

constexpr char kUnwritable[] = "the journal cannot be written: ";

}  // namespace

Journal::Journal(std::string file, Trouble trouble)
    : path(std::move(file)), report(std::move(trouble)) {
  if (!Open() && errno != ENOENT) {
    throw std::runtime_error(std::string(kUnwritable) + std::strerror(errno));
  }
}

Journal::~Journal() {
  if (IsKept()) {
    close(descriptor);
  }
}

bool Journal::Open() {
  const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (file < 0) {
    return false;
  }
  // Off the standard streams: what a program writes to one that its caller closed stays lost.
  descriptor = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(file);
  return fstat(descriptor, &opened) == 0;
}

bool Journal::HoldsDescriptor() const {
  struct stat status;
  return fstat(descriptor, &status) == 0 && status.st_ino == opened.st_ino &&
         status.st_dev == opened.st_dev;
}

void Journal::Append(const std::string& line) {
  // The program may have closed a descriptor that it did not open, and have another file there.
  if (!HoldsDescriptor()) {
    Open();
  }
  // One write a line, so that lines of several processes do not mix.
  const std::string whole = line + "\n";
  const WriteSignalsHeld held;
  ssize_t written = 0;
  do {
    written = write(descriptor, whole.data(), whole.size());
  } while (written < 0 && errno == EINTR);
  if (written == static_cast<ssize_t>(whole.size())) {
    return;
  }
  // A disk that is full may take a part of the line.
  const std::string cause = std::strerror(written < 0 ? errno : ENOSPC);
  if (written > 0) {
    const off_t end = lseek(descriptor, 0, SEEK_CUR);
    static_cast<void>(ftruncate(descriptor, end - written) == 0);
  }
  report(kUnwritable + cause + "; make room, or give another file with --journal");
}

}  // namespace vam
