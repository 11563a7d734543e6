#include "simulator/state/chip_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "simulator/state/state_folder.h"

namespace vam {

namespace {

[[noreturn]] void FailOn(const std::string& file) {
  throw std::runtime_error(file + ": the chip cannot be locked: " + std::strerror(errno) +
                           "; give a folder that you can write to with --state");
}

}  // namespace

ChipLock::ChipLock(const std::string& folder) {
  const std::string file = ChipLockIn(folder);
  // Opened anew each time: two openings exclude each other in one process too.
  descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (descriptor < 0) {
    FailOn(file);
  }
  while (flock(descriptor, LOCK_EX) != 0) {
    if (errno != EINTR) {
      const int error = errno;
      close(descriptor);
      errno = error;
      FailOn(file);
    }
  }
}

ChipLock::~ChipLock() {
  // Not only closed: a child that another thread forked meanwhile has the descriptor too.
  flock(descriptor, LOCK_UN);
  close(descriptor);
}

}  // namespace vam
