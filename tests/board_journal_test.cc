// The journal of a run on a board: its head, its file, and what it keeps secret.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/journal_calls.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class BoardJournalTest : public ::testing::Test {
 protected:
  static std::string JournalFile() { return PrivateTmp::Folder() + "/journal"; }

  /// Runs `program` and returns the journal.
  static std::string JournalOf(const std::vector<std::string>& program, bool withKeys = false) {
    std::vector<std::string> command = OnBoard("update-needed", program, "", JournalFile());
    if (withKeys) {
      command.insert(command.begin() + 2, "--with-keys");
    }
    EXPECT_EQ(Capture(command, BoardEnvironment()).standardError, "");
    return ReadFile(JournalFile()).value();
  }

  const PrivateTmp tmp;
};

TEST_F(BoardJournalTest, Head_TellsProgramBuildAndClock) {
  const std::regex head(R"re(\{"format":1,"program":"/bin/sh","arguments":null,)re"
                        R"re("build":"vam-board [0-9.]+","keys":false,)re"
                        R"re("clock":\{"bootId":"[-0-9a-f]{36}","bootTime":\d+,)re"
                        R"re("realTime":\d{19}\}\}\n)re");
  const std::string journal = JournalOf({"/bin/sh", "-c", "true"});
  EXPECT_TRUE(std::regex_match(journal, head)) << journal;
  EXPECT_THAT(JournalOf({"/bin/sh", "-c", "true"}, true),
              HasSubstr(R"("arguments":["-c","true"],)"));
}

TEST_F(BoardJournalTest, File_IsPrivate) {
  JournalOf({UpdateTool()});
  struct stat status = {};
  ASSERT_EQ(stat(JournalFile().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(BoardJournalTest, KeyRecord_IsWithheldUnlessAskedFor) {
  const std::vector<std::string> provision = {Vamctl(), "ak-provision", "--yes", "--hex",
                                              "00a0ff11"};
  const std::string journal = JournalOf(provision);
  EXPECT_THAT(journal, Not(HasSubstr("00a0ff11")));
  EXPECT_THAT(
      CallsIn(journal),
      HasSubstr(
          R"("length":4,"bytes":{"length":4,"sha256":)"
          R"("ddd6410ff2e4d4ea8fc7868e8e60f9e5e793e7c78fca730a3666689fe490f541"},"result":true)"));
  EXPECT_THAT(CallsIn(JournalOf(provision, true)),
              HasSubstr(R"("length":4,"bytes":"00a0ff11","result":true)"));
}

TEST_F(BoardJournalTest, TwoProcesses_AreKeptApart) {
  const std::string probe = std::string("'") + Vamctl() + "' get-info";
  const std::string journal = JournalOf({"/bin/sh", "-c", probe + " && " + probe});
  const std::regex process(R"re("pid":(\d+),"tid":(\d+),"call":"TEEC_InitializeContext")re");
  std::vector<std::string> processes;
  for (std::sregex_iterator found(journal.begin(), journal.end(), process), end; found != end;
       ++found) {
    EXPECT_EQ(found->str(1), found->str(2)) << "the first thread has its process's number";
    processes.push_back(found->str(1));
  }
  ASSERT_EQ(processes.size(), 2U);
  EXPECT_NE(processes[0], processes[1]);
}

TEST_F(BoardJournalTest, Show_TellsWhatFailed) {
  (void)Capture(OnBoard("mode-3-failing", {UpdateTool()}, "", JournalFile()), BoardEnvironment());
  const Output shown = Capture({BoardLauncher(), "journal", "show", JournalFile()});
  const std::regex update(
      R"re(  vm_updateFW, mode 3 \(update\)\n)re"
      R"re(    sent           3\n)re"
      R"re(    answered       TEEC_ERROR_GENERIC from TEEC_ORIGIN_TRUSTED_APP, after [0-9.]+ s\n)re"
      R"re(    returned       TEEC_ERROR_GENERIC\n)re"
      R"re(    changed by     fault 1 of the board\n)re");
  EXPECT_TRUE(std::regex_search(shown.standardOutput, update)) << shown.standardOutput;
  EXPECT_THAT(shown.standardOutput,
              HasSubstr("got            VAM_RET_SUCCESS ZELK_NO_ERROR, 11, \"1.1,04/7,3\", 7, "
                        "\"2.0,11\"\n"));
}

TEST_F(BoardJournalTest, Show_OfACutJournal_ShowsWhatIsThereAndNamesTheCut) {
  const std::string journal = JournalOf({UpdateTool()});
  WriteFile(JournalFile(), journal.substr(0, journal.size() - 5));
  const Output shown = Capture({BoardLauncher(), "journal", "show", JournalFile()});
  EXPECT_THAT(shown.standardOutput, HasSubstr("vm_getFWInfo"));
  EXPECT_EQ(shown.status, 125);
  const auto lines = std::count(journal.begin(), journal.end(), '\n');
  EXPECT_EQ(shown.standardError, "vam-board: " + JournalFile() + ":" + std::to_string(lines) +
                                     ": is cut: the recording ends within this line\n");
}

TEST_F(BoardJournalTest, Diff_ShowsWhereRunsPart) {
  const std::string other = PrivateTmp::Folder() + "/other";
  for (const auto& [board, file] :
       {std::pair{"update-needed", JournalFile()}, std::pair{"mode-11-failing", other}}) {
    (void)Capture(OnBoard(board, {UpdateTool()}, "", file), BoardEnvironment());
  }
  const Output compared = Capture({BoardLauncher(), "journal", "diff", JournalFile(), other});
  EXPECT_EQ(compared.status, 1);
  EXPECT_THAT(compared.standardOutput, StartsWith("The runs part after "));
  EXPECT_THAT(compared.standardOutput, HasSubstr("command=vm_updateFW"));
  EXPECT_THAT(compared.standardOutput, HasSubstr(" result=TEEC_SUCCESS "));
  EXPECT_THAT(compared.standardOutput, HasSubstr(" result=TEEC_ERROR_BUSY "));
}

TEST_F(BoardJournalTest, FileThatIsNoJournal_IsToldByEachCommand) {
  WriteFile(JournalFile(), "text\n");
  const std::string problem = "vam-board: " + JournalFile() + ":1: is no JSON object\n";
  const std::string missing = PrivateTmp::Folder() + "/missing";
  EXPECT_EQ(Capture({BoardLauncher(), "journal", "show", JournalFile()}).standardError, problem);
  EXPECT_EQ(Capture({BoardLauncher(), "journal", "show", "--json", JournalFile()}).status, 125);
  const Output compared =
      Capture({BoardLauncher(), "journal", "diff", JournalFile(), JournalFile()});
  EXPECT_EQ(compared.standardError, problem);
  EXPECT_EQ(compared.status, 125);
  EXPECT_EQ(Capture({BoardLauncher(), "journal", "show", missing}).standardError,
            "vam-board: " + missing + ": the journal cannot be read: No such file or directory\n");
  EXPECT_EQ(Capture({BoardLauncher(), "journal", "board", JournalFile()}).standardError, problem);
  EXPECT_EQ(Capture({BoardLauncher(), "journal"}).status, 125);
}

}  // namespace
}  // namespace vam
