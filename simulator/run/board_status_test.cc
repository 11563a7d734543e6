#include "simulator/run/board_status.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <ios>
#include <stdexcept>
#include <string>

#include "simulator/board/board.h"
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

/// Gives a file the time of its last change.
void SetTime(const std::string& path, time_t seconds, long nanoseconds) {
  const timespec times[] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST_F(BoardStatusTest, Changes_AreSeenByFileSizeOrTime) {
  constexpr char kOld[] = "Status files:\n  /tmp/VAM_OK, as it was before this run\n    old\n";
  Append("VAM_OK", "old\n");
  SetTime(Path("VAM_OK"), 1000, 5);
  const BoardStatus before(folder.Path());
  EXPECT_EQ(before.DescribeChanges(), kOld);
  // Another file of the same size and time.
  Append("other", "old\n");
  SetTime(Path("other"), 1000, 5);
  std::filesystem::rename(Path("VAM_OK"), Path("kept"));
  std::filesystem::rename(Path("other"), Path("VAM_OK"));
  EXPECT_EQ(before.DescribeChanges(), "Status files:\n  /tmp/VAM_OK\n    old\n");
  std::filesystem::rename(Path("kept"), Path("VAM_OK"));
  EXPECT_EQ(before.DescribeChanges(), kOld);
  // The same file at another time, and of another size.
  SetTime(Path("VAM_OK"), 1000, 6);
  EXPECT_EQ(before.DescribeChanges(), "Status files:\n  /tmp/VAM_OK\n    old\n");
  Append("VAM_OK", "new\n");
  SetTime(Path("VAM_OK"), 1000, 5);
  EXPECT_EQ(before.DescribeChanges(), "Status files:\n  /tmp/VAM_OK\n    old\n    new\n");
}

TEST_F(BoardStatusTest, TwelveLines_AreAllShown) {
  std::string lines;
  for (int i = 1; i <= 12; ++i) {
    Append("VAM_OK", std::to_string(i) + "\n");
    lines += "    " + std::to_string(i) + "\n";
  }
  EXPECT_EQ(Described(), "Status files:\n  /tmp/VAM_OK\n" + lines);
  Append("VAM_OK", "13\n");
  EXPECT_EQ(Described(), "Status files:\n  /tmp/VAM_OK\n    (older lines are left out)\n" +
                             lines.substr(lines.find("    2\n")) + "    13\n");
}

/// Leads a run to `folder` with these faults. Returns why it cannot be.
std::string Refusal(const std::string& runFolder, const std::string& folder,
                    const std::string& faults) {
  try {
    LeadToStatusFiles(runFolder, folder, ReadBoardText(faults, "board.toml").faults);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "none";
}

TEST_F(BoardStatusTest, FilesOfOtherShapes_AreMadeBeforeTheRun) {
  Append("VAM_OK", "old\n");
  const TemporaryFolder run("board-status-test");
  EXPECT_EQ(Refusal(run.Path(), folder.Path(),
                    "[[fault]]\nstatus_file = \"VAM_FAIL\"\nis = \"folder\"\n"
                    "[[fault]]\nstatus_file = \"VAM_OK\"\nis = \"link\"\n"),
            "none");
  EXPECT_TRUE(std::filesystem::is_directory(Path("VAM_FAIL")));
  struct stat status = {};
  ASSERT_EQ(stat(Path("VAM_FAIL").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
  EXPECT_EQ(std::filesystem::read_symlink(Path("VAM_OK")), Path("VAM_OK.linked"));
  std::ifstream linked(Path("VAM_OK.linked"));
  std::string line;
  EXPECT_TRUE(std::getline(linked, line));
  EXPECT_EQ(line, "old");
  // What is no plain file stays as it is.
  std::filesystem::remove(run.Path() + "/tmp");
  EXPECT_EQ(
      Refusal(run.Path(), folder.Path(), "[[fault]]\nstatus_file = \"both\"\nis = \"folder\"\n"),
      "none");
  EXPECT_TRUE(std::filesystem::is_symlink(Path("VAM_OK")));
}

TEST_F(BoardStatusTest, RefusedStatusFile_IsNotMade) {
  const TemporaryFolder run("board-status-test");
  EXPECT_EQ(Refusal(run.Path(), folder.Path(),
                    "[[fault]]\nstatus_file = \"both\"\nresult = \"EROFS\"\n"
                    "[[fault]]\nconsole = \"full\"\n"),
            "none");
  EXPECT_EQ(Described(), "Status files: none\n");
}

TEST_F(BoardStatusTest, PathThatCannotBeUsed_IsNamed) {
  const TemporaryFolder run("board-status-test");
  ASSERT_EQ(Refusal(run.Path(), folder.Path(), ""), "none");
  EXPECT_EQ(Refusal(run.Path(), folder.Path(), ""), run.Path() + "/tmp: File exists");
  std::filesystem::remove(run.Path() + "/tmp");
  EXPECT_EQ(
      Refusal(run.Path(), "/nowhere", "[[fault]]\nstatus_file = \"VAM_OK\"\nis = \"folder\"\n"),
      "/nowhere/VAM_OK: No such file or directory");
  std::filesystem::remove(run.Path() + "/tmp");
  EXPECT_EQ(
      Refusal(run.Path(), "/nowhere", "[[fault]]\nstatus_file = \"VAM_FAIL\"\nis = \"link\"\n"),
      "/nowhere/VAM_FAIL: No such file or directory");
}

TEST_F(BoardStatusTest, RunFolder_LeadsToTheStatusFiles) {
  const TemporaryFolder run("board-status-test");
  LeadToStatusFiles(run.Path(), folder.Path());
  EXPECT_EQ(std::filesystem::read_symlink(run.Path() + "/tmp"), folder.Path());
}

TEST_F(BoardStatusTest, RunFolder_TooLongAPath_IsRefused) {
  // Below it there must be room for a name of any length and for the node's path.
  constexpr std::size_t kLongest = 4096 - 255 - sizeof "/dev/zelkshield";
  const std::string tooLong(kLongest + 1, 'x');
  EXPECT_EQ(Refusal(tooLong, folder.Path(), ""),
            tooLong + ": the path is too long; set TMPDIR to a shorter one");
  const std::string longest(kLongest, 'x');
  EXPECT_EQ(Refusal(longest, folder.Path(), ""), longest + "/tmp: File name too long");
}

}  // namespace
}  // namespace vam
