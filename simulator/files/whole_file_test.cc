#include "simulator/files/whole_file.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>

#include "simulator/files/temporary_folder.h"
#include "tests/support/planned_calls.h"

namespace vam {
namespace {

class WholeFileTest : public ::testing::Test {
 protected:
  void TearDown() override { std::filesystem::current_path(workingFolder); }

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
  const std::filesystem::path workingFolder = std::filesystem::current_path();
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
  umask(0);
  EXPECT_TRUE(ReplaceFile(Path("everybodys"), "", 0));
  umask(before);
  EXPECT_EQ(StatusOf("file").st_mode & 07777, 0640U);
  EXPECT_EQ(StatusOf("everybodys").st_mode & 07777, 0666U);
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

TEST_F(WholeFileTest, LargestFile_IsReadWhereNoLimitIsGiven) {
  WriteText("large", "");
  std::filesystem::resize_file(Path("large"), std::uintmax_t{64} << 20);
  const std::optional<std::string> bytes = ReadWholeFile(Path("large"));
  ASSERT_TRUE(bytes);
  EXPECT_EQ(bytes->size(), std::size_t{64} << 20);
  std::filesystem::resize_file(Path("large"), (std::uintmax_t{64} << 20) + 1);
  EXPECT_EQ(ReadWholeFile(Path("large")), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
}

TEST_F(WholeFileTest, InterruptedOrShortRead_GoesOn) {
  WriteText("file", "some bytes");
  PlannedCalls plans;
  plans.Fail("read", EINTR);
  plans.Shorten("read", 3);
  plans.Fail("read", EINTR);
  EXPECT_EQ(ReadWholeFile(Path("file")), "some bytes");
}

TEST_F(WholeFileTest, FileThatFailsToBeRead_LeavesItsCauseInErrno) {
  WriteText("file", "some bytes");
  PlannedCalls plans;
  plans.Shorten("read", 3);
  plans.Fail("read", EIO);
  EXPECT_EQ(ReadWholeFile(Path("file")), std::nullopt);
  EXPECT_EQ(errno, EIO);
  plans.Fail("open", EACCES);
  EXPECT_EQ(ReadWholeFile(Path("file")), std::nullopt);
  EXPECT_EQ(errno, EACCES);
}

TEST_F(WholeFileTest, FileThatIsReplacedByAFifoMeanwhile_IsNotWaitedFor) {
  WriteText("file", "some bytes");
  PlannedCalls plans;
  plans.Before("open", [this](int) {
    std::filesystem::remove(Path("file"));
    ASSERT_EQ(mkfifo(Path("file").c_str(), 0600), 0);
  });
  EXPECT_EQ(ReadWholeFile(Path("file")), std::nullopt);
  EXPECT_EQ(errno, ESPIPE);
}

TEST_F(WholeFileTest, ErrorInWords_IsTheSystemsButForSpecialFiles) {
  EXPECT_EQ(FileErrorInWords(ESPIPE), "Not a regular file");
  EXPECT_EQ(FileErrorInWords(ENOENT), "No such file or directory");
}

TEST_F(WholeFileTest, ReadingAndReplacing_LeaveNoDescriptorOpen) {
  const auto open = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = open();
  ASSERT_TRUE(ReplaceFile(Path("file"), "bytes", 5));
  EXPECT_TRUE(ReadWholeFile(Path("file")));
  EXPECT_FALSE(ReadWholeFile(Path("file"), 1));
  PlannedCalls plans;
  plans.Fail("write", ENOSPC);
  EXPECT_FALSE(ReplaceFile(Path("file"), "other", 5));
  WriteText("file.12345678.new", "");
  RemoveDrafts(Path("file"));
  EXPECT_EQ(open(), before);
}

TEST_F(WholeFileTest, InterruptedOrShortWrite_GoesOn) {
  PlannedCalls plans;
  plans.Fail("write", EINTR);
  plans.Shorten("write", 4);
  plans.Fail("write", EINTR);
  plans.Shorten("write", 5);
  EXPECT_TRUE(ReplaceFile(Path("file"), "some bytes", 10));
  EXPECT_EQ(ReadWholeFile(Path("file")), "some bytes");
}

TEST_F(WholeFileTest, EachStepThatFails_LeavesTheOldFileAlone) {
  WriteText("file", "old");
  struct Step {
    const char* function;
    int error;
  };
  for (const Step& step : {Step{"getrandom", ENOSYS}, Step{"open", EMFILE}, Step{"fchmod", EPERM},
                           Step{"write", ENOSPC}, Step{"fsync", EIO}, Step{"close", EIO}}) {
    SCOPED_TRACE(step.function);
    PlannedCalls plans;
    plans.Fail(step.function, step.error);
    EXPECT_FALSE(ReplaceFile(Path("file"), "new", 3));
    EXPECT_EQ(errno, step.error);
    EXPECT_EQ(ReadWholeFile(Path("file")), "old");
    EXPECT_EQ(Files(), 1);
  }
}

TEST_F(WholeFileTest, DraftThatSomebodyRemoved_DoesNotHideWhatFailed) {
  PlannedCalls plans;
  plans.Shorten("write", 1);
  plans.Before("write", [this](int) {
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
      std::filesystem::remove(entry.path());
    }
  });
  plans.Fail("fsync", EIO);
  EXPECT_FALSE(ReplaceFile(Path("file"), "new", 3));
  EXPECT_EQ(errno, EIO);
}

TEST_F(WholeFileTest, BytesThatMustLast_AreOnTheDiskBeforeTheyTakeThePlace) {
  WriteText("file", "old");
  PlannedCalls plans;
  bool synced = false;
  plans.Before("fsync", [&](int descriptor) {
    synced = true;
    EXPECT_EQ(ReadWholeFile(Path("file")), "old");
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << "no other program gets it";
  });
  EXPECT_TRUE(ReplaceFile(Path("file"), "new", 3));
  EXPECT_TRUE(synced);
  EXPECT_EQ(ReadWholeFile(Path("file")), "new");
}

TEST_F(WholeFileTest, BytesThatNeedNotLast_WaitForNoDisk) {
  bool synced = false;
  {
    PlannedCalls plans;
    plans.Before("fsync", [&](int) { synced = true; });
    EXPECT_TRUE(ReplaceFile(Path("file"), "new", 3, Keeping::kWhilePowered));
    EXPECT_FALSE(synced);
    // What was planned comes now.
    EXPECT_TRUE(ReplaceFile(Path("file"), "new", 3));
  }
  EXPECT_TRUE(synced);
}

TEST_F(WholeFileTest, DraftNameThatIsTaken_IsLeftAndAnotherTaken) {
  WriteText("file.01010101.new", "a stranger's");
  PlannedCalls plans;
  plans.GiveBytes(1);
  EXPECT_TRUE(ReplaceFile(Path("file"), "new", 3));
  EXPECT_EQ(ReadWholeFile(Path("file.01010101.new")), "a stranger's");
  EXPECT_EQ(ReadWholeFile(Path("file")), "new");
  EXPECT_EQ(Files(), 2);
}

TEST_F(WholeFileTest, DraftOfAKilledProcess_IsFoundAgain) {
  for (const std::string& name : {std::string("file"), std::string(255, 'n')}) {
    const pid_t child = fork();
    if (child == 0) {
      PlannedCalls plans;
      plans.GiveBytes(0x0A);
      plans.Before("fsync", [](int) { _exit(0); });
      _exit(ReplaceFile(Path(name), "new", 3) ? 1 : 2);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(std::filesystem::exists(Path(name.substr(0, 200) + ".0a0a0a0a.new")));
    RemoveDrafts(Path(name));
    EXPECT_EQ(Files(), 0);
  }
}

TEST_F(WholeFileTest, DraftsBesideALinksTarget_AreRemoved) {
  std::filesystem::create_directory(Path("below"));
  std::filesystem::create_symlink("below/file", Path("link"));
  WriteText("below/file.12345678.new", "");
  WriteText("link.12345678.new", "kept");
  RemoveDrafts(Path("link"));
  EXPECT_FALSE(std::filesystem::exists(Path("below/file.12345678.new")));
  EXPECT_TRUE(std::filesystem::exists(Path("link.12345678.new")));
}

TEST_F(WholeFileTest, OwnerAndGroup_AreEachKept) {
  WriteText("file", "old");
  const struct stat own = StatusOf("file");
  if (chown(Path("file").c_str(), 12, own.st_gid) != 0) {
    GTEST_SKIP() << "only root gives files away";
  }
  ASSERT_TRUE(ReplaceFile(Path("file"), "new", 3));
  EXPECT_EQ(StatusOf("file").st_uid, 12U);
  ASSERT_EQ(chown(Path("file").c_str(), own.st_uid, 34), 0);
  ASSERT_TRUE(ReplaceFile(Path("file"), "new", 3));
  EXPECT_EQ(StatusOf("file").st_gid, 34U);
}

TEST_F(WholeFileTest, StickyBit_IsKept) {
  WriteText("file", "old");
  ASSERT_EQ(chmod(Path("file").c_str(), 01755), 0);
  ASSERT_TRUE(ReplaceFile(Path("file"), "new", 3));
  EXPECT_EQ(StatusOf("file").st_mode & 07777, 01755U);
}

/// Makes links called `name` and a number, each to the one before it; the first leads to "target".
/// Returns the name of the last.
std::string LinkChain(const std::string& folder, const std::string& name, int count) {
  std::string last = "target";
  for (int i = 1; i <= count; ++i) {
    const std::string link = name + std::to_string(i);
    std::filesystem::create_symlink(last, std::filesystem::path(folder) / link);
    last = link;
  }
  return last;
}

TEST_F(WholeFileTest, AsManyLinksAsTheKernelFollows_AreFollowed) {
  // Links on the way to the folder would count too.
  std::filesystem::current_path(folder.Path());
  const std::string last = LinkChain(".", "link", 40);
  ASSERT_TRUE(ReplaceFile(last, "new", 3));
  EXPECT_EQ(ReadWholeFile(Path("target")), "new");
  ASSERT_TRUE(ReplaceFile(last, "newer", 5));
  EXPECT_EQ(ReadWholeFile(Path("target")), "newer");
  std::filesystem::create_symlink(last, Path("one-more"));
  EXPECT_FALSE(ReplaceFile("one-more", "new", 3));
  EXPECT_EQ(errno, ELOOP);
}

TEST_F(WholeFileTest, FifoWithASlowReader_GetsEveryByte) {
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  const int reader = open(Path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  // Until this one is closed, the reader waits for more.
  const int writer = open(Path("fifo").c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(fcntl(reader, F_SETFL, 0), 0);
  // More than a pipe holds.
  const std::string bytes(300000, 'x');
  std::size_t count = 0;
  std::thread slow([&] {
    char piece[1000];
    for (ssize_t got = 1; got > 0; count += static_cast<std::size_t>(got)) {
      got = read(reader, piece, sizeof piece);
    }
  });
  EXPECT_TRUE(ReplaceFile(Path("fifo"), bytes.data(), bytes.size()));
  close(writer);
  slow.join();
  EXPECT_EQ(count, bytes.size());
  close(reader);
}

TEST_F(WholeFileTest, ProgramWithoutStandardInput_ReadsAndReplacesFilesToo) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const bool replaced = ReplaceFile(Path("file"), "bytes", 5);
  const bool replacedAgain = ReplaceFile(Path("file"), "other", 5);
  const std::optional<std::string> read = ReadWholeFile(Path("file"));
  EXPECT_LT(fcntl(STDIN_FILENO, F_GETFD), 0) << "it is closed again";
  if (input >= 0) {
    dup2(input, STDIN_FILENO);
    close(input);
  }
  EXPECT_TRUE(replaced && replacedAgain);
  EXPECT_EQ(read, "other");
  EXPECT_EQ(Files(), 1);
}

class SameFileTest : public WholeFileTest {
 protected:
  bool AreSame(const std::string& one, const std::string& other) const {
    const bool same = IsSameFile(Path(one), Path(other));
    EXPECT_EQ(IsSameFile(Path(other), Path(one)), same);
    return same;
  }
};

TEST_F(SameFileTest, FileUnderItsOtherNames_IsTheSame) {
  WriteText("file", "");
  WriteText("other", "");
  std::filesystem::create_directory(Path("below"));
  std::filesystem::create_hard_link(Path("file"), Path("hard"));
  std::filesystem::create_symlink("file", Path("soft"));
  for (const char* name : {"file", "hard", "soft", "below/../file", "./file"}) {
    EXPECT_TRUE(AreSame("file", name)) << name;
  }
  for (const char* name : {"other", "below", "missing", "below/file", "file/file"}) {
    EXPECT_FALSE(AreSame("file", name)) << name;
  }
}

TEST_F(SameFileTest, PathsThatWouldMakeOneFile_AreTheSame) {
  std::filesystem::create_directory(Path("below"));
  std::filesystem::create_directory(Path("apart"));
  std::filesystem::create_directory_symlink("below", Path("to-below"));
  std::filesystem::create_symlink("below/new", Path("to-new"));
  for (const char* name : {"below/new", "below/../below/new", "to-below/new", "to-new"}) {
    EXPECT_TRUE(AreSame("below/new", name)) << name;
  }
  for (const char* name : {"new", "apart/new", "below/news", "missing/new", "apart"}) {
    EXPECT_FALSE(AreSame("below/new", name)) << name;
  }
  EXPECT_FALSE(AreSame("missing/new", "missing/new")) << "nothing can be made there";
}

TEST_F(SameFileTest, NamesInTheWorkingFolder_AreComparedThere) {
  std::filesystem::current_path(folder.Path());
  EXPECT_TRUE(IsSameFile("new", "./new"));
  EXPECT_TRUE(IsSameFile("./new", "new"));
  EXPECT_TRUE(IsSameFile("new", Path("new")));
  EXPECT_FALSE(IsSameFile("new", "newer"));
  WriteText("new.12345678.new", "");
  RemoveDrafts("new");
  EXPECT_EQ(Files(), 0);
}

TEST_F(SameFileTest, MoreLinksThanTheKernelFollows_LeadNowhere) {
  const std::string last = LinkChain(folder.Path(), "link", 41);
  EXPECT_TRUE(AreSame("link40", "target"));
  EXPECT_FALSE(AreSame(last, "target"));
}

}  // namespace
}  // namespace vam
