#include "verdict/record_folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

constexpr char kFolder[] = "/mnt/verdict";
constexpr char kRecord[] = "/mnt/verdict/verdict.json";

struct stat StatusOf(const char* path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path, &status), 0) << path;
  return status;
}

/// Returns why a whole run could not keep "text"; empty when it could.
std::string Kept() {
  RecordFolder folder(kFolder);
  folder.Begin();
  const char* problem = folder.Keep("text");
  return problem == nullptr ? "" : problem;
}

class RecordFolderTest : public testing::Test {
 protected:
  const PrivateTmp tmp;
};

TEST_F(RecordFolderTest, Folder_ThatIsMissing_IsMadeWithItsModes) {
  const mode_t umaskBefore = umask(077);
  EXPECT_EQ(Kept(), "");
  umask(0);
  EXPECT_EQ(StatusOf(kFolder).st_mode & 07777U, 0755U);
  EXPECT_EQ(StatusOf(kRecord).st_mode & 07777U, 0644U);
  EXPECT_EQ(StatusOf("/mnt/verdict/lock").st_mode & 07777U, 0600U);
  ASSERT_EQ(unlink("/mnt/verdict/lock"), 0);
  EXPECT_EQ(Kept(), "");
  EXPECT_EQ(StatusOf(kRecord).st_mode & 07777U, 0644U);
  EXPECT_EQ(StatusOf("/mnt/verdict/lock").st_mode & 07777U, 0600U);
  umask(umaskBefore);
  EXPECT_EQ(ReadFile(kRecord), "text");
}

TEST_F(RecordFolderTest, Folder_ThatIsThere_KeepsItsMode) {
  ASSERT_EQ(mkdir(kFolder, 0750), 0);
  EXPECT_EQ(Kept(), "");
  EXPECT_EQ(StatusOf(kFolder).st_mode & 07777U, 0750U);
}

TEST_F(RecordFolderTest, LockThatIsALink_IsNotFollowed) {
  ASSERT_EQ(mkdir(kFolder, 0755), 0);
  ASSERT_EQ(symlink("/mnt/made", "/mnt/verdict/lock"), 0);
  EXPECT_EQ(Kept(), "");
  EXPECT_FALSE(std::filesystem::exists("/mnt/made"));
}

TEST_F(RecordFolderTest, Program_InheritsNoDescriptor) {
  RecordFolder folder(kFolder);
  folder.Begin();
  int held = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const std::string file = std::filesystem::read_symlink(entry, error).string();
    if (file.rfind(kFolder, 0) == 0) {
      ++held;
      EXPECT_EQ(fcntl(std::stoi(entry.path().filename()), F_GETFD), FD_CLOEXEC) << file;
    }
  }
  EXPECT_EQ(held, 2) << "the folder and its lock";
}

TEST_F(RecordFolderTest, RecordOfTheRunBefore_IsGoneFromTheBeginning) {
  EXPECT_EQ(Kept(), "");
  RecordFolder folder(kFolder);
  folder.Begin();
  EXPECT_FALSE(std::filesystem::exists(kRecord));
}

TEST_F(RecordFolderTest, Keep_OverAnOldDraftOrALink_MakesANewFile) {
  ASSERT_EQ(mkdir(kFolder, 0755), 0);
  std::ofstream("/mnt/victim") << "precious";
  ASSERT_EQ(symlink("/mnt/victim", "/mnt/verdict/verdict.json.draft"), 0);
  EXPECT_EQ(Kept(), "");
  EXPECT_EQ(ReadFile("/mnt/victim"), "precious");
  EXPECT_TRUE(S_ISREG(StatusOf(kRecord).st_mode));
  EXPECT_FALSE(std::filesystem::exists("/mnt/verdict/verdict.json.draft"));
}

TEST_F(RecordFolderTest, Keep_AsAReaderSeesIt_PutsAWholeRecordInPlace) {
  RecordFolder folder(kFolder);
  folder.Begin();
  const int watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  ASSERT_GE(inotify_add_watch(watch, kFolder, IN_CREATE | IN_MODIFY | IN_MOVED_TO), 0);
  EXPECT_EQ(folder.Keep("text"), nullptr);

  std::vector<char> events(4096);
  const ssize_t count = read(watch, events.data(), events.size());
  close(watch);
  std::uint32_t seen = 0;
  inotify_event event;
  for (ssize_t at = 0; at < count; at += static_cast<ssize_t>(sizeof event) + event.len) {
    std::memcpy(&event, &events[static_cast<std::size_t>(at)], sizeof event);
    if (std::strcmp(&events[static_cast<std::size_t>(at) + sizeof event], "verdict.json") == 0) {
      seen |= event.mask;
    }
  }
  EXPECT_EQ(seen, std::uint32_t{IN_MOVED_TO});
}

TEST_F(RecordFolderTest, Folder_WithoutAParent_IsNamed) {
  RecordFolder folder("/mnt/missing/verdict");
  folder.Begin();
  EXPECT_STREQ(folder.Keep("text"), "No such file or directory");
}

TEST_F(RecordFolderTest, Folder_ThatAppearsDuringTheRun_IsUsed) {
  RecordFolder folder("/mnt/missing/verdict");
  folder.Begin();
  ASSERT_EQ(mkdir("/mnt/missing", 0755), 0);
  EXPECT_EQ(folder.Keep("text"), nullptr);
  EXPECT_EQ(ReadFile("/mnt/missing/verdict/verdict.json"), "text");
}

TEST_F(RecordFolderTest, Folder_ThatIsAFile_IsNamed) {
  std::ofstream file(kFolder);
  EXPECT_EQ(Kept(), "Not a directory");
}

TEST_F(RecordFolderTest, Folder_ThatIsReadOnly_IsNamed) {
  ASSERT_EQ(mkdir(kFolder, 0755), 0);
  ASSERT_EQ(mount("none", kFolder, "tmpfs", MS_RDONLY, "mode=755"), 0);
  EXPECT_EQ(Kept(), "Read-only file system");
  umount2(kFolder, MNT_DETACH);
}

TEST_F(RecordFolderTest, Folder_ThatIsFull_LosesTheOldRecordToo) {
  ASSERT_EQ(mkdir(kFolder, 0755), 0);
  ASSERT_EQ(mount("none", kFolder, "tmpfs", 0, "mode=755,size=8k"), 0);
  EXPECT_EQ(Kept(), "");
  std::ofstream("/mnt/verdict/filler") << std::string(4096, 'x') << std::flush;
  RecordFolder folder(kFolder);
  folder.Begin();
  std::ofstream("/mnt/verdict/more") << std::string(4096, 'x') << std::flush;
  EXPECT_STREQ(folder.Keep("text"), "No space left on device");
  EXPECT_FALSE(std::filesystem::exists(kRecord));
  EXPECT_FALSE(std::filesystem::exists("/mnt/verdict/verdict.json.draft"));
  umount2(kFolder, MNT_DETACH);
}

TEST_F(RecordFolderTest, SecondRun_WhileTheFirstGoesOn_Waits) {
  int start[2];
  int order[2];
  ASSERT_EQ(pipe2(start, O_CLOEXEC), 0);
  ASSERT_EQ(pipe2(order, O_CLOEXEC), 0);
  char byte = '\0';
  const pid_t second = fork();
  if (second == 0) {
    RecordFolder folder(kFolder);
    const bool isStarted = read(start[0], &byte, 1) == 1;
    folder.Begin();
    _exit(isStarted && write(order[1], "2", 1) == 1 ? 0 : 1);
  }
  {
    RecordFolder first(kFolder);
    first.Begin();
    EXPECT_EQ(write(start[1], "", 1), 1);
    usleep(100000);
    EXPECT_EQ(first.Keep("first"), nullptr);
    EXPECT_EQ(write(order[1], "1", 1), 1);
  }
  int end = 0;
  ASSERT_EQ(waitpid(second, &end, 0), second);
  EXPECT_EQ(end, 0);
  EXPECT_EQ(read(order[0], &byte, 1), 1);
  EXPECT_EQ(byte, '1');
  EXPECT_EQ(read(order[0], &byte, 1), 1);
  EXPECT_EQ(byte, '2');
  for (const int descriptor : {start[0], start[1], order[0], order[1]}) {
    close(descriptor);
  }
}

}  // namespace
}  // namespace vam
