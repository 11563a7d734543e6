#include "journal/stream_mode.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace vam {
namespace {

struct ModeRow {
  const char* mode;
  int flags;
};

/// As POSIX gives the flags for each mode, and the C library those for its own letters.
TEST(StreamModeTest, Mode_HasTheFlagsThatItIsOpenedWith) {
  const ModeRow rows[] = {
      {"r", O_RDONLY},
      {"rb", O_RDONLY},
      {"r+", O_RDWR},
      {"rb+", O_RDWR},
      {"w", O_WRONLY | O_CREAT | O_TRUNC},
      {"w+b", O_RDWR | O_CREAT | O_TRUNC},
      {"wx", O_WRONLY | O_CREAT | O_TRUNC | O_EXCL},
      {"a", O_WRONLY | O_CREAT | O_APPEND},
      {"a+", O_RDWR | O_CREAT | O_APPEND},
      {"re", O_RDONLY | O_CLOEXEC},
      {"w+xe", O_RDWR | O_CREAT | O_TRUNC | O_EXCL | O_CLOEXEC},
  };
  for (const ModeRow& row : rows) {
    EXPECT_EQ(FlagsOfStream(row.mode), row.flags) << row.mode;
  }
}

}  // namespace
}  // namespace vam
