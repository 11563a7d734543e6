#include "util/write_signals.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <type_traits>

namespace vam {
namespace {

static_assert(!std::is_copy_constructible_v<WriteSignalsHeld>);
static_assert(!std::is_copy_assignable_v<WriteSignalsHeld>);

/// What a process of its own finds.
[[noreturn]] void EndWith(bool isRight) { _exit(isRight ? 0 : 1); }

bool IsPending(int signal) {
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  return sigismember(&pending, signal) == 1;
}

bool IsBlocked(int signal) {
  sigset_t blocked;
  sigemptyset(&blocked);
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  return sigismember(&blocked, signal) == 1;
}

void Block(int signal) {
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, signal);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

[[noreturn]] void RaiseWhileHeld(int signal) {
  bool isHeld = false;
  {
    const WriteSignalsHeld held;
    pthread_kill(pthread_self(), signal);
    isHeld = IsPending(signal);
    errno = ERANGE;
  }
  EndWith(isHeld && errno == ERANGE && !IsPending(signal) && !IsBlocked(signal));
}

TEST(WriteSignalsHeldTest, SignalOfAWrite_IsTakenAway) {
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    EXPECT_EXIT(RaiseWhileHeld(signal), testing::ExitedWithCode(0), "") << signal;
  }
}

[[noreturn]] void RaiseOther() {
  const WriteSignalsHeld held;
  std::raise(SIGTERM);
  EndWith(false);
}

TEST(WriteSignalsHeldTest, OtherSignal_Comes) {
  EXPECT_EXIT(RaiseOther(), testing::KilledBySignal(SIGTERM), "");
}

[[noreturn]] void RaiseBefore(int signal) {
  Block(signal);
  pthread_kill(pthread_self(), signal);
  {
    const WriteSignalsHeld held;
    pthread_kill(pthread_self(), signal);
  }
  EndWith(IsPending(signal) && IsBlocked(signal));
}

TEST(WriteSignalsHeldTest, SignalOfTheProgramsOwn_StaysItsOwn) {
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    EXPECT_EXIT(RaiseBefore(signal), testing::ExitedWithCode(0), "") << signal;
  }
}

}  // namespace
}  // namespace vam
