#include "simulator/run/companion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <string>
#include <type_traits>

#include "simulator/run/process_tree.h"

namespace vam {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

static_assert(!std::is_copy_constructible_v<Companion>);
static_assert(!std::is_copy_assignable_v<Companion>);

std::atomic<int> signalsThatCame;

/// Counts `signal`, which interrupts what waits.
void Count(int signal) {
  struct sigaction action = {};
  action.sa_handler = [](int) { ++signalsThatCame; };
  ASSERT_EQ(sigaction(signal, &action, nullptr), 0);
  signalsThatCame = 0;
}

/// Returns the next message, or an empty text at the end.
std::string Receive(int line) {
  char bytes[100];
  const ssize_t count = recv(line, bytes, sizeof bytes, 0);
  return {bytes, static_cast<std::size_t>(count > 0 ? count : 0)};
}

void Send(int line, const std::string& message) {
  send(line, message.data(), message.size(), MSG_NOSIGNAL);
}

TEST(CompanionTest, Child_TalksAndIsNotSeen) {
  Count(SIGCHLD);
  {
    const Companion companion([](int line) {
      for (std::string asked = Receive(line); !asked.empty(); asked = Receive(line)) {
        Send(line, asked + "?");
      }
    });
    EXPECT_THAT(DescendantsOf(getpid()), SizeIs(1));
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1);
    EXPECT_EQ(errno, ECHILD);
    Send(companion.Line(), "one");
    Send(companion.Line(), "two");
    EXPECT_EQ(Receive(companion.Line()), "one?");
    EXPECT_EQ(Receive(companion.Line()), "two?");
  }
  EXPECT_EQ(signalsThatCame, 0);
  EXPECT_THAT(DescendantsOf(getpid()), IsEmpty());
}

TEST(CompanionTest, Child_EndsAfterItsWork) {
  const Companion companion([](int) {});
  EXPECT_EQ(Receive(companion.Line()), "");
}

TEST(CompanionTest, Wait_ThatASignalInterrupts_GoesOn) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  Count(SIGALRM);
  const pid_t parent = getpid();
  {
    const Companion companion([&](int line) {
      Receive(line);
      for (int i = 0; i < 3; ++i) {
        usleep(50000);
        kill(parent, SIGALRM);
      }
      usleep(50000);
      _exit(write(ends[1], "!", 1) == 1 ? 0 : 1);
    });
  }
  EXPECT_EQ(signalsThatCame, 3);
  close(ends[1]);
  char word = 0;
  EXPECT_EQ(read(ends[0], &word, 1), 1);
  EXPECT_THAT(DescendantsOf(getpid()), IsEmpty());
  close(ends[0]);
}

}  // namespace
}  // namespace vam
