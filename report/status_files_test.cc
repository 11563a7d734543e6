#include "report/status_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <limits>
#include <optional>
#include <string>

#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace {

using ::testing::Eq;
using ::testing::Optional;

constexpr char kOkFile[] = "/tmp/VAM_OK";
constexpr char kErrorFile[] = "/tmp/VAM_FAIL";

class StatusFilesTest : public testing::Test {
 protected:
  static void Write(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
  }

  const vam::PrivateTmp tmp;
};

testing::Matcher<std::optional<std::string>> Holds(const std::string& text) {
  return Optional(text);
}

TEST_F(StatusFilesTest, OkFileIsCreated) {
  WriteToVamOkFile("Updated FW version: 1.2.3", true);
  EXPECT_THAT(vam::ReadFile(kOkFile), Holds("Updated FW version: 1.2.3 \n"));
  EXPECT_THAT(vam::ReadFile(kErrorFile), Eq(std::nullopt));
}

TEST_F(StatusFilesTest, OkFileIsTruncatedWhenAsked) {
  Write(kOkFile, "first \nsecond, and much longer than what comes \nthird");
  WriteToVamOkFile("message", true);
  WriteToVamOkFile("other", true);
  EXPECT_THAT(vam::ReadFile(kOkFile), Holds("other \n"));
}

TEST_F(StatusFilesTest, OkFileIsAppendedToWhenNotTruncated) {
  WriteToVamOkFile("first", false);
  WriteToVamOkFile("second", false);
  EXPECT_THAT(vam::ReadFile(kOkFile), Holds("first \nsecond \n"));
}

TEST_F(StatusFilesTest, EntryIsMessageBlankCodeBlank) {
  WriteToErrorFile("Open /dev/zelkshield failed with error:", -1);
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds("Open /dev/zelkshield failed with error: -1 \n"));
  EXPECT_THAT(vam::ReadFile(kOkFile), Eq(std::nullopt));
}

TEST_F(StatusFilesTest, MessageThatEndsInABlankKeepsIt) {
  WriteToErrorFile("vam_updateFW failed: ", 5);
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds("vam_updateFW failed:  5 \n"));
}

TEST_F(StatusFilesTest, EntryWithARecordHasThreeLines) {
  WriteToErrorFile("vam_updateFW failed: ", -65525, VamResult{13, -141});
  EXPECT_THAT(vam::ReadFile(kErrorFile),
              Holds("vam_updateFW failed:  -65525 \nvam ret: 13 \nfw ret: -141 \n"));
}

TEST_F(StatusFilesTest, CodesPrintInSignedDecimal) {
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  WriteToErrorFile("lowest", kMin, VamResult{kMin, kMax});
  WriteToErrorFile("highest", kMax);
  WriteToErrorFile("zero", 0);
  EXPECT_THAT(vam::ReadFile(kErrorFile),
              Holds("lowest -2147483648 \nvam ret: -2147483648 \nfw ret: 2147483647 \n"
                    "highest 2147483647 \nzero 0 \n"));
}

TEST_F(StatusFilesTest, EntriesFollowWhatIsThere) {
  Write(kErrorFile, "from an earlier run 1 \n");
  WriteToErrorFile("system", -1, VamResult{1, 2});
  WriteToErrorFile("app", -1);
  EXPECT_THAT(vam::ReadFile(kErrorFile),
              Holds("from an earlier run 1 \nsystem -1 \nvam ret: 1 \nfw ret: 2 \napp -1 \n"));
}

TEST_F(StatusFilesTest, MessageIsWrittenByteForByte) {
  const std::string message("a\0b\nc\xff", 6);
  WriteToErrorFile(message, 1);
  WriteToVamOkFile("", true);
  WriteToErrorFile("", 2);
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds(message + " 1 \n 2 \n"));
  EXPECT_THAT(vam::ReadFile(kOkFile), Holds(" \n"));
}

TEST_F(StatusFilesTest, FilesThatCannotBeOpenedAreNotReported) {
  ASSERT_EQ(mkdir(kOkFile, 0755), 0);
  ASSERT_EQ(mkdir(kErrorFile, 0755), 0);
  WriteToVamOkFile("lost", true);
  WriteToVamOkFile("lost", false);
  WriteToErrorFile("lost", 1);
  WriteToErrorFile("lost", 1, VamResult{2, 3});
  EXPECT_EQ(rmdir(kOkFile), 0);
  EXPECT_EQ(rmdir(kErrorFile), 0);
}

TEST_F(StatusFilesTest, FileSystemThatTakesNothingIsNotReported) {
  WriteToErrorFile("kept", 1);
  vam::PrivateTmp::MakeReadOnly();
  WriteToErrorFile("lost", 2);
  WriteToVamOkFile("lost", true);
  EXPECT_THAT(vam::ReadFile(kErrorFile), Holds("kept 1 \n"));
  EXPECT_THAT(vam::ReadFile(kOkFile), Eq(std::nullopt));
}

TEST_F(StatusFilesTest, FileExistsTellsWhetherAStatSucceeds) {
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
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  if (syscall(SYS_capset, &header, none) != 0) {
    _exit(2);
  }
  _exit(fileExists(path) ? 1 : 0);
}

TEST_F(StatusFilesTest, FileBehindAFolderThatCannotBeSearchedDoesNotExist) {
  ASSERT_EQ(mkdir("/tmp/locked", 0755), 0);
  Write("/tmp/locked/file", "");
  ASSERT_EQ(chmod("/tmp/locked", 0600), 0);
  EXPECT_EXIT(LookWithoutPrivileges("/tmp/locked/file"), testing::ExitedWithCode(0), "");
}

}  // namespace
