#include "util/console_line.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string>

namespace vam {

void PrintLine(std::string text) {
  text += '\n';
  std::fflush(stdout);
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(STDOUT_FILENO, text.data() + written, text.size() - written);
    if (count >= 0) {
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
