// Faults of the surroundings of a program: its console, its status files, its memory, and signals
// that end it. vam-update meets each of them on a board.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// A board on which both parts are verified, and one whose parts differ after the update.
constexpr char kVerifying[] = R"([image]
system_version = "1.1"
app_version = "2.0"
[chip]
system_version = "1.0"
app_version = "2.0"
information = [1]
)";
constexpr char kDiffering[] = R"([image]
system_version = "1.1"
runs_system_version = "1.2"
app_version = "2.0"
[chip]
information = [1]
)";
constexpr char kVerified[] = "Updated FW version: 1.1 \n";
constexpr char kSystemDiffers[] =
    "updated firmware version (IC) != firmware version on FS (System part) -1 \n"
    "vam ret: 0 \nfw ret: 0 \n";

class BoardSurroundingsTest : public ::testing::Test {
 protected:
  BoardSurroundingsTest() : state(PrivateTmp::Folder() + "/state") {}

  /// Runs `program` on a board with these faults.
  Output Run(const std::string& board, const std::string& faults,
             const std::vector<std::string>& program = {UpdateTool()}) const {
    const std::string file = PrivateTmp::Folder() + "/board.toml";
    WriteFile(file, board + faults);
    return Capture(OnBoard(file, program, state), BoardEnvironment());
  }

  std::string OkFile() const { return ReadFile(state + "/VAM_OK").value_or("none"); }
  std::string FailFile() const { return ReadFile(state + "/VAM_FAIL").value_or("none"); }

  const PrivateTmp tmp;
  const std::string state;
};

std::size_t LinesIn(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST_F(BoardSurroundingsTest, Signal_AfterALine_EndsTheProgramThere) {
  const Output killed = Run(kVerifying, "[[fault]]\nsignal = \"SIGKILL\"\nafter_lines = 3\n");
  EXPECT_EQ(killed.status, 128 + 9);
  EXPECT_EQ(LinesIn(killed.standardOutput), 3U);
  EXPECT_EQ(OkFile(), "none");
  const Output ended = Run(kVerifying, "[[fault]]\nsignal = \"SIGTERM\"\nafter_lines = 4\n");
  EXPECT_EQ(ended.status, 128 + 15);
  EXPECT_EQ(LinesIn(ended.standardOutput), 4U);
}

TEST_F(BoardSurroundingsTest, Signal_AfterACall_EndsTheProgramThere) {
  // The node is opened, and nothing has been said.
  const Output opened = Run(kVerifying, "[[fault]]\nsignal = \"SIGTERM\"\nafter_calls = 1\n");
  EXPECT_EQ(opened.status, 128 + 15);
  EXPECT_EQ(opened.standardOutput, "");
  // The three calls on the node, and the two that open a session.
  const Output session = Run(kVerifying, "[[fault]]\nsignal = \"SIGKILL\"\nafter_calls = 5\n");
  EXPECT_EQ(session.status, 128 + 9);
  EXPECT_THAT(session.standardOutput, EndsWith("CA InterfaceSP: vm_updateFW\n"));
}

TEST_F(BoardSurroundingsTest, Console_ThatIsGone_LosesNoVerdict) {
  for (const std::string console : {"closed", "full", "without reader"}) {
    SCOPED_TRACE(console);
    fs::remove_all(state);
    const Output output = Run(kVerifying, "[[fault]]\nconsole = \"" + console + "\"\n");
    EXPECT_EQ(output.status, 0);
    EXPECT_EQ(output.standardOutput, "");
    EXPECT_EQ(output.standardError, "");
    EXPECT_EQ(OkFile(), kVerified);
  }
}

TEST_F(BoardSurroundingsTest, Console_ThatIsGone_IsSoForTheProgram) {
  const std::vector<std::string> line = {"/bin/sh", "-c", "trap '' PIPE; exec /bin/echo line"};
  for (const auto& [console, complaint] :
       std::vector<std::pair<std::string, std::string>>{{"closed", "Bad file descriptor"},
                                                        {"full", "No space left on device"},
                                                        {"without reader", "Broken pipe"}}) {
    const Output output = Run("", "[[fault]]\nconsole = \"" + console + "\"\n", line);
    EXPECT_NE(output.status, 0) << console;
    EXPECT_THAT(output.standardError, HasSubstr(complaint));
  }
}

TEST_F(BoardSurroundingsTest, Console_ThatIsSlow_GetsEveryLine) {
  const std::string whole = Run(kVerifying, "").standardOutput;
  const Output output = Run(kVerifying, "[[fault]]\nconsole = \"slow\"\n");
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardOutput, whole);
  // Who does not wait for room loses its line.
  const Output impatient =
      Run(kVerifying, "[[fault]]\nconsole = \"slow\"\n", {"/bin/sh", "-c", "echo line"});
  EXPECT_NE(impatient.status, 0);
  EXPECT_EQ(impatient.standardOutput, "");
}

TEST_F(BoardSurroundingsTest, StatusFile_ThatIsRefused_StaysAsItWas) {
  EXPECT_EQ(Run(kDiffering, "").status, 0);
  EXPECT_EQ(FailFile(), kSystemDiffers);
  const Output refused =
      Run(kDiffering, "[[fault]]\nstatus_file = \"VAM_FAIL\"\nresult = \"EROFS\"\n");
  EXPECT_EQ(refused.status, 0);
  EXPECT_EQ(refused.standardError, "");
  EXPECT_EQ(FailFile(), kSystemDiffers);
  const Output of = Run(kDiffering, "[[fault]]\nstatus_file = \"VAM_OK\"\nresult = \"EACCES\"\n");
  EXPECT_THAT(of.standardError, StartsWith("vam-board: fault 1 (VAM_OK EACCES) never fired"));
  EXPECT_EQ(FailFile(), std::string(kSystemDiffers) + kSystemDiffers);
  const Output redirected = Run("", "[[fault]]\nstatus_file = \"both\"\nresult = \"ENOENT\"\n",
                                {"/bin/sh", "-c", "echo line >/tmp/VAM_OK"});
  EXPECT_THAT(redirected.standardError, HasSubstr("cannot create /tmp/VAM_OK"));
}

TEST_F(BoardSurroundingsTest, StatusFile_ThatIsAFolder_StaysOne) {
  EXPECT_EQ(Run(kVerifying, "[[fault]]\nstatus_file = \"VAM_OK\"\nis = \"folder\"\n").status, 0);
  EXPECT_TRUE(fs::is_directory(state + "/VAM_OK"));
  EXPECT_TRUE(fs::is_empty(state + "/VAM_OK"));
}

TEST_F(BoardSurroundingsTest, StatusFile_ThatIsALink_IsWrittenWhereItLeads) {
  EXPECT_EQ(Run(kDiffering, "").status, 0);
  const Output output = Run(kDiffering, "[[fault]]\nstatus_file = \"VAM_FAIL\"\nis = \"link\"\n");
  EXPECT_EQ(output.status, 0);
  EXPECT_TRUE(fs::is_symlink(state + "/VAM_FAIL"));
  EXPECT_EQ(FailFile(), std::string(kSystemDiffers) + kSystemDiffers);
}

TEST_F(BoardSurroundingsTest, StatusFolder_ThatGetsFull_CutsTheEntry) {
  EXPECT_EQ(Run(kDiffering, "[[fault]]\nstatus_room = 12\n").status, 0);
  EXPECT_EQ(FailFile(), std::string(kSystemDiffers).substr(0, 12));
  EXPECT_EQ(Run(kVerifying, "[[fault]]\nstatus_room = 0\n").status, 0);
  EXPECT_EQ(OkFile(), "");
}

TEST_F(BoardSurroundingsTest, Memory_ThatIsRefused_EndsTheToolWithoutAVerdict) {
  const Output first = Run(kVerifying, "[[fault]]\nmemory_fails_at_request = 1\n");
  if (VAM_IS_SANITIZED) {
    EXPECT_THAT(first.standardError, HasSubstr("never fired")) << "the sanitizer asks nobody";
    return;
  }
  EXPECT_EQ(first.status, 128 + 6);
  EXPECT_THAT(first.standardError, HasSubstr("std::bad_alloc"));
  EXPECT_EQ(OkFile(), "none");
  EXPECT_EQ(FailFile(), "none");
}

TEST_F(BoardSurroundingsTest, Memory_IsRefusedByWhicheverFunctionAsks) {
  if (VAM_IS_SANITIZED) {
    GTEST_SKIP() << "not run: the sanitizer asks nobody";
  }
  const std::vector<std::string> functions = {"malloc", "calloc", "realloc", "aligned_alloc",
                                              "posix_memalign"};
  for (std::size_t refused = 1; refused <= functions.size() + 1; ++refused) {
    const Output output =
        Run("", "[[fault]]\nmemory_fails_at_request = " + std::to_string(refused) + "\n",
            {VAM_MEMORY_PROBE});
    std::string expected;
    for (std::size_t i = 1; i <= functions.size(); ++i) {
      expected.append(functions[i - 1]).append(i == refused ? ": refused\n" : ": granted\n");
    }
    EXPECT_EQ(output.standardOutput, expected);
    EXPECT_EQ(output.standardError,
              refused <= functions.size()
                  ? ""
                  : "vam-board: fault 1 (no memory at request 6) never fired\n");
  }
  // Each of several faults.
  EXPECT_EQ(Run("",
                "[[fault]]\nmemory_fails_at_request = 4\n"
                "[[fault]]\nmemory_fails_at_request = 2\n",
                {VAM_MEMORY_PROBE})
                .standardOutput,
            "malloc: granted\ncalloc: refused\nrealloc: granted\naligned_alloc: refused\n"
            "posix_memalign: granted\n");
}

TEST_F(BoardSurroundingsTest, StatusFile_ThatIsOnlyRead_IsNotRefused) {
  EXPECT_EQ(Run(kDiffering, "").status, 0);
  const Output output = Run(kDiffering, "[[fault]]\nstatus_file = \"both\"\nresult = \"EROFS\"\n",
                            {"/bin/cat", "/tmp/VAM_FAIL"});
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardOutput, kSystemDiffers);
  EXPECT_EQ(output.standardError, "vam-board: fault 1 (both EROFS) never fired\n");
}

TEST_F(BoardSurroundingsTest, PiecesOfOneWrite_AreWrittenAsFarAsThereIsRoom) {
  struct Room {
    const char* room;
    const char* answers;
    const char* written;
  };
  // Writes of "", of "ab" and "cd" and "ef" at once, and of "gh".
  const Room kRooms[] = {{"100", "0 6 2\n", "abcdefgh"}, {"6", "0 6 ENOSPC\n", "abcdef"},
                         {"5", "0 5 ENOSPC\n", "abcde"}, {"4", "0 4 ENOSPC\n", "abcd"},
                         {"1", "0 1 ENOSPC\n", "a"},     {"0", "0 ENOSPC ENOSPC\n", ""}};
  for (const Room& room : kRooms) {
    SCOPED_TRACE(room.room);
    fs::remove_all(state);
    const Output output = Run("", std::string("[[fault]]\nstatus_room = ") + room.room + "\n",
                              {VAM_STATUS_PROBE, "--pieces"});
    EXPECT_EQ(output.standardOutput, room.answers);
    EXPECT_EQ(OkFile(), room.written);
  }
}

TEST_F(BoardSurroundingsTest, Signal_AfterALineOfPieces_EndsTheProgramThere) {
  EXPECT_EQ(
      Run("", "[[fault]]\nsignal = \"SIGTERM\"\nafter_lines = 1\n", {VAM_STATUS_PROBE, "--pieces"})
          .status,
      128 + 15);
  // What goes to another descriptor is no line.
  EXPECT_THAT(
      Run("", "[[fault]]\nsignal = \"SIGTERM\"\nafter_lines = 1\n", {"/bin/cat", "/nowhere"})
          .standardError,
      EndsWith("No such file or directory\n"
               "vam-board: fault 1 (SIGTERM after line 1) never fired\n"));
}

TEST_F(BoardSurroundingsTest, Memory_OfTheStandIns_IsNotCounted) {
  // The tool asks some twenty times, and the stand-ins more than a hundred times.
  const Output later = Run(kVerifying, "[[fault]]\nmemory_fails_at_request = 100\n");
  EXPECT_EQ(later.status, 0);
  EXPECT_EQ(later.standardError, "vam-board: fault 1 (no memory at request 100) never fired\n");
  EXPECT_EQ(OkFile(), kVerified);
}

}  // namespace
}  // namespace vam
