#include "report/run_record.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace vam {
namespace {

RunRecord Verified() {
  RunRecord record;
  record.bootId = "0f1e2d3c-0000-4000-8000-0123456789ab";
  record.start = {1234, -5};
  record.end = {5678, 1700000000123};
  record.status = 0;
  record.outcome = RunOutcome::kVerified;
  record.version = "1.1,04/7,3";
  return record;
}

constexpr char kVerifiedJson[] =
    R"({"format":1,"boot_id":"0f1e2d3c-0000-4000-8000-0123456789ab",)"
    R"("start":{"boot_time_ms":1234,"wall_clock_ms":-5},)"
    R"("end":{"boot_time_ms":5678,"wall_clock_ms":1700000000123},)"
    R"("program":{"status":0,"signal":null},"outcome":"verified","version":"1.1,04/7,3",)"
    R"("entries":[],"moved":[],"problems":[]})"
    "\n";

StatusEntry Failed() {
  StatusEntry entry;
  entry.message = "vam_updateFW failed: ";
  entry.code = -65536;
  entry.record = VamResult{6, -51};
  entry.meaning = "The update of the chip (mode 3) failed.";
  entry.codeName = "TEEC_ERROR_GENERIC";
  entry.firmwareName = "-ZELK_FW_ERROR";
  return entry;
}

/// A record with something of everything.
RunRecord Full() {
  RunRecord record = Verified();
  record.outcome = RunOutcome::kInterrupted;
  record.version.clear();
  record.status = -1;
  record.signal = 11;
  StatusEntry foreign;
  foreign.message = "hello \"you\" \\";
  foreign.meaning = "The update tool writes no such line.";
  record.entries = {Failed(), foreign};
  record.moved = {{"/tmp/VAM_OK", "/tmp/VAM_OK.moved-1", "a folder of user 7"},
                  {"/tmp/VAM_FAIL", "/tmp/VAM_FAIL.moved-2", "a pipe of user 8"}};
  record.problems = {"one", "two"};
  return record;
}

constexpr char kFullJson[] =
    R"({"format":1,"boot_id":"0f1e2d3c-0000-4000-8000-0123456789ab",)"
    R"("start":{"boot_time_ms":1234,"wall_clock_ms":-5},)"
    R"("end":{"boot_time_ms":5678,"wall_clock_ms":1700000000123},)"
    R"("program":{"status":null,"signal":11},"outcome":"interrupted","version":null,)"
    R"("entries":[{"message":"vam_updateFW failed: ",)"
    R"("meaning":"The update of the chip (mode 3) failed.",)"
    R"("code":-65536,"name":"TEEC_ERROR_GENERIC",)"
    R"("record":{"vam":{"code":6,"name":null},"firmware":{"code":-51,"name":"-ZELK_FW_ERROR"}}},)"
    R"({"message":"hello \u0022you\u0022 \u005c","meaning":"The update tool writes no such line.",)"
    R"("code":null,"name":null,"record":null}],)"
    R"("moved":[{"path":"/tmp/VAM_OK","moved_to":"/tmp/VAM_OK.moved-1","was":"a folder of user 7"},)"
    R"({"path":"/tmp/VAM_FAIL","moved_to":"/tmp/VAM_FAIL.moved-2","was":"a pipe of user 8"}],)"
    R"("problems":["one","two"]})"
    "\n";

/// Returns `text` with the first `part` in it replaced.
std::string With(std::string text, const std::string& part, const std::string& replacement) {
  const std::size_t position = text.find(part);
  EXPECT_NE(position, std::string::npos) << part;
  return text.replace(position, part.size(), replacement);
}

bool IsRead(const std::string& json) {
  RunRecord record;
  return ReadRunRecord(json, record);
}

TEST(RunRecordTest, Json_OfVerifiedRun_IsOneLine) {
  EXPECT_EQ(RunRecordAsJson(Verified()), kVerifiedJson);
}

TEST(RunRecordTest, Json_OfEverything_KeepsItsOrder) {
  EXPECT_EQ(RunRecordAsJson(Full()), kFullJson);
}

TEST(RunRecordTest, NewRecord_SaysThatNothingWasSeen) {
  EXPECT_EQ(RunRecordAsJson(RunRecord()),
            R"({"format":1,"boot_id":"","start":{"boot_time_ms":0,"wall_clock_ms":0},)"
            R"("end":{"boot_time_ms":0,"wall_clock_ms":0},)"
            R"("program":{"status":-1,"signal":null},"outcome":"interrupted","version":null,)"
            R"("entries":[],"moved":[],"problems":[]})"
            "\n");
}

TEST(RunRecordTest, Read_Everything_ComesBack) {
  RunRecord record;
  ASSERT_TRUE(ReadRunRecord(kFullJson, record));
  EXPECT_EQ(record.bootId, "0f1e2d3c-0000-4000-8000-0123456789ab");
  EXPECT_EQ(record.start.bootTime, 1234);
  EXPECT_EQ(record.start.wallClock, -5);
  EXPECT_EQ(record.end.bootTime, 5678);
  EXPECT_EQ(record.end.wallClock, 1700000000123);
  EXPECT_EQ(record.status, -1);
  EXPECT_EQ(record.signal, 11);
  EXPECT_EQ(record.outcome, RunOutcome::kInterrupted);
  EXPECT_EQ(record.version, "");
  ASSERT_EQ(record.entries.size(), 2U);
  EXPECT_EQ(record.entries[0].message, "vam_updateFW failed: ");
  EXPECT_EQ(record.entries[0].code, -65536);
  EXPECT_EQ(record.entries[0].codeName, "TEEC_ERROR_GENERIC");
  ASSERT_TRUE(record.entries[0].record);
  EXPECT_EQ(record.entries[0].record->vamCode, 6);
  EXPECT_EQ(record.entries[0].record->fwCode, -51);
  EXPECT_EQ(record.entries[0].vamName, "");
  EXPECT_EQ(record.entries[0].firmwareName, "-ZELK_FW_ERROR");
  EXPECT_EQ(record.entries[1].message, "hello \"you\" \\");
  EXPECT_EQ(record.entries[1].meaning, "The update tool writes no such line.");
  EXPECT_EQ(record.entries[1].code, std::nullopt);
  EXPECT_FALSE(record.entries[1].record);
  ASSERT_EQ(record.moved.size(), 2U);
  EXPECT_EQ(record.moved[1].path, "/tmp/VAM_FAIL");
  EXPECT_EQ(record.moved[1].movedTo, "/tmp/VAM_FAIL.moved-2");
  EXPECT_EQ(record.moved[1].was, "a pipe of user 8");
  EXPECT_EQ(record.problems, (std::vector<std::string>{"one", "two"}));
}

TEST(RunRecordTest, Version_OfAnyBytes_ComesBack) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  for (const std::string& version : {bytes, std::string(), std::string("\0", 1), bytes + bytes}) {
    RunRecord record = Verified();
    record.version = version;
    const std::string json = RunRecordAsJson(record);
    EXPECT_EQ(json.find_first_not_of("\n !\"#$%&'()*+,-./0123456789:;<=>?@"
                                     "ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
                                     "abcdefghijklmnopqrstuvwxyz{|}~"),
              std::string::npos);
    EXPECT_EQ(json.find('\n'), json.size() - 1);
    RunRecord read;
    ASSERT_TRUE(ReadRunRecord(json, read));
    EXPECT_EQ(read.version, version);
  }
}

TEST(RunRecordTest, Numbers_AtTheirLimits_ComeBack) {
  RunRecord record = Full();
  record.start.bootTime = std::numeric_limits<std::int64_t>::max();
  record.start.wallClock = std::numeric_limits<std::int64_t>::min();
  record.entries[0].code = std::numeric_limits<std::int32_t>::min();
  record.entries[0].record->vamCode = std::numeric_limits<std::int32_t>::max();
  RunRecord read;
  ASSERT_TRUE(ReadRunRecord(RunRecordAsJson(record), read));
  EXPECT_EQ(read.start.bootTime, std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(read.start.wallClock, std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(read.entries[0].code, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(read.entries[0].record->vamCode, std::numeric_limits<std::int32_t>::max());
}

TEST(RunRecordTest, Read_TextCutAnywhere_IsRefused) {
  for (const std::string json : {kVerifiedJson, kFullJson}) {
    ASSERT_TRUE(IsRead(json));
    for (std::size_t length = 0; length < json.size(); ++length) {
      EXPECT_FALSE(IsRead(json.substr(0, length))) << length;
    }
  }
}

TEST(RunRecordTest, Read_AnyByteChanged_IsRefusedOrAnotherRecord) {
  const std::string json = kFullJson;
  for (std::size_t i = 0; i < json.size(); ++i) {
    for (const char byte : {'\0', ' ', '"', ',', '0', '9', 'a', 'u', '\\', '{', '}', '\x80'}) {
      std::string changed = json;
      changed[i] = byte;
      RunRecord record;
      if (ReadRunRecord(changed, record)) {
        EXPECT_EQ(RunRecordAsJson(record), changed);
      }
    }
  }
}

struct RefusedRow {
  const char* name;
  const char* part;
  const char* replacement;
};

constexpr RefusedRow kRefused[] = {
    {"more after it", "}\n", "}\n\n"},
    {"no newline", "]}\n", "]}"},
    {"another format", "\"format\":1", "\"format\":2"},
    {"a blank", "{\"format\"", "{ \"format\""},
    {"another member", "{\"format\":1", "{\"more\":0,\"format\":1"},
    {"another order", "\"moved\":[],\"problems\":[]", "\"problems\":[],\"moved\":[]"},
    {"a member missing", ",\"moved\":[]", ""},
    {"an outcome without a name", "\"verified\"", "\"Verified\""},
    {"an empty outcome", "\"verified\"", "\"\""},
    {"verified without a version", "\"1.1,04/7,3\"", "null"},
    {"a version that was not verified", "\"verified\"", "\"no VAM\""},
    {"no end of the program", "\"status\":0", "\"status\":null"},
    {"two ends of the program", "\"signal\":null", "\"signal\":9"},
    {"the signal 0", "\"status\":0,\"signal\":null", "\"status\":null,\"signal\":0"},
    {"a number with a zero before it", ":1234", ":01234"},
    {"a number with a sign", ":1234", ":+1234"},
    {"a fraction", ":1234", ":1234.0"},
    {"no number", ":1234", ":"},
    {"a number too large", ":1234", ":9223372036854775808"},
    {"a status too large", "\"status\":0", "\"status\":4294967296"},
    {"an escape of a plain character", "1.1,04/7,3", "\\u0031.1,04/7,3"},
    {"an escape in capitals", "1.1,04/7,3", "\\u00AB"},
    {"an escape that is no number", "1.1,04/7,3", "\\u00g0"},
    {"another escape", "1.1,04/7,3", "\\n"},
    {"a character beyond a byte", "1.1,04/7,3", "\\u0100"},
    {"a raw control character", "1.1,04/7,3", "\n"},
    {"a raw byte", "1.1,04/7,3", "\xc3\xa9"},
    {"an item and a comma", "\"problems\":[]", "\"problems\":[\"one\",]"},
    {"a comma alone", "\"problems\":[]", "\"problems\":[,]"},
};

TEST(RunRecordTest, Read_TextThatIsNotOurs_IsRefused) {
  for (const RefusedRow& row : kRefused) {
    EXPECT_FALSE(IsRead(With(kVerifiedJson, row.part, row.replacement))) << row.name;
  }
  EXPECT_FALSE(IsRead(""));
  EXPECT_FALSE(IsRead("{}\n"));
  EXPECT_FALSE(IsRead(std::string(100000, '[')));
}

TEST(RunRecordTest, NoRecord_ReasonOfAnyBytes_IsOneObject) {
  EXPECT_EQ(NoRecordAsJson("no run has ended"), "{\"format\":1,\"error\":\"no run has ended\"}\n");
  EXPECT_EQ(NoRecordAsJson("a \"b\"\n"), "{\"format\":1,\"error\":\"a \\u0022b\\u0022\\u000a\"}\n");
  EXPECT_FALSE(IsRead(NoRecordAsJson("x")));
}

TEST(RunRecordTest, Outcomes_EachHasItsName) {
  EXPECT_STREQ(RunOutcomeName(RunOutcome::kVerified), "verified");
  EXPECT_STREQ(RunOutcomeName(RunOutcome::kNotVerified), "not verified");
  EXPECT_STREQ(RunOutcomeName(RunOutcome::kNoVam), "no VAM");
  EXPECT_STREQ(RunOutcomeName(RunOutcome::kNotImplemented), "not implemented");
  EXPECT_STREQ(RunOutcomeName(RunOutcome::kUpdateFailed), "update failed");
  EXPECT_STREQ(RunOutcomeName(RunOutcome::kInterrupted), "interrupted");
  EXPECT_STREQ(RunOutcomeName(RunOutcome::kFilesNotWritten), "files not written");
}

TEST(RunRecordTest, Words_OfVerifiedRun_NameTheVersion) {
  RunRecord record = Verified();
  EXPECT_EQ(RunRecordInWords(record),
            "verified: the chip runs the image's firmware, system version 1.1,04/7,3.");
  record.version = "1\x1b\n";
  EXPECT_EQ(RunRecordInWords(record),
            "verified: the chip runs the image's firmware, system version 1\\x1b\\x0a.");
}

TEST(RunRecordTest, Words_OfInterruptedRun_TellWhatEndedIt) {
  EXPECT_EQ(RunRecordInWords(Full()),
            "interrupted: signal 11 ended the run. The update of the chip (mode 3) failed. (code "
            "-65536 TEEC_ERROR_GENERIC, VAM 6, firmware -51 -ZELK_FW_ERROR) The update tool "
            "writes no such line.");
  RunRecord record;
  record.status = 127;
  EXPECT_EQ(RunRecordInWords(record), "interrupted: the run ended with status 127.");
}

TEST(RunRecordTest, Words_OfFilesNotWritten_SaySo) {
  RunRecord record;
  record.status = 0;
  record.outcome = RunOutcome::kFilesNotWritten;
  EXPECT_EQ(RunRecordInWords(record),
            "files not written: the run ended, and the status files do not hold its verdict.");
}

}  // namespace
}  // namespace vam
