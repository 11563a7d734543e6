// The whole tool on every board that ships: its console, standard error, status files, exit status
// and platform calls, byte for byte.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/expected_journal.h"
#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

constexpr char kSystem[] = "1.1,04/7,3";
constexpr char kApp[] = "2.0,11";

ExpectedJournal Journal() {
  ExpectedJournal journal;
  journal.Probe(1);
  return journal;
}

/// The journal of a run whose connection never opens; the fault applies to each attempt.
std::string UnconnectedRun(Connection connection, std::uint32_t result, FaultNumber fault) {
  ExpectedJournal journal = Journal();
  for (const int mode : {7, 3, 11}) {
    journal.UpdateUnconnected(mode, connection, result, fault);
  }
  return journal.InformationUnconnected(connection, result, fault).Text();
}

/// The journal of a run in which only the update itself goes wrong.
template <typename Exchange>
std::string RunWithFailingUpdate(Exchange update) {
  ExpectedJournal journal = Journal();
  journal.Update(7, kSystem, kApp);
  update(journal);
  return journal.Update(11, "1.0,17/7,3", "2.0,10").Information().Text();
}

std::string RunWithCutReply(ReplyItem item) {
  // The update was done, only its reply is cut: the chip then reports the new versions.
  return Journal()
      .Update(7, kSystem, kApp)
      .UpdateCutAt(3, item, 1)
      .Update(11, kSystem, kApp)
      .Information()
      .Text();
}

std::string GoodRun() {
  return Journal()
      .Update(7, kSystem, kApp)
      .Update(3, kSystem, kApp)
      .Update(11, kSystem, kApp)
      .Information()
      .Text();
}

std::string RunWithOtherParts(const std::string& system, const std::string& app) {
  return Journal()
      .Update(7, kSystem, kApp)
      .Update(3, system, app)
      .Update(11, system, app)
      .Information()
      .Text();
}

const std::map<std::string, std::string>& Journals() {
  constexpr char kNoError[] = "0000000000000000";
  constexpr char kNotImplemented[] = "0d00000000000000";
  static const std::map<std::string, std::string> kJournals = {
      {"update-needed", GoodRun()},
      {"up-to-date", GoodRun()},
      {"self-test-failing", GoodRun()},
      {"wildcard-image", Journal()
                             .Update(7, "1.1,XX/7,3", "XXX,11")
                             .Update(3, kSystem, kApp)
                             .Update(11, kSystem, kApp)
                             .Information()
                             .Text()},
      {"no-vam", ExpectedJournal().Probe(0).Text()},
      {"flag-two", ExpectedJournal().Probe(2).Text()},
      {"flag-untouched", ExpectedJournal().Probe(-1).Text()},
      {"no-device-node", ExpectedJournal().ProbeWithoutNode().Text()},
      {"ioctl-failing", ExpectedJournal().ProbeWithFailingIoctl().Text()},
      {"not-implemented", Journal()
                              .Update(7, kSystem, kApp, kNotImplemented)
                              .Update(3, "1.0,17/7,3", "2.0,10", kNotImplemented)
                              .Update(11, "1.0,17/7,3", "2.0,10", kNotImplemented)
                              .Information()
                              .Text()},
      {"not-implemented-mode-3-failing", Journal()
                                             .Update(7, kSystem, kApp, kNotImplemented)
                                             .UpdateRefused(3, 0xFFFF0000, 4, 1)
                                             .Update(11, "1.0,17/7,3", "2.0,10", kNotImplemented)
                                             .Information()
                                             .Text()},
      {"mode-3-failing",
       RunWithFailingUpdate([](auto& run) { run.UpdateRefused(3, 0xFFFF0000, 4, 1); })},
      {"mode-7-failing", Journal()
                             .UpdateRefused(7, 0xFFFF0007, 4, 1)
                             .Update(3, kSystem, kApp)
                             .Update(11, kSystem, kApp)
                             .Information()
                             .Text()},
      {"mode-11-failing", Journal()
                              .Update(7, kSystem, kApp)
                              .Update(3, kSystem, kApp)
                              .UpdateRefused(11, 0xFFFF000D, 4, 1)
                              .Information()
                              .Text()},
      {"all-modes-failing", Journal()
                                .UpdateRefused(7, 0xFFFF0007, 4, 1)
                                .UpdateRefused(3, 0xFFFF0000, 4, 2)
                                .UpdateRefused(11, 0xFFFF000D, 4, 3)
                                .Information()
                                .Text()},
      {"modes-7-and-11-failing", Journal()
                                     .UpdateRefused(7, 0xFFFF0007, 4, 1)
                                     .Update(3, kSystem, kApp)
                                     .UpdateRefused(11, 0xFFFF000D, 4, 2)
                                     .Information()
                                     .Text()},
      {"system-part-differs", RunWithOtherParts("1.1,03/7,3", kApp)},
      {"update-reports-another-version", Journal()
                                             .Update(7, kSystem, kApp)
                                             .Update(3, "1.1,99/7,3", kApp, kNoError, 1)
                                             .Update(11, kSystem, kApp)
                                             .Information()
                                             .Text()},
      {"app-part-differs", RunWithOtherParts(kSystem, "2.0,12")},
      {"both-parts-differ", RunWithOtherParts("1.1,03/7,3", "2.0,12")},
      {"one-byte-versions",
       Journal().Update(7, "", "").Update(3, "", "").Update(11, "", "").Information().Text()},
      {"information-query-failing", Journal()
                                        .Update(7, kSystem, kApp)
                                        .Update(3, kSystem, kApp)
                                        .Update(11, kSystem, kApp)
                                        .InformationRefused(0xFFFF000B, 1)
                                        .Text()},
      {"secure-world-absent", UnconnectedRun(Connection::kNoContext, 0xFFFF0008, 0)},
      {"trusted-application-missing", UnconnectedRun(Connection::kNoSession, 0xFFFF0008, 0)},
      {"session-refused", UnconnectedRun(Connection::kNoSession, 0xFFFF0001, 1)},
      {"out-of-shared-memory", UnconnectedRun(Connection::kNoMemory, 0xFFFF000C, 1)},
      {"recoverable-communication-error",
       RunWithFailingUpdate([](auto& run) { run.UpdateRefused(3, 0xFFFF0000, 2, 1); })},
      {"request-not-marshalled",
       RunWithFailingUpdate([](auto& run) { run.UpdateNotMarshalled(3, 1); })},
      {"reply-cut-at-record", RunWithCutReply(ReplyItem::kRecord)},
      {"reply-cut-at-system-size", RunWithCutReply(ReplyItem::kSystemSize)},
      {"reply-cut-at-system-version", RunWithCutReply(ReplyItem::kSystemVersion)},
      {"reply-cut-at-app-size", RunWithCutReply(ReplyItem::kAppSize)},
      {"reply-cut-at-app-version", RunWithCutReply(ReplyItem::kAppVersion)},
      {"record-of-failure", Journal()
                                .Update(7, kSystem, kApp)
                                .Update(3, kSystem, kApp)
                                .UpdateCutAt(11, ReplyItem::kAppSize, 2, "07000000f5ffffff")
                                .Information()
                                .Text()},
      {"missing-image", Journal()
                            .UpdateWithoutVersions(7, "0500000000000000")
                            .UpdateWithoutVersions(3, "0500000000000000")
                            .Update(11, "1.0,17/7,3", "2.0,10")
                            .Information()
                            .Text()},
      {"damaged-image", Journal()
                            .UpdateWithoutVersions(7, "0a00000000000000")
                            .UpdateWithoutVersions(3, "0a00000000000000")
                            .Update(11, "1.0,17/7,3", "2.0,10")
                            .Information()
                            .Text()},
      {"chip-damaged", Journal()
                           .Update(7, kSystem, kApp)
                           .UpdateWithoutVersions(3, "04000000c3ffffff")
                           .UpdateWithoutVersions(11, "04000000c3ffffff")
                           .InformationRefused(0xFFFF0007, 0)
                           .Text()},
      {"chip-full",
       RunWithFailingUpdate([](auto& run) { run.UpdateWithoutVersions(3, "04000000e0ffffff"); })},
      {"chip-interrupted", Journal()
                               .Update(7, kSystem, kApp)
                               .UpdateWithoutVersions(3, "03000000cdffffff")
                               .UpdateWithoutVersions(11, "03000000cdffffff")
                               .Information()
                               .Text()},
      {"power-cut-during-update", Journal().Update(7, kSystem, kApp).UpdateInterrupted().Text()},
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

TEST_P(ToolOnBoard, DoesWhatItMust) {
  const std::string& board = GetParam();
  const std::string expected = std::string(VAM_EXPECTATIONS) + "/" + board;
  const PrivateTmp tmp;
  const std::string journal = PrivateTmp::Folder() + "/journal";

  const Output output = Capture(OnBoard(board, {UpdateTool()}, "", journal), BoardEnvironment());

  EXPECT_EQ(output.standardOutput, ReadFile(expected + "/console"));
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(std::to_string(output.status) + "\n", ReadFile(expected + "/status"));
  EXPECT_EQ(ReadFile("/tmp/VAM_OK"), ReadFile(expected + "/VAM_OK"));
  EXPECT_EQ(ReadFile("/tmp/VAM_FAIL"), ReadFile(expected + "/VAM_FAIL"));
  ASSERT_EQ(Journals().count(board), 1U) << "no journal is expected of this board";
  EXPECT_EQ(ReadFile(journal), Journals().at(board));
}

INSTANTIATE_TEST_SUITE_P(AllBoards, ToolOnBoard, ::testing::ValuesIn(NamesIn(VAM_BOARDS)),
                         [](const ::testing::TestParamInfo<std::string>& board) {
                           std::string name = board.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST(ExpectationsTest, BelongToBoardsThatShip) {
  EXPECT_EQ(NamesIn(VAM_EXPECTATIONS), NamesIn(VAM_BOARDS));
  EXPECT_EQ(Journals().size(), NamesIn(VAM_BOARDS).size());
}

}  // namespace
}  // namespace vam
