#include "util/standard_streams.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace {

bool IsNull(int descriptor) {
  struct stat status = {};
  return fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode) &&
         status.st_rdev == makedev(1, 3);
}

/// Closes `closed`, secures the streams and ends the process: 0 when the closed ones, and they
/// alone, are on the null device, and no further descriptor was taken.
[[noreturn]] void SecureWithout(const std::vector<int>& closed) {
  int other[2] = {-1, -1};
  if (pipe(other) != 0 || dup2(other[1], 0) < 0 || dup2(other[1], 1) < 0 || dup2(other[1], 2) < 0) {
    _exit(10);
  }
  const int free = dup(STDERR_FILENO);
  close(free);
  for (const int descriptor : closed) {
    close(descriptor);
  }
  vam::SecureStandardStreams();
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    const bool wasClosed = std::count(closed.begin(), closed.end(), descriptor) != 0;
    if (IsNull(descriptor) != wasClosed) {
      _exit(1 + descriptor);
    }
  }
  // The lowest descriptor that was free before still is.
  _exit(dup(STDERR_FILENO) == free ? 0 : 4);
}

class ClosedStreamsTest : public testing::TestWithParam<std::vector<int>> {};

TEST_P(ClosedStreamsTest, SecureStandardStreams_StreamsClosed_OpensTheNullDevice) {
  EXPECT_EXIT(SecureWithout(GetParam()), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(Streams, ClosedStreamsTest,
                         testing::Values(std::vector<int>{}, std::vector<int>{0},
                                         std::vector<int>{1}, std::vector<int>{2},
                                         std::vector<int>{0, 2}, std::vector<int>{1, 2},
                                         std::vector<int>{0, 1, 2}));

/// Writes to a pipe without a reader and ends the process with 0 when only the write failed.
[[noreturn]] void WriteWithoutReader() {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) {
    _exit(10);
  }
  close(ends[0]);
  vam::SecureStandardStreams();
  _exit(write(ends[1], "x", 1) == -1 ? 0 : 1);
}

TEST(StandardStreamsTest, SecureStandardStreams_ReaderGone_ProcessGoesOn) {
  EXPECT_EXIT(WriteWithoutReader(), testing::ExitedWithCode(0), "");
}

}  // namespace
