#include "simulator/run/board_status.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <ios>
#include <stdexcept>
#include <string>

#include "simulator/files/temporary_folder.h"

namespace vam {
namespace {

class BoardStatusTest : public testing::Test {
 protected:
  void Append(const char* name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::app) << text;
  }
  std::string Path(const char* name) const { return folder.Path() + "/" + name; }
  std::string Described() const { return BoardStatus(folder.Path()).Describe(); }

  const TemporaryFolder folder{"board-status-test"};
};

TEST_F(BoardStatusTest, NoFiles_AreSaidToBeNone) { EXPECT_EQ(Described(), "Status files: none\n"); }

TEST_F(BoardStatusTest, BothFiles_AreShownByTheirNamesOnTheBoard) {
  Append("VAM_OK", "Updated FW version: 1.1 \n");
  Append("VAM_FAIL", "VAM_RET_NOT_IMPLEMENTED 0 \n");
  EXPECT_EQ(Described(),
            "Status files:\n"
            "  /tmp/VAM_OK\n"
            "    Updated FW version: 1.1 \n"
            "  /tmp/VAM_FAIL\n"
            "    VAM_RET_NOT_IMPLEMENTED 0 \n");
}

TEST_F(BoardStatusTest, EmptyFile_IsShownWithoutLines) {
  Append("VAM_OK", "");
  EXPECT_EQ(Described(), "Status files:\n  /tmp/VAM_OK\n");
}

TEST_F(BoardStatusTest, LongFile_ShowsItsLastTwelveLines) {
  std::string last;
  for (int i = 1; i <= 40; ++i) {
    Append("VAM_FAIL", std::to_string(i) + "\n");
    last += i > 28 ? "    " + std::to_string(i) + "\n" : "";
  }
  EXPECT_EQ(Described(), "Status files:\n  /tmp/VAM_FAIL\n    (older lines are left out)\n" + last);
}

TEST_F(BoardStatusTest, FileThatIsReadInPart_SaysSo) {
  Append("VAM_FAIL", std::string(70000, 'x') + "\nlast\n");
  EXPECT_EQ(Described(),
            "Status files:\n  /tmp/VAM_FAIL\n    (older lines are left out)\n    last\n");
}

TEST_F(BoardStatusTest, BytesThatNoTerminalPrints_AreEscaped) {
  Append("VAM_FAIL", "\x1b]0;title\a\n");
  EXPECT_EQ(Described(), "Status files:\n  /tmp/VAM_FAIL\n    \\x1b]0;title\\x07\n");
}

TEST_F(BoardStatusTest, WhatIsNoFile_IsNotWaitedFor) {
  ASSERT_EQ(mkfifo(Path("VAM_FAIL").c_str(), 0600), 0);
  ASSERT_EQ(mkdir(Path("VAM_OK").c_str(), 0700), 0);
  EXPECT_EQ(Described(),
            "Status files:\n"
            "  /tmp/VAM_OK: cannot be read: not a regular file\n"
            "  /tmp/VAM_FAIL: cannot be read: not a regular file\n");
}

TEST_F(BoardStatusTest, Changes_NameTheFileThatStayedAsItWas) {
  Append("VAM_OK", "old\n");
  Append("VAM_FAIL", "old\n");
  const BoardStatus before(folder.Path());
  Append("VAM_FAIL", "new\n");
  EXPECT_EQ(before.DescribeChanges(),
            "Status files:\n"
            "  /tmp/VAM_OK, as it was before this run\n"
            "    old\n"
            "  /tmp/VAM_FAIL\n"
            "    old\n"
            "    new\n");
}

TEST_F(BoardStatusTest, RunFolder_LeadsToTheStatusFiles) {
  const TemporaryFolder run("board-status-test");
  LeadToStatusFiles(run.Path(), folder.Path());
  EXPECT_EQ(std::filesystem::read_symlink(run.Path() + "/tmp"), folder.Path());
}

TEST_F(BoardStatusTest, RunFolder_TooLongAPath_IsRefused) {
  EXPECT_THROW(LeadToStatusFiles(std::string(3900, 'x'), folder.Path()), std::runtime_error);
}

}  // namespace
}  // namespace vam
