#include "util/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

namespace vam {

void FillStandardStreams() {
  int descriptor = 0;
  // Each open takes the lowest free descriptor, so closed standard streams are filled in turn.
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor > STDERR_FILENO) {
    close(descriptor);
  }
}

void SecureStandardStreams() {
  std::signal(SIGPIPE, SIG_IGN);
  FillStandardStreams();
}

}  // namespace vam
