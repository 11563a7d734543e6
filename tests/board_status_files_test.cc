// The status files of a board: where a run's programs find them, and that the machine's stay as
// they are.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::EndsWith;
using ::testing::HasSubstr;
using Words = std::vector<std::string>;

constexpr char kVerified[] = "Updated FW version: 1.1,04/7,3 \n";
constexpr char kNoVam[] = "VAM_RET_NOT_IMPLEMENTED 0 \n";

class BoardStatusFilesTest : public ::testing::Test {
 protected:
  BoardStatusFilesTest() {
    WriteFile("/tmp/VAM_OK", "the machine's\n");
    WriteFile("/tmp/VAM_FAIL", "the machine's too\n");
  }

  static std::string Path(const std::string& name) { return PrivateTmp::Folder() + "/" + name; }

  static Output Run(const std::string& board, const Words& program, const std::string& state) {
    const Words command = OnBoard(board, program, state);
    return Capture(state.empty() ? command : WithTheChipTakenOver(command), BoardEnvironment());
  }
  static Output RunTool(const std::string& board, const std::string& state) {
    return Run(board, {UpdateTool()}, state);
  }
  /// Runs vam-board with `words`.
  static Output Launch(Words words) {
    words.insert(words.begin(), BoardLauncher());
    return Capture(words, BoardEnvironment());
  }

  static void ExpectMachinesUntouched() {
    EXPECT_EQ(ReadFile("/tmp/VAM_OK"), "the machine's\n");
    EXPECT_EQ(ReadFile("/tmp/VAM_FAIL"), "the machine's too\n");
    EXPECT_EQ(std::distance(fs::directory_iterator("/tmp"), fs::directory_iterator()), 2);
  }

  const PrivateTmp tmp;
};

TEST_F(BoardStatusFilesTest, RunWithAStateFolder_LeavesThemThere) {
  EXPECT_EQ(RunTool("update-needed", Path("state")).status, 0);
  EXPECT_EQ(ReadFile(Path("state/VAM_OK")), kVerified);
  EXPECT_EQ(ReadFile(Path("state/VAM_FAIL")), std::nullopt);
  EXPECT_EQ(RunTool("no-vam", Path("state")).status, 0);
  EXPECT_EQ(RunTool("no-vam", Path("state")).status, 0);
  EXPECT_EQ(ReadFile(Path("state/VAM_OK")), kVerified);
  EXPECT_EQ(ReadFile(Path("state/VAM_FAIL")), std::string(kNoVam) + kNoVam);
  ExpectMachinesUntouched();
}

TEST_F(BoardStatusFilesTest, RunWithoutAStateFolder_LeavesNothing) {
  EXPECT_EQ(RunTool("update-needed", "").status, 0);
  EXPECT_TRUE(fs::is_empty(PrivateTmp::Folder()));
  ExpectMachinesUntouched();
}

TEST_F(BoardStatusFilesTest, RunsSideBySide_ShareNothing) {
  const auto runs = [](const std::string& board, const std::string& state) {
    for (int i = 0; i < 20; ++i) {
      EXPECT_NE(RunTool(board, state).status, 125);
    }
  };
  std::thread other([&] { runs("no-vam", Path("other")); });
  runs("update-needed", Path("state"));
  other.join();
  EXPECT_EQ(ReadFile(Path("state/VAM_OK")), kVerified);
  EXPECT_FALSE(fs::exists(Path("state/VAM_FAIL")));
  EXPECT_FALSE(fs::exists(Path("other/VAM_OK")));
  std::string entries;
  for (int i = 0; i < 20; ++i) {
    entries += kNoVam;
  }
  EXPECT_EQ(ReadFile(Path("other/VAM_FAIL")), entries);
  ExpectMachinesUntouched();
}

TEST_F(BoardStatusFilesTest, EachCallOnThePath_ReachesTheBoardsFile) {
  const Output output = Run("no-vam", {VAM_STATUS_PROBE, Path("state")}, Path("state"));
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(std::count(output.standardOutput.begin(), output.standardOutput.end(), '\n'), 41);
  EXPECT_EQ(output.standardOutput.find(": no\n"), std::string::npos) << output.standardOutput;
  ExpectMachinesUntouched();
}

TEST_F(BoardStatusFilesTest, OtherNamesInTmp_AreTheMachines) {
  EXPECT_EQ(Run("no-vam",
                {"sh", "-c", "echo one >/tmp/VAM_OKAY && mkdir /tmp/d && echo two >/tmp/d/VAM_OK"},
                Path("state"))
                .status,
            0);
  EXPECT_EQ(ReadFile("/tmp/VAM_OKAY"), "one\n");
  EXPECT_EQ(ReadFile("/tmp/d/VAM_OK"), "two\n");
  EXPECT_FALSE(fs::exists(Path("state/VAM_OK")));
}

TEST_F(BoardStatusFilesTest, CommonTools_MeetOneFile) {
  const Output output =
      Run("no-vam",
          {"sh", "-c",
           "cd /tmp && test ! -e VAM_OK && echo text >VAM_OK && cp -p VAM_OK VAM_OK.copy && "
           "mv VAM_OK.copy VAM_FAIL && cat /tmp/VAM_FAIL && rm VAM_FAIL && stat -c %s VAM_OK && "
           "readlink -f VAM_OK && ls -d /tmp/VAM_OK"},
          Path("state"));
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.standardOutput, "text\n5\n/tmp/VAM_OK\n/tmp/VAM_OK\n");
  EXPECT_EQ(ReadFile(Path("state/VAM_OK")), "text\n");
  ExpectMachinesUntouched();
}

TEST_F(BoardStatusFilesTest, VamctlOnTheBoard_SaysTheBoardsVerdict) {
  EXPECT_EQ(RunTool("update-needed", Path("state")).status, 0);
  const Output output = Run("update-needed", {Vamctl(), "verdict"}, Path("state"));
  EXPECT_EQ(output.standardOutput,
            "verdict: verified: the chip runs the image's firmware, system version 1.1,04/7,3\n");
}

TEST_F(BoardStatusFilesTest, MachineTmp_IsUsedWhenAskedFor) {
  const Output output = Launch({"run", "--board", "update-needed", "--state", Path("state"),
                                "--machine-tmp", "--verdict", "--", UpdateTool()});
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(ReadFile("/tmp/VAM_OK"), kVerified);
  EXPECT_EQ(ReadFile("/tmp/VAM_FAIL"), "the machine's too\n");
  EXPECT_FALSE(fs::exists(Path("state/VAM_OK")));
  EXPECT_THAT(output.standardOutput, EndsWith("Status files:\n"
                                              "  /tmp/VAM_OK\n"
                                              "    Updated FW version: 1.1,04/7,3 \n"
                                              "  /tmp/VAM_FAIL, as it was before this run\n"
                                              "    the machine's too\n"));
}

TEST_F(BoardStatusFilesTest, Verdict_OfARun_FollowsItsConsole) {
  const Output good = Launch({"run", "--board", "update-needed", "--verdict", "--", UpdateTool()});
  EXPECT_EQ(good.status, 0);
  EXPECT_THAT(good.standardOutput, EndsWith("\nStatus files:\n"
                                            "  /tmp/VAM_OK\n"
                                            "    Updated FW version: 1.1,04/7,3 \n"));
  const Output cut =
      Launch({"run", "--board", "power-cut-during-update", "--verdict", "--", UpdateTool()});
  EXPECT_EQ(cut.status, 137);
  EXPECT_THAT(cut.standardOutput, EndsWith("\nStatus files: none\n"));
  ExpectMachinesUntouched();
}

TEST_F(BoardStatusFilesTest, Show_NamesWhatTheStateFolderHolds) {
  const Words show = {"show", "--board", "no-vam", "--state", Path("state")};
  EXPECT_EQ(RunTool("update-needed", Path("state")).status, 0);
  EXPECT_EQ(RunTool("no-vam", Path("state")).status, 0);
  EXPECT_THAT(Launch(show).standardOutput, EndsWith("\nStatus files:\n"
                                                    "  /tmp/VAM_OK\n"
                                                    "    Updated FW version: 1.1,04/7,3 \n"
                                                    "  /tmp/VAM_FAIL\n"
                                                    "    VAM_RET_NOT_IMPLEMENTED 0 \n"));
  fs::remove_all(Path("state"));
  EXPECT_THAT(Launch(show).standardOutput, EndsWith("\nStatus files: none\n"));
  EXPECT_EQ(Launch({"show", "--board", "no-vam"}).standardOutput.find("Status files"),
            std::string::npos);
}

/// The recorder on the board, beside the tool that it records.
TEST_F(BoardStatusFilesTest, Recorder_OnTheBoard_ReadsTheBoardsFiles) {
  const Words recorder = {VAM_VERDICT_PROGRAM_PATH, "run", "--folder",
                          Path("record"),           "--",  UpdateTool()};
  const auto record = [] { return ReadFile(Path("record/verdict.json")).value_or(""); };
  EXPECT_EQ(Run("update-needed", recorder, Path("state")).status, 0);
  EXPECT_THAT(record(), HasSubstr("\"outcome\":\"verified\""));
  EXPECT_EQ(Run("mode-3-failing", recorder, Path("state")).status, 255);
  EXPECT_THAT(record(), HasSubstr("\"outcome\":\"update failed\""));

  // What is no file of the recorder's user is put aside, on the board.
  fs::remove(Path("state/VAM_OK"));
  fs::create_directory(Path("state/VAM_OK"));
  EXPECT_EQ(Run("update-needed", recorder, Path("state")).status, 0);
  EXPECT_THAT(record(), HasSubstr("\"outcome\":\"verified\""));
  EXPECT_THAT(record(), HasSubstr("\"moved_to\":\"/tmp/VAM_OK.moved-"));
  EXPECT_EQ(ReadFile(Path("state/VAM_OK")), kVerified);
  ExpectMachinesUntouched();
}

TEST_F(BoardStatusFilesTest, FolderOfTheRun_TooLongAPath_IsRefused) {
  auto environment = BoardEnvironment();
  for (int i = 0; i < 16; ++i) {
    environment["TMPDIR"] += "/" + std::string(240, 'x');
  }
  fs::create_directories(environment["TMPDIR"]);
  const Output output = Capture(OnBoard("no-vam", {UpdateTool()}), environment);
  EXPECT_EQ(output.status, 125);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_THAT(output.standardError,
              EndsWith(": the path is too long; set TMPDIR to a shorter one\n"));
  ExpectMachinesUntouched();
}

}  // namespace
}  // namespace vam
