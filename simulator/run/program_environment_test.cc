#include "simulator/run/program_environment.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace vam {
namespace {

class ProgramEnvironmentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"LD_LIBRARY_PATH", "LD_PRELOAD", "ASAN_OPTIONS"}) {
      unsetenv(name);
    }
  }
  void TearDown() override { SetUp(); }

  static std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "none" : value;
  }
};

TEST_F(ProgramEnvironmentTest, StandIns_AreLoadedFromTheirFolder) {
  SetUpProgramEnvironment("/stand-ins", false);
  EXPECT_EQ(Variable("LD_LIBRARY_PATH"), "/stand-ins");
  EXPECT_EQ(Variable("LD_PRELOAD"), "/stand-ins/libvam_device_node.so");
  EXPECT_EQ(Variable("ASAN_OPTIONS"), "verify_asan_link_order=0");
}

TEST_F(ProgramEnvironmentTest, WhatTheCallerHas_ComesAfterThem) {
  setenv("LD_LIBRARY_PATH", "/mine", 1);
  setenv("LD_PRELOAD", "mine.so", 1);
  setenv("ASAN_OPTIONS", "", 1);
  SetUpProgramEnvironment("/stand-ins", true);
  EXPECT_EQ(Variable("LD_LIBRARY_PATH"), "/stand-ins:/mine");
  EXPECT_EQ(Variable("LD_PRELOAD"),
            "/stand-ins/libvam_scarce_memory.so:/stand-ins/libvam_device_node.so:mine.so");
  EXPECT_EQ(Variable("ASAN_OPTIONS"), "verify_asan_link_order=0");
}

TEST_F(ProgramEnvironmentTest, FolderWithABlank_IsLeftToTheSearch) {
  SetUpProgramEnvironment("/stand ins", true);
  EXPECT_EQ(Variable("LD_LIBRARY_PATH"), "/stand ins");
  EXPECT_EQ(Variable("LD_PRELOAD"), "libvam_scarce_memory.so:libvam_device_node.so");
}

TEST_F(ProgramEnvironmentTest, Program_GetsItsArgumentsAndIsSearchedInPath) {
  const pid_t child = fork();
  if (child == 0) {
    ExecuteProgram({"sh", "-c", "[ \"$*\" = 'a b c' ] && [ $# = 2 ]", "sh", "a b", "c"});
    _exit(1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace vam
