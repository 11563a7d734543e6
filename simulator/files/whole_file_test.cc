#include "simulator/files/whole_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "simulator/files/temporary_folder.h"

namespace vam {
namespace {

class WholeFileTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder.Path() + "/" + name; }
  int Files() const {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder.Path()), {}));
  }

  const TemporaryFolder folder{"vam-whole-file-test"};
};

TEST_F(WholeFileTest, File_IsReadToItsLastByte) {
  std::ofstream(Path("empty")).close();
  EXPECT_EQ(ReadWholeFile(Path("empty")), "");
  const std::string zeros("a\0b\n\0", 5);
  std::ofstream(Path("zeros"), std::ios::binary) << zeros;
  EXPECT_EQ(ReadWholeFile(Path("zeros")), zeros);
  const std::string large(200000, 'x');
  std::ofstream(Path("large")) << large;
  EXPECT_EQ(ReadWholeFile(Path("large")), large);
}

TEST_F(WholeFileTest, WhatCannotBeRead_LeavesItsCauseInErrno) {
  EXPECT_EQ(ReadWholeFile(Path("missing")), std::nullopt);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(ReadWholeFile(folder.Path()), std::nullopt);
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(WholeFileTest, ReplacedFile_HoldsTheNewBytesAlone) {
  ASSERT_TRUE(ReplaceFile(Path("file"), "first text", 10));
  EXPECT_EQ(ReadWholeFile(Path("file")), "first text");
  ASSERT_TRUE(ReplaceFile(Path("file"), "a\0b", 3));
  EXPECT_EQ(ReadWholeFile(Path("file")), std::string("a\0b", 3));
  ASSERT_TRUE(ReplaceFile(Path("file"), "", 0));
  EXPECT_EQ(ReadWholeFile(Path("file")), "");
  EXPECT_EQ(Files(), 1) << "nothing else is left in the folder";
}

TEST_F(WholeFileTest, BytesThatDoNotFit_LeaveTheOldFile) {
  ASSERT_TRUE(ReplaceFile(Path("file"), "old", 3));
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit small = before;
  small.rlim_cur = 16;
  std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  const std::string large(64, 'x');
  const bool replaced = ReplaceFile(Path("file"), large.data(), large.size());
  const int error = errno;
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_FALSE(replaced);
  EXPECT_EQ(error, EFBIG);
  EXPECT_EQ(ReadWholeFile(Path("file")), "old");
  EXPECT_EQ(Files(), 1);
}

TEST_F(WholeFileTest, PlaceWhereNoFileCanBe_LeavesItsCauseInErrno) {
  EXPECT_FALSE(ReplaceFile(Path("no/file"), "x", 1));
  EXPECT_EQ(errno, ENOENT);
  std::filesystem::create_directory(Path("taken"));
  EXPECT_FALSE(ReplaceFile(Path("taken"), "x", 1));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(Files(), 1) << "the draft is gone";
}

}  // namespace
}  // namespace vam
