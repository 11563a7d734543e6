#include "simulator/run/group_witness.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string>

namespace vam {

namespace {

/// Takes `signal` if it waits for this process. Returns whether it did.
bool TakePending(int signal) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  const timespec noTime = {};
  return sigtimedwait(&set, nullptr, &noTime) == signal;
}

/// Takes each signal whose number comes in, and answers with 1 if it waited for this process, else
/// with 0. Ends when nobody can ask any more.
[[noreturn]] void Witness(int line) {
  sigset_t set;
  sigfillset(&set);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  unsigned char question = 0;
  while (read(line, &question, 1) == 1) {
    const unsigned char answer = TakePending(question) ? 1 : 0;
    if (send(line, &answer, 1, MSG_NOSIGNAL) != 1) {
      break;
    }
  }
  _exit(0);
}

}  // namespace

GroupWitness::GroupWitness() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::runtime_error(std::string("no pair of sockets: ") + std::strerror(errno));
  }
  line = ends[0];
  // A fork without an exit signal: who waits for children does not see the witness among them.
  process = static_cast<pid_t>(syscall(SYS_clone, 0L, nullptr, nullptr, nullptr, 0L));
  if (process == 0) {
    close(line);
    Witness(ends[1]);
  }
  const int error = errno;
  close(ends[1]);
  if (process < 0) {
    close(line);
    throw std::runtime_error(std::string("no process: ") + std::strerror(error));
  }
}

GroupWitness::~GroupWitness() {
  close(line);
  while (waitpid(process, nullptr, static_cast<int>(__WCLONE)) < 0 && errno == EINTR) {
  }
}

bool GroupWitness::Saw(int signal) const {
  bool saw = false;
  // The kernel gives a group's signal to its youngest process first: the witness has it before this
  // process does. Several that came in a row are one to each, but not the same one.
  while (Took(signal)) {
    saw = true;
    // Another one may have reached the witness alone so far. The kernel gives a group its signal
    // and changes a group one after the other, so that it then has reached this process too.
    setpgid(0, getpgrp());
    TakePending(signal);
  }
  return saw;
}

bool GroupWitness::Took(int signal) const {
  const auto question = static_cast<unsigned char>(signal);
  unsigned char answer = 0;
  return send(line, &question, 1, MSG_NOSIGNAL) == 1 && read(line, &answer, 1) == 1 && answer != 0;
}

}  // namespace vam
