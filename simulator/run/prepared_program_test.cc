#include "simulator/run/prepared_program.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>
#include <type_traits>
#include <vector>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/run/process_tree.h"

namespace vam {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

static_assert(!std::is_copy_constructible_v<PreparedProgram>);
static_assert(!std::is_copy_assignable_v<PreparedProgram>);

class PreparedProgramTest : public ::testing::Test {
 protected:
  /// Starts `program` and waits for it. Returns its exit status, or -1.
  int Run(PreparedProgram& program) {
    const std::string path = Output();
    const int output = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const pid_t process = program.Start("/run-folder", output);
    close(output);
    int status = 0;
    return process > 0 && waitpid(process, &status, 0) == process && WIFEXITED(status)
               ? WEXITSTATUS(status)
               : -1;
  }

  std::string Output() const { return folder.Path() + "/output"; }
  std::string WhatWasSaid() const { return ReadWholeFile(Output()).value_or(""); }

  TemporaryFolder folder{"vam-prepared-program-test"};
};

TEST_F(PreparedProgramTest, EachStart_IsAProcessOfItsOwnOnItsBoard) {
  PreparedProgram program({"/usr/bin/env"}, VAM_STAND_INS);
  ASSERT_TRUE(program.IsReady());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Run(program), 0);
    EXPECT_THAT(WhatWasSaid(), HasSubstr("VAM_BOARD_RUN=/run-folder\n"));
    EXPECT_THAT(WhatWasSaid(), Not(HasSubstr("VAM_BOARD_PREPARED")));
    EXPECT_THAT(WhatWasSaid(), Not(HasSubstr("LD_BIND_NOW")));
  }
}

TEST_F(PreparedProgramTest, BoundVariableOfTheCaller_StaysTheProgramsToo) {
  setenv("LD_BIND_NOW", "mine", 1);
  PreparedProgram program({"/usr/bin/env"}, VAM_STAND_INS);
  unsetenv("LD_BIND_NOW");
  ASSERT_TRUE(program.IsReady());
  EXPECT_EQ(Run(program), 0);
  EXPECT_THAT(WhatWasSaid(), HasSubstr("LD_BIND_NOW=mine\n"));
}

TEST_F(PreparedProgramTest, Process_HasTheCallersFolderAndStatus) {
  PreparedProgram program({"/bin/sh", "-c", "pwd; exit 7"}, VAM_STAND_INS);
  ASSERT_TRUE(program.IsReady());
  ASSERT_EQ(chdir(folder.Path().c_str()), 0);
  EXPECT_EQ(Run(program), 7);
  EXPECT_EQ(WhatWasSaid(), folder.Path() + "\n");
  ASSERT_EQ(chdir("/"), 0);
}

TEST_F(PreparedProgramTest, Output_ThatIsClosed_IsClosedForTheProcess) {
  PreparedProgram program({"/bin/sh", "-c", "[ ! -e /proc/self/fd/1 ]"}, VAM_STAND_INS);
  ASSERT_TRUE(program.IsReady());
  const pid_t process = program.Start("/run-folder", -1);
  int status = -1;
  ASSERT_EQ(waitpid(process, &status, 0), process);
  EXPECT_EQ(status, 0);
}

TEST_F(PreparedProgramTest, EachStart_HasTheSameDescriptors) {
  PreparedProgram program({"/bin/ls", "/proc/self/fd"}, VAM_STAND_INS);
  ASSERT_TRUE(program.IsReady());
  EXPECT_EQ(Run(program), 0);
  const std::string first = WhatWasSaid();
  const pid_t withoutOutput = program.Start("/run-folder", -1);
  ASSERT_EQ(waitpid(withoutOutput, nullptr, 0), withoutOutput);
  EXPECT_EQ(Run(program), 0);
  EXPECT_EQ(WhatWasSaid(), first);
}

TEST_F(PreparedProgramTest, WhatGetsNoPreloadedLibrary_IsNotReady) {
  const std::string script = folder.Path() + "/script";
  std::ofstream(script) << "#!/bin/sh\ntouch " + folder.Path() + "/ran\n";
  ASSERT_EQ(chmod(script.c_str(), 0755), 0);
  EXPECT_FALSE(PreparedProgram({script}, VAM_STAND_INS).IsReady());
  EXPECT_FALSE(PreparedProgram({folder.Path() + "/missing"}, VAM_STAND_INS).IsReady());
  const std::string privileged = folder.Path() + "/privileged";
  std::ofstream(privileged, std::ios::binary) << ReadWholeFile("/bin/true").value_or("");
  ASSERT_EQ(chmod(privileged.c_str(), 04755), 0);
  EXPECT_FALSE(PreparedProgram({privileged}, VAM_STAND_INS).IsReady());
  EXPECT_FALSE(ReadWholeFile(folder.Path() + "/ran"));
}

TEST_F(PreparedProgramTest, ProgramThatNamesNoLinker_IsNotReady) {
  // The linker itself is such a program.
  Dl_info linker;
  ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "_r_debug"), &linker), 0);
  EXPECT_FALSE(PreparedProgram({linker.dli_fname, "/bin/true"}, VAM_STAND_INS).IsReady());
}

TEST_F(PreparedProgramTest, ProgramThatDoesNotWait_IsNotReady) {
  // Nothing is preloaded from there, so that the program runs and ends.
  PreparedProgram program({"/bin/true"}, folder.Path());
  EXPECT_FALSE(program.IsReady());
  EXPECT_EQ(program.Start("/run-folder", STDOUT_FILENO), -1);
  EXPECT_TRUE(DescendantsOf(getpid()).empty());
}

TEST_F(PreparedProgramTest, KilledLauncher_TakesAProgramAlongThatDoesNotWait) {
  // Who outlives it becomes this process's child.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  const pid_t launcher = fork();
  if (launcher == 0) {
    const PreparedProgram program({"/bin/sleep", "1000"}, folder.Path());
    _exit(0);
  }
  const auto nameOf = [](pid_t process) {
    return ReadWholeFile("/proc/" + std::to_string(process) + "/comm").value_or("");
  };
  std::vector<pid_t> processes;
  do {
    processes = DescendantsOf(launcher);
  } while (processes.empty() || nameOf(processes.back()) != "sleep\n");
  kill(launcher, SIGKILL);
  waitpid(launcher, nullptr, 0);
  for (const pid_t process : processes) {
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, __WALL), process);
    EXPECT_EQ(status, SIGKILL);
  }
}

TEST_F(PreparedProgramTest, ProgramThatWasKilled_IsNotReadyAtItsNextStart) {
  PreparedProgram program({"/bin/true"}, VAM_STAND_INS);
  ASSERT_TRUE(program.IsReady());
  EXPECT_EQ(Run(program), 0);
  for (const pid_t process : DescendantsOf(getpid())) {
    kill(process, SIGKILL);
  }
  EXPECT_EQ(program.Start("/run-folder", STDOUT_FILENO), -1);
  EXPECT_FALSE(program.IsReady());
}

}  // namespace
}  // namespace vam
