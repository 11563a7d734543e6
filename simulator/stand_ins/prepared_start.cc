// Starts a prepared program: waits before its main, and lets each started process go on into it.

#include "simulator/stand_ins/prepared_start.h"

#include <dlfcn.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

#include "simulator/run/prepared_start.h"
#include "simulator/run/run.h"

namespace vam {

namespace {

constexpr int kMostDescriptors = 2;

/// Receives a request and its descriptors: standard error first. Returns false at the end.
bool Receive(int line, StartRequest& request, int (&descriptors)[kMostDescriptors]) {
  iovec place = {&request, sizeof request};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof descriptors)] = {};
  msghdr message = {};
  message.msg_iov = &place;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  // Before main there is no handler of a signal that could interrupt it.
  const ssize_t size = recvmsg(line, &message, MSG_CMSG_CLOEXEC);
  const cmsghdr* head = CMSG_FIRSTHDR(&message);
  const int expected = request.hasOutput ? kMostDescriptors : 1;
  if (size != sizeof request || head == nullptr ||
      head->cmsg_len != CMSG_LEN(static_cast<std::size_t>(expected) * sizeof(int))) {
    return false;
  }
  std::memcpy(descriptors, CMSG_DATA(head), static_cast<std::size_t>(expected) * sizeof(int));
  return true;
}

/// In the started process: becomes what the request asks for.
void Become(const StartRequest& request, const int (&descriptors)[kMostDescriptors],
            pid_t between) {
  // The signal would come at the end of the process between them.
  while (getppid() == between) {
    sched_yield();
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != request.launcher || chdir(request.workingFolder) != 0) {
    _exit(1);
  }
  dup2(descriptors[0], STDERR_FILENO);
  close(descriptors[0]);
  if (request.hasOutput) {
    dup2(descriptors[1], STDOUT_FILENO);
    close(descriptors[1]);
  } else {
    close(STDOUT_FILENO);
  }
  setenv(Run::kEnvironmentVariable, request.runFolder, 1);
}

/// Does once what every process would do again: libcrypto reads its tables.
void WarmUp() {
  using Initialize = int(unsigned long long, const void*);
  using Digest = unsigned char*(const unsigned char*, std::size_t, unsigned char*);
  constexpr unsigned long long kLoadConfiguration = 0x40;
  auto* const initialize =
      reinterpret_cast<Initialize*>(dlsym(RTLD_DEFAULT, "OPENSSL_init_crypto"));
  auto* const digest = reinterpret_cast<Digest*>(dlsym(RTLD_DEFAULT, "SHA256"));
  if (initialize != nullptr && digest != nullptr) {
    unsigned char sum[32];
    initialize(kLoadConfiguration, nullptr);
    digest(sum, 0, sum);
  }
}

}  // namespace

bool WaitForStart() {
  const char* number = std::getenv(kPreparedLineVariable);
  if (number == nullptr) {
    return false;
  }
  const int line = static_cast<int>(std::strtol(number, nullptr, 10));
  unsetenv(kPreparedLineVariable);
  const char* bindNow = std::getenv(kBindNowVariable);
  if (bindNow != nullptr && std::strcmp(bindNow, kBoundHere) == 0) {
    unsetenv(kBindNowVariable);
  }
  WarmUp();
  static_cast<void>(send(line, "", 1, MSG_NOSIGNAL));
  static StartRequest request;
  int descriptors[kMostDescriptors];
  while (Receive(line, request, descriptors)) {
    // The process between ends at once, so that the launcher, which adopts orphans, becomes the
    // parent. It shares this one's memory, and is as cheap as a thread.
    volatile pid_t started = -1;
    // NOLINTBEGIN(clang-analyzer-unix.Vfork,clang-analyzer-security.insecureAPI.vfork)
    const pid_t between = vfork();
    if (between == 0) {
      const pid_t self = getpid();
      // Without what a fork does to the memory, which is not this process's.
      started = static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, 0L));
      if (started == 0) {
        close(line);
        Become(request, descriptors, self);
        return true;
      }
      _exit(0);
    }
    // NOLINTEND(clang-analyzer-unix.Vfork,clang-analyzer-security.insecureAPI.vfork)
    waitpid(between, nullptr, 0);
    const pid_t process = started;
    static_cast<void>(send(line, &process, sizeof process, MSG_NOSIGNAL));
    close(descriptors[0]);
    if (request.hasOutput) {
      close(descriptors[1]);
    }
  }
  _exit(0);
}

}  // namespace vam
