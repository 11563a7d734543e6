#include "util/standard_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>

namespace vam {
namespace {

/// Makes `descriptor` the standard output of a death test's process.
void PutStandardOutputOn(int descriptor) {
  if (descriptor < 0 || dup2(descriptor, STDOUT_FILENO) < 0) {
    _exit(100);
  }
}

[[noreturn]] void WriteToFullDevice() {
  PutStandardOutputOn(open("/dev/full", O_WRONLY));
  _exit(WriteToStandardOutput("text") == ENOSPC ? 0 : 1);
}

TEST(StandardOutputTest, Write_DeviceFull_ReturnsTheReason) {
  EXPECT_EXIT(WriteToFullDevice(), testing::ExitedWithCode(0), "");
}

[[noreturn]] void FlushToFullDevice() {
  PutStandardOutputOn(open("/dev/full", O_WRONLY));
  std::fputs("buffered", stdout);
  _exit(WriteToStandardOutput("") == ENOSPC ? 0 : 1);
}

TEST(StandardOutputTest, Write_BufferedTextLost_ReturnsTheReason) {
  EXPECT_EXIT(FlushToFullDevice(), testing::ExitedWithCode(0), "");
}

[[noreturn]] void WriteToNobody() {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) {
    _exit(100);
  }
  close(ends[0]);
  PutStandardOutputOn(ends[1]);
  const bool isTold = WriteToStandardOutput("text") == EPIPE;
  // The signal has its old effect again, and none is left over.
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  _exit(isTold && sigismember(&pending, SIGPIPE) == 0 ? 0 : 1);
}

TEST(StandardOutputTest, Write_ReaderGone_ReturnsTheReasonAndLeavesNoSignal) {
  EXPECT_EXIT(WriteToNobody(), testing::ExitedWithCode(0), "");
}

[[noreturn]] void WriteWithoutStreams() {
  const int lowestFree = dup(STDERR_FILENO);
  close(lowestFree);
  close(STDIN_FILENO);
  close(STDOUT_FILENO);
  HoldClosedStandardStreams();
  char byte = 0;
  const bool isHeld = open("/dev/null", O_RDWR) == lowestFree;
  const bool isUseless = WriteToStandardOutput("text") == EBADF &&
                         read(STDIN_FILENO, &byte, 1) == -1 && errno == EBADF;
  _exit(isHeld && isUseless ? 0 : 1);
}

TEST(StandardOutputTest, Write_StreamsClosed_ReturnsTheReason) {
  EXPECT_EXIT(WriteWithoutStreams(), testing::ExitedWithCode(0), "");
}

[[noreturn]] void WriteToSlowPipe(std::size_t size) {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_NONBLOCK) != 0) {
    _exit(100);
  }
  PutStandardOutputOn(ends[1]);
  close(ends[1]);
  std::size_t received = 0;
  std::thread reader([&] {
    char bytes[4096];
    while (received < size) {
      const ssize_t count = read(ends[0], bytes, sizeof bytes);
      received += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
  });
  const int result = WriteToStandardOutput(std::string(size, 'x'));
  reader.join();
  _exit(result == 0 ? 0 : 1);
}

TEST(StandardOutputTest, Write_PipeThatDoesNotBlock_WritesAll) {
  EXPECT_EXIT(WriteToSlowPipe(std::size_t{1} << 20), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vam
