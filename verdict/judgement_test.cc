#include "verdict/judgement.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "report/run_record.h"

namespace vam {
namespace {

const std::string kGood = "Updated FW version: 1.1,04/7,3 \n";
const std::string kInformation = "vam_getFWInfo failed -65525 \n";
const std::string kSystem =
    "updated firmware version (IC) != firmware version on FS (System part) -1 \n"
    "vam ret: 0 \nfw ret: 0 \n";
const std::string kApp =
    "updated firmware version (IC) != firmware version on FS (App part) -1 \n"
    "vam ret: 0 \nfw ret: 0 \n";
const std::string kUpdate = "vam_updateFW failed:  -65536 \nvam ret: 0 \nfw ret: 0 \n";

constexpr RunOutcome kVerified = RunOutcome::kVerified;
constexpr RunOutcome kNotVerified = RunOutcome::kNotVerified;
constexpr RunOutcome kNoVam = RunOutcome::kNoVam;
constexpr RunOutcome kNotImplemented = RunOutcome::kNotImplemented;
constexpr RunOutcome kUpdateFailed = RunOutcome::kUpdateFailed;
constexpr RunOutcome kInterrupted = RunOutcome::kInterrupted;
constexpr RunOutcome kFilesNotWritten = RunOutcome::kFilesNotWritten;

struct JudgedRow {
  const char* name;
  int status;
  int signal;
  std::string okText;
  std::string added;
  RunOutcome outcome;
  std::size_t entries;
};

const JudgedRow kRows[] = {
    {"verified", 0, 0, kGood, "", kVerified, 0},
    {"verified without the information words", 0, 0, kGood, kInformation, kVerified, 1},
    {"system part differs", 0, 0, "", kSystem, kNotVerified, 1},
    {"app part differs", 0, 0, "", kApp, kNotVerified, 1},
    {"both parts differ", 0, 0, "", kSystem + kApp, kNotVerified, 2},
    {"both parts differ, without the words", 0, 0, "", kInformation + kSystem + kApp, kNotVerified,
     3},
    {"no node", 0, 0, "", "Open /dev/zelkshield failed with error: -1 \n", kNoVam, 1},
    {"no answer", 0, 0, "", "ioctl GET_VAM_SUPPORT failed with error: -1 \n", kNoVam, 1},
    {"flag 0", 0, 0, "", "VAM_RET_NOT_IMPLEMENTED 0 \n", kNoVam, 1},
    {"flag -1", 0, 0, "", "VAM_RET_NOT_IMPLEMENTED -1 \n", kNoVam, 1},
    {"another branch", 0, 0, "", "VAM_RET_NOT_IMPLEMENTED 13 \n", kNotImplemented, 1},
    {"another branch, without the words", 0, 0, "", kInformation + "VAM_RET_NOT_IMPLEMENTED 13 \n",
     kNotImplemented, 2},
    {"update failed", 255, 0, "", kUpdate, kUpdateFailed, 1},
    {"image not read", 255, 0, "",
     "vam_updateFW failed(get firmware size from FS):  7 \nvam ret: 0 \nfw ret: 0 \n",
     kUpdateFailed, 1},
    {"chip not read", 255, 0, "",
     "vam_updateFW failed(get firmware size from IC):  7 \nvam ret: 0 \nfw ret: 0 \n",
     kUpdateFailed, 1},
    {"update failed, no entry", 255, 0, "", "", kUpdateFailed, 0},
    {"update failed, although a version is there", 255, 0, kGood, "", kUpdateFailed, 0},
    {"no file", 0, 0, "", "", kFilesNotWritten, 0},
    {"only the words", 0, 0, "", kInformation, kFilesNotWritten, 1},
    {"version cut off", 0, 0, "Updated FW version: 1.1", "", kFilesNotWritten, 0},
    {"version's line not ended", 0, 0, "Updated FW version: 1.1 ", "", kFilesNotWritten, 0},
    {"more before the version", 0, 0, "hello \n" + kGood, "", kFilesNotWritten, 0},
    {"entry cut off", 0, 0, "", "VAM_RET_NOT_IMPL", kFilesNotWritten, 1},
    {"foreign line beside a version", 0, 0, kGood, "hello\n", kFilesNotWritten, 1},
    {"foreign line behind an entry", 0, 0, "", kSystem + "hello\n", kFilesNotWritten, 2},
    {"version and mismatch", 0, 0, kGood, kApp, kNotVerified, 1},
    {"version and failed update", 0, 0, kGood, kUpdate, kUpdateFailed, 1},
    {"killed", -1, 9, "", "", kInterrupted, 0},
    {"killed when all was written", -1, 11, kGood, "", kInterrupted, 0},
    {"no status of the tool", 1, 0, kGood, "", kInterrupted, 0},
    {"not started", 127, 0, "", "", kInterrupted, 0},
};

TEST(JudgeRunTest, Run_ByItsEndAndItsFiles_HasOneOutcome) {
  for (const JudgedRow& row : kRows) {
    RunRecord record;
    record.status = row.status;
    record.signal = row.signal;
    JudgeRun(record, row.okText, row.added);
    EXPECT_STREQ(RunOutcomeName(record.outcome), RunOutcomeName(row.outcome)) << row.name;
    EXPECT_EQ(record.entries.size(), row.entries) << row.name;
    EXPECT_EQ(record.version, row.outcome == kVerified ? "1.1,04/7,3" : "") << row.name;
  }
}

TEST(JudgeRunTest, Version_OfAnyBytes_IsKeptWhole) {
  for (const std::string& version :
       {std::string(), std::string(" "), std::string("1\n2 \n"), std::string("a\0b\xff", 4)}) {
    RunRecord record;
    record.status = 0;
    JudgeRun(record, "Updated FW version: " + version + " \n", "");
    EXPECT_EQ(record.outcome, kVerified);
    EXPECT_EQ(record.version, version);
  }
}

TEST(JudgeRunTest, Entries_OfAProgramThatAddsMany_AreTheFirst) {
  std::string added;
  for (int i = 0; i < 100; ++i) {
    added += "VAM_RET_NOT_IMPLEMENTED " + std::to_string(i + 100) + " \n";
  }
  RunRecord record;
  record.status = 0;
  JudgeRun(record, "", added);
  ASSERT_EQ(record.entries.size(), 16U);
  EXPECT_EQ(record.entries.front().code, 100);
  EXPECT_EQ(record.entries.back().code, 115);
}

TEST(JudgeRunTest, Entry_OfAFailedUpdate_HasItsNames) {
  RunRecord record;
  record.status = 255;
  JudgeRun(record, "", "vam_updateFW failed:  -65536 \nvam ret: 7 \nfw ret: -51 \n");
  ASSERT_EQ(record.entries.size(), 1U);
  EXPECT_EQ(record.entries[0].codeName, "TEEC_ERROR_GENERIC");
  EXPECT_EQ(record.entries[0].vamName, "VAM_RET_INVALID_PARAM");
  EXPECT_EQ(record.entries[0].firmwareName, "-ZELK_FW_ERROR");
}

}  // namespace
}  // namespace vam
