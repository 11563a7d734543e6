#include "simulator/run/process_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace vam {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(ProcessTreeTest, Descendants_AreChildrenAndTheirs) {
  EXPECT_THAT(DescendantsOf(getpid()), IsEmpty());
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    // A name that looks like what follows it.
    prctl(PR_SET_NAME, "a) S 1 (b");
    const pid_t grandchild = fork();
    if (grandchild != 0 && write(ends[1], &grandchild, sizeof grandchild) < 0) {
      _exit(1);
    }
    pause();
    _exit(0);
  }
  pid_t grandchild = 0;
  ASSERT_EQ(read(ends[0], &grandchild, sizeof grandchild), ssize_t{sizeof grandchild});
  EXPECT_THAT(DescendantsOf(getpid()), ElementsAre(child, grandchild));
  EXPECT_THAT(DescendantsOf(child), ElementsAre(grandchild));
  EXPECT_THAT(DescendantsOf(grandchild), IsEmpty());
  kill(grandchild, SIGKILL);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace vam
