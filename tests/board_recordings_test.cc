// What is made of a recorded run leads the tool to the same run again, on every board that ships:
// its replay, and the board that is made of it. Once on a few boards, or VAM_ROUNDS times on each.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

/// What a run leaves beside its journal.
struct Ending {
  Output output;
  std::optional<std::string> ok;
  std::optional<std::string> fail;
};

std::string StateFolder() { return PrivateTmp::Folder() + "/state"; }

/// Runs `command`, which keeps its status files in StateFolder().
Ending EndingOf(const std::vector<std::string>& command) {
  Ending ending = {Capture(command, BoardEnvironment()), ReadFile(StateFolder() + "/VAM_OK"),
                   ReadFile(StateFolder() + "/VAM_FAIL")};
  std::filesystem::remove_all(StateFolder());
  return ending;
}

Ending EndingOn(const std::string& board, const std::string& journal) {
  return EndingOf(OnBoard(board, {UpdateTool()}, StateFolder(), journal));
}

Ending EndingOfReplay(const std::string& recording, const std::string& journal) {
  return EndingOf({BoardLauncher(), "replay", "--state", StateFolder(), "--journal", journal,
                   recording, "--", UpdateTool()});
}

void ExpectSame(const Ending& ending, const Ending& expected) {
  EXPECT_EQ(ending.output.standardOutput, expected.output.standardOutput);
  EXPECT_EQ(ending.output.standardError, expected.output.standardError);
  EXPECT_EQ(ending.output.status, expected.output.status);
  EXPECT_EQ(ending.ok, expected.ok);
  EXPECT_EQ(ending.fail, expected.fail);
}

void ExpectNoDifference(const std::string& one, const std::string& other) {
  const Output compared = Capture({BoardLauncher(), "journal", "diff", one, other});
  EXPECT_EQ(compared.standardOutput + compared.standardError, "");
  EXPECT_EQ(compared.status, 0);
}

int Rounds() {
  const char* rounds = std::getenv("VAM_ROUNDS");
  return rounds == nullptr ? 1 : static_cast<int>(std::strtol(rounds, nullptr, 10));
}

std::vector<std::string> Boards() {
  if (std::getenv("VAM_ROUNDS") == nullptr) {
    return {"mode-3-failing", "power-cut-during-update", "reply-cut-at-app-version"};
  }
  std::vector<std::string> boards;
  for (const auto& entry : std::filesystem::directory_iterator(VAM_BOARDS)) {
    boards.push_back(entry.path().stem().string());
  }
  return boards;
}

class BoardRecordingsTest : public ::testing::Test {
 protected:
  static std::string Recording() { return PrivateTmp::Folder() + "/recording"; }
  static std::string Journal() { return PrivateTmp::Folder() + "/journal"; }

  const PrivateTmp tmp;
};

/// Each round runs on the board that was made of the round before it.
TEST_F(BoardRecordingsTest, BoardOfARun_RepeatsTheRun) {
  const std::string file = PrivateTmp::Folder() + "/made.toml";
  for (const std::string& board : Boards()) {
    SCOPED_TRACE(board);
    const Ending first = EndingOn(board, Recording());
    std::string made = Capture({BoardLauncher(), "journal", "board", Recording()}).standardOutput;
    for (int round = 0; round < Rounds(); ++round) {
      WriteFile(file, made);
      ExpectSame(EndingOn(file, Journal()), first);
      ExpectNoDifference(Recording(), Journal());
      const Output madeAgain = Capture({BoardLauncher(), "journal", "board", Journal()});
      EXPECT_EQ(madeAgain.standardOutput, made);
      EXPECT_EQ(madeAgain.standardError, "");
      made = madeAgain.standardOutput;
    }
  }
}

/// Each round replays the journal of the round before it.
TEST_F(BoardRecordingsTest, Replay_RepeatsTheRun) {
  for (const std::string& board : Boards()) {
    SCOPED_TRACE(board);
    const Ending first = EndingOn(board, Recording());
    const bool lostItsPower = first.output.status == 137;
    std::string from = Recording();
    std::string to = Journal();
    for (int round = 0; round < Rounds(); ++round) {
      Ending replayed = EndingOfReplay(from, to);
      if (lostItsPower) {
        EXPECT_THAT(replayed.output.standardError,
                    ::testing::StartsWith("vam-board: the recording ends after call "));
        replayed.output.standardError.clear();
      }
      ExpectSame(replayed, first);
      ExpectNoDifference(from, to);
      std::swap(from, to);
    }
  }
}

}  // namespace
}  // namespace vam
