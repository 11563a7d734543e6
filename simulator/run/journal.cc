#include "simulator/run/journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace vam {

Journal::Journal(std::string file) : path(std::move(file)) {
  if (!Open() && errno != ENOENT) {
    throw std::runtime_error(path + ": " + std::strerror(errno));
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
  if (write(descriptor, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size())) {
    std::fprintf(stderr, "simulated board: the journal cannot be written: %s\n",
                 std::strerror(errno));
    std::_Exit(125);
  }
}

}  // namespace vam
