#include "simulator/run/group_witness.h"

#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

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

/// Takes each signal whose number comes in, and answers whether it waited for this process. Returns
/// when nobody can ask any more.
void Witness(int line) {
  sigset_t set;
  sigfillset(&set);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  unsigned char question = 0;
  while (read(line, &question, sizeof question) == sizeof question) {
    const bool answer = TakePending(question);
    send(line, &answer, sizeof answer, MSG_NOSIGNAL);
  }
}

}  // namespace

GroupWitness::GroupWitness() : witness(&Witness) {}

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
  bool answer = false;
  return send(witness.Line(), &question, sizeof question, MSG_NOSIGNAL) == sizeof question &&
         read(witness.Line(), &answer, sizeof answer) == sizeof answer && answer;
}

}  // namespace vam
