#include "simulator/state/file_replacement.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vam {
namespace {

class FileReplacementTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(mkdtemp(folder.data()), nullptr); }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::string Contents(const std::string& name) {
    std::ifstream file(folder + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  int Files() {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
  }

  std::string folder = ::testing::TempDir() + "vam-file-XXXXXX";
};

TEST_F(FileReplacementTest, MakesAndReplacesAFile) {
  const std::string path = folder + "/file";
  ASSERT_TRUE(ReplaceFile(path, "first text", 10));
  EXPECT_EQ(Contents("file"), "first text");
  ASSERT_TRUE(ReplaceFile(path, "a\0b", 3));
  EXPECT_EQ(Contents("file"), std::string("a\0b", 3));
  ASSERT_TRUE(ReplaceFile(path, "", 0));
  EXPECT_EQ(Contents("file"), "");
  EXPECT_EQ(Files(), 1) << "nothing else stays behind";
}

TEST_F(FileReplacementTest, KeepsTheOldFileWhenTheNewOneDoesNotFit) {
  ASSERT_TRUE(ReplaceFile(folder + "/file", "old", 3));
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit small = before;
  small.rlim_cur = 16;
  std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  const std::string large(64, 'x');
  const bool replaced = ReplaceFile(folder + "/file", large.data(), large.size());
  const int error = errno;
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_FALSE(replaced);
  EXPECT_EQ(error, EFBIG);
  EXPECT_EQ(Contents("file"), "old");
  EXPECT_EQ(Files(), 1);
}

TEST_F(FileReplacementTest, FailsWhereNoFileCanBe) {
  EXPECT_FALSE(ReplaceFile(folder + "/no/file", "x", 1));
  EXPECT_EQ(errno, ENOENT);
  std::filesystem::create_directory(folder + "/taken");
  EXPECT_FALSE(ReplaceFile(folder + "/taken", "x", 1));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(Files(), 1) << "the draft is gone";
}

}  // namespace
}  // namespace vam
