#include "simulator/state/file_replacement.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string>

namespace vam {

namespace {

bool WriteWhole(int descriptor, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t count = write(descriptor, bytes, size);
    if (count < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

bool ReplaceFile(const std::string& path, const void* bytes, std::size_t size) {
  const std::string draft = path + ".new";
  const int descriptor = open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor < 0) {
    return false;
  }
  const bool written =
      WriteWhole(descriptor, static_cast<const char*>(bytes), size) && fsync(descriptor) == 0;
  const int writeError = errno;
  if (close(descriptor) != 0 && written) {
    const int closeError = errno;
    unlink(draft.c_str());
    errno = closeError;
    return false;
  }
  if (!written || std::rename(draft.c_str(), path.c_str()) != 0) {
    const int error = written ? errno : writeError;
    unlink(draft.c_str());
    errno = error;
    return false;
  }
  return true;
}

}  // namespace vam
