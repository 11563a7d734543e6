#ifndef JOURNAL_STREAM_MODE_H_
#define JOURNAL_STREAM_MODE_H_

#include <fcntl.h>

#include <cstring>

namespace vam {

/// Returns the flags of open() that `mode` stands for in fopen(): a journal tells both alike.
[[nodiscard]] inline int FlagsOfStream(const char* mode) {
  int flags = O_RDONLY;
  if (*mode == 'w') {
    flags = O_WRONLY | O_CREAT | O_TRUNC;
  } else if (*mode == 'a') {
    flags = O_WRONLY | O_CREAT | O_APPEND;
  }
  if (std::strchr(mode, '+') != nullptr) {
    flags = (flags & ~O_ACCMODE) | O_RDWR;
  }
  return flags | (std::strchr(mode, 'x') != nullptr ? O_EXCL : 0) |
         (std::strchr(mode, 'e') != nullptr ? O_CLOEXEC : 0);
}

}  // namespace vam

#endif  // JOURNAL_STREAM_MODE_H_
