#include "report/trusted_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <string>
#include <utility>

#include "report/texts.h"

namespace vam {

Descriptor::~Descriptor() {
  if (number >= 0) {
    close(number);
  }
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number, other.number);
  return *this;
}

Descriptor OpenForReading(int folder, const char* name) {
  return Descriptor(
      openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool ReadAt(int descriptor, off_t offset, std::size_t size, std::string& bytes) {
  bytes.resize(size);
  std::size_t filled = 0;
  ssize_t count = 0;
  do {
    count = pread(descriptor, &bytes[filled], size - filled, offset + static_cast<off_t>(filled));
    filled += count > 0 ? static_cast<std::size_t>(count) : 0;
  } while (count > 0 && filled < size);
  bytes.resize(filled);
  return count >= 0;
}

std::int64_t MillisecondsOf(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return Nanoseconds(now) / 1000000;
}

bool IsPlainFileOf(uid_t user, const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_uid == user && status.st_nlink == 1;
}

std::string KindOf(const struct stat& status) {
  const char* kind = S_ISREG(status.st_mode)    ? "file"
                     : S_ISDIR(status.st_mode)  ? "folder"
                     : S_ISLNK(status.st_mode)  ? "symbolic link"
                     : S_ISFIFO(status.st_mode) ? "pipe"
                     : S_ISSOCK(status.st_mode) ? "socket"
                                                : "device";
  std::string text = Formatted("a %s of user %u", kind, status.st_uid);
  if (S_ISREG(status.st_mode) && status.st_nlink != 1) {
    text += Formatted(" with %lu links", static_cast<unsigned long>(status.st_nlink));
  }
  return text;
}

}  // namespace vam
