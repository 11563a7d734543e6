#include "simulator/exploring/rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "simulator/board/platform_calls.h"
#include "simulator/exploring/recorded_update_test.h"

namespace vam {
namespace {

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

}  // namespace
}  // namespace vam
