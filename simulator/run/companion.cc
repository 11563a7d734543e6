#include "simulator/run/companion.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>

namespace vam {

namespace {

[[noreturn]] void FailOn(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

Companion::Companion(const std::function<void(int line)>& work) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    FailOn("no pair of sockets");
  }
  line = ends[0];
  // A fork whose child sends no signal at its end: such children are waited for apart.
  process = static_cast<pid_t>(syscall(SYS_clone, 0L, nullptr, nullptr, nullptr, 0L));
  if (process == 0) {
    close(line);
    work(ends[1]);
    _exit(EXIT_SUCCESS);
  }
  close(ends[1]);
  if (process == -1) {
    close(line);
    FailOn("no process");
  }
}

Companion::~Companion() {
  close(line);
  while (waitpid(process, nullptr, static_cast<int>(__WCLONE)) == -1 && errno == EINTR) {
  }
}

}  // namespace vam
