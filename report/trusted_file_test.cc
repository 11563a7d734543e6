#include "report/trusted_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <utility>

namespace vam {
namespace {

TEST(DescriptorTest, Default_IsNotOpen) { EXPECT_FALSE(Descriptor().IsOpen()); }

TEST(DescriptorTest, Zero_IsOpenAndIsClosed) {
  const int standardInput = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  ASSERT_NE(standardInput, -1);
  close(STDIN_FILENO);
  {
    const Descriptor opened = OpenForReading(AT_FDCWD, "/dev/null");
    EXPECT_EQ(opened.Number(), STDIN_FILENO);
    EXPECT_TRUE(opened.IsOpen());
  }
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
  dup2(standardInput, STDIN_FILENO);
  close(standardInput);
}

TEST(DescriptorTest, Moved_IsClosedWithTheOther) {
  Descriptor first = OpenForReading(AT_FDCWD, "/dev/null");
  const int number = first.Number();
  {
    const Descriptor second = std::move(first);
    EXPECT_EQ(second.Number(), number);
    // NOLINTNEXTLINE(bugprone-use-after-move)
    EXPECT_FALSE(first.IsOpen());
  }
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
}

}  // namespace
}  // namespace vam
