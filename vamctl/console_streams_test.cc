#include "vamctl/console_streams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace vam {
namespace {

static_assert(!std::is_copy_constructible_v<StandardOutputMoved>);
static_assert(!std::is_copy_assignable_v<StandardOutputMoved>);

std::string Contents(int descriptor) {
  char buffer[100];
  const ssize_t count = pread(descriptor, buffer, sizeof buffer, 0);
  return std::string(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
}

/// Writes before, while and after standard output goes to standard error. Returns 0 when all was
/// written and no descriptor was left open.
int WriteThrice() {
  const int free = dup(STDERR_FILENO);
  close(free);
  bool written = write(STDOUT_FILENO, "before ", 7) == 7;
  {
    const StandardOutputMoved lines(STDERR_FILENO);
    written = written && write(STDOUT_FILENO, "lines ", 6) == 6;
    written = written && write(STDERR_FILENO, "errors", 6) == 6;
  }
  written = written && write(STDOUT_FILENO, "after", 5) == 5;
  return written ? dup(STDERR_FILENO) - free : -1;
}

TEST(StandardOutputMoved, WhileItLives_TakesStandardOutputElsewhere) {
  const int output = memfd_create("output", MFD_CLOEXEC);
  const int error = memfd_create("error", MFD_CLOEXEC);
  ASSERT_GE(output, 0);
  ASSERT_GE(error, 0);
  // In a process of its own, whose streams these become.
  EXPECT_EXIT(
      {
        dup2(output, STDOUT_FILENO);
        dup2(error, STDERR_FILENO);
        _exit(WriteThrice());
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EQ(Contents(output), "before after");
  EXPECT_EQ(Contents(error), "lines errors");
  close(output);
  close(error);
}

TEST(StandardOutputMoved, ClosedDescriptor_IsRefused) {
  EXPECT_THROW(StandardOutputMoved(-1), std::runtime_error);
}

TEST(OnTerminal, OtherStreams_AreNone) {
  EXPECT_EXIT(
      {
        const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
        dup2(nowhere, STDIN_FILENO);
        dup2(nowhere, STDERR_FILENO);
        _exit(OnTerminal() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vam
