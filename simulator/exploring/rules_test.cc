#include "simulator/exploring/rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "simulator/board/platform_calls.h"
#include "simulator/exploring/recorded_update_test.h"

namespace vam {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kMismatch[] =
    "updated firmware version (IC) != firmware version on FS (System part) -1 \n"
    "vam ret: 0 \nfw ret: 0 \n";

Evidence Verified() {
  Evidence run;
  run.journal = RecordedUpdate();
  run.okBefore = "Updated FW version: 0.0 \n";
  run.okAfter = "Updated FW version: 1.1 \n";
  run.chipRunsImage = true;
  return run;
}

Evidence Mismatched() {
  Evidence run;
  run.journal = RecordedUpdate("1.0");
  run.failBefore = "Open /dev/zelkshield failed with error: -1 \n";
  run.failAfter = *run.failBefore + kMismatch;
  return run;
}

std::vector<JournalCall>::iterator Find(Evidence& run, PlatformCall call) {
  return std::find_if(run.journal.calls.begin(), run.journal.calls.end(),
                      [call](const JournalCall& each) { return each.call == call; });
}

std::vector<std::string> Broken(const Evidence& run) {
  std::vector<std::string> broken = BrokenByAnyProgram(run, Verified(), Verified());
  for (const std::string& line : BrokenByTheUpdateTool(run)) {
    broken.push_back(line);
  }
  return broken;
}

TEST(RulesTest, RunsAsTheyShouldBe_BreakNone) {
  EXPECT_THAT(Broken(Verified()), IsEmpty());
  EXPECT_EQ(OutcomeOf(Verified()), "verified");
  EXPECT_THAT(Broken(Mismatched()), IsEmpty());
  EXPECT_EQ(OutcomeOf(Mismatched()), "parts differ");
}

TEST(RulesTest, OkFile_ThoughTheVersionsDiffer_IsFound) {
  Evidence run = Mismatched();
  run.okAfter = "Updated FW version: 1.0 \n";
  run.chipRunsImage = true;
  EXPECT_THAT(Broken(run),
              ElementsAre(StartsWith("VAM_OK is written only when all answers agree")));
}

TEST(RulesTest, OkFile_ThoughTheChipDoesNotRunTheImage_IsFound) {
  Evidence run = Verified();
  run.chipRunsImage = false;
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("VAM_OK is true")));
  run.answersChanged = true;
  EXPECT_THAT(Broken(run), IsEmpty());
}

TEST(RulesTest, OkFile_ThoughARequestWasNotSent_IsFound) {
  for (int sent = 0; sent < 4; ++sent) {
    Evidence run = Verified();
    auto& calls = run.journal.calls;
    int invoked = 0;
    calls.erase(std::find_if(calls.begin(), calls.end(), [&](const JournalCall& each) {
      return each.call == PlatformCall::kInvokeCommand && invoked++ == sent;
    }));
    EXPECT_THAT(BrokenByTheUpdateTool(run),
                Contains(StartsWith("each run is one row of the outcomes")))
        << sent;
  }
}

TEST(RulesTest, VerifiedRun_WithoutItsOkFile_IsFound) {
  Evidence run = Verified();
  run.okAfter = run.okBefore;
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("a verified run says so in VAM_OK")));
}

TEST(RulesTest, Entry_ThatIsLostCutOrForeign_IsFound) {
  for (const std::string& added : {std::string(), std::string(kMismatch).substr(0, 40),
                                   "foreign \n" + std::string(kMismatch)}) {
    Evidence run = Mismatched();
    run.failAfter = *run.failBefore + added;
    EXPECT_THAT(Broken(run), ElementsAre(StartsWith("each run is one row of the outcomes")));
  }
}

TEST(RulesTest, EntriesOfEarlierRuns_ThatAreGone_AreFound) {
  Evidence run = Mismatched();
  run.failAfter = kMismatch;
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("entries of earlier runs stay")));
}

TEST(RulesTest, Status_ThatIsNotTheOutcomes_IsFound) {
  Evidence run = Verified();
  run.status = 255;
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("the exit status is 255 exactly when")));
}

TEST(RulesTest, Session_ThatIsNotClosed_IsFound) {
  Evidence run = Verified();
  run.journal.calls.erase(Find(run, PlatformCall::kCloseSession));
  EXPECT_THAT(
      Broken(run),
      ElementsAre("everything is given back once, in order: context 1 is given back before "
                  "what was made after it",
                  "everything is given back once, in order: session 1 is never given back"));
}

TEST(RulesTest, Memory_ThatIsReleasedTwice_IsFound) {
  Evidence run = Verified();
  const auto released = Find(run, PlatformCall::kReleaseSharedMemory);
  const JournalCall again = *released;
  run.journal.calls.insert(released, again);
  EXPECT_THAT(Broken(run),
              ElementsAre("everything is given back once, in order: sharedMemory 1 is given back "
                          "and was not held",
                          "no more calls than a clean run: TEEC_ReleaseSharedMemory 5 times"));
}

TEST(RulesTest, CallsThatAWholeBoardLeadsTo_AreAllowed) {
  Evidence clean = Verified();
  clean.journal.calls.clear();
  EXPECT_THAT(BrokenByAnyProgram(Verified(), clean, Verified()), IsEmpty());
  EXPECT_THAT(BrokenByAnyProgram(Verified(), clean, clean), Not(IsEmpty()));
}

TEST(RulesTest, OtherFilesWordsAndSignals_AreFound) {
  Evidence run = Verified();
  run.strangers = {"core"};
  run.complaints = "free(): invalid pointer\n";
  EXPECT_THAT(Broken(run), ElementsAre("no other file is touched: core",
                                       StartsWith("nothing more is said on standard error")));
  run = Mismatched();
  run.failAfter = run.failBefore;
  run.status = 128 + 11;
  EXPECT_THAT(Broken(run), ElementsAre("no signal ends the program: 139"));
}

TEST(RulesTest, RunThatEndedEarly_LeavesWholeEntriesOfItsOwn) {
  Evidence run = Mismatched();
  run.isCutOff = true;
  run.status = 137;
  EXPECT_THAT(Broken(run), IsEmpty());
  run.failAfter = run.failBefore;
  EXPECT_THAT(Broken(run), IsEmpty());
  run.failAfter = *run.failBefore + "updated firmware";
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("an ended run leaves whole entries")));
}

TEST(RulesTest, RunThatEndedEarly_WithoutAllAnswers_LeavesNoOkFile) {
  Evidence run = Verified();
  run.isCutOff = true;
  run.status = 137;
  EXPECT_THAT(Broken(run), IsEmpty());
  run.okAfter = "";
  EXPECT_THAT(Broken(run), IsEmpty()) << "it is emptied before it is written";
  run.okAfter = run.okBefore;
  EXPECT_THAT(Broken(run), IsEmpty());
  run.okAfter = "Updated FW version: 1";
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("a verified run says so in VAM_OK")));
  run.okAfter = "";
  run.journal.calls.resize(30);
  EXPECT_THAT(Broken(run),
              ElementsAre(StartsWith("VAM_OK is written only when all answers agree")));
}

TEST(RulesTest, StatusFilesThatAreRefused_StayAsTheyWere) {
  Evidence run = Verified();
  run.okIsRefused = true;
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("a verified run says so in VAM_OK")));
  run.okAfter = run.okBefore;
  EXPECT_THAT(Broken(run), IsEmpty());
  run = Mismatched();
  run.failIsRefused = true;
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("each run is one row of the outcomes")));
  run.failAfter = run.failBefore;
  EXPECT_THAT(Broken(run), IsEmpty());
}

TEST(RulesTest, FullFolder_CutsWhatIsWrittenAndNothingElse) {
  Evidence run = Mismatched();
  const std::string entry = kMismatch;
  run.statusRoom = 10;
  run.failAfter = *run.failBefore + entry.substr(0, 10);
  EXPECT_THAT(Broken(run), IsEmpty());
  run.failAfter = *run.failBefore + entry.substr(0, 11);
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("each run is one row of the outcomes")));
  run.failAfter = *run.failBefore + "vam ret: 0";
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("each run is one row of the outcomes")));
  run.statusRoom = entry.size();
  run.failAfter = *run.failBefore + entry.substr(0, 10);
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("each run is one row of the outcomes")))
      << "there was room";
  run = Verified();
  run.statusRoom = 3;
  run.okAfter = "Upd";
  EXPECT_THAT(Broken(run), IsEmpty());
  run.okAfter = run.okBefore;
  EXPECT_THAT(Broken(run), ElementsAre(StartsWith("a verified run says so in VAM_OK")));
}

TEST(RulesTest, ProcessThatAFaultEnded_MayKeepWhatItHeldAndSaySo) {
  Evidence run = Mismatched();
  run.journal.calls.erase(Find(run, PlatformCall::kCloseSession), run.journal.calls.end());
  run.failAfter = run.failBefore;
  run.complaints = "Killed\n";
  run.status = 137;
  EXPECT_THAT(Broken(run), Not(IsEmpty()));
  run.isCutOff = true;
  EXPECT_THAT(Broken(run), IsEmpty());
}

TEST(RulesTest, CallAfterTheVerdict_IsFound) {
  Evidence run = Verified();
  run.callsAfterStatus = 1;
  EXPECT_THAT(Broken(run), ElementsAre("no call after the verdict: 1"));
}

TEST(RulesTest, NextRun_ThatLeavesNoWholeChipOrNoOkFile_IsFound) {
  EXPECT_THAT(BrokenByTheNextRun(Verified(), Verified()), IsEmpty());
  const std::string rule = "the next run leaves a whole chip and VAM_OK";
  EXPECT_THAT(BrokenByTheNextRun(Mismatched(), Verified()), ElementsAre(rule));
  Evidence next = Verified();
  next.chipRunsImage = false;
  EXPECT_THAT(BrokenByTheNextRun(next, Verified()),
              ElementsAre(StartsWith("the next run: VAM_OK is true"), rule));
  next = Verified();
  next.okAfter = next.okBefore;
  EXPECT_THAT(BrokenByTheNextRun(next, Verified()),
              ElementsAre(StartsWith("the next run: a verified run says so in VAM_OK"), rule));
}

constexpr char kRowRule[] = "each run is one row of the outcomes (";
constexpr char kStatusRule[] = "the exit status is 255 exactly when an update command failed: ";

/// A run of the recorded update in which nothing is on the disk before.
Evidence Fresh(RecordedRun journal = RecordedUpdate()) {
  Evidence run;
  run.journal = std::move(journal);
  return run;
}

/// Returns the `number`th call of a kind, from 1.
JournalCall& Nth(Evidence& run, PlatformCall call, int number) {
  return *std::find_if(run.journal.calls.begin(), run.journal.calls.end(),
                       [&](const JournalCall& each) { return each.call == call && --number == 0; });
}

/// Expects that the run is the row `row`: that it broke no rule with these entries and this status,
/// and each rule with others.
void ExpectRow(Evidence run, const std::string& row, const std::string& entries, int status) {
  SCOPED_TRACE(row + ": " + entries);
  EXPECT_EQ(OutcomeOf(run), row);
  run.failAfter = entries;
  run.status = status;
  EXPECT_THAT(BrokenByTheUpdateTool(run), IsEmpty());
  run.failAfter = "x" + entries;
  EXPECT_THAT(BrokenByTheUpdateTool(run), ElementsAre(kRowRule + row + "): added x" + entries));
  run.failAfter = entries;
  run.status = 255 - status;
  EXPECT_THAT(BrokenByTheUpdateTool(run), ElementsAre(kStatusRule + std::to_string(255 - status)));
  run.status = status;
  run.okAfter = "";
  EXPECT_THAT(BrokenByTheUpdateTool(run),
              ElementsAre("VAM_OK is written only when all answers agree: the row is " + row,
                          "VAM_OK is true: the chip does not run the image"));
}

/// A run that ends with its probe, whose calls have `members` as well.
Evidence Probe(const Json& open, const Json& ioctl) {
  Evidence run = Fresh();
  run.journal.calls.erase(Find(run, PlatformCall::kClose), run.journal.calls.end());
  JournalCall& opened = Nth(run, PlatformCall::kOpen, 1);
  if (!open.is_null()) {
    opened.members = open;
    run.journal.calls.pop_back();
    return run;
  }
  Nth(run, PlatformCall::kIoctl, 1).members = ioctl;
  return run;
}

TEST(RowsTest, Probe_ThatFindsNoVam_IsToldByItsCall) {
  const std::string row = "no VAM to ask";
  const Json failed = {{"result", -1}, {"errno", {{"number", 2}}}};
  ExpectRow(Probe(failed, {}), row, "Open /dev/zelkshield failed with error: -1 \n", 0);
  ExpectRow(Probe({}, failed), row, "ioctl GET_VAM_SUPPORT failed with error: -1 \n", 0);
  ExpectRow(Probe({}, {{"result", -22}}), row, "ioctl GET_VAM_SUPPORT failed with error: -22 \n",
            0);
  ExpectRow(Probe({}, {{"result", 0}, {"flag", 0}}), row, "VAM_RET_NOT_IMPLEMENTED 0 \n", 0);
  ExpectRow(Probe({}, {{"result", 0}, {"flag", 2}}), row, "VAM_RET_NOT_IMPLEMENTED 2 \n", 0);
  ExpectRow(Probe({}, {{"result", 0}}), row, "VAM_RET_NOT_IMPLEMENTED -1 \n", 0);
}

/// The result of an invocation.
Json Result(std::int64_t number) { return {{"number", number}}; }

void SetRecord(Evidence& run, int reply, const std::string& bytes) {
  // Each reply of an update has three blobs, of which the record is the first.
  Nth(run, PlatformCall::kGetBlob, 3 * reply - 2).members["bytes"] = Digits(bytes);
}

std::string RecordOf(char vamCode, char firmwareCode) {
  return {vamCode, 0, 0, 0, firmwareCode, 0, 0, 0};
}

constexpr char kZeroRecord[] = "vam ret: 0 \nfw ret: 0 \n";
constexpr char kRow[] = "update command failed";

TEST(RowsTest, UpdateCommand_ThatFailed_IsToldByItsModeAndCode) {
  const char* const kMessages[] = {
      "vam_updateFW failed(get firmware size from FS): ", "vam_updateFW failed: ",
      "vam_updateFW failed(get firmware size from IC): "};
  for (int mode = 1; mode <= 3; ++mode) {
    const std::string message = kMessages[mode - 1];
    for (const auto& [result, code] :
         std::vector<std::pair<std::int64_t, std::string>>{{4294901760, "-65536"},
                                                           {2147483647, "2147483647"},
                                                           {2147483648, "-2147483648"},
                                                           {4294967295, "-1"},
                                                           {5, "5"}}) {
      Evidence run = Fresh();
      Nth(run, PlatformCall::kInvokeCommand, mode).members["result"] = Result(result);
      std::string entry = message;
      entry.append(" ").append(code).append(" \n").append(kZeroRecord);
      ExpectRow(run, kRow, entry, 255);
    }
    Evidence run = Fresh();
    Nth(run, PlatformCall::kPutInt, mode).members["result"] = false;
    ExpectRow(run, kRow, message + " -65525 \n" + kZeroRecord, 255);
  }
}

TEST(RowsTest, Reply_ThatLacksAnItem_IsAFailureOfCommunication) {
  const std::string entry = std::string("vam_updateFW failed:  -65522 \n") + kZeroRecord;
  for (int blob = 4; blob <= 6; ++blob) {
    Evidence run = Fresh();
    Nth(run, PlatformCall::kGetBlob, blob).members["bytes"] = nullptr;
    ExpectRow(run, kRow, entry, 255);
    Nth(run, PlatformCall::kGetBlob, blob).members.erase("bytes");
    ExpectRow(run, kRow, entry, 255);
  }
  for (int count = 3; count <= 4; ++count) {
    Evidence run = Fresh();
    Nth(run, PlatformCall::kGetUint, count).members["value"] = 0;
    ExpectRow(run, kRow, entry, 255);
    Nth(run, PlatformCall::kGetUint, count).members = {{"result", false}};
    ExpectRow(run, kRow, entry, 255);
  }
  for (const std::size_t size : {std::size_t{7}, std::size_t{9}}) {
    Evidence run = Fresh();
    SetRecord(run, 2, std::string(size, '\0'));
    ExpectRow(run, kRow, entry, 255);
  }
  // The program stopped reading.
  Evidence run = Fresh();
  const JournalCall* record = &Nth(run, PlatformCall::kGetBlob, 7);
  const auto first = run.journal.calls.begin() + (record - run.journal.calls.data());
  run.journal.calls.erase(first, first + 5);
  ExpectRow(run, kRow,
            std::string("vam_updateFW failed(get firmware size from IC):  -65522 \n") + kZeroRecord,
            255);
}

TEST(RowsTest, SeveralFailures_FirstOfTheOrderIsToldWithTheLastRecord) {
  const auto run = [](const std::vector<int>& failing) {
    Evidence evidence = Fresh();
    SetRecord(evidence, 1, RecordOf(1, 2));
    SetRecord(evidence, 2, RecordOf(3, 4));
    SetRecord(evidence, 3, RecordOf(5, 7));
    for (const int mode : failing) {
      Nth(evidence, PlatformCall::kInvokeCommand, mode).members["result"] = Result(5);
    }
    return evidence;
  };
  ExpectRow(run({1}), kRow,
            "vam_updateFW failed(get firmware size from FS):  5 \nvam ret: 5 \nfw ret: 7 \n", 255);
  ExpectRow(run({1, 2, 3}), kRow, std::string("vam_updateFW failed:  5 \n") + kZeroRecord, 255);
  ExpectRow(run({2, 3}), kRow, "vam_updateFW failed:  5 \nvam ret: 1 \nfw ret: 2 \n", 255);
  ExpectRow(run({1, 3}), kRow,
            "vam_updateFW failed(get firmware size from FS):  5 \nvam ret: 3 \nfw ret: 4 \n", 255);
  ExpectRow(run({3}), kRow,
            "vam_updateFW failed(get firmware size from IC):  5 \nvam ret: 3 \nfw ret: 4 \n", 255);
}

TEST(RowsTest, LastRecord_ThatSaysNotImplemented_IsNoFailure) {
  Evidence run = Fresh();
  SetRecord(run, 3, RecordOf(13, 0));
  Nth(run, PlatformCall::kInvokeCommand, 2).members["result"] = Result(5);
  ExpectRow(run, "update not implemented", "VAM_RET_NOT_IMPLEMENTED 13 \n", 0);
  run = Fresh();
  SetRecord(run, 1, RecordOf(13, 0));
  Nth(run, PlatformCall::kInvokeCommand, 2).members["result"] = Result(5);
  ExpectRow(run, kRow, std::string("vam_updateFW failed:  5 \n") + kZeroRecord, 255);
}

TEST(RowsTest, InformationQuery_ThatFailed_IsToldFirst) {
  const std::string mismatch = kMismatch;
  const auto broken = [&](Evidence& run, const std::string& code) {
    ExpectRow(run, "parts differ", "vam_getFWInfo failed " + code + " \n" + mismatch, 0);
  };
  Evidence run = Fresh(RecordedUpdate("1.0"));
  Nth(run, PlatformCall::kInvokeCommand, 4).members["result"] = Result(4294901761);
  broken(run, "-65535");
  run = Fresh(RecordedUpdate("1.0"));
  Nth(run, PlatformCall::kGetUint, 7).members["value"] = 0;
  broken(run, "-65525");
  run = Fresh(RecordedUpdate("1.0"));
  Nth(run, PlatformCall::kGetBlob, 10).members["bytes"] = nullptr;
  broken(run, "-65525");
}

TEST(RowsTest, PartsThatDiffer_AreToldOneByOne) {
  const auto run = [](const std::string& system, const std::string& app) {
    Evidence evidence = Fresh();
    for (const auto& [blob, version] : {std::pair{8, system}, std::pair{9, app}}) {
      Nth(evidence, PlatformCall::kGetBlob, blob).members["bytes"] = Digits(version + '\0');
    }
    SetRecord(evidence, 3, RecordOf(4, 5));
    return evidence;
  };
  const auto entry = [](const std::string& part) {
    return "updated firmware version (IC) != firmware version on FS (" + part +
           " part) -1 \nvam ret: 4 \nfw ret: 5 \n";
  };
  ExpectRow(run("1.2", "2.0"), "parts differ", entry("System"), 0);
  ExpectRow(run("1.1", "2.1"), "parts differ", entry("App"), 0);
  ExpectRow(run("1.2", "2.1"), "parts differ", entry("System") + entry("App"), 0);
}

TEST(RowsTest, Versions_MatchByTheirRules) {
  struct Pair {
    const char* image;
    const char* chip;
    bool match;
  };
  const Pair kPairs[] = {
      {"1.0,XX/7,3", "1.0,20/7,3", true},
      {"1.0,20/7,3", "1.0,XX/7,3", true},
      {"XXX", "1.2", true},
      {"XX,1", "XY,1", true},
      {"XX,1", "1,23", false},
      {"XX,3", "1,23", true},
      {"1,2", "XXX", false},
      {"x", "1", false},
      {"1.0,20/7,3", "1.0,2/07,3", false},
      {"1,,2", "1,,2", false},
      {"1,", "1,", true},
      {"1//2", "1//2", true},
      {"/1", "/1", true},
      {"1/", "1/", true},
      {"a", "A", false},
      {"1/2", "1/3", false},
      {"1,2", "1,3", false},
      {"1", "12", false},
      {"12", "1", false},
      {"XX", "1,", true},
      {"XX", ",1", false},
      {"", "", true},
      {"1,2", "1.X", false},
      {"12", "XX", true},
  };
  for (const Pair& pair : kPairs) {
    SCOPED_TRACE(std::string(pair.image) + " " + pair.chip);
    Evidence run = Fresh();
    Nth(run, PlatformCall::kGetBlob, 2).members["bytes"] =
        Digits(pair.image + std::string(1, '\0'));
    for (const int blob : {5, 8}) {
      Nth(run, PlatformCall::kGetBlob, blob).members["bytes"] =
          Digits(pair.chip + std::string(1, '\0'));
    }
    EXPECT_EQ(OutcomeOf(run), pair.match ? "verified" : "parts differ");
    run.chipRunsImage = true;
    run.okAfter = std::string("Updated FW version: ") + pair.chip + " \n";
    EXPECT_EQ(BrokenByTheUpdateTool(run).empty(), pair.match);
  }
}

TEST(RowsTest, VersionOfNoByte_LeavesTheOthersWhole) {
  // The updated part's version and the chip's decide whether a last byte is taken away.
  const auto outcome = [](const std::string& updated, const std::string& chip,
                          const std::string& image) {
    Evidence run = Fresh();
    for (const auto& [blob, version] :
         {std::pair{2, image}, std::pair{5, updated}, std::pair{8, chip}}) {
      Nth(run, PlatformCall::kGetBlob, blob).members["bytes"] = Digits(version);
    }
    return OutcomeOf(run);
  };
  EXPECT_EQ(outcome("", "12", "12"), "verified");
  EXPECT_EQ(outcome("", "13", "12"), "parts differ") << "the last byte counts";
  EXPECT_EQ(outcome("1", "13", "12"), "verified") << "it does not";
  EXPECT_EQ(outcome("1", "", ""), "verified");
  EXPECT_EQ(outcome("1", "", "1"), "parts differ");
  EXPECT_EQ(outcome("1", "1", ""), "verified");
}

TEST(RowsTest, Run_WithoutAllAnswers_IsNoRow) {
  for (int exchanges = 0; exchanges < 4; ++exchanges) {
    Evidence run = Fresh();
    int begun = 0;
    const auto next = std::find_if(
        run.journal.calls.begin(), run.journal.calls.end(), [&](const JournalCall& call) {
          return call.call == PlatformCall::kInitializeContext && begun++ == exchanges;
        });
    run.journal.calls.erase(next, run.journal.calls.end());
    EXPECT_EQ(OutcomeOf(run), "not whole");
    EXPECT_THAT(
        BrokenByTheUpdateTool(run),
        ElementsAre("each run is one row of the outcomes: it ended before it had all answers"));
    run.status = 137;
    EXPECT_EQ(OutcomeOf(run), "ended early");
    EXPECT_THAT(BrokenByTheUpdateTool(run), IsEmpty());
  }
}

TEST(RowsTest, StatusOfAShell_ThatIsASignals_IsAnEarlyEnd) {
  for (const auto& [status, outcome] : std::vector<std::pair<int, std::string>>{
           {128, "verified"}, {129, "ended early"}, {192, "ended early"}, {193, "verified"}}) {
    Evidence run = Verified();
    run.status = status;
    EXPECT_EQ(OutcomeOf(run), outcome) << status;
  }
}

TEST(RowsTest, EndedRun_LeavesEntriesInTheirOrder) {
  Evidence run = Fresh(RecordedUpdate("1.0"));
  Nth(run, PlatformCall::kInvokeCommand, 4).members["result"] = Result(4294901761);
  run.status = 137;
  const std::string first = "vam_getFWInfo failed -65535 \n";
  for (const std::string& left : {std::string(), first, first + kMismatch}) {
    run.failAfter = left;
    EXPECT_THAT(BrokenByTheUpdateTool(run), IsEmpty()) << left;
  }
  for (const std::string& left : {std::string(kMismatch), first.substr(1), first + "updated"}) {
    run.failAfter = left;
    EXPECT_THAT(BrokenByTheUpdateTool(run),
                ElementsAre("an ended run leaves whole entries of its own outcome: " + left));
  }
}

TEST(RowsTest, RoomForAllThatIsWritten_CutsNothing) {
  Evidence run = Verified();
  const std::string line = *run.okAfter;
  run.statusRoom = static_cast<std::uint32_t>(line.size());
  run.okAfter = line.substr(0, line.size() - 1);
  const std::string rule = "a verified run says so in VAM_OK: ";
  EXPECT_THAT(BrokenByTheUpdateTool(run), ElementsAre(rule + *run.okAfter));
  --*run.statusRoom;
  EXPECT_THAT(BrokenByTheUpdateTool(run), IsEmpty());
  run.okAfter = "other";
  EXPECT_THAT(BrokenByTheUpdateTool(run), ElementsAre(rule + "other"));
  run.okAfter.reset();
  EXPECT_THAT(BrokenByTheUpdateTool(run), ElementsAre(rule + "no file"));
}

TEST(RowsTest, Entry_ThatTakesAllTheRoom_IsCutThere) {
  Evidence run = Fresh(RecordedUpdate("1.0"));
  const std::string entry = kMismatch;
  run.statusRoom = static_cast<std::uint32_t>(entry.size() - 1);
  run.failAfter = entry.substr(0, entry.size() - 1);
  EXPECT_THAT(BrokenByTheUpdateTool(run), IsEmpty());
  run.statusRoom = 0;
  run.failAfter = "";
  EXPECT_THAT(BrokenByTheUpdateTool(run), IsEmpty());
}

/// A journal of these calls, each of the process that stands before it.
Evidence Calls(const std::vector<std::pair<int, std::string>>& calls) {
  std::string text = R"({"format":1,"program":"p","arguments":null,"build":"vam-board 1.0",)"
                     R"("keys":false,"clock":{"bootId":"","bootTime":1,"realTime":2}})"
                     "\n";
  for (const auto& [process, call] : calls) {
    const std::string number = std::to_string(process);
    text.append("{\"time\":1,\"pid\":").append(number).append(",\"tid\":").append(number);
    text.append(",\"call\":").append(call).append("}\n");
  }
  Evidence run;
  run.journal = ReadJournal(text, "journal");
  EXPECT_EQ(run.journal.problem, "");
  return run;
}

TEST(HoldingsTest, WhatIsMade_IsGivenBackInOrder) {
  const std::string success = R"("result":{"number":0,"name":"TEEC_SUCCESS"})";
  const std::string context = R"("TEEC_InitializeContext","name":null,)" + success;
  const std::string memory = R"("TEEC_RegisterSharedMemory","context":1,)" + success;
  const std::string marshaller = R"("CNolvWsm::CNolvWsm","sharedMemory":1,"marshaller":1)";
  const auto wrong = [](const std::vector<std::pair<int, std::string>>& calls) {
    const Evidence run = Calls(calls);
    return BrokenByAnyProgram(run, run, run);
  };
  const std::string rule = "everything is given back once, in order: ";
  EXPECT_THAT(wrong({{7, context + R"(,"context":1)"}}),
              ElementsAre(rule + "context 1 is never given back"));
  EXPECT_THAT(wrong({{7, memory + R"(,"sharedMemory":2)"}}),
              ElementsAre(rule + "sharedMemory 2 is never given back"));
  EXPECT_THAT(wrong({{7, marshaller}}), ElementsAre(rule + "marshaller 1 is never given back"));
  EXPECT_THAT(wrong({{7, R"("TEEC_CloseSession","session":0)"}}),
              ElementsAre(rule + "session 0 is given back and was not held"));
  EXPECT_THAT(wrong({{7, R"("CNolvWsm::~CNolvWsm","marshaller":1)"}}),
              ElementsAre(rule + "marshaller 1 is given back and was not held"));
  // What was refused is not held, and what a process made is not another's.
  EXPECT_THAT(
      wrong({{7, R"("TEEC_InitializeContext","name":null,"result":{"number":4294906420})"}}),
      IsEmpty());
  EXPECT_THAT(wrong({{7, context + R"(,"context":1)"},
                     {8, context + R"(,"context":1)"},
                     {7, R"("TEEC_FinalizeContext","context":1)"},
                     {8, R"("TEEC_FinalizeContext","context":1)"}}),
              IsEmpty());
  EXPECT_THAT(wrong({{7, memory + R"(,"sharedMemory":1)"},
                     {7, marshaller},
                     {7, R"("TEEC_ReleaseSharedMemory","sharedMemory":1)"},
                     {7, R"("CNolvWsm::~CNolvWsm","marshaller":1)"}}),
              ElementsAre(rule + "sharedMemory 1 is given back before what was made after it"));
}

TEST(HoldingsTest, JournalThatIsNotWhole_IsFound) {
  Evidence run = Verified();
  run.journal.problem = "journal:9: is cut";
  EXPECT_THAT(Broken(run), ElementsAre("the journal is whole: journal:9: is cut"));
}

TEST(HoldingsTest, SignalThatEndsTheCleanRunToo_IsNoneOfTheFaults) {
  Evidence run = Verified();
  run.status = 137;
  Evidence clean = run;
  EXPECT_THAT(BrokenByAnyProgram(run, clean, clean), IsEmpty());
  clean.complaints = "other";
  EXPECT_THAT(BrokenByAnyProgram(run, clean, clean),
              ElementsAre("nothing more is said on standard error: "));
}

}  // namespace
}  // namespace vam
