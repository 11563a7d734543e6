#include "report/status_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "report/status_messages.h"

namespace {

/// Writes a whole entry at once, so that entries of two processes do not mix. `mode` is O_APPEND
/// or O_TRUNC.
void WriteEntry(const char* path, int mode, const std::string& entry) {
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | mode, 0666);
  if (descriptor == -1) {
    return;
  }
  std::size_t written = 0;
  while (written < entry.size()) {
    const ssize_t count = write(descriptor, entry.data() + written, entry.size() - written);
    if (count > 0) {
      written += static_cast<std::size_t>(count);
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  close(descriptor);
}

void AppendCode(std::string& entry, std::int32_t code) {
  entry += std::to_string(code);
  entry += vam::kLineEnd;
}

}  // namespace

void WriteToVamOkFile(std::string message, bool truncate) {
  std::string entry = std::move(message);
  entry += vam::kLineEnd;
  WriteEntry(vam::kOkFile, truncate ? O_TRUNC : O_APPEND, entry);
}

void WriteToErrorFile(std::string message, std::int32_t code) {
  std::string entry = std::move(message);
  entry += ' ';
  AppendCode(entry, code);
  WriteEntry(vam::kErrorFile, O_APPEND, entry);
}

void WriteToErrorFile(std::string message, std::int32_t code, VamResult result) {
  std::string entry = std::move(message);
  entry += ' ';
  AppendCode(entry, code);
  entry += vam::kVamCodePrefix;
  AppendCode(entry, result.vamCode);
  entry += vam::kFirmwareCodePrefix;
  AppendCode(entry, result.fwCode);
  WriteEntry(vam::kErrorFile, O_APPEND, entry);
}

bool fileExists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}
