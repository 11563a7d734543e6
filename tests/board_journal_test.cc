// The journal of a run on a board: its head, its file, and what it keeps secret.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <regex>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/journal_calls.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

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

}  // namespace
}  // namespace vam
