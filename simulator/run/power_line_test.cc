#include "simulator/run/power_line.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "simulator/files/temporary_folder.h"

namespace vam {
namespace {

static_assert(!std::is_copy_constructible_v<PowerLine>);
static_assert(!std::is_copy_assignable_v<PowerLine>);

class PowerLineTest : public ::testing::Test {
 protected:
  /// Runs `work` in a child until it ends or stops. Returns the status of waitpid().
  template <typename Work>
  int StatusOf(Work work) {
    child = fork();
    if (child == 0) {
      work();
      _exit(3);
    }
    int status = 0;
    waitpid(child, &status, WUNTRACED);
    return status;
  }

  std::string Refusal() const {
    try {
      const PowerLine line(folder.Path());
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "none";
  }

  const TemporaryFolder folder{"vam-power-line-test"};
  pid_t child = -1;
};

bool IsReadable(const PowerLine& line) {
  pollfd event = {line.Descriptor(), POLLIN, 0};
  return poll(&event, 1, 0) == 1;
}

TEST_F(PowerLineTest, Cut_WithALauncher_StopsTheProcessAndIsSeen) {
  const PowerLine line(folder.Path());
  EXPECT_FALSE(IsReadable(line));
  const int status = StatusOf([this] { CutPower(folder.Path()); });
  EXPECT_TRUE(WIFSTOPPED(status));
  EXPECT_TRUE(IsReadable(line));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_TRUE(IsReadable(line)) << "it stays so";
}

TEST_F(PowerLineTest, Cut_WithoutALauncher_EndsTheProcess) {
  const auto isKilled = [](int status) {
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  };
  EXPECT_TRUE(isKilled(StatusOf([this] { CutPower(folder.Path()); })));
  { const PowerLine ended(folder.Path()); }
  EXPECT_TRUE(isKilled(StatusOf([this] { CutPower(folder.Path()); })));
  const int status = StatusOf([this] { CutPowerAtLauncher(folder.Path()); });
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3) << "there is nobody who would end it";
}

TEST_F(PowerLineTest, Line_IsThePrivateFifoOfItsRun) {
  const PowerLine line(folder.Path());
  struct stat status = {};
  ASSERT_EQ(stat((folder.Path() + "/power").c_str(), &status), 0);
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_EQ(Refusal(), folder.Path() + "/power: File exists");
}

}  // namespace
}  // namespace vam
