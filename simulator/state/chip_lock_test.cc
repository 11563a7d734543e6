#include "simulator/state/chip_lock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>

#include "simulator/files/temporary_folder.h"
#include "simulator/state/state_folder.h"
#include "tests/support/planned_calls.h"

namespace vam {
namespace {

using ::testing::ThrowsMessage;

static_assert(!std::is_copy_constructible_v<ChipLock>);
static_assert(!std::is_copy_assignable_v<ChipLock>);

class ChipLockTest : public testing::Test {
 protected:
  static std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }

  const TemporaryFolder folder{"vam-chip-lock-test"};
  const std::string file = ChipLockIn(folder.Path());
};

TEST_F(ChipLockTest, Chip_IsOneHoldersAtATime) {
  auto first = std::make_unique<ChipLock>(folder.Path());
  std::atomic<bool> isHeld = false;
  std::thread waiting([&] {
    const ChipLock second(folder.Path());
    isHeld = true;
  });
  // Long enough for a thread that does not wait.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(isHeld);
  first.reset();
  waiting.join();
  EXPECT_TRUE(isHeld);
}

TEST_F(ChipLockTest, Chip_IsFreedAlsoWhereAChildHasTheDescriptor) {
  auto lock = std::make_unique<ChipLock>(folder.Path());
  int toChild[2];
  ASSERT_EQ(pipe(toChild), 0);
  const pid_t child = fork();
  if (child == 0) {
    char byte = 0;
    close(toChild[1]);
    _exit(read(toChild[0], &byte, 1) == 0 ? 0 : 1);
  }
  lock.reset();
  const int other = open(file.c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
  close(other);
  close(toChild[0]);
  close(toChild[1]);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
}

TEST_F(ChipLockTest, Chip_IsFreedByAProcessThatIsKilled) {
  const pid_t child = fork();
  if (child == 0) {
    const ChipLock lock(folder.Path());
    static_cast<void>(raise(SIGKILL));
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  const ChipLock lock(folder.Path());
}

TEST_F(ChipLockTest, Lock_LeavesNoDescriptorAndAFileForEverybody) {
  const mode_t mask = umask(0);
  const auto before = OpenDescriptors();
  { const ChipLock lock(folder.Path()); }
  EXPECT_EQ(OpenDescriptors(), before);
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0666U);
}

TEST_F(ChipLockTest, ProgramWithoutStandardInput_LocksTheChipToo) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  { const ChipLock lock(folder.Path()); }
  if (input >= 0) {
    dup2(input, STDIN_FILENO);
    close(input);
  }
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(ChipLockTest, ExecutedProgram_DoesNotGetTheDescriptor) {
  PlannedCalls plans;
  plans.Before("flock",
               [](int descriptor) { EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0); });
  const ChipLock lock(folder.Path());
}

TEST_F(ChipLockTest, InterruptedWaiting_GoesOn) {
  PlannedCalls plans;
  plans.Fail("flock", EINTR);
  plans.Fail("flock", EINTR);
  const ChipLock lock(folder.Path());
  const int other = open(file.c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
  close(other);
}

TEST_F(ChipLockTest, FileSystemWithoutLocks_IsNamedWithWhatToDo) {
  const auto before = OpenDescriptors();
  PlannedCalls plans;
  plans.Fail("flock", ENOLCK);
  EXPECT_THAT([&] { ChipLock(folder.Path()); },
              ThrowsMessage<std::runtime_error>(
                  file + ": the chip cannot be locked: No locks available; give a folder that you "
                         "can write to with --state"));
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(ChipLockTest, FailureToClose_DoesNotHideWhyTheLockFailed) {
  PlannedCalls plans;
  plans.Fail("flock", ENOLCK);
  plans.Fail("close", EIO);
  EXPECT_THAT([&] { ChipLock(folder.Path()); },
              ThrowsMessage<std::runtime_error>(testing::HasSubstr("No locks available")));
}

TEST_F(ChipLockTest, MissingFolder_IsNamedWithWhatToDo) {
  const std::string missing = folder.Path() + "/missing";
  EXPECT_THAT([&] { ChipLock{missing}; },
              ThrowsMessage<std::runtime_error>(
                  missing + "/chip.lock: the chip cannot be locked: No such file or directory; "
                            "give a folder that you can write to with --state"));
}

TEST_F(ChipLockTest, LockThatIsALink_IsNotFollowed) {
  std::filesystem::create_symlink(folder.Path() + "/stranger", file);
  EXPECT_THAT([&] { ChipLock(folder.Path()); },
              ThrowsMessage<std::runtime_error>(
                  testing::HasSubstr(": Too many levels of symbolic links; ")));
  EXPECT_FALSE(std::filesystem::exists(folder.Path() + "/stranger"));
}

}  // namespace
}  // namespace vam
