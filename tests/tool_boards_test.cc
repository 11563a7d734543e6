// The whole tool on every board that ships: its console, standard error, status files, exit status
// and platform calls, byte for byte.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/expected_journal.h"
#include "tests/support/board_run.h"
#include "tests/support/journal_calls.h"
#include "tests/support/outcome.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

constexpr char kSystem[] = "1.1,04/7,3";
constexpr char kApp[] = "2.0,11";

/// What the chips of most boards run before the update.
const Exchange kOldVersions = Reports("1.0,17/7,3", "2.0,10");

/// A good run: the chip runs the image's versions in the end.
ExpectedRun Run() { return {kSystem, kApp}; }

/// A run in which the update goes wrong and the chip keeps its versions.
ExpectedRun RunWithoutUpdate(const Exchange& update) {
  return Run().UpdateAll(update).ReportChip(kOldVersions);
}

/// A run in which the update is done and the chip then runs other versions than the image has.
ExpectedRun RunWithOtherParts(const std::string& system, const std::string& app) {
  return Run().UpdateAll(Reports(system, app)).ReportChip(Reports(system, app));
}

/// A run whose image has no versions to report, for the reason in the record.
ExpectedRun RunWithoutImage(const std::string& record) {
  return RunWithoutUpdate(ReportsNothing(record)).ReportFileSystem(ReportsNothing(record));
}

const std::map<std::string, std::string>& Journals() {
  constexpr char kNotImplemented[] = "0d00000000000000";
  constexpr char kChipDamaged[] = "04000000c3ffffff";
  constexpr char kChipInterrupted[] = "03000000cdffffff";
  constexpr char kChipFull[] = "04000000e0ffffff";
  static const std::map<std::string, std::string> kJournals = {
      {"update-needed", Run().Journal()},
      {"up-to-date", Run().Journal()},
      {"self-test-failing", Run().Journal()},
      {"wildcard-image", Run().ReportFileSystem(Reports("1.1,XX/7,3", "XXX,11")).Journal()},
      {"no-vam", JournalOfProbe(0)},
      {"flag-two", JournalOfProbe(2)},
      {"flag-untouched", JournalOfProbe(-1)},
      {"no-device-node", JournalOfProbeWithoutNode()},
      {"ioctl-failing", JournalOfProbeWithFailingIoctl()},
      {"not-implemented", Run()
                              .ReportFileSystem(Reports(kSystem, kApp).WithRecord(kNotImplemented))
                              .UpdateAll(kOldVersions.WithRecord(kNotImplemented))
                              .ReportChip(kOldVersions.WithRecord(kNotImplemented))
                              .Journal()},
      {"not-implemented-mode-3-failing",
       Run()
           .ReportFileSystem(Reports(kSystem, kApp).WithRecord(kNotImplemented))
           .UpdateAll(Refused(0xFFFF0000).ByFault(1))
           .ReportChip(kOldVersions.WithRecord(kNotImplemented))
           .Journal()},
      {"mode-3-failing", RunWithoutUpdate(Refused(0xFFFF0000).ByFault(1)).Journal()},
      {"mode-7-failing", Run().ReportFileSystem(Refused(0xFFFF0007).ByFault(1)).Journal()},
      {"mode-11-failing", Run().ReportChip(Refused(0xFFFF000D).ByFault(1)).Journal()},
      {"all-modes-failing", Run()
                                .ReportFileSystem(Refused(0xFFFF0007).ByFault(1))
                                .UpdateAll(Refused(0xFFFF0000).ByFault(2))
                                .ReportChip(Refused(0xFFFF000D).ByFault(3))
                                .Journal()},
      {"modes-7-and-11-failing", Run()
                                     .ReportFileSystem(Refused(0xFFFF0007).ByFault(1))
                                     .ReportChip(Refused(0xFFFF000D).ByFault(2))
                                     .Journal()},
      {"system-part-differs", RunWithOtherParts("1.1,03/7,3", kApp).Journal()},
      {"app-part-differs", RunWithOtherParts(kSystem, "2.0,12").Journal()},
      {"both-parts-differ", RunWithOtherParts("1.1,03/7,3", "2.0,12").Journal()},
      {"update-reports-another-version",
       Run().UpdateAll(Reports("1.1,99/7,3", kApp).ByFault(1)).Journal()},
      {"one-byte-versions", ExpectedRun("", "").Journal()},
      {"information-query-failing", Run().Information(Refused(0xFFFF000B).ByFault(1)).Journal()},
      {"secure-world-absent", Run().WithoutConnection(Lack::kContext, 0xFFFF0008).Journal()},
      {"trusted-application-missing",
       Run().WithoutConnection(Lack::kSession, 0xFFFF0008).Journal()},
      {"session-refused", Run().WithoutConnection(Lack::kSession, 0xFFFF0001, 1).Journal()},
      {"out-of-shared-memory",
       Run().WithoutConnection(Lack::kSharedMemory, 0xFFFF000C, 1).Journal()},
      {"recoverable-communication-error",
       RunWithoutUpdate(Refused(0xFFFF0000).FromOrigin(2).ByFault(1)).Journal()},
      {"request-not-marshalled", RunWithoutUpdate(NotMarshalled().ByFault(1)).Journal()},
      // The update is done, only its reply is cut.
      {"reply-cut-at-record", Run().UpdateAll(ReplyCutAt(ReplyItem::kRecord).ByFault(1)).Journal()},
      {"reply-cut-at-system-size",
       Run().UpdateAll(ReplyCutAt(ReplyItem::kSystemSize).ByFault(1)).Journal()},
      {"reply-cut-at-system-version",
       Run().UpdateAll(ReplyCutAt(ReplyItem::kSystemVersion).ByFault(1)).Journal()},
      {"reply-cut-at-app-size",
       Run().UpdateAll(ReplyCutAt(ReplyItem::kAppSize).ByFault(1)).Journal()},
      {"reply-cut-at-app-version",
       Run().UpdateAll(ReplyCutAt(ReplyItem::kAppVersion).ByFault(1)).Journal()},
      {"record-of-failure",
       Run()
           .ReportChip(ReplyCutAt(ReplyItem::kAppSize).WithRecord("07000000f5ffffff").ByFault(2))
           .Journal()},
      {"missing-image", RunWithoutImage("0500000000000000").Journal()},
      {"damaged-image", RunWithoutImage("0a00000000000000").Journal()},
      {"chip-damaged", Run()
                           .UpdateAll(ReportsNothing(kChipDamaged))
                           .ReportChip(ReportsNothing(kChipDamaged))
                           .Information(Refused(0xFFFF0007))
                           .Journal()},
      {"chip-full", RunWithoutUpdate(ReportsNothing(kChipFull)).Journal()},
      {"chip-interrupted", Run()
                               .UpdateAll(ReportsNothing(kChipInterrupted))
                               .ReportChip(ReportsNothing(kChipInterrupted))
                               .Journal()},
      {"power-cut-during-update", Run().UpdateAll(NeverReturns()).Journal()},
  };
  return kJournals;
}

std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class ToolOnBoard : public ::testing::TestWithParam<std::string> {};

TEST_P(ToolOnBoard, OneRun_LeavesWhatIsExpected) {
  const std::string& board = GetParam();
  const Outcome expected = ExpectedOutcome(board);
  const PrivateTmp tmp;
  const std::string journal = PrivateTmp::Folder() + "/journal";
  const std::string state = PrivateTmp::Folder() + "/state";

  const Output output = Capture(OnBoard(board, {UpdateTool()}, state, journal), BoardEnvironment());

  EXPECT_EQ(output.standardOutput, expected.console);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.status, expected.status);
  EXPECT_EQ(ReadFile(state + "/VAM_OK"), expected.okFile);
  EXPECT_EQ(ReadFile(state + "/VAM_FAIL"), expected.errorFile);
  EXPECT_TRUE(fs::is_empty("/tmp"));
  ASSERT_EQ(Journals().count(board), 1U) << "no journal is expected of this board";
  EXPECT_EQ(CallsIn(ReadFile(journal).value()), Journals().at(board));
}

TEST_P(ToolOnBoard, OneRunWithTheMachinesTmp_LeavesWhatIsExpectedThere) {
  const Outcome expected = ExpectedOutcome(GetParam());
  const PrivateTmp tmp;

  const Output output =
      Capture(OnBoardWithMachineTmp(GetParam(), {UpdateTool()}), BoardEnvironment());

  EXPECT_EQ(output.standardOutput, expected.console);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.status, expected.status);
  EXPECT_EQ(ReadFile("/tmp/VAM_OK"), expected.okFile);
  EXPECT_EQ(ReadFile("/tmp/VAM_FAIL"), expected.errorFile);
}

INSTANTIATE_TEST_SUITE_P(AllBoards, ToolOnBoard, ::testing::ValuesIn(NamesIn(VAM_BOARDS)),
                         [](const ::testing::TestParamInfo<std::string>& board) {
                           std::string name = board.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST(ExpectationsTest, BoardsThatShip_HaveOneEach) {
  EXPECT_EQ(NamesIn(VAM_EXPECTATIONS), NamesIn(VAM_BOARDS));
  EXPECT_EQ(Journals().size(), NamesIn(VAM_BOARDS).size());
}

}  // namespace
}  // namespace vam
