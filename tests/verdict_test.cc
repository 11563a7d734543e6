// vam-verdict around the update tool, as services rely on it: each way in which a run can end and
// in which another user, a full disk or another boot can meddle, with the recorder's exit status,
// the record, and the answer to a service.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/outcome.h"
#include "tests/support/pretended_boot.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"
#include "tests/support/recorded_run.h"
#include "tests/support/terminal.h"

namespace vam {
namespace {

constexpr uid_t kSomebody = 65534;
constexpr char kOk[] = "/tmp/VAM_OK";
constexpr char kFail[] = "/tmp/VAM_FAIL";
constexpr char kForged[] = "Updated FW version: 9.9 \n";

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

/// Whether `text` has `part` in it.
bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class VerdictTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!PrivateTmp::HasOtherUsers()) {
      GTEST_SKIP() << "what root does not own is not trusted";
    }
  }

  /// Expects the outcome of the record, and of the answer to a service.
  static void ExpectOutcome(const std::string& outcome) {
    EXPECT_TRUE(Has(RecordText(), "\"outcome\":\"" + outcome + "\"")) << RecordText();
    const Output answer = Ask();
    EXPECT_EQ(answer.status, outcome == "verified" ? 0 : 1) << answer.standardError;
    EXPECT_EQ(answer.standardOutput.rfind(outcome + ": ", 0), 0U) << answer.standardOutput;
    EXPECT_EQ(Ask({"--quiet"}).status, answer.status);
    EXPECT_EQ(Ask({"--quiet"}).standardOutput, "");
    EXPECT_EQ(Ask({"--json"}).standardOutput, RecordText());
  }

  /// Expects that a service is told of no run, or of none that can be trusted.
  static void ExpectNoVerdict(int status, const std::string& reason) {
    const Output answer = Ask();
    EXPECT_EQ(answer.status, status);
    EXPECT_EQ(answer.standardOutput, "");
    EXPECT_TRUE(Has(answer.standardError, reason)) << answer.standardError;
    const Output quiet = Ask({"--quiet"});
    EXPECT_EQ(quiet.status, status);
    EXPECT_EQ(quiet.standardOutput + quiet.standardError, "");
    const Output json = Ask({"--json"});
    EXPECT_EQ(json.status, status);
    EXPECT_EQ(json.standardOutput.rfind("{\"format\":1,\"error\":\"", 0), 0U);
  }

  const PrivateRun run;
};

struct OutcomeRow {
  const char* board;
  int status;
  const char* outcome;
  /// Parts of the record.
  std::vector<std::string> parts;
};

const OutcomeRow kOutcomes[] = {
    {"update-needed", 0, "verified", {"\"version\":\"1.1,04/7,3\"", "\"entries\":[]"}},
    {"up-to-date", 0, "verified", {"\"version\":\"1.1,04/7,3\""}},
    {"information-query-failing",
     0,
     "verified",
     {"\"message\":\"vam_getFWInfo failed\"", "\"code\":-65525,\"name\":\"TEEC_ERROR_NO_DATA\""}},
    {"mode-3-failing",
     255,
     "update failed",
     {"\"version\":null", "\"message\":\"vam_updateFW failed: \"",
      "\"code\":-65536,\"name\":\"TEEC_ERROR_GENERIC\"",
      "\"record\":{\"vam\":{\"code\":0,\"name\":\"VAM_RET_SUCCESS\"},"
      "\"firmware\":{\"code\":0,\"name\":\"ZELK_NO_ERROR\"}}"}},
    {"mode-7-failing", 255, "update failed", {"(get firmware size from FS): \""}},
    {"mode-11-failing", 255, "update failed", {"(get firmware size from IC): \""}},
    {"system-part-differs", 0, "not verified", {"(System part)\""}},
    {"app-part-differs", 0, "not verified", {"(App part)\""}},
    {"both-parts-differ", 0, "not verified", {"(System part)\"", "(App part)\""}},
    {"no-vam", 0, "no VAM", {"\"message\":\"VAM_RET_NOT_IMPLEMENTED\"", "\"code\":0,"}},
    {"no-device-node", 0, "no VAM", {"\"message\":\"Open /dev/zelkshield failed with error:\""}},
    {"ioctl-failing", 0, "no VAM", {"\"message\":\"ioctl GET_VAM_SUPPORT failed with error:\""}},
    {"secure-world-absent", 255, "update failed", {"\"message\":\"vam_updateFW failed: \""}},
    {"not-implemented", 0, "not implemented", {"\"code\":13,\"name\":\"VAM_RET_NOT_IMPLEMENTED\""}},
    {"power-cut-during-update", 137, "interrupted", {"\"status\":137"}},
};

TEST_F(VerdictTest, Board_InEachOfItsStates_HasItsOutcome) {
  for (const OutcomeRow& row : kOutcomes) {
    SCOPED_TRACE(row.board);
    const Output output = RecordOnBoard(row.board);
    EXPECT_EQ(output.status, row.status);
    EXPECT_EQ(output.standardError, "");
    ExpectOutcome(row.outcome);
    for (const std::string& part : row.parts) {
      EXPECT_TRUE(Has(RecordText(), part)) << part << " is not in " << RecordText();
    }
  }
}

TEST_F(VerdictTest, ToolWithoutABoard_FindsNoNode) {
  // No node at all, and no TEE driver either.
  ASSERT_FALSE(std::filesystem::exists("/dev/zelkshield"));
  EXPECT_EQ(Record({UpdateTool()}).status, 0);
  ExpectOutcome("no VAM");
}

TEST_F(VerdictTest, Tool_LeavesWhatItLeavesAlone) {
  const Outcome expected = ExpectedOutcome("update-needed");
  EXPECT_EQ(RecordOnBoard("update-needed").standardOutput, expected.console);
  EXPECT_EQ(ReadFile(kOk), expected.okFile);
  EXPECT_EQ(ReadFile(kFail), expected.errorFile);
}

TEST_F(VerdictTest, Tool_KilledBySignal_IsInterrupted) {
  for (const int signal : {SIGKILL, SIGSEGV}) {
    // Also when it had written its verdict already.
    const Output output = Record({"sh", "-c",
                                  "printf 'Updated FW version: 9.9 \\n' >/tmp/VAM_OK; kill -" +
                                      std::to_string(signal) + " $$"});
    EXPECT_EQ(output.status, 128 + signal);
    EXPECT_TRUE(Has(RecordText(), "\"status\":null,\"signal\":" + std::to_string(signal)));
    ExpectOutcome("interrupted");
  }
}

TEST_F(VerdictTest, Program_ThatIsMissing_IsInterrupted) {
  const Output output = Record({"/usr/sbin/no-such-tool"});
  EXPECT_EQ(output.status, 127);
  EXPECT_EQ(
      output.standardError,
      "vam-verdict: /usr/sbin/no-such-tool could not be started: No such file or directory\n");
  ExpectOutcome("interrupted");
}

TEST_F(VerdictTest, Program_WithTheLongestName_IsRecorded) {
  const std::string name(131071, '\n');
  const Output output = Record({name});
  EXPECT_EQ(output.status, 126);
  EXPECT_EQ(output.standardError.size(), 4 * name.size() + std::strlen("vam-verdict:  could not be "
                                                                       "started: File name too "
                                                                       "long\n"));
  ExpectOutcome("interrupted");
}

TEST_F(VerdictTest, Record_OfARun_HasItsModesAndClocks) {
  umask(077);
  const auto seconds = [] { return std::time(nullptr); };
  const std::time_t before = seconds();
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  umask(022);
  struct stat status = {};
  ASSERT_EQ(lstat("/run/vam-update", &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0755U);
  ASSERT_EQ(lstat("/run/vam-update/verdict.json", &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0644U);
  EXPECT_EQ(status.st_uid, 0U);
  std::string bootId;
  std::ifstream("/proc/sys/kernel/random/boot_id") >> bootId;
  EXPECT_TRUE(Has(RecordText(), "\"boot_id\":\"" + bootId + "\""));
  const std::string text = RecordText();
  const auto numberAfter = [&text](const std::string& label, std::size_t from) {
    return std::strtoll(text.c_str() + text.find(label, from) + label.size(), nullptr, 10);
  };
  const std::size_t end = text.find("\"end\":");
  double uptime = 0;
  std::ifstream("/proc/uptime") >> uptime;
  const long long start = numberAfter("\"boot_time_ms\":", 0);
  EXPECT_GT(start, 0);
  EXPECT_GE(numberAfter("\"boot_time_ms\":", end), start);
  EXPECT_LE(numberAfter("\"boot_time_ms\":", end), (uptime + 1) * 1000);
  EXPECT_GE(numberAfter("\"wall_clock_ms\":", 0), before * 1000LL);
  EXPECT_LE(numberAfter("\"wall_clock_ms\":", end), (seconds() + 1) * 1000LL);
}

TEST_F(VerdictTest, Record_IsReadByEveryUser) {
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  // The program itself may lie where only root looks.
  ASSERT_EQ(chmod(PrivateTmp::Folder().c_str(), 0755), 0);
  const std::string copy = PrivateTmp::Folder() + "/vam-verdict";
  std::filesystem::copy_file(VerdictProgram(), copy);
  const Output output =
      Capture({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", copy});
  EXPECT_EQ(output.status, 0) << output.standardError;
}

/// Sets the times of a file to a moment in seconds since 1970.
void SetTimes(const char* path, time_t seconds) {
  const timespec times[] = {{seconds, 0}, {seconds, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path, times, 0), 0);
}

TEST_F(VerdictTest, OldVerdict_OfAnyTime_IsNoneOfThisRun) {
  const time_t now = std::time(nullptr);
  // Yesterday, a second ago, and as it looks on a board whose clock fell back.
  for (const time_t moment : {now - 86400, now - 1, now + 86400, now + 100000000}) {
    Write(kOk, kForged);
    SetTimes(kOk, moment);
    ExpectNoVerdict(3, "no run has ended in this boot");
    for (const char* board : {"mode-3-failing", "system-part-differs", "no-vam"}) {
      EXPECT_NE(RecordOnBoard(board).status, -1);
      EXPECT_EQ(Ask().status, 1) << board;
      EXPECT_EQ(ReadFile(kOk), kForged) << "a failed run leaves it";
    }
    EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
    ExpectOutcome("verified");
    EXPECT_TRUE(Has(RecordText(), "\"version\":\"1.1,04/7,3\""));
    std::filesystem::remove_all("/run/vam-update");
  }
}

TEST_F(VerdictTest, HistoryOfFailures_StaysAndIsNotRecorded) {
  const std::string history = "vam_updateFW failed:  7 \nvam ret: 1 \nfw ret: 2 \n";
  Write(kFail, history);
  SetTimes(kFail, std::time(nullptr) + 86400);
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  ExpectOutcome("verified");
  EXPECT_TRUE(Has(RecordText(), "\"entries\":[]"));
  EXPECT_EQ(RecordOnBoard("no-vam").status, 0);
  ExpectOutcome("no VAM");
  EXPECT_FALSE(Has(RecordText(), "vam_updateFW"));
  EXPECT_EQ(ReadFile(kFail), history + "VAM_RET_NOT_IMPLEMENTED 0 \n");
}

/// What `nobody` puts in the place of a status file before the run.
struct ForeignRow {
  const char* name;
  std::function<void(const char*)> put;
  const char* was;
};

void PrintTo(const ForeignRow& row, std::ostream* stream) { *stream << row.name; }

const ForeignRow kForeign[] = {
    {"File", [](const char* path) { Write(path, kForged); }, "a file of user 65534"},
    {"OpenFile",
     [](const char* path) {
       Write(path, kForged);
       chmod(path, 0666);
     },
     "a file of user 65534"},
    {"Symlink", [](const char* path) { EXPECT_EQ(symlink("/mnt/victim", path), 0); },
     "a symbolic link of user 65534"},
    {"Folder", [](const char* path) { mkdir(path, 0777); }, "a folder of user 65534"},
    {"Pipe", [](const char* path) { mkfifo(path, 0666); }, "a pipe of user 65534"},
    {"HardLinkToAFileOfRoots",
     [](const char* path) {
       const std::string victim = std::string(path) + ".victim";
       Write(victim, "precious\n");
       EXPECT_EQ(link(victim.c_str(), path), 0);
     },
     "a file of user 0 with 2 links"},
};

class ForeignFileTest : public VerdictTest, public testing::WithParamInterface<ForeignRow> {
 protected:
  void Put(const char* path) const {
    GetParam().put(path);
    struct stat status = {};
    ASSERT_EQ(lstat(path, &status), 0);
    // A hard link stays what it is: another name of root's file.
    if (!S_ISREG(status.st_mode) || status.st_nlink == 1) {
      ASSERT_EQ(lchown(path, kSomebody, kSomebody), 0);
    }
  }
};

TEST_P(ForeignFileTest, InThePlaceOfBothFiles_ChangesNothing) {
  const OutcomeRow rows[] = {{"update-needed", 0, "verified", {}},
                             {"mode-3-failing", 255, "update failed", {}},
                             {"system-part-differs", 0, "not verified", {}},
                             {"no-vam", 0, "no VAM", {}}};
  for (const OutcomeRow& row : rows) {
    SCOPED_TRACE(row.board);
    Write("/mnt/victim", "precious\n");
    Put(kOk);
    Put(kFail);
    const Output output = RecordOnBoard(row.board);
    EXPECT_EQ(output.status, row.status);
    ExpectOutcome(row.outcome);
    EXPECT_TRUE(Has(RecordText(), std::string("\"was\":\"") + GetParam().was)) << RecordText();
    EXPECT_TRUE(Has(output.standardError, std::string("/tmp/VAM_FAIL was ") + GetParam().was +
                                              "; moved to /tmp/VAM_FAIL.moved-"))
        << output.standardError;
    EXPECT_EQ(ReadFile("/mnt/victim"), "precious\n");
    for (const char* victim : {"/tmp/VAM_OK.victim", "/tmp/VAM_FAIL.victim"}) {
      EXPECT_EQ(ReadFile(victim).value_or("precious\n"), "precious\n");
    }
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
      std::filesystem::remove_all(entry.path());
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, ForeignFileTest, testing::ValuesIn(kForeign),
                         [](const auto& row) { return std::string(row.param.name); });

/// A run's program that does, as `nobody` and in the midst of the run, what `script` says.
std::vector<std::string> Attack(const std::string& script) {
  return {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "sh", "-c", script};
}

TEST_F(VerdictTest, Verdict_WrittenBySomebodyElseDuringTheRun_IsNotBelieved) {
  EXPECT_EQ(Record(Attack("printf 'Updated FW version: 9.9 \\n' >/tmp/VAM_OK")).status, 0);
  ExpectOutcome("files not written");
  EXPECT_TRUE(Has(RecordText(), "/tmp/VAM_OK is not believed: somebody else put it there"));
}

TEST_F(VerdictTest, FileOfRoots_MovedIntoPlaceDuringTheRun_IsNotBelieved) {
  // Its folder is the attacker's, so he may move it.
  ASSERT_EQ(mkdir("/tmp/folder", 0755), 0);
  Write("/tmp/folder/file", kForged);
  ASSERT_EQ(chown("/tmp/folder", kSomebody, kSomebody), 0);
  usleep(20000);
  EXPECT_EQ(Record(Attack("mv /tmp/folder/file /tmp/VAM_OK")).status, 0);
  ASSERT_EQ(ReadFile(kOk), kForged);
  ExpectOutcome("files not written");
}

TEST_F(VerdictTest, Verdict_InATmpWithoutTheStickyBit_IsNotBelieved) {
  ASSERT_EQ(chmod("/tmp", 0777), 0);
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  ExpectOutcome("files not written");
  EXPECT_TRUE(Has(RecordText(), "/tmp/VAM_OK is not believed: anybody can replace it"));
}

TEST_F(VerdictTest, Verdict_InAReadOnlyTmp_IsNotWritten) {
  PrivateTmp::MakeReadOnly();
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  ExpectOutcome("files not written");
  EXPECT_EQ(RecordOnBoard("mode-3-failing").status, 255);
  ExpectOutcome("update failed");
}

TEST_F(VerdictTest, OldVerdict_InAReadOnlyTmp_IsNoneOfThisRun) {
  Write(kOk, kForged);
  PrivateTmp::MakeReadOnly();
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  ExpectOutcome("files not written");
}

TEST_F(VerdictTest, Verdict_InAFullTmp_IsNotWritten) {
  ASSERT_EQ(mount("none", "/tmp", "tmpfs", 0, "mode=1777,size=4k"), 0);
  Write("/tmp/filler", std::string(4096, 'x'));
  for (const bool isOld : {false, true}) {
    if (isOld) {
      Write(kOk, "");
    }
    EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
    ExpectOutcome("files not written");
  }
  EXPECT_EQ(RecordOnBoard("mode-3-failing").status, 255);
  ExpectOutcome("update failed");
  umount2("/tmp", MNT_DETACH);
}

TEST_F(VerdictTest, Boot_ThatIsAnother_HasNoVerdict) {
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  ExpectOutcome("verified");
  {
    const PretendedBoot other("22222222-2222-4222-8222-222222222222\n");
    ExpectNoVerdict(4, "/run/vam-update/verdict.json: it is of another boot");
    EXPECT_EQ(RecordOnBoard("no-vam").status, 0);
    ExpectOutcome("no VAM");
  }
  ExpectNoVerdict(4, "/run/vam-update/verdict.json: it is of another boot");
}

TEST_F(VerdictTest, Boot_WithoutAName_HasNoRecord) {
  const PretendedBoot nameless("");
  const Output output = RecordOnBoard("update-needed");
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError,
            "vam-verdict: no record in /run/vam-update: the kernel does not name this boot\n");
  ExpectNoVerdict(3, "no run has ended in this boot");
}

TEST_F(VerdictTest, Verdict_BeforeAnyRun_IsNone) {
  Write(kOk, kForged);
  ExpectNoVerdict(3, "vam-verdict: no run has ended in this boot\n");
}

TEST_F(VerdictTest, Record_ForgedInAFolderOfAnybodys_IsNotTrusted) {
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  ASSERT_EQ(mkdir("/tmp/folder", 0755), 0);
  Write("/tmp/folder/verdict.json", RecordText());
  ASSERT_EQ(chown("/tmp/folder/verdict.json", kSomebody, kSomebody), 0);
  ASSERT_EQ(chown("/tmp/folder", kSomebody, kSomebody), 0);
  const Output output = Ask({"--folder", "/tmp/folder"});
  EXPECT_EQ(output.status, 4);
  EXPECT_EQ(output.standardError,
            "vam-verdict: /tmp/folder/verdict.json: others may write to the folder's parent\n");
}

TEST_F(VerdictTest, Folder_ThatCannotTakeTheRecord_ChangesNothingElse) {
  struct Row {
    const char* name;
    std::function<void()> spoil;
    const char* reason;
  };
  const Row rows[] = {
      {"read-only",
       [] {
         mkdir("/run/vam-update", 0755);
         ASSERT_EQ(mount("none", "/run/vam-update", "tmpfs", MS_RDONLY, "mode=755"), 0);
       },
       "Read-only file system"},
      {"full",
       [] {
         mkdir("/run/vam-update", 0755);
         ASSERT_EQ(mount("none", "/run/vam-update", "tmpfs", 0, "mode=755,size=4k"), 0);
         Write("/run/vam-update/filler", std::string(4096, 'x'));
       },
       "No space left on device"},
      {"a file", [] { Write("/run/vam-update", ""); }, "Not a directory"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    row.spoil();
    for (const char* board : {"update-needed", "mode-3-failing"}) {
      const Output output = RecordOnBoard(board);
      EXPECT_EQ(output.status, board == std::string("update-needed") ? 0 : 255);
      EXPECT_EQ(output.standardError,
                std::string("vam-verdict: no record in /run/vam-update: ") + row.reason + "\n");
    }
    EXPECT_NE(Ask().status, 0);
    umount2("/run/vam-update", MNT_DETACH);
    std::filesystem::remove_all("/run/vam-update");
  }
  const Output output = RecordOnBoard("update-needed", {"--folder", "/run/missing/folder"});
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError,
            "vam-verdict: no record in /run/missing/folder: No such file or directory\n");
}

TEST_F(VerdictTest, FullFolder_KeepsNoVerdictOfTheRunBefore) {
  ASSERT_EQ(mount("none", "/run", "tmpfs", 0, "mode=755,size=8k"), 0);
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  ExpectOutcome("verified");
  Write("/run/filler", std::string(4096, 'x'));
  // The old record's place is taken while the run goes on.
  EXPECT_EQ(Record({"sh", "-c", "head -c 4096 /dev/zero >/run/more; exit 255"}).status, 255);
  ExpectNoVerdict(3, "no run has ended in this boot");
  umount2("/run", MNT_DETACH);
}

TEST_F(VerdictTest, Folder_OfAnOption_IsUsedByBoth) {
  EXPECT_EQ(RecordOnBoard("update-needed", {"--folder", "/run/other"}).status, 0);
  EXPECT_EQ(Ask({"--folder", "/run/other"}).status, 0);
  ExpectNoVerdict(3, "no run has ended in this boot");
}

TEST_F(VerdictTest, Environment_ChangesNothing) {
  EXPECT_EQ(RecordOnBoard("mode-3-failing").status, 255);
  const Output output = Capture({VerdictProgram()}, {{"VAM_VERDICT_FOLDER", "/mnt"},
                                                     {"RUNTIME_DIRECTORY", "/mnt"},
                                                     {"TMPDIR", "/mnt"},
                                                     {"JOURNAL_STREAM", "1:1"}});
  EXPECT_EQ(output.status, 1);
  EXPECT_EQ(output.standardOutput,
            "update failed: the run ended with status 255. The update of the chip (mode 3) "
            "failed. (code -65536 TEEC_ERROR_GENERIC, VAM 0 VAM_RET_SUCCESS, firmware 0 "
            "ZELK_NO_ERROR)\n");
}

TEST_F(VerdictTest, JournalLine_HasThePriorityOfTheOutcome) {
  const std::pair<const char*, const char*> rows[] = {
      {"update-needed", "<5>vam-verdict: verified: "},
      {"no-vam", "<5>vam-verdict: no VAM: "},
      {"not-implemented", "<4>vam-verdict: not implemented: "},
      {"system-part-differs", "<3>vam-verdict: not verified: "},
      {"mode-3-failing", "<3>vam-verdict: update failed: "},
      {"power-cut-during-update", "<3>vam-verdict: interrupted: "},
  };
  for (const auto& [board, start] : rows) {
    const std::string lines = RecordOnBoard(board, {"--journal"}).standardError;
    EXPECT_EQ(lines.rfind(start, 0), 0U) << lines;
    EXPECT_EQ(lines.find('\n'), lines.size() - 1);
  }
  ASSERT_EQ(unlink(kFail), 0);
  ASSERT_EQ(mkdir(kFail, 0755), 0);
  EXPECT_EQ(RecordOnBoard("update-needed", {"--journal"})
                .standardError.rfind("<4>vam-verdict: /tmp/VAM_FAIL was a folder of user 0; ", 0),
            0U);
}

TEST_F(VerdictTest, Usage_ThatIsWrong_IsSaid) {
  const Output wrong = Ask({"--nonsense"});
  EXPECT_EQ(wrong.status, 2);
  EXPECT_EQ(wrong.standardError,
            "vam-verdict: '--nonsense' is no option; see vam-verdict --help\n");
  EXPECT_EQ(Ask({"a\nb\xff"}).standardError,
            "vam-verdict: 'a\\x0ab\\xff' is no command; see vam-verdict --help\n");
  const std::string word(1000, 'x');
  EXPECT_EQ(Ask({word}).standardError,
            "vam-verdict: '" + word + "' is no command; see vam-verdict --help\n");
}

TEST_F(VerdictTest, HelpAndVersion_ArePrinted) {
  const Output help = Ask({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.standardError, "");
  EXPECT_EQ(help.standardOutput,
            R"(Usage: vam-verdict [OPTION...]
       vam-verdict run [OPTION...] -- PROGRAM [ARGUMENT...]

Says how this boot's last run of the update tool ended. Status: 0 verified, 1 not
verified, 2 wrong usage, 3 no run has ended, 4 the record cannot be trusted, 5 the
answer could not be written.
  --json          print the record
  --quiet         print nothing
  --wait SECONDS  wait so long for a run to end
  --folder DIR    the record's folder, else /run/vam-update
  --help, --version

run runs PROGRAM and records its end. Status: the program's, or 128 and its signal.
  --folder DIR    as above
  --journal       start each own line with its priority
)");
  EXPECT_EQ(Ask({"--version"}).standardOutput, "vam-verdict " VAM_VERSION "\n");
}

/// A program that runs beside the test.
class Background {
 public:
  explicit Background(const std::vector<std::string>& command) : process(fork()) {
    if (process == 0) {
      setpgid(0, 0);
      _exit(RunProcess({command, {}, STDOUT_FILENO, STDERR_FILENO}));
    }
    // In both, so that the group is there whichever comes first.
    setpgid(process, process);
  }
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;
  /// Ends what is left of it, such as the program of a recorder that was killed.
  ~Background() {
    kill(-process, SIGKILL);
    waitpid(process, nullptr, 0);
  }

  /// Waits for its end and returns its exit status.
  int Wait() const {
    // The process itself stays for the destructor, so that its number is nobody else's until then.
    siginfo_t end = {};
    waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOWAIT);
    return end.si_status;
  }

 private:
  const pid_t process;
};

/// Waits until `path` exists.
void AwaitFile(const std::string& path) {
  while (!std::filesystem::exists(path)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

/// The recorder around a shell that writes the recorder's process into a file, and then goes on.
std::vector<std::string> RecorderOf(const std::string& script) {
  return {VerdictProgram(),
          "run",
          "--",
          "sh",
          "-c",
          "echo $PPID >/mnt/new; mv /mnt/new /mnt/recorder; " + script};
}

pid_t Recorder() {
  AwaitFile("/mnt/recorder");
  pid_t recorder = 0;
  std::ifstream("/mnt/recorder") >> recorder;
  return recorder;
}

TEST_F(VerdictTest, Signal_SentToTheRecorder_ReachesTheProgramAndItsEndIsRecorded) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    std::filesystem::remove("/mnt/recorder");
    Background caught(RecorderOf("trap 'exit 7' TERM INT HUP; while :; do sleep 0.01; done"));
    // The recorder's process is known before the trap is set.
    const pid_t recorder = Recorder();
    usleep(100000);
    ASSERT_EQ(kill(recorder, signal), 0);
    EXPECT_EQ(caught.Wait(), 7);
    EXPECT_TRUE(Has(RecordText(), "\"status\":7,"));
    ExpectOutcome("interrupted");

    std::filesystem::remove("/mnt/recorder");
    Background ended(RecorderOf("while :; do sleep 0.01; done"));
    ASSERT_EQ(kill(Recorder(), signal), 0);
    EXPECT_EQ(ended.Wait(), 128 + signal);
    EXPECT_TRUE(Has(RecordText(), "\"signal\":" + std::to_string(signal)));
    ExpectOutcome("interrupted");
  }
}

/// The recorder, as the leader of a terminal's session, around a program that prints each signal
/// that comes to it.
class RecorderOnTerminal {
 public:
  explicit RecorderOnTerminal(const std::vector<std::string>& before = {})
      : terminal(std::in_place) {
    std::vector<std::string> words = {VerdictProgram(), "run", "--"};
    words.insert(words.end(), before.begin(), before.end());
    words.emplace_back(VAM_SIGNAL_PROBE);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    lines = ends[0];
    process = fork();
    if (process == 0) {
      setsid();
      ioctl(terminal->Descriptor(), TIOCSCTTY, 0);
      dup2(ends[1], STDOUT_FILENO);
      execv(arguments[0], arguments.data());
      _exit(127);
    }
    close(ends[1]);
    EXPECT_EQ(ReadLine(), "ready");
  }
  ~RecorderOnTerminal() {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    close(lines);
  }
  RecorderOnTerminal(const RecorderOnTerminal&) = delete;
  RecorderOnTerminal& operator=(const RecorderOnTerminal&) = delete;

  void Type(const std::string& keys) const { terminal->Type(keys); }
  void HangUp() { terminal.reset(); }
  void Send(int signal) const { EXPECT_EQ(kill(process, signal), 0); }

  /// Returns the next line that the program prints; empty when it has ended.
  std::string ReadLine() const {
    std::string line;
    char byte = 0;
    while (read(lines, &byte, 1) == 1 && byte != '\n') {
      line += byte;
    }
    return line;
  }

 private:
  std::optional<Terminal> terminal;
  int lines = -1;
  pid_t process = -1;
};

TEST_F(VerdictTest, KeyOfTheTerminal_ReachesTheProgramOnce) {
  const RecorderOnTerminal recorder;
  // What the recorder might send on comes after what the terminal sent.
  recorder.Send(SIGSTOP);
  recorder.Type("\x03");
  EXPECT_EQ(recorder.ReadLine(), "INT");
  recorder.Send(SIGCONT);
  recorder.Send(SIGTERM);
  EXPECT_EQ(recorder.ReadLine(), "TERM");
  EXPECT_EQ(recorder.ReadLine(), "");
}

TEST_F(VerdictTest, KeyOfTheTerminal_ReachesAProgramThatLeftItsGroup) {
  const RecorderOnTerminal recorder({"setsid"});
  recorder.Type("\x03");
  EXPECT_EQ(recorder.ReadLine(), "INT");
  recorder.Send(SIGTERM);
  EXPECT_EQ(recorder.ReadLine(), "TERM");
}

TEST_F(VerdictTest, SignalSentOnATerminal_ReachesTheProgramOnce) {
  const RecorderOnTerminal recorder;
  recorder.Send(SIGINT);
  recorder.Send(SIGTERM);
  EXPECT_EQ(recorder.ReadLine(), "INT");
  EXPECT_EQ(recorder.ReadLine(), "TERM");
  EXPECT_EQ(recorder.ReadLine(), "");
}

TEST_F(VerdictTest, HangUpOfTheTerminal_ReachesTheProgramOnce) {
  RecorderOnTerminal recorder;
  recorder.HangUp();
  recorder.Send(SIGTERM);
  EXPECT_EQ(recorder.ReadLine(), "HUP");
  EXPECT_EQ(recorder.ReadLine(), "TERM");
  EXPECT_EQ(recorder.ReadLine(), "");
}

TEST_F(VerdictTest, SecondRun_WhileItGoesOn_HasNoVerdict) {
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  ExpectOutcome("verified");
  Background second(RecorderOf("while ! test -e /mnt/go; do sleep 0.01; done; exit 255"));
  Recorder();
  ExpectNoVerdict(3, "no run has ended in this boot");
  Write("/mnt/go", "");
  EXPECT_EQ(second.Wait(), 255);
  ExpectOutcome("update failed");
}

TEST_F(VerdictTest, Recorder_KilledDuringARun_LeavesNoVerdict) {
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  Background killed(RecorderOf("while :; do sleep 0.01; done"));
  ASSERT_EQ(kill(Recorder(), SIGKILL), 0);
  EXPECT_EQ(killed.Wait(), 128 + SIGKILL);
  ExpectNoVerdict(3, "no run has ended in this boot");
}

TEST_F(VerdictTest, Runs_AtTheSameTime_GoOneByOne) {
  Background first(RecorderOf("while ! test -e /mnt/go; do sleep 0.01; done"));
  Recorder();
  Background second(
      {"sh", "-c", "exec \"$0\" run -- touch /mnt/second 2>/mnt/said", VerdictProgram()});
  // At most a minute.
  for (int i = 0; i < 12000 && ReadFile("/mnt/said").value_or("").empty(); ++i) {
    usleep(5000);
  }
  EXPECT_EQ(ReadFile("/mnt/said"), "vam-verdict: another run is under way; waiting for its end\n");
  usleep(200000);
  EXPECT_FALSE(std::filesystem::exists("/mnt/second"));
  Write("/mnt/go", "");
  EXPECT_EQ(first.Wait(), 0);
  EXPECT_EQ(second.Wait(), 0);
  EXPECT_TRUE(std::filesystem::exists("/mnt/second"));
}

TEST_F(VerdictTest, Status_WhereTheConsoleIsLost_IsTheProgramsAllTheSame) {
  ASSERT_EQ(mkdir(kFail, 0755), 0);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  const std::vector<std::string> command = {VerdictProgram(), "run", "--", "sh", "-c", "exit 255"};
  EXPECT_EQ(RunProcess({command, {}, ends[1], ends[1]}), 255);
  close(ends[1]);
  ExpectOutcome("update failed");
  ASSERT_EQ(mkdir(kOk, 0755), 0);
  EXPECT_EQ(RunProcess({command, {}, std::nullopt, std::nullopt}), 255);
  ExpectOutcome("update failed");
}

/// Returns how often the process went to sleep of its own will.
std::string SleepsOf(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  std::string line;
  while (std::getline(status, line) && line.rfind("voluntary_ctxt_switches", 0) != 0) {
  }
  return line;
}

TEST_F(VerdictTest, Wait_ForARunThatComes_SleepsUntilItsEnd) {
  for (const bool isThere : {false, true}) {
    std::filesystem::remove_all("/run/vam-update");
    std::filesystem::remove("/mnt/waiting");
    if (isThere) {
      ASSERT_EQ(mkdir("/run/vam-update", 0755), 0);
    }
    Background waiting({"sh", "-c",
                        "echo $$ >/mnt/new; mv /mnt/new /mnt/waiting; exec \"$0\" --quiet --wait "
                        "600",
                        VerdictProgram()});
    AwaitFile("/mnt/waiting");
    pid_t process = 0;
    std::ifstream("/mnt/waiting") >> process;
    usleep(200000);
    const std::string before = SleepsOf(process);
    ASSERT_NE(before, "");
    usleep(300000);
    EXPECT_EQ(SleepsOf(process), before) << "it polls";
    EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
    EXPECT_EQ(waiting.Wait(), 0);
  }
}

TEST_F(VerdictTest, Wait_ForARecordInAFile_SaysWhyItCannot) {
  Write("/mnt/file", "");
  const Output output = Ask({"--wait", "600", "--folder", "/mnt/file"});
  EXPECT_EQ(output.status, 4);
  EXPECT_EQ(output.standardError,
            "vam-verdict: cannot wait: Not a directory\n"
            "vam-verdict: /mnt/file/verdict.json: Not a directory\n");
  EXPECT_EQ(Ask({"--quiet", "--wait", "600", "--folder", "/mnt/file"}).standardError, "");
}

TEST_F(VerdictTest, Wait_WithoutARun_EndsWithNoVerdict) {
  EXPECT_EQ(Ask({"--wait", "1"}).status, 3);
  EXPECT_EQ(RecordOnBoard("no-vam").status, 0);
  EXPECT_EQ(Ask({"--wait", "600"}).status, 1);
}

}  // namespace
}  // namespace vam
