#include "simulator/state/state_claim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/state/state_folder.h"

namespace vam {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

class StateClaimTest : public testing::Test {
 protected:
  void Claim(const std::string& board, bool takesOver = false) const {
    StateClaim(state, board, takesOver).Record();
  }
  void MakeChip() const { std::ofstream(ChipMemoryIn(state)) << "a chip"; }
  void WriteRecord(const std::string& record) const {
    std::ofstream(BoardRecordIn(state)) << record;
  }
  /// Expects a claim to fail with a line that starts with `path` and has
  /// `reason`.
  void ExpectRefused(const std::string& path, const std::string& reason) const {
    EXPECT_THAT([&] { Claim("board"); }, ThrowsMessage<std::runtime_error>(
                                             AllOf(StartsWith(path + ": "), HasSubstr(reason))));
  }

  const TemporaryFolder folder{"vam-claim-test"};
  const std::string state = folder.Path() + "/below/state";
};

TEST_F(StateClaimTest, MissingFolder_IsMadeAndRecorded) {
  EXPECT_EQ(BoardOfState(state), std::nullopt);
  Claim("board");
  EXPECT_EQ(BoardOfState(state), "board");
  EXPECT_EQ(ReadWholeFile(BoardRecordIn(state)), "vam-board state, format 1\nboard\n");
}

TEST_F(StateClaimTest, ChipOfAnotherBoard_IsRefusedUnlessTakenOver) {
  Claim("first board");
  MakeChip();
  Claim("first board");
  ExpectRefused(state,
                "holds the chip of another board, first board; give "
                "another folder with --state, or "
                "put the chip on this board with --other-board");
  EXPECT_EQ(BoardOfState(state), "first board");
  Claim("board", true);
  EXPECT_EQ(BoardOfState(state), "board");
}

TEST_F(StateClaimTest, FolderWithoutAChip_IsAnyBoards) {
  Claim("first board");
  Claim("board");
  EXPECT_EQ(BoardOfState(state), "board");
}

TEST_F(StateClaimTest, ChipWithoutARecord_IsAdopted) {
  std::filesystem::create_directories(state);
  MakeChip();
  Claim("board");
  EXPECT_EQ(BoardOfState(state), "board");
}

TEST_F(StateClaimTest, BoardOfAnyBytes_IsToldFromOthers) {
  const std::string board = "/a\nb/\xFF \"board\".toml";
  Claim(board);
  MakeChip();
  EXPECT_EQ(BoardOfState(state), board);
  Claim(board);
}

TEST_F(StateClaimTest, FolderOfAnotherVersion_IsRefused) {
  Claim("board");
  WriteRecord("vam-board state, format 2\nwhatever comes then\n");
  ExpectRefused(state, "another version of vam-board made this folder");
  EXPECT_THROW(Claim("board", true), std::runtime_error) << "nothing helps but that version";
}

TEST_F(StateClaimTest, WrongRecord_IsNamedWithWhatToDo) {
  Claim("board");
  for (const char* record : {"", "board\n", "vam-board state, format 1\n",
                             "vam-board state, format 1", "vam-board state, format 1\nboard"}) {
    WriteRecord(record);
    ExpectRefused(BoardRecordIn(state), "damaged; remove it, and the next run writes it anew");
  }
  std::filesystem::remove(BoardRecordIn(state));
  std::filesystem::create_directory(BoardRecordIn(state));
  ExpectRefused(BoardRecordIn(state), "cannot be read: Is a directory; ");
}

TEST_F(StateClaimTest, FolderThatAnotherProcessHas_IsRefusedUntilItEnds) {
  int toChild[2];
  int toParent[2];
  ASSERT_EQ(pipe(toChild), 0);
  ASSERT_EQ(pipe(toParent), 0);
  const pid_t child = fork();
  char byte = 0;
  if (child == 0) {
    const StateClaim claim(state, "board", false);
    // Neither a child nor what it does keeps the claim or ends it.
    if (fork() == 0) {
      close(toChild[1]);
      _exit(read(toChild[0], &byte, 1) == 1 ? 0 : 1);
    }
    _exit(write(toParent[1], "", 1) == 1 && read(toChild[0], &byte, 1) == 1 ? 0 : 1);
  }
  ASSERT_EQ(read(toParent[0], &byte, 1), 1);
  ExpectRefused(state, "another run uses this folder (process " + std::to_string(child) +
                           "); wait until it has ended, or give another folder with --state");
  // It ends, and its child does not.
  ASSERT_EQ(kill(child, SIGKILL), 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  Claim("board");
  EXPECT_EQ(write(toChild[1], "", 1), 1);
  for (const int descriptor : {toChild[0], toChild[1], toParent[0], toParent[1]}) {
    close(descriptor);
  }
}

TEST_F(StateClaimTest, FolderThatCannotBeMade_IsNamedWithWhatToDo) {
  std::ofstream(folder.Path() + "/below").close();
  ExpectRefused(state,
                "cannot be made: Not a directory; give a folder that "
                "you can write to with "
                "--state");
}

TEST_F(StateClaimTest, LockThatIsALink_IsNotFollowed) {
  std::filesystem::create_directories(state);
  std::filesystem::create_symlink(folder.Path() + "/stranger", RunLockIn(state));
  ExpectRefused(RunLockIn(state), "cannot be locked: Too many levels of symbolic links; ");
  EXPECT_FALSE(std::filesystem::exists(folder.Path() + "/stranger"));
}

}  // namespace
}  // namespace vam
