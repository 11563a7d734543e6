#include "util/console_line.h"

#include <poll.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>

namespace vam {

namespace {

/// Returns `pieces` joined, with a newline at the end. Takes memory once.
std::string Line(std::initializer_list<std::string_view> pieces) {
  std::size_t size = 1;
  for (const std::string_view piece : pieces) {
    size += piece.size();
  }
  std::string line(size, '\n');
  char* end = line.data();
  for (const std::string_view piece : pieces) {
    end += piece.copy(end, piece.size());
  }
  return line;
}

}  // namespace

void PrintLine(std::initializer_list<std::string_view> pieces) {
  const std::string line = Line(pieces);
  // This system buffers nothing there, and to flush nothing costs half as much as the line.
  if (__fpending(stdout) != 0) {
    std::fflush(stdout);
  }
  std::size_t written = 0;
  while (written < line.size()) {
    const ssize_t count = write(STDOUT_FILENO, line.data() + written, line.size() - written);
    if (count != -1) {
      written += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {
      // Another holder of the same terminal or pipe may have made it non-blocking.
      pollfd output{STDOUT_FILENO, POLLOUT, 0};
      poll(&output, 1, -1);
    } else if (errno != EINTR) {
      return;
    }
  }
}

}  // namespace vam
