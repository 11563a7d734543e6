#include "report/last_run.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>
#include <ios>
#include <string>

#include "report/run_record.h"
#include "tests/support/pretended_boot.h"
#include "tests/support/private_tmp.h"

namespace vam {
namespace {

constexpr char kThisBoot[] = "11111111-1111-4111-8111-111111111111";
constexpr char kOtherBoot[] = "22222222-2222-4222-8222-222222222222";
constexpr uid_t kSomebody = 65534;

/// A folder with a record that is trusted, until a test spoils it.
class LastRunTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!PrivateTmp::HasOtherUsers()) {
      GTEST_SKIP() << "only root gives files to other users";
    }
    ASSERT_EQ(chmod(PrivateTmp::Folder().c_str(), 0755), 0);
    ASSERT_EQ(mkdir(above.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    Write(path, RecordOf(kThisBoot));
  }

  static std::string RecordOf(const std::string& boot) {
    RunRecord record;
    record.bootId = boot;
    record.status = 0;
    record.outcome = RunOutcome::kVerified;
    record.version = "1.1";
    return RunRecordAsJson(record);
  }

  static void Write(const std::string& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
    ASSERT_EQ(chmod(file.c_str(), 0644), 0);
  }

  /// Expects that the record is not trusted for a reason.
  void ExpectProblem(const std::string& reason) const {
    const LastRun run = ReadLastRun(folder);
    EXPECT_EQ(run.state, LastRun::State::kNotTrusted);
    EXPECT_EQ(run.problem, path + ": " + reason);
  }

  void ExpectTrusted() const {
    const LastRun run = ReadLastRun(folder);
    EXPECT_EQ(run.state, LastRun::State::kEnded);
    EXPECT_EQ(run.problem, "");
    EXPECT_EQ(run.record.version, "1.1");
  }

  const PrivateTmp tmp;
  const PretendedBoot boot{std::string(kThisBoot) + "\n"};
  const std::string above = PrivateTmp::Folder() + "/above";
  const std::string folder = above + "/folder";
  const std::string path = folder + "/verdict.json";
};

TEST_F(LastRunTest, Record_OfRoot_IsTrusted) { ExpectTrusted(); }

TEST_F(LastRunTest, Record_InFolderGivenToAUser_IsTrusted) {
  ASSERT_EQ(chown(folder.c_str(), kSomebody, kSomebody), 0);
  ExpectTrusted();
  ASSERT_EQ(chown(path.c_str(), kSomebody, kSomebody), 0);
  ExpectTrusted();
}

TEST_F(LastRunTest, Record_ThatIsMissing_IsNone) {
  ASSERT_EQ(unlink(path.c_str()), 0);
  EXPECT_EQ(ReadLastRun(folder).state, LastRun::State::kNone);
  ASSERT_EQ(rmdir(folder.c_str()), 0);
  EXPECT_EQ(ReadLastRun(folder).state, LastRun::State::kNone);
  ASSERT_EQ(rmdir(above.c_str()), 0);
  EXPECT_EQ(ReadLastRun(folder).state, LastRun::State::kNone);
}

TEST_F(LastRunTest, Record_OfAnotherUser_IsNotTrusted) {
  ASSERT_EQ(chown(path.c_str(), kSomebody, 0), 0);
  ExpectProblem("it is a file of user 65534");
}

TEST_F(LastRunTest, Record_OfAThirdUserInAGivenFolder_IsNotTrusted) {
  ASSERT_EQ(chown(folder.c_str(), kSomebody, 0), 0);
  ASSERT_EQ(chown(path.c_str(), 1, 0), 0);
  ExpectProblem("it is a file of user 1");
}

TEST_F(LastRunTest, Record_UnderTwoNames_IsNotTrusted) {
  ASSERT_EQ(link(path.c_str(), (above + "/other").c_str()), 0);
  ExpectProblem("it is a file of user 0 with 2 links");
}

TEST_F(LastRunTest, Record_ThatIsALink_IsNotFollowed) {
  Write(above + "/other", RecordOf(kThisBoot));
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_EQ(symlink((above + "/other").c_str(), path.c_str()), 0);
  ExpectProblem("it is a symbolic link");
}

TEST_F(LastRunTest, Record_ThatIsAPipe_IsNotWaitedFor) {
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
  ExpectProblem("it is a pipe of user 0");
}

TEST_F(LastRunTest, Record_ThatIsAFolder_IsNotTrusted) {
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
  ExpectProblem("it is a folder of user 0");
}

TEST_F(LastRunTest, Record_ThatOthersMayWrite_IsNotTrusted) {
  for (const mode_t mode : {0664U, 0646U}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    ExpectProblem("others may write to it");
  }
}

TEST_F(LastRunTest, Folder_ThatOthersMayWrite_IsNotTrusted) {
  for (const mode_t mode : {0775U, 0757U, 01777U}) {
    ASSERT_EQ(chmod(folder.c_str(), mode), 0);
    ExpectProblem("others may write to the folder");
  }
}

TEST_F(LastRunTest, FolderAbove_ThatOthersMayWrite_IsNotTrusted) {
  ASSERT_EQ(chmod(above.c_str(), 01777), 0);
  ExpectProblem("others may write to the folder's parent");
}

TEST_F(LastRunTest, FolderAbove_OfAnotherUser_IsNotTrusted) {
  ASSERT_EQ(chown(above.c_str(), kSomebody, 0), 0);
  ExpectProblem("the folder's parent belongs to user 65534");
}

TEST_F(LastRunTest, FolderAbove_OfTheFoldersOwner_IsTrusted) {
  ASSERT_EQ(chown(above.c_str(), kSomebody, 0), 0);
  ASSERT_EQ(chown(folder.c_str(), kSomebody, 0), 0);
  ExpectTrusted();
}

TEST_F(LastRunTest, Folder_BehindALinkOfRoot_IsTrusted) {
  const std::string link = PrivateTmp::Folder() + "/link";
  ASSERT_EQ(symlink(above.c_str(), link.c_str()), 0);
  EXPECT_EQ(ReadLastRun(link + "/folder").state, LastRun::State::kEnded);
}

TEST_F(LastRunTest, Folder_ThatTheReaderMayNotEnter_IsAProblem) {
  ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
  const pid_t reader = fork();
  if (reader == 0) {
    const bool isSomebody = setuid(kSomebody) == 0;
    ExpectProblem("the folder cannot be seen");
    _exit(isSomebody && !HasFailure() ? 0 : 1);
  }
  int end = 0;
  ASSERT_EQ(waitpid(reader, &end, 0), reader);
  EXPECT_EQ(end, 0);
}

TEST_F(LastRunTest, Folder_ThatIsAFile_IsAProblem) {
  const LastRun run = ReadLastRun(path);
  EXPECT_EQ(run.state, LastRun::State::kNotTrusted);
  EXPECT_EQ(run.problem, path + "/verdict.json: Not a directory");
}

TEST_F(LastRunTest, Record_OfAnotherBoot_IsNotTrusted) {
  Write(path, RecordOf(kOtherBoot));
  ExpectProblem("it is of another boot");
}

TEST_F(LastRunTest, Record_OfABootWithoutAName_IsNotTrusted) {
  const PretendedBoot nameless("");
  ExpectProblem("the kernel does not name this boot");
  Write(path, RecordOf(""));
  ExpectProblem("the kernel does not name this boot");
}

TEST_F(LastRunTest, Record_CutOff_IsNotTrusted) {
  const std::string whole = RecordOf(kThisBoot);
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, whole.size() - 1}) {
    Write(path, whole.substr(0, length));
    ExpectProblem("it is not a whole record of format 1");
  }
}

TEST_F(LastRunTest, Record_WithoutAnEnd_IsReadUpToItsLimit) {
  std::ofstream(path, std::ios::app) << std::string(kLongestRecord, ' ');
  ExpectProblem("it is not a whole record of format 1");
  // 64 GiB of nothing.
  ASSERT_EQ(truncate(path.c_str(), off_t{1} << 36U), 0);
  ExpectProblem("it is not a whole record of format 1");
}

TEST(BootIdTest, BootId_OfThisMachine_IsItsName) {
  std::string expected;
  std::ifstream("/proc/sys/kernel/random/boot_id") >> expected;
  EXPECT_EQ(BootId(), expected);
  EXPECT_EQ(BootId().size(), 36U);
}

}  // namespace
}  // namespace vam
