#include "verdict/watched_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <fstream>
#include <functional>
#include <ios>
#include <optional>
#include <string>
#include <vector>

#include "report/run_record.h"
#include "tests/support/planned_calls.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

constexpr char kFile[] = "/tmp/FILE";
constexpr uid_t kSomebody = 65534;

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

void Append(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::app) << text;
}

class WatchedFileTest : public testing::Test {
 protected:
  /// Returns what a run writes that consists of `run`; nothing where it wrote nothing.
  std::optional<std::string> WrittenBy(const std::function<void()>& run, bool onlyAdded = false) {
    record = RunRecord();
    WatchedFile file(kFile);
    file.Prepare(record);
    run();
    std::string text;
    return file.Take(onlyAdded, record, text) ? std::optional<std::string>(text) : std::nullopt;
  }

  const PrivateTmp tmp;
  RunRecord record;
};

TEST_F(WatchedFileTest, File_ThatIsNew_IsTaken) {
  EXPECT_EQ(WrittenBy([] { Write(kFile, "text"); }), "text");
  EXPECT_TRUE(record.moved.empty());
  EXPECT_TRUE(record.problems.empty());
}

TEST_F(WatchedFileTest, File_ThatStays_IsNotTaken) {
  Write(kFile, "text");
  EXPECT_EQ(WrittenBy([] {}), std::nullopt);
  EXPECT_EQ(ReadFile(kFile), "text");
  EXPECT_TRUE(record.problems.empty());
}

TEST_F(WatchedFileTest, File_ThatIsMissing_IsNotTaken) {
  EXPECT_EQ(WrittenBy([] {}), std::nullopt);
  Write(kFile, "text");
  EXPECT_EQ(WrittenBy([] { unlink(kFile); }), std::nullopt);
  EXPECT_TRUE(record.problems.empty());
}

TEST_F(WatchedFileTest, File_OfAnotherTime_IsNotTaken) {
  Write(kFile, "text");
  for (const time_t seconds : {time_t{0}, time_t{1700000000}, time_t{4000000000}}) {
    const timespec times[] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, kFile, times, 0), 0);
    EXPECT_EQ(WrittenBy([] {}), std::nullopt);
    EXPECT_EQ(WrittenBy([] { Write(kFile, "text"); }), "text");
  }
}

TEST_F(WatchedFileTest, FileWrittenAgain_WithTheSameText_IsTaken) {
  Write(kFile, "text");
  EXPECT_EQ(WrittenBy([] { Write(kFile, "text"); }), "text");
}

TEST_F(WatchedFileTest, FileWrittenAgain_WithinATickOfItsFileSystem_IsTaken) {
  // Its clock ticks a few hundred times a second.
  ASSERT_EQ(mount("none", "/tmp", "ramfs", 0, "mode=1777"), 0);
  for (int i = 0; i < 20; ++i) {
    Write(kFile, "text");
    EXPECT_EQ(WrittenBy([] { Write(kFile, "text"); }), "text");
  }
  umount2("/tmp", MNT_DETACH);
}

TEST_F(WatchedFileTest, FileWithOtherPermissions_IsNotTaken) {
  Write(kFile, "text");
  EXPECT_EQ(WrittenBy([] { chmod(kFile, 0600); }), std::nullopt);
}

TEST_F(WatchedFileTest, FolderThatMayNotBeRead_IsSearched) {
  ASSERT_EQ(chmod("/tmp", 0311), 0);
  const auto watchWithoutPrivileges = [this] {
    GiveUpPrivileges();
    _exit(WrittenBy([] { Write(kFile, "text"); }) == "text" ? 0 : 1);
  };
  EXPECT_EXIT(watchWithoutPrivileges(), testing::ExitedWithCode(0), "");
}

TEST_F(WatchedFileTest, Added_IsWhatFollowsTheOldEnd) {
  Write(kFile, "old\n");
  EXPECT_EQ(WrittenBy([] { Append(kFile, "new\n"); }, true), "new\n");
  EXPECT_EQ(WrittenBy([] {}, true), std::nullopt);
}

TEST_F(WatchedFileTest, Added_ToAFileThatWasReplaced_IsAll) {
  Write(kFile, "old\n");
  const auto replace = [] {
    unlink(kFile);
    Write(kFile, "entirely new\n");
  };
  EXPECT_EQ(WrittenBy(replace, true), "entirely new\n");
  EXPECT_EQ(WrittenBy([] { Write(kFile, "short\n"); }, true), "short\n");
}

TEST_F(WatchedFileTest, Text_ThatIsTooLong_LosesItsStart) {
  const std::string longest(8192, 'x');
  EXPECT_EQ(WrittenBy([&] { Write(kFile, "start" + longest); }), longest);
  EXPECT_EQ(record.problems, std::vector<std::string>{"/tmp/FILE: only its end was read"});
  const std::string added(8192, 'y');
  EXPECT_EQ(WrittenBy([&] { Append(kFile, added); }, true), added);
  EXPECT_TRUE(record.problems.empty());
}

/// What another user may have put in the place of the file, and what is said of it.
struct ForeignRow {
  const char* name;
  std::function<void()> put;
  const char* was;
  /// Why it is not believed.
  const char* doubt = "somebody else put it there";
};

const char kLinkDoubt[] = "Too many levels of symbolic links";

void Give() { ASSERT_EQ(lchown(kFile, kSomebody, kSomebody), 0); }

void PutSocket() {
  const int end = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, kFile);
  ASSERT_EQ(bind(end, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(end);
}

const ForeignRow kForeign[] = {
    {"file",
     [] {
       Write(kFile, "Updated FW version: 9 \n");
       Give();
     },
     "a file of user 65534"},
    {"link",
     [] {
       Write("/tmp/victim", "precious");
       ASSERT_EQ(symlink("/tmp/victim", kFile), 0);
       Give();
     },
     "a symbolic link of user 65534", kLinkDoubt},
    {"link to nothing",
     [] {
       ASSERT_EQ(symlink("/tmp/nothing", kFile), 0);
       Give();
     },
     "a symbolic link of user 65534", kLinkDoubt},
    {"folder",
     [] {
       ASSERT_EQ(mkdir(kFile, 0700), 0);
       Write(std::string(kFile) + "/file", "");
       Give();
     },
     "a folder of user 65534"},
    {"pipe",
     [] {
       ASSERT_EQ(mkfifo(kFile, 0666), 0);
       Give();
     },
     "a pipe of user 65534"},
    {"socket",
     [] {
       PutSocket();
       Give();
     },
     "a socket of user 65534", "No such device or address"},
    {"own link", [] { ASSERT_EQ(symlink("/tmp/nothing", kFile), 0); }, "a symbolic link of user 0",
     kLinkDoubt},
    {"own folder", [] { ASSERT_EQ(mkdir(kFile, 0755), 0); }, "a folder of user 0"},
    {"other name of an own file",
     [] {
       Write("/tmp/victim", "precious");
       ASSERT_EQ(link("/tmp/victim", kFile), 0);
     },
     "a file of user 0 with 2 links"},
};

TEST_F(WatchedFileTest, Foreign_BeforeTheRun_IsMovedAside) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "only root gives files to other users";
  }
  for (const ForeignRow& row : kForeign) {
    SCOPED_TRACE(row.name);
    row.put();
    struct stat before = {};
    ASSERT_EQ(lstat(kFile, &before), 0);
    EXPECT_EQ(WrittenBy([] { Write(kFile, "own"); }), "own");
    ASSERT_EQ(record.moved.size(), 1U);
    EXPECT_EQ(record.moved[0].path, kFile);
    EXPECT_EQ(record.moved[0].was, row.was);
    EXPECT_TRUE(record.problems.empty());
    struct stat after = {};
    ASSERT_EQ(lstat(record.moved[0].movedTo.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(record.moved[0].movedTo.rfind("/tmp/FILE.moved-", 0), 0U);
    EXPECT_EQ(ReadFile("/tmp/victim").value_or("precious"), "precious");
    unlink("/tmp/victim");
    unlink(kFile);
  }
}

TEST_F(WatchedFileTest, Foreign_ThatCannotBeMoved_IsAProblemAndNotBelieved) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "only root gives files to other users";
  }
  Write(kFile, "Updated FW version: 9 \n");
  Give();
  ASSERT_EQ(mount(kFile, kFile, nullptr, MS_BIND, nullptr), 0);
  EXPECT_EQ(WrittenBy([] { Write(kFile, "Updated FW version: 9 \n"); }), std::nullopt);
  EXPECT_TRUE(record.moved.empty());
  EXPECT_EQ(record.problems,
            (std::vector<std::string>{
                "/tmp/FILE is a file of user 65534 and cannot be moved: Device or resource busy",
                "/tmp/FILE is not believed: somebody else put it there"}));
  umount2(kFile, MNT_DETACH);
}

TEST_F(WatchedFileTest, Foreign_ThatComesBack_IsMovedThreeTimes) {
  const auto put = [] { ASSERT_EQ(mkdir(kFile, 0755), 0); };
  put();
  PlannedCalls calls;
  for (int i = 0; i < 3; ++i) {
    calls.After(put);
  }
  EXPECT_EQ(WrittenBy([] {}), std::nullopt);
  EXPECT_EQ(record.moved.size(), 3U);
  EXPECT_EQ(record.problems,
            (std::vector<std::string>{
                "/tmp/FILE is a folder of user 0 and cannot be moved: it comes back",
                "/tmp/FILE is not believed: somebody else put it there"}));
}

TEST_F(WatchedFileTest, Foreign_DuringTheRun_IsNotBelieved) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "only root gives files to other users";
  }
  for (const ForeignRow& row : kForeign) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(WrittenBy(row.put), std::nullopt);
    EXPECT_EQ(record.problems,
              std::vector<std::string>{std::string("/tmp/FILE is not believed: ") + row.doubt});
    EXPECT_TRUE(record.moved.empty());
    unlink("/tmp/victim");
    unlink((std::string(kFile) + "/file").c_str());
    EXPECT_EQ(remove(kFile), 0);
  }
}

TEST_F(WatchedFileTest, OwnFile_MovedIntoPlaceDuringTheRun_IsNotBelieved) {
  // Anybody can move a file of root's out of a folder of his own.
  ASSERT_EQ(mkdir("/tmp/folder", 0755), 0);
  Write("/tmp/folder/file", "Updated FW version: 9 \n");
  usleep(20000);
  EXPECT_EQ(WrittenBy([] { rename("/tmp/folder/file", kFile); }), std::nullopt);
  EXPECT_EQ(record.problems,
            std::vector<std::string>{"/tmp/FILE is not believed: somebody else put it there"});
}

TEST_F(WatchedFileTest, Folder_InWhichAnybodyReplacesFiles_IsNotBelieved) {
  ASSERT_EQ(chmod("/tmp", 0777), 0);
  EXPECT_EQ(WrittenBy([] { Write(kFile, "text"); }), std::nullopt);
  EXPECT_EQ(record.problems,
            std::vector<std::string>{"/tmp/FILE is not believed: anybody can replace it"});
  ASSERT_EQ(chmod("/tmp", 0755), 0);
  EXPECT_EQ(WrittenBy([] { Write(kFile, "text"); }), "text");
}

TEST_F(WatchedFileTest, Folder_OfAnotherUser_IsNotBelieved) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "only root gives files to other users";
  }
  ASSERT_EQ(chown("/tmp", kSomebody, 0), 0);
  EXPECT_EQ(WrittenBy([] { Write(kFile, "text"); }), std::nullopt);
  EXPECT_EQ(record.problems,
            std::vector<std::string>{"/tmp/FILE is not believed: anybody can replace it"});
}

TEST_F(WatchedFileTest, Folder_OfRootOrOfTheUser_IsBelieved) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "only root becomes another user";
  }
  ASSERT_EQ(chmod("/tmp", 01777), 0);
  for (const uid_t owner : {uid_t{0}, kSomebody}) {
    ASSERT_EQ(chown("/tmp", owner, 0), 0);
    ASSERT_EQ(seteuid(kSomebody), 0);
    EXPECT_EQ(WrittenBy([] { Write(kFile, "text"); }), "text") << owner;
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(unlink(kFile), 0);
  }
}

TEST_F(WatchedFileTest, Folder_ThatTakesNothing_IsAProblemOnlyForWhatMustBeMoved) {
  ASSERT_EQ(mkdir(kFile, 0755), 0);
  PrivateTmp::MakeReadOnly();
  EXPECT_EQ(WrittenBy([] { Write(kFile, "text"); }), std::nullopt);
  EXPECT_EQ(record.problems,
            (std::vector<std::string>{
                "/tmp/FILE is a folder of user 0 and cannot be moved: Read-only file system",
                "/tmp/FILE is not believed: somebody else put it there"}));
}

}  // namespace
}  // namespace vam
