// Commands of vamctl one after the other on one chip: keys, the self test, and the recovery of a
// chip from every point at which an update can lose its power.

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/outcome.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

using Words = std::vector<std::string>;

/// Status of a program that lost its board's power.
constexpr int kPowerCut = 137;
constexpr char kVerified[] = "Updated FW version: 1.1,04/7,3 \n";

std::string StateFolder() { return PrivateTmp::Folder() + "/state"; }

std::optional<std::string> ChipMemory() { return ReadFile(StateFolder() + "/chip.memory"); }

/// Makes a board of `base`, which ships, and the lines `added` to it.
std::string BoardOf(const std::string& base, const std::string& added) {
  std::string file = PrivateTmp::Folder() + "/board.toml";
  std::ofstream(file) << ReadFile(std::string(VAM_BOARDS) + "/" + base + ".toml").value() << added;
  return file;
}

/// Returns a board whose power fails after the given write of the chip's memory.
std::string BoardWithPowerCut(int writes) {
  return BoardOf("update-needed",
                 "\n[[fault]]\npower_cut_after_writes = " + std::to_string(writes) + "\n");
}

Output RunOnChip(const std::string& board, const Words& program) {
  return Capture(WithTheChipTakenOver(OnBoard(board, program, StateFolder())), BoardEnvironment());
}

/// Runs a command of vamctl and returns the name of its result.
std::string Answer(const std::string& board, Words arguments) {
  arguments.insert(arguments.begin(), Vamctl());
  const Output output = RunOnChip(board, arguments);
  const std::string& text = output.standardOutput;
  const std::size_t start = text.find("result: ");
  if (start == std::string::npos) {
    return "status " + std::to_string(output.status) + ": " + text + output.standardError;
  }
  const std::string answer = text.substr(start, text.find('\n', start) - start);
  EXPECT_EQ(output.status, answer == "result: 0x00000000 TEEC_SUCCESS" ? 0 : 1);
  return answer.substr(answer.rfind(' ') + 1);
}

struct Step {
  Words arguments;
  const char* result;
};

void Expect(const std::string& board, const std::vector<Step>& steps) {
  for (std::size_t i = 0; i < steps.size(); ++i) {
    EXPECT_EQ(Answer(board, steps[i].arguments), steps[i].result)
        << "step " << i << ", " << steps[i].arguments[0];
  }
}

TEST(Keys, ProvisionedRecord_IsTheOneThatPasses) {
  const PrivateTmp tmp;
  Expect("up-to-date", {{{"check-vam-ak", "--hex", "a1a2"}, "TEEC_ERROR_ITEM_NOT_FOUND"},
                        {{"get-public-key-status"}, "TEEC_ERROR_ITEM_NOT_FOUND"},
                        {{"ak-provision", "--hex", "a1a2"}, "TEEC_SUCCESS"},
                        {{"get-public-key-status"}, "TEEC_SUCCESS"},
                        {{"check-vam-ak", "--hex", "a1a2"}, "TEEC_SUCCESS"},
                        {{"check-vam-ak", "--hex", "a1a3"}, "TEEC_ERROR_SECURITY"},
                        {{"check-vam-ak", "--hex", "a1"}, "TEEC_ERROR_SECURITY"},
                        {{"check-vam-ak", "--hex", "a1a200"}, "TEEC_ERROR_SECURITY"},
                        {{"ak-provision", "--yes", "--hex", "b1"}, "TEEC_SUCCESS"},
                        {{"check-vam-ak", "--hex", "a1a2"}, "TEEC_ERROR_SECURITY"},
                        {{"check-vam-ak", "--hex", "b1"}, "TEEC_SUCCESS"}});
}

TEST(Keys, RemovedRecord_IsGone) {
  const PrivateTmp tmp;
  Expect("up-to-date", {{{"remove-ak-keys", "--yes"}, "TEEC_ERROR_ITEM_NOT_FOUND"},
                        {{"ak-provision", "--hex", "a1a2"}, "TEEC_SUCCESS"},
                        {{"remove-ak-keys", "--yes"}, "TEEC_SUCCESS"},
                        {{"get-public-key-status"}, "TEEC_ERROR_ITEM_NOT_FOUND"},
                        {{"check-vam-ak", "--hex", "a1a2"}, "TEEC_ERROR_ITEM_NOT_FOUND"},
                        {{"remove-ak-keys", "--yes"}, "TEEC_ERROR_ITEM_NOT_FOUND"}});
}

TEST(Keys, RecordOfTheProtectedBlock_IsProvisionedAndKept) {
  const PrivateTmp tmp;
  Expect("update-needed", {{{"ak-provision", "--hex", "a1a2"}, "TEEC_SUCCESS"},
                           {{"ak-provision-rpmb", "--yes"}, "TEEC_SUCCESS"},
                           {{"get-public-key-status"}, "TEEC_SUCCESS"},
                           {{"check-vam-ak", "--hex", "a1a2"}, "TEEC_ERROR_SECURITY"},
                           {{"check-vam-ak", "--hex", "a0a1a2a3a4a5a6a7"}, "TEEC_SUCCESS"},
                           // The block keeps its record.
                           {{"remove-ak-keys", "--yes"}, "TEEC_SUCCESS"},
                           {{"ak-provision-rpmb"}, "TEEC_SUCCESS"}});
  const PrivateTmp other;
  Expect("up-to-date", {{{"ak-provision-rpmb"}, "TEEC_ERROR_ITEM_NOT_FOUND"},
                        {{"get-public-key-status"}, "TEEC_ERROR_ITEM_NOT_FOUND"}});
}

TEST(Keys, RecordBeyondTheLargest_IsRefused) {
  const PrivateTmp tmp;
  std::ofstream("/tmp/largest") << std::string(2048, 'k');
  std::ofstream("/tmp/larger") << std::string(2049, 'k');
  Expect("up-to-date", {{{"ak-provision", "/tmp/largest"}, "TEEC_SUCCESS"},
                        {{"check-vam-ak", "/tmp/largest"}, "TEEC_SUCCESS"},
                        {{"ak-provision", "--yes", "/tmp/larger"}, "TEEC_ERROR_BAD_PARAMETERS"},
                        {{"check-vam-ak", "/tmp/larger"}, "TEEC_ERROR_BAD_PARAMETERS"},
                        {{"check-vam-ak", "/tmp/largest"}, "TEEC_SUCCESS"}});
}

TEST(Keys, Update_KeepsThem) {
  const PrivateTmp tmp;
  Expect("update-needed", {{{"ak-provision", "--hex", "a1a2"}, "TEEC_SUCCESS"},
                           {{"update-fw", "3", "--yes"}, "TEEC_SUCCESS"},
                           {{"check-vam-ak", "--hex", "a1a2"}, "TEEC_SUCCESS"}});
}

TEST(SelfTest, FaultOrInterruptedChip_FailsIt) {
  const PrivateTmp tmp;
  const std::string board = BoardOf(
      "up-to-date", "\n[[fault]]\ncommand = \"vam_selfTestAll\"\nresult = \"TEEC_ERROR_BUSY\"\n");
  EXPECT_EQ(Answer("up-to-date", {"self-test-all"}), "TEEC_SUCCESS");
  EXPECT_EQ(Answer(board, {"self-test-all"}), "TEEC_ERROR_BUSY");
  EXPECT_EQ(Answer("up-to-date", {"self-test-all"}), "TEEC_SUCCESS");
  const PrivateTmp interrupted;
  Expect("chip-interrupted", {{{"self-test-all"}, "TEEC_ERROR_BAD_STATE"},
                              {{"force-recovery", "--yes"}, "TEEC_SUCCESS"},
                              {{"self-test-all"}, "TEEC_SUCCESS"}});
}

TEST(OlderUpdate, Mode3_UpdatesTheChip) {
  const PrivateTmp tmp;
  EXPECT_EQ(Answer("update-needed", {"older-update-fw", "3", "--yes"}), "TEEC_SUCCESS");
  const Output chip = RunOnChip("update-needed", {Vamctl(), "update-fw", "11"});
  EXPECT_NE(chip.standardOutput.find("system version: 1.1,04/7,3\napp version: 2.0,11\n"),
            std::string::npos)
      << chip.standardOutput;
}

/// Expects one more run of the update tool to make the chip what `whole` is, and to say so.
void ExpectUpdateMakesWhole(const std::optional<std::string>& whole) {
  const Output update = RunOnChip("update-needed", {UpdateTool()});
  EXPECT_EQ(update.standardOutput, ExpectedOutcome("update-needed").console);
  EXPECT_EQ(update.status, 0);
  EXPECT_EQ(ReadFile(StateFolder() + "/VAM_OK"), kVerified);
  EXPECT_EQ(ReadFile(StateFolder() + "/VAM_FAIL"), std::nullopt);
  EXPECT_EQ(ChipMemory(), whole);
}

/// Returns the memory of a chip that was updated without any trouble.
std::optional<std::string> WholeChip() {
  const PrivateTmp tmp;
  EXPECT_EQ(RunOnChip("update-needed", {UpdateTool()}).status, 0);
  return ChipMemory();
}

/// Interrupts updates after every write in turn; ends when a run needs no more writes.
class Recovery : public ::testing::TestWithParam<const char*> {
 protected:
  /// Calls `recover` on each interrupted chip, with the number of writes before the cut.
  template <typename Recover>
  void FromEveryCut(const Words& update, Recover recover) {
    int writes = 1;
    for (;; ++writes) {
      SCOPED_TRACE("power cut after write " + std::to_string(writes));
      const PrivateTmp tmp;
      const Output output = RunOnChip(BoardWithPowerCut(writes), update);
      if (output.status != kPowerCut) {
        EXPECT_EQ(output.status, 0);
        EXPECT_EQ(output.standardError, "vam-board: fault 1 (power cut after write " +
                                            std::to_string(writes) + ") never fired\n");
        break;
      }
      recover();
    }
    EXPECT_EQ(writes, 5) << "an update makes four writes";
  }

  const std::optional<std::string> whole = WholeChip();
};

TEST_P(Recovery, AfterEveryPowerCut_MakesTheChipWhole) {
  FromEveryCut({UpdateTool()}, [this] {
    EXPECT_EQ(Answer("update-needed", {GetParam(), "--yes"}), "TEEC_SUCCESS");
    ExpectUpdateMakesWhole(whole);
  });
}

TEST_P(Recovery, AfterEveryPowerCutOfVamctl_MakesTheChipWhole) {
  FromEveryCut({Vamctl(), "update-fw", "3", "--yes"}, [this] {
    EXPECT_EQ(Answer("update-needed", {GetParam(), "--yes"}), "TEEC_SUCCESS");
    ExpectUpdateMakesWhole(whole);
  });
}

TEST_P(Recovery, LosingItsOwnPower_CanBeRepeated) {
  FromEveryCut({UpdateTool()}, [this] {
    // After the last write of an update there is nothing to recover, and nothing is written.
    const bool nothingToDo = ChipMemory() == whole;
    EXPECT_EQ(RunOnChip(BoardWithPowerCut(1), {Vamctl(), GetParam(), "--yes"}).status,
              nothingToDo ? 0 : kPowerCut);
    EXPECT_EQ(Answer("update-needed", {GetParam(), "--yes"}), "TEEC_SUCCESS");
    ExpectUpdateMakesWhole(whole);
  });
}

TEST_P(Recovery, SecondPowerCut_CanBeRecoveredToo) {
  for (int writes = 1; writes <= 4; ++writes) {
    SCOPED_TRACE("second power cut after write " + std::to_string(writes));
    const PrivateTmp tmp;
    EXPECT_EQ(RunOnChip(BoardWithPowerCut(2), {UpdateTool()}).status, kPowerCut);
    EXPECT_EQ(Answer("update-needed", {GetParam(), "--yes"}), "TEEC_SUCCESS");
    EXPECT_EQ(RunOnChip(BoardWithPowerCut(writes), {UpdateTool()}).status, kPowerCut);
    EXPECT_EQ(Answer("update-needed", {GetParam(), "--yes"}), "TEEC_SUCCESS");
    ExpectUpdateMakesWhole(whole);
  }
}

TEST_P(Recovery, WholeChip_StaysAsItIs) {
  const PrivateTmp tmp;
  EXPECT_EQ(RunOnChip("update-needed", {UpdateTool()}).status, 0);
  EXPECT_EQ(Answer("update-needed", {GetParam(), "--yes"}), "TEEC_SUCCESS");
  EXPECT_EQ(ChipMemory(), whole);
}

INSTANTIATE_TEST_SUITE_P(Commands, Recovery,
                         ::testing::Values("force-recovery", "force-recovery-sp"),
                         [](const auto& command) {
                           return command.param == std::string("force-recovery")
                                      ? "ForceRecovery"
                                      : "ForceRecoverySp";
                         });

TEST(InterruptedChip, Update_IsRefusedUntilRecovery) {
  const PrivateTmp tmp;
  EXPECT_EQ(RunOnChip(BoardWithPowerCut(1), {UpdateTool()}).status, kPowerCut);
  EXPECT_EQ(RunOnChip("update-needed", {UpdateTool()}).status, 255);
  Expect("update-needed", {{{"update-fw", "3", "--yes"}, "TEEC_ERROR_COMMUNICATION"},
                           {{"older-update-fw", "3", "--yes"}, "TEEC_ERROR_GENERIC"},
                           {{"force-recovery-sp", "--yes"}, "TEEC_SUCCESS"},
                           {{"older-update-fw", "3", "--yes"}, "TEEC_SUCCESS"}});
}

TEST(DamagedChip, Update_NeedsTheWholeRecovery) {
  const PrivateTmp tmp;
  Expect("chip-damaged", {{{"force-recovery-sp", "--yes"}, "TEEC_ERROR_BAD_STATE"},
                          {{"update-fw", "3", "--yes"}, "TEEC_ERROR_COMMUNICATION"},
                          {{"force-recovery", "--yes"}, "TEEC_SUCCESS"}});
  EXPECT_EQ(RunOnChip("chip-damaged", {UpdateTool()}).status, 0);
  EXPECT_EQ(ReadFile(StateFolder() + "/VAM_OK"), kVerified);
}

}  // namespace
}  // namespace vam
