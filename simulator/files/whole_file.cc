#include "simulator/files/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

namespace vam {

namespace {

/// Runs `cleanUp` and returns false with errno as it was before.
template <typename CleanUp>
bool FailAfter(CleanUp cleanUp) {
  const int error = errno;
  cleanUp();
  errno = error;
  return false;
}

bool ReadAll(int descriptor, std::string& bytes) {
  char piece[65536];
  for (;;) {
    const ssize_t count = read(descriptor, piece, sizeof piece);
    if (count == 0) {
      return true;
    }
    if (count > 0) {
      bytes.append(piece, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
}

bool WriteAll(int descriptor, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t count = write(descriptor, bytes, size);
    if (count >= 0) {
      bytes += count;
      size -= static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool WriteDraft(const std::string& path, const void* bytes, std::size_t size, Keeping keeping) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor < 0) {
    return false;
  }
  if (!WriteAll(descriptor, static_cast<const char*>(bytes), size) ||
      (keeping == Keeping::kThroughPowerFailure && fsync(descriptor) != 0)) {
    return FailAfter([&] {
      close(descriptor);
      unlink(path.c_str());
    });
  }
  if (close(descriptor) != 0) {
    return FailAfter([&] { unlink(path.c_str()); });
  }
  return true;
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    return std::nullopt;
  }
  std::string bytes;
  if (!ReadAll(descriptor, bytes)) {
    FailAfter([&] { close(descriptor); });
    return std::nullopt;
  }
  close(descriptor);
  return bytes;
}

bool ReplaceFile(const std::string& path, const void* bytes, std::size_t size, Keeping keeping) {
  const std::string draft = path + ".new";
  if (!WriteDraft(draft, bytes, size, keeping)) {
    return false;
  }
  if (std::rename(draft.c_str(), path.c_str()) != 0) {
    return FailAfter([&] { unlink(draft.c_str()); });
  }
  return true;
}

}  // namespace vam
