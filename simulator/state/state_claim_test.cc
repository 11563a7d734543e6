#include "simulator/state/state_claim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/state/state_folder.h"
#include "tests/support/planned_calls.h"

namespace vam {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

static_assert(!std::is_copy_constructible_v<StateClaim>);
static_assert(!std::is_copy_assignable_v<StateClaim>);

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

/// Returns the line that claiming `state` fails with.
std::string RefusalOf(const std::string& state) {
  try {
    const StateClaim claim(state, "board", false);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no refusal";
}

std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(StateClaimTest, FolderOfAnotherVersion_IsToldWithWhatToDo) {
  Claim("board");
  for (const char* record :
       {"vam-board state, format 2\nx\n", "vam-board state, format 12\nboard\n"}) {
    WriteRecord(record);
    EXPECT_EQ(RefusalOf(state),
              state +
                  ": another version of vam-board made this folder, in a format that this one "
                  "does not know; use that version, or give another folder with --state");
  }
  // Cut before its first line's end, it is of no format.
  WriteRecord("vam-board state, format 2");
  EXPECT_EQ(RefusalOf(state),
            BoardRecordIn(state) + ": damaged; remove it, and the next run writes it anew");
}

TEST_F(StateClaimTest, RecordThatCannotBeRead_IsToldWithWhatToDo) {
  std::filesystem::create_directories(BoardRecordIn(state));
  EXPECT_EQ(RefusalOf(state), BoardRecordIn(state) +
                                  ": cannot be read: Is a directory; make it readable, or give "
                                  "another folder with --state");
}

TEST_F(StateClaimTest, LongestRecord_IsRead) {
  const std::string board(65536 - 27, 'b');
  Claim(board);
  EXPECT_EQ(BoardOfState(state), board);
  WriteRecord("vam-board state, format 1\n" + board + "b\n");
  EXPECT_EQ(RefusalOf(state), BoardRecordIn(state) +
                                  ": cannot be read: File too large; make it readable, or give "
                                  "another folder with --state");
}

TEST_F(StateClaimTest, RecordThatSaysSoAlready_StaysAsItIs) {
  Claim("board");
  struct stat before = {};
  ASSERT_EQ(stat(BoardRecordIn(state).c_str(), &before), 0);
  Claim("board");
  struct stat after = {};
  ASSERT_EQ(stat(BoardRecordIn(state).c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
}

TEST_F(StateClaimTest, RecordThatCannotBeWritten_IsToldWithWhatToDo) {
  const StateClaim claim(state, "board", false);
  std::filesystem::create_directory(BoardRecordIn(state));
  EXPECT_THAT([&] { claim.Record(); },
              ThrowsMessage<std::runtime_error>(
                  BoardRecordIn(state) + ": cannot be written: Is a directory; give a folder that "
                                         "you can write to with --state"));
}

TEST_F(StateClaimTest, FolderThatCannotBeLocked_IsToldWithWhatToDo) {
  std::filesystem::create_directories(state);
  const auto before = OpenDescriptors();
  const std::string end = "; give a folder that you can write to with --state";
  for (const int error : {EACCES, EAGAIN}) {
    PlannedCalls plans;
    plans.Fail("open", error);
    EXPECT_EQ(RefusalOf(state),
              RunLockIn(state) + ": cannot be locked: " + std::strerror(error) + end);
  }
  PlannedCalls plans;
  plans.Fail("fcntl", ENOLCK);
  EXPECT_EQ(RefusalOf(state), RunLockIn(state) + ": cannot be locked: No locks available" + end);
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(StateClaimTest, FolderThatIsFreedMeanwhile_IsSaidToBeInUseByNobodyKnown) {
  const std::string refusal =
      state +
      ": another run uses this folder; wait until it has ended, or give another folder "
      "with --state";
  for (const int error : {EAGAIN, EACCES}) {
    PlannedCalls plans;
    plans.Fail("fcntl", error);
    EXPECT_EQ(RefusalOf(state), refusal);
  }
  PlannedCalls plans;
  plans.Fail("fcntl", EAGAIN);
  plans.Fail("fcntl", EINVAL);
  EXPECT_EQ(RefusalOf(state), refusal);
}

TEST_F(StateClaimTest, RefusedClaim_LeavesNothingOpen) {
  Claim("first board");
  MakeChip();
  const auto before = OpenDescriptors();
  EXPECT_EQ(RefusalOf(state).rfind(state + ": holds the chip of another board", 0), 0U);
  EXPECT_EQ(OpenDescriptors(), before);
  { const StateClaim claim(state, "first board", false); }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(StateClaimTest, Lock_IsAFileForEverybody) {
  const mode_t mask = umask(0);
  Claim("board");
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(stat(RunLockIn(state).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0666U);
}

TEST_F(StateClaimTest, ProgramWithoutStandardInput_ClaimsTheFolderToo) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  EXPECT_EQ(RefusalOf(state), "no refusal");
  if (input >= 0) {
    dup2(input, STDIN_FILENO);
    close(input);
  }
}

}  // namespace
}  // namespace vam
