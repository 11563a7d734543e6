#include "simulator/files/whole_file.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
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
  void WriteText(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name)) << text;
  }
  struct stat StatusOf(const std::string& name) const {
    struct stat status = {};
    EXPECT_EQ(stat(Path(name).c_str(), &status), 0);
    return status;
  }
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

TEST_F(WholeFileTest, FileBeyondTheLimit_IsRefusedBeforeItIsRead) {
  WriteText("five", "12345");
  EXPECT_EQ(ReadWholeFile(Path("five"), 5), "12345");
  EXPECT_EQ(ReadWholeFile(Path("five"), 4), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
  // As large as no memory is.
  WriteText("sparse", "");
  std::filesystem::resize_file(Path("sparse"), std::uintmax_t{1} << 42);
  EXPECT_EQ(ReadWholeFile(Path("sparse")), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(ReadWholeFile("/proc/self/status", 10), std::nullopt) << "its size is not told before";
  EXPECT_EQ(errno, EFBIG);
  EXPECT_NE(ReadWholeFile("/proc/self/status"), std::nullopt);
}

TEST_F(WholeFileTest, WhatIsNoRegularFile_IsNotRead) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  for (const std::string& path :
       {Path("fifo"), std::string("/dev/zero"), std::string("/dev/null")}) {
    EXPECT_EQ(ReadWholeFile(path), std::nullopt) << path;
    EXPECT_EQ(FileErrorInWords(errno), "Not a regular file") << path;
  }
}

TEST_F(WholeFileTest, Mode_IsKept) {
  WriteText("private", "old");
  for (const mode_t mode : {0600U, 0640U, 0755U, 0200U}) {
    ASSERT_EQ(chmod(Path("private").c_str(), mode), 0);
    ASSERT_TRUE(ReplaceFile(Path("private"), "new", 3));
    EXPECT_EQ(StatusOf("private").st_mode & 07777, mode);
  }
}

TEST_F(WholeFileTest, NewFile_HasTheModeThatTheUmaskLeaves) {
  const mode_t before = umask(027);
  EXPECT_TRUE(ReplaceFile(Path("file"), "", 0));
  umask(before);
  EXPECT_EQ(StatusOf("file").st_mode & 07777, 0640U);
}

TEST_F(WholeFileTest, Owner_IsKept) {
  WriteText("foreign", "old");
  if (chown(Path("foreign").c_str(), 12, 34) != 0) {
    GTEST_SKIP() << "only root gives files away";
  }
  ASSERT_TRUE(ReplaceFile(Path("foreign"), "new", 3));
  EXPECT_EQ(StatusOf("foreign").st_uid, 12U);
  EXPECT_EQ(StatusOf("foreign").st_gid, 34U);
}

TEST_F(WholeFileTest, GroupOfAnotherOwnersFile_IsKept) {
  WriteText("shared", "old");
  if (chown(Path("shared").c_str(), 0, 34) != 0) {
    GTEST_SKIP() << "only root becomes somebody else";
  }
  ASSERT_EQ(chmod(Path("shared").c_str(), 0664), 0);
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  const pid_t child = fork();
  if (child == 0) {
    const gid_t group = 34;
    const bool isMember = setgroups(1, &group) == 0 && setgid(12) == 0 && setuid(12) == 0;
    _exit(isMember && ReplaceFile(Path("shared"), "new", 3) ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(StatusOf("shared").st_uid, 12U) << "only root gives files away";
  EXPECT_EQ(StatusOf("shared").st_gid, 34U);
}

TEST_F(WholeFileTest, FileThatMayNotBeWritten_StaysAsItIs) {
  // Root may write everything, and becomes somebody else for a while.
  const uid_t before = geteuid();
  const uid_t other = before == 0 ? 65534 : before;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  // Before version 2.33 the C library takes the real user's rights for both users'.
  ASSERT_EQ(setresuid(other, other, before), 0);
  WriteText("file", "old");
  EXPECT_EQ(chmod(Path("file").c_str(), 0400), 0);
  const bool replaced = ReplaceFile(Path("file"), "new", 3);
  const int error = errno;
  ASSERT_EQ(setresuid(before, before, before), 0);
  EXPECT_FALSE(replaced);
  EXPECT_EQ(error, EACCES);
  EXPECT_EQ(ReadWholeFile(Path("file")), "old");
}

TEST_F(WholeFileTest, SymbolicLink_StaysAndItsTargetIsReplaced) {
  std::filesystem::create_directory(Path("below"));
  WriteText("below/target", "old");
  for (const char* target : {"below/target", "below/missing"}) {
    SCOPED_TRACE(target);
    std::filesystem::create_symlink(target, Path("link"));
    std::filesystem::create_symlink(Path("link"), Path("link-to-link"));
    ASSERT_TRUE(ReplaceFile(Path("link-to-link"), "new", 3));
    EXPECT_TRUE(std::filesystem::is_symlink(Path("link")));
    EXPECT_TRUE(std::filesystem::is_symlink(Path("link-to-link")));
    EXPECT_EQ(ReadWholeFile(Path(target)), "new");
    std::filesystem::remove(Path("link"));
    std::filesystem::remove(Path("link-to-link"));
  }
  EXPECT_EQ(Files(), 1);
  std::filesystem::create_symlink("round", Path("round"));
  EXPECT_FALSE(ReplaceFile(Path("round"), "new", 3));
  EXPECT_EQ(errno, ELOOP);
}

TEST_F(WholeFileTest, NamesThatDraftsHad_AreLeftAlone) {
  WriteText("stranger", "kept");
  std::filesystem::create_symlink("stranger", Path("file.new"));
  ASSERT_TRUE(ReplaceFile(Path("file"), "new", 3));
  EXPECT_EQ(ReadWholeFile(Path("stranger")), "kept");
  EXPECT_TRUE(std::filesystem::is_symlink(Path("file.new")));
}

TEST_F(WholeFileTest, LongestName_HasRoomForADraft) {
  const std::string name(255, 'n');
  ASSERT_TRUE(ReplaceFile(Path(name), "new", 3));
  EXPECT_EQ(ReadWholeFile(Path(name)), "new");
}

TEST_F(WholeFileTest, Device_IsWrittenToAndStays) {
  // A terminal's folder takes no files, so that not even a wrong copy of the code can replace it.
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
  const std::string device = ptsname(terminal);
  // Its other end stays open, so that the bytes stay too.
  const int end = open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  EXPECT_TRUE(ReplaceFile(device, "bytes", 5));
  char bytes[6] = {};
  EXPECT_EQ(read(terminal, bytes, sizeof bytes), 5);
  EXPECT_STREQ(bytes, "bytes");
  EXPECT_TRUE(std::filesystem::is_character_file(device));
  close(end);
  close(terminal);
}

TEST_F(WholeFileTest, Fifo_IsWrittenToWhereSomebodyReads) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(ReplaceFile(Path("fifo"), "bytes", 5));
  EXPECT_EQ(errno, ENXIO);
  const int reader = open(Path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_TRUE(ReplaceFile(Path("fifo"), "bytes", 5));
  char bytes[6] = {};
  EXPECT_EQ(read(reader, bytes, sizeof bytes), 5);
  EXPECT_STREQ(bytes, "bytes");
  close(reader);
  EXPECT_TRUE(std::filesystem::is_fifo(Path("fifo")));
}

TEST_F(WholeFileTest, DraftsOfKilledProcesses_AreRemovedAndNothingElse) {
  for (const char* name : {"file", "file.new", "file.1234567.new", "file.1234567g.new",
                           "file.12345678.old", "other.12345678.new", "xfile.12345678.new"}) {
    WriteText(name, "kept");
  }
  const int kept = Files();
  WriteText("file.12345678.new", "");
  WriteText("file.abcdef00.new", "");
  RemoveDrafts(Path("file"));
  EXPECT_EQ(Files(), kept);
  RemoveDrafts(Path("no/file"));
}

TEST_F(WholeFileTest, BytesThatDoNotFit_LeaveTheOldFileAndNoSignal) {
  ASSERT_TRUE(ReplaceFile(Path("file"), "old", 3));
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit small = before;
  small.rlim_cur = 16;
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
