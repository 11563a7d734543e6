// Runs a program's tests. A test that cannot run here must not be taken for one that passed: where
// all others pass, the program ends with the status that ctest reports as not run.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>

namespace {

/// The SKIP_RETURN_CODE of all tests.
constexpr int kNotRun = 77;

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // Where a user's own mask takes more, what a test makes would be hidden from others.
  umask(022);
  const int status = RUN_ALL_TESTS();
  const int skipped = testing::UnitTest::GetInstance()->skipped_test_count();
  if (status != 0 || skipped == 0) {
    return status;
  }
  std::printf("not run: %d tests; the reasons are above\n", skipped);
  return kNotRun;
}
