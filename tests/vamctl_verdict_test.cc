// `vamctl verdict`: what it says of the files that runs left, and of files that none left.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/outcome.h"
#include "tests/support/process.h"
#include "tests/support/recorded_run.h"

namespace vam {
namespace {

constexpr char kFromFiles[] =
    "vamctl: no run was recorded in this boot; this is what the status files say\n";

struct VerdictRow {
  const char* name;
  /// Boards that the update tool runs on, one after the other.
  std::vector<std::string> runs;
  int status;
  const char* text;
  const char* json;
};

void PrintTo(const VerdictRow& row, std::ostream* stream) { *stream << row.name; }

const VerdictRow kVerdicts[] = {
    {"NoRun_None",
     {},
     3,
     "verdict: none: the last run, if there was one, did not reach its end\n",
     R"({"verdict":"none","version":null,"entries":[],"problems":[]})"
     "\n"},
    {"GoodRun_Verified",
     {"update-needed"},
     0,
     "verdict: verified: the chip runs the image's firmware, system version 1.1,04/7,3\n",
     R"({"verdict":"verified","version":"1.1,04/7,3","entries":[],"problems":[]})"
     "\n"},
    {"InformationFailed_Verified",
     {"information-query-failing"},
     0,
     "verdict: verified: the chip runs the image's firmware, system version 1.1,04/7,3\n"
     "last entries, the newest last:\n"
     "- The firmware information words could not be read; the run went on.\n"
     "  vam_getFWInfo failed\n"
     "  code: -65525, 0xFFFF000B TEEC_ERROR_NO_DATA\n",
     R"({"verdict":"verified","version":"1.1,04/7,3","entries":[)"
     R"({"message":"vam_getFWInfo failed",)"
     R"("meaning":"The firmware information words could not be read; the run went on.",)"
     R"("code":-65525,"result":{"code":4294901771,"name":"TEEC_ERROR_NO_DATA"}}],"problems":[]})"
     "\n"},
    {"FailureAfterSuccess_NotVerified",
     {"update-needed", "no-device-node", "mode-3-failing"},
     1,
     "verdict: not verified: the last entry tells why; an earlier run verified system version "
     "1.1,04/7,3\n"
     "last entries, the newest last:\n"
     "- The device node /dev/zelkshield could not be opened, so the board was not asked.\n"
     "  Open /dev/zelkshield failed with error:\n"
     "  code: -1\n"
     "- The update of the chip (mode 3) failed.\n"
     "  vam_updateFW failed: \n"
     "  code: -65536, 0xFFFF0000 TEEC_ERROR_GENERIC\n"
     "  VAM: 0 VAM_RET_SUCCESS\n"
     "  firmware: 0 ZELK_NO_ERROR\n",
     R"({"verdict":"not verified","version":"1.1,04/7,3","entries":[)"
     R"({"message":"Open /dev/zelkshield failed with error:","meaning":)"
     R"("The device node /dev/zelkshield could not be opened, so the board was not asked.",)"
     R"("code":-1},)"
     R"({"message":"vam_updateFW failed: ","meaning":"The update of the chip (mode 3) failed.",)"
     R"("code":-65536,"result":{"code":4294901760,"name":"TEEC_ERROR_GENERIC"},)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}}}],"problems":[]})"
     "\n"},
    {"SuccessAfterFailure_Verified",
     {"no-vam", "update-needed"},
     0,
     "verdict: verified: the chip runs the image's firmware, system version 1.1,04/7,3\n"
     "last entries, the newest last:\n"
     "- The board carries no VAM; the kernel driver's flag is the code.\n"
     "  VAM_RET_NOT_IMPLEMENTED\n"
     "  code: 0\n",
     R"({"verdict":"verified","version":"1.1,04/7,3","entries":[)"
     R"({"message":"VAM_RET_NOT_IMPLEMENTED",)"
     R"("meaning":"The board carries no VAM; the kernel driver's flag is the code.","code":0}],)"
     R"("problems":[]})"
     "\n"},
    {"ThreeRuns_LastEntries",
     {"ioctl-failing", "not-implemented", "chip-damaged"},
     1,
     "verdict: not verified: the last entry tells why\n"
     "last entries, the newest last:\n"
     "- The chip's firmware branch does not implement the update.\n"
     "  VAM_RET_NOT_IMPLEMENTED\n"
     "  code: 13\n"
     "- The firmware information words could not be read; the run went on.\n"
     "  vam_getFWInfo failed\n"
     "  code: -65529, 0xFFFF0007 TEEC_ERROR_BAD_STATE\n"
     "- The update of the chip (mode 3) failed.\n"
     "  vam_updateFW failed: \n"
     "  code: -65522, 0xFFFF000E TEEC_ERROR_COMMUNICATION\n"
     "  VAM: 4 VAM_RET_STORAGE_ERROR\n"
     "  firmware: -61 -ZELK_CORE_ERROR\n",
     R"({"verdict":"not verified","version":null,"entries":[)"
     R"({"message":"VAM_RET_NOT_IMPLEMENTED",)"
     R"("meaning":"The chip's firmware branch does not implement the update.","code":13},)"
     R"({"message":"vam_getFWInfo failed",)"
     R"("meaning":"The firmware information words could not be read; the run went on.",)"
     R"("code":-65529,"result":{"code":4294901767,"name":"TEEC_ERROR_BAD_STATE"}},)"
     R"({"message":"vam_updateFW failed: ","meaning":"The update of the chip (mode 3) failed.",)"
     R"("code":-65522,"result":{"code":4294901774,"name":"TEEC_ERROR_COMMUNICATION"},)"
     R"("record":{"vam":{"code":4,"name":"VAM_RET_STORAGE_ERROR"},)"
     R"("firmware":{"code":-61,"name":"-ZELK_CORE_ERROR"}}}],"problems":[]})"
     "\n"},
    {"BothPartsDiffer_NotVerified",
     {"mode-7-failing", "both-parts-differ"},
     1,
     "verdict: not verified: the last entry tells why\n"
     "last entries, the newest last:\n"
     "- The versions of the image in the file system (mode 7) could not be read.\n"
     "  vam_updateFW failed(get firmware size from FS): \n"
     "  code: -65529, 0xFFFF0007 TEEC_ERROR_BAD_STATE\n"
     "  VAM: 0 VAM_RET_SUCCESS\n"
     "  firmware: 0 ZELK_NO_ERROR\n"
     "- The chip's system part runs another version than the image has.\n"
     "  updated firmware version (IC) != firmware version on FS (System part)\n"
     "  code: -1\n"
     "  VAM: 0 VAM_RET_SUCCESS\n"
     "  firmware: 0 ZELK_NO_ERROR\n"
     "- The chip's app part runs another version than the image has.\n"
     "  updated firmware version (IC) != firmware version on FS (App part)\n"
     "  code: -1\n"
     "  VAM: 0 VAM_RET_SUCCESS\n"
     "  firmware: 0 ZELK_NO_ERROR\n",
     R"({"verdict":"not verified","version":null,"entries":[)"
     R"({"message":"vam_updateFW failed(get firmware size from FS): ",)"
     R"("meaning":"The versions of the image in the file system (mode 7) could not be read.",)"
     R"("code":-65529,"result":{"code":4294901767,"name":"TEEC_ERROR_BAD_STATE"},)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}}},)"
     R"j({"message":"updated firmware version (IC) != firmware version on FS (System part)",)j"
     R"("meaning":"The chip's system part runs another version than the image has.","code":-1,)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}}},)"
     R"j({"message":"updated firmware version (IC) != firmware version on FS (App part)",)j"
     R"("meaning":"The chip's app part runs another version than the image has.","code":-1,)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}}}],"problems":[]})"
     "\n"},
};

class VerdictCommand : public ::testing::TestWithParam<VerdictRow> {};

TEST_P(VerdictCommand, AfterRuns_SaysWhatTheyLeft) {
  const VerdictRow& row = GetParam();
  const PrivateRun run;
  for (const std::string& board : row.runs) {
    ASSERT_NE(Capture(OnBoardWithMachineTmp(board, {UpdateTool()}), BoardEnvironment()).status,
              125);
  }
  const Output text = Capture({Vamctl(), "verdict"}, BoardEnvironment());
  EXPECT_EQ(text.standardOutput, row.text);
  EXPECT_EQ(text.standardError, kFromFiles);
  EXPECT_EQ(text.status, row.status);
  const Output json = Capture({Vamctl(), "verdict", "--json"}, BoardEnvironment());
  EXPECT_EQ(json.standardOutput, row.json);
  EXPECT_EQ(json.standardError, kFromFiles);
  EXPECT_EQ(json.status, row.status);
}

INSTANTIATE_TEST_SUITE_P(Verdicts, VerdictCommand, ::testing::ValuesIn(kVerdicts),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(VerdictOfFiles, EveryBoardsFiles_AreUnderstood) {
  int boards = 0;
  for (const auto& board : std::filesystem::directory_iterator(VAM_EXPECTATIONS)) {
    SCOPED_TRACE(board.path());
    const PrivateRun run;
    const Outcome left = ExpectedOutcome(board.path().stem());
    if (left.errorFile) {
      WriteFile("/tmp/VAM_FAIL", *left.errorFile);
    }
    if (left.okFile) {
      WriteFile("/tmp/VAM_OK", *left.okFile);
    }
    const Output output = Capture({Vamctl(), "verdict", "--json"}, BoardEnvironment());
    const std::string outcome = left.okFile ? "verified" : left.errorFile ? "not verified" : "none";
    EXPECT_EQ(output.standardOutput.rfind(R"({"verdict":")" + outcome + R"(",)", 0), 0U)
        << output.standardOutput;
    EXPECT_EQ(output.standardOutput.find("writes no such line"), std::string::npos)
        << output.standardOutput;
    ++boards;
  }
  EXPECT_GE(boards, 39);
}

/// Runs `vamctl verdict`, which must find the files unclear, and returns what it says after that.
std::string UnclearVerdict() {
  const Output output = Capture({Vamctl(), "verdict"}, BoardEnvironment());
  EXPECT_EQ(output.status, 4);
  EXPECT_EQ(output.standardError, kFromFiles);
  const std::string start = "verdict: unclear: the files do not tell how the last run ended\n";
  EXPECT_EQ(output.standardOutput.substr(0, start.size()), start);
  return output.standardOutput.substr(std::min(start.size(), output.standardOutput.size()));
}

TEST(VerdictOfFiles, Directories_AreUnclear) {
  const PrivateRun run;
  ASSERT_EQ(mkdir("/tmp/VAM_OK", 0777), 0);
  ASSERT_EQ(mkdir("/tmp/VAM_FAIL", 0777), 0);
  EXPECT_EQ(UnclearVerdict(),
            "problem: /tmp/VAM_OK: cannot be read: not a regular file\n"
            "problem: /tmp/VAM_FAIL: cannot be read: not a regular file\n");
}

TEST(VerdictOfFiles, Pipe_IsUnclearAtOnce) {
  const PrivateRun run;
  ASSERT_EQ(mkfifo("/tmp/VAM_FAIL", 0666), 0);
  EXPECT_EQ(UnclearVerdict(), "problem: /tmp/VAM_FAIL: cannot be read: not a regular file\n");
}

TEST(VerdictOfFiles, OtherContents_AreUnclearAndEscaped) {
  const PrivateRun run;
  WriteFile("/tmp/VAM_OK", "");
  WriteFile("/tmp/VAM_FAIL", std::string("\0\x1b]0;title\a\n", 11));
  EXPECT_EQ(UnclearVerdict(),
            "problem: /tmp/VAM_OK: not as the update tool writes it\n"
            "last entries, the newest last:\n"
            "- The update tool writes no such line.\n"
            "  \\x00\\x1b]0;title\\x07\n");
}

TEST(VerdictOfFiles, HugeLine_IsCutInText) {
  const PrivateRun run;
  WriteFile("/tmp/VAM_FAIL", "");
  ASSERT_EQ(truncate("/tmp/VAM_FAIL", off_t{1} << 40), 0);
  std::string shown;
  for (int i = 0; i < 200; ++i) {
    shown += "\\x00";
  }
  EXPECT_EQ(UnclearVerdict(),
            "problem: /tmp/VAM_FAIL: only its last 64 KiB were read; older entries are left out\n"
            "last entries, the newest last:\n"
            "- The update tool writes no such line.\n"
            "  " +
                shown + "...\n");
}

TEST(VerdictOfFiles, HugeLine_IsWholeInJson) {
  const PrivateRun run;
  const std::string line(60000, 'l');
  WriteFile("/tmp/VAM_FAIL", line + "\n");
  const Output output = Capture({Vamctl(), "verdict", "--json"}, BoardEnvironment());
  EXPECT_EQ(output.standardOutput,
            R"({"verdict":"unclear","version":null,"entries":[{"message":")" + line +
                R"(","meaning":"The update tool writes no such line."}],"problems":[]})"
                "\n");
  EXPECT_EQ(output.status, 4);
}

/// Runs `vamctl verdict` after a run that was recorded.
Output RecordedVerdict(const std::vector<std::string>& options = {}) {
  std::vector<std::string> command = {Vamctl(), "verdict"};
  command.insert(command.end(), options.begin(), options.end());
  return Capture(command, BoardEnvironment());
}

TEST(VerdictOfRecord, RecordedRun_SaysItsOutcomeAndItsEntriesAlone) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "what root does not own is not trusted";
  }
  const PrivateRun run;
  EXPECT_EQ(RecordOnBoard("no-vam").status, 0);
  EXPECT_EQ(RecordOnBoard("mode-3-failing").status, 255);
  // Written by hand since, and no part of the recorded run.
  WriteFile("/tmp/VAM_OK", "Updated FW version: 9.9 \n");
  const Output text = RecordedVerdict();
  EXPECT_EQ(text.standardOutput,
            "verdict: update failed: the run ended with status 255.\n"
            "entries of this run:\n"
            "- The update of the chip (mode 3) failed.\n"
            "  vam_updateFW failed: \n"
            "  code: -65536, 0xFFFF0000 TEEC_ERROR_GENERIC\n"
            "  VAM: 0 VAM_RET_SUCCESS\n"
            "  firmware: 0 ZELK_NO_ERROR\n");
  EXPECT_EQ(text.standardError, "");
  EXPECT_EQ(text.status, 1);
  const Output json = RecordedVerdict({"--json"});
  EXPECT_EQ(json.standardOutput,
            R"({"verdict":"update failed","version":null,"entries":[)"
            R"({"message":"vam_updateFW failed: ",)"
            R"("meaning":"The update of the chip (mode 3) failed.","code":-65536,)"
            R"("result":{"code":4294901760,"name":"TEEC_ERROR_GENERIC"},)"
            R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
            R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}}}],"problems":[]})"
            "\n");
  EXPECT_EQ(json.standardError, "");
}

TEST(VerdictOfRecord, VerifiedRun_SaysWhatVamVerdictSays) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "what root does not own is not trusted";
  }
  const PrivateRun run;
  ASSERT_EQ(mkdir("/tmp/VAM_FAIL", 0755), 0);
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  const std::string said = RecordedVerdict().standardOutput;
  const std::string start = "verdict: " + Ask().standardOutput;
  EXPECT_EQ(said.substr(0, start.size()), start);
  EXPECT_EQ(
      said.substr(start.size()).rfind("problem: /tmp/VAM_FAIL was a folder of user 0; moved", 0),
      0U);
  EXPECT_EQ(
      RecordedVerdict({"--json"})
          .standardOutput.rfind(
              R"({"verdict":"verified","version":"1.1,04/7,3","entries":[],"problems":["/tmp/VAM_FAIL)",
              0),
      0U);
}

TEST(VerdictOfRecord, EveryBoard_HasTheStatusOfVamVerdict) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "what root does not own is not trusted";
  }
  const PrivateRun run;
  EXPECT_EQ(RecordedVerdict().status, Ask().status);
  EXPECT_EQ(RecordedVerdict().status, 3);
  const std::pair<const char*, int> boards[] = {
      {"update-needed", 0},     {"no-vam", 1},         {"not-implemented", 1},
      {"both-parts-differ", 1}, {"mode-7-failing", 1}, {"power-cut-during-update", 1}};
  for (const auto& [board, status] : boards) {
    SCOPED_TRACE(board);
    static_cast<void>(RecordOnBoard(board));
    EXPECT_EQ(Ask().status, status);
    EXPECT_EQ(RecordedVerdict().status, status);
    EXPECT_EQ(RecordedVerdict({"--json"}).status, status);
  }
}

TEST(VerdictOfRecord, RecordThatIsNotTrusted_IsSaidAndFails) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "what root does not own is not trusted";
  }
  const PrivateRun run;
  EXPECT_EQ(RecordOnBoard("update-needed").status, 0);
  ASSERT_EQ(chmod("/run/vam-update/verdict.json", 0666), 0);
  const Output output = RecordedVerdict();
  EXPECT_EQ(output.standardError,
            "vamctl: /run/vam-update/verdict.json: others may write to it; this is what the status "
            "files say\n");
  EXPECT_EQ(output.status, 4);
}

}  // namespace
}  // namespace vam
