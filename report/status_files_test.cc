#include "report/status_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::IsEmpty;
using ::testing::Optional;

constexpr char kOkFile[] = "/tmp/VAM_OK";
constexpr char kErrorFile[] = "/tmp/VAM_FAIL";

/// How one write() ends: it takes `count` bytes, or returns `count` below 1 with `error`.
struct WriteResult {
  ssize_t count;
  int error;
};

/// Results of the next calls of write(). After the last one, every byte is taken.
std::deque<WriteResult> plannedWrites;
/// What each call of write() was given.
std::vector<std::string> writes;

}  // namespace

extern "C" ssize_t RealWrite(int descriptor, const void* bytes,
                             size_t size) __asm__("__real_write");
extern "C" ssize_t WrappedWrite(int descriptor, const void* bytes,
                                size_t size) __asm__("__wrap_write");
extern "C" ssize_t WrappedWrite(int descriptor, const void* bytes, size_t size) {
  writes.emplace_back(static_cast<const char*>(bytes), size);
  if (plannedWrites.empty()) {
    return RealWrite(descriptor, bytes, size);
  }
  const WriteResult planned = plannedWrites.front();
  plannedWrites.pop_front();
  if (planned.count > 0) {
    return RealWrite(descriptor, bytes, static_cast<size_t>(planned.count));
  }
  errno = planned.error;
  return planned.count;
}

namespace {

class StatusFiles : public testing::Test {
 protected:
  void SetUp() override {
    plannedWrites.clear();
    writes.clear();
  }

  static void Write(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
  }

  const vam::PrivateTmp tmp;
};

testing::Matcher<std::optional<std::string>> Holds(const std::string& text) {
  return Optional(text);
}

TEST_F(StatusFiles, OkFile_Missing_IsCreated) {
  WriteToVamOkFile("Updated FW version: 1.2.3", true);
  EXPECT_THAT(vam::ReadFile(kOkFile), Holds("Updated FW version: 1.2.3 \n"));
  EXPECT_THAT(vam::ReadFile(kErrorFile), Eq(std::nullopt));
}

TEST_F(StatusFiles, OkFile_Truncated_HoldsTheLastLineOnly) {
  Write(kOkFile, "first \nsecond, and much longer than what comes \nthird");
  WriteToVamOkFile("message", true);
  WriteToVamOkFile("other", true);
  EXPECT_THAT(vam::ReadFile(kOkFile), Holds("other \n"));
}

TEST_F(StatusFiles, OkFile_NotTruncated_IsAppendedTo) {
  WriteToVamOkFile("first", false);
  WriteToVamOkFile("second", false);
  EXPECT_THAT(vam::ReadFile(kOkFile), Holds("first \nsecond \n"));
}

TEST_F(StatusFiles, Entry_OfACode_IsMessageBlankCodeBlank) {
  WriteToErrorFile("Open /dev/zelkshield failed with error:", -1);
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds("Open /dev/zelkshield failed with error: -1 \n"));
  EXPECT_THAT(vam::ReadFile(kOkFile), Eq(std::nullopt));
}

TEST_F(StatusFiles, Entry_MessageEndsInABlank_HasTwo) {
  WriteToErrorFile("vam_updateFW failed: ", 5);
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds("vam_updateFW failed:  5 \n"));
}

TEST_F(StatusFiles, Entry_WithARecord_HasThreeLines) {
  WriteToErrorFile("vam_updateFW failed: ", -65525, VamResult{13, -141});
  EXPECT_THAT(vam::ReadFile(kErrorFile),
              Holds("vam_updateFW failed:  -65525 \nvam ret: 13 \nfw ret: -141 \n"));
}

TEST_F(StatusFiles, Entry_ExtremeCodes_AreInSignedDecimal) {
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  WriteToErrorFile("lowest", kMin, VamResult{kMin, kMax});
  WriteToErrorFile("highest", kMax);
  WriteToErrorFile("zero", 0);
  EXPECT_THAT(vam::ReadFile(kErrorFile),
              Holds("lowest -2147483648 \nvam ret: -2147483648 \nfw ret: 2147483647 \n"
                    "highest 2147483647 \nzero 0 \n"));
}

TEST_F(StatusFiles, ErrorFile_HoldsEntries_KeepsThemAbove) {
  Write(kErrorFile, "from an earlier run 1 \n");
  WriteToErrorFile("system", -1, VamResult{1, 2});
  WriteToErrorFile("app", -1);
  EXPECT_THAT(vam::ReadFile(kErrorFile),
              Holds("from an earlier run 1 \nsystem -1 \nvam ret: 1 \nfw ret: 2 \napp -1 \n"));
}

TEST_F(StatusFiles, Message_AnyBytes_AreWrittenAsTheyAre) {
  const std::string message("a\0b\nc\xff", 6);
  WriteToErrorFile(message, 1);
  WriteToVamOkFile("", true);
  WriteToErrorFile("", 2);
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds(message + " 1 \n 2 \n"));
  EXPECT_THAT(vam::ReadFile(kOkFile), Holds(" \n"));
}

TEST_F(StatusFiles, Files_NotToBeOpened_LoseTheEntrySilently) {
  ASSERT_EQ(mkdir(kOkFile, 0755), 0);
  ASSERT_EQ(mkdir(kErrorFile, 0755), 0);
  WriteToVamOkFile("lost", true);
  WriteToVamOkFile("lost", false);
  WriteToErrorFile("lost", 1);
  WriteToErrorFile("lost", 1, VamResult{2, 3});
  EXPECT_THAT(writes, IsEmpty());
  EXPECT_EQ(rmdir(kOkFile), 0);
  EXPECT_EQ(rmdir(kErrorFile), 0);
}

TEST_F(StatusFiles, Files_OnAReadOnlyFileSystem_StayAsTheyAre) {
  WriteToErrorFile("kept", 1);
  vam::PrivateTmp::MakeReadOnly();
  WriteToErrorFile("lost", 2);
  WriteToVamOkFile("lost", true);
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds("kept 1 \n"));
  EXPECT_THAT(vam::ReadFile(kOkFile), Eq(std::nullopt));
}

TEST_F(StatusFiles, Entry_AnyForm_IsOneWrite) {
  WriteToErrorFile("one", 1);
  WriteToErrorFile("two", 2, VamResult{3, 4});
  WriteToVamOkFile("three", true);
  WriteToVamOkFile("four", false);
  EXPECT_THAT(writes,
              ElementsAre("one 1 \n", "two 2 \nvam ret: 3 \nfw ret: 4 \n", "three \n", "four \n"));
}

TEST_F(StatusFiles, Write_InterruptedOrPartial_GoesOn) {
  plannedWrites = {{-1, EINTR}, {3, 0}, {-1, EINTR}};
  WriteToErrorFile("entry", 1);
  EXPECT_THAT(writes, ElementsAre("entry 1 \n", "entry 1 \n", "ry 1 \n", "ry 1 \n"));
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds("entry 1 \n"));
}

TEST_F(StatusFiles, Write_FailingOrTakingNothing_LosesTheRestSilently) {
  plannedWrites = {{2, 0}, {-1, ENOSPC}, {0, EINTR}};
  WriteToErrorFile("entry", 1);
  WriteToVamOkFile("lost", true);
  EXPECT_THAT(writes, ElementsAre("entry 1 \n", "try 1 \n", "lost \n"));
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds("en"));
  EXPECT_THAT(vam::ReadFile(kOkFile), Holds(""));
}

TEST_F(StatusFiles, CreatedFiles_HaveTheModeThatTheMaskLeaves) {
  const mode_t mask = umask(0);
  WriteToErrorFile("entry", 1);
  umask(027);
  WriteToVamOkFile("message", true);
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(stat(kErrorFile, &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0666U);
  ASSERT_EQ(stat(kOkFile, &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(StatusFiles, Writers_AfterTheirReturn_HoldNoDescriptor) {
  const int before = dup(STDIN_FILENO);
  close(before);
  plannedWrites = {{-1, EIO}};
  WriteToErrorFile("lost", 1);
  WriteToErrorFile("entry", 1, VamResult{2, 3});
  WriteToVamOkFile("message", true);
  const int after = dup(STDIN_FILENO);
  close(after);
  EXPECT_GE(before, 0);
  EXPECT_EQ(after, before);
}

TEST_F(StatusFiles, FileExists_AnyPath_IsWhetherAStatSucceeds) {
  Write("/tmp/file", "");
  ASSERT_EQ(mkdir("/tmp/folder", 0755), 0);
  ASSERT_EQ(symlink("/tmp/nothing", "/tmp/dangling"), 0);
  EXPECT_TRUE(fileExists("/tmp/file"));
  EXPECT_TRUE(fileExists("/tmp/folder"));
  EXPECT_FALSE(fileExists("/tmp/nothing"));
  EXPECT_FALSE(fileExists("/tmp/dangling"));
  EXPECT_FALSE(fileExists("/tmp/file/below"));
  EXPECT_FALSE(fileExists(""));
}

/// Ends the process with 0 when the file does not exist for somebody who may not search every
/// folder, as root may.
[[noreturn]] void LookWithoutPrivileges(const std::string& path) {
  vam::GiveUpPrivileges();
  _exit(fileExists(path) ? 1 : 0);
}

TEST_F(StatusFiles, FileExists_InAFolderNotToBeSearched_IsFalse) {
  ASSERT_EQ(mkdir("/tmp/locked", 0755), 0);
  Write("/tmp/locked/file", "");
  ASSERT_EQ(chmod("/tmp/locked", 0600), 0);
  EXPECT_EXIT(LookWithoutPrivileges("/tmp/locked/file"), testing::ExitedWithCode(0), "");
}

}  // namespace
