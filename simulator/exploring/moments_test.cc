#include "simulator/exploring/moments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "journal/code_names.h"
#include "report/tee_codes.h"
#include "simulator/board/board.h"
#include "simulator/exploring/recorded_update_test.h"
#include "simulator/recording/recorded_calls_test.h"

namespace vam {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

const std::vector<Moment>& Moments() {
  static const std::vector<Moment> kMoments = MomentsOf(RecordedUpdate(), {4, 20, 10, 30, 6});
  return kMoments;
}

TEST(MomentsTest, Moments_OfAKind_AreAllThatTheRunHas) {
  std::map<std::string, int> counts;
  for (const Moment& moment : Moments()) {
    ++counts[moment.kind];
  }
  // An item of n bytes has a tag too, bytes also their length: a number is missing or cut at 5
  // places, the record at 13, a version of 4 bytes and the information word at 9.
  EXPECT_THAT(counts,
              ElementsAre(
                  // Three requests, and 3 * 5 + 2 items.
                  Pair("call refused", 3 + 17), Pair("console", 4),
                  // 19 errors of open and of ioctl.
                  Pair("error of the node", 2 * 19), Pair("full folder of the status files", 30),
                  Pair("loss of power", 4), Pair("no memory", 6),
                  // 7 for each number; a number for each of the other items; 10 for each
                  // version, and the same 10 for the information words.
                  Pair("reply item of another value", 7 * 7 + 10 + 10 * 7),
                  Pair("reply that ends early", 3 * (2 * 5 + 13 + 2 * 9) + 5 + 9),
                  // 19 codes; two calls have four origins, in four exchanges.
                  Pair("result of the TEE client", 4 * 19 * (1 + 4 + 1 + 4)),
                  // 14 codes, and 25 pairs of extremes but for two of those, in three replies.
                  Pair("result record", 3 * 37), Pair("signal after a call", 2 * 20),
                  Pair("signal after a line", 2 * 10),
                  // Both in a folder that is missing or read-only; three states of each.
                  Pair("status file", 2 + 2 * 3)));
}

TEST(MomentsTest, Faults_OfEachMoment_AreOnesThatABoardTakes) {
  for (const Moment& moment : Moments()) {
    SCOPED_TRACE(moment.place + ": " + moment.change);
    EXPECT_GE(ReadBoardText(moment.faults, "board.toml").faults.size(), 1U);
  }
}

TEST(MomentsTest, Moments_AreAllDifferent) {
  std::set<std::string> names;
  for (const Moment& moment : Moments()) {
    EXPECT_TRUE(names.insert(moment.place + ": " + moment.change).second) << moment.change;
  }
}

/// Returns the parts as one text.
std::string Joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) {
    text += part;
  }
  return text;
}

/// Returns the moments of a run with these calls, each as a line; its faults have "|" for newlines.
std::string MomentsOfCalls(const std::string& calls, const MomentCounts& counts = {}) {
  const RecordedRun run = ReadCalls(calls);
  std::string lines;
  for (const Moment& moment : MomentsOf(run, counts)) {
    // What every run has.
    if (calls.empty() || (moment.kind != "console" && moment.kind != "status file")) {
      std::string faults = moment.faults;
      std::replace(faults.begin(), faults.end(), '\n', '|');
      lines.append(moment.kind).append(": ").append(moment.place).append(": ");
      lines.append(moment.change).append(": ").append(faults).append("\n");
    }
  }
  return lines;
}

TEST(MomentsTest, Surroundings_OfARunWithoutCalls_HaveEachTheirFault) {
  EXPECT_EQ(
      MomentsOfCalls("", {2, 1, 1, 2, 2}),
      "loss of power: write 1 of the chip: power lost after it: "
      "|[[fault]]|power_cut_after_writes = 1|\n"
      "loss of power: write 2 of the chip: power lost after it: "
      "|[[fault]]|power_cut_after_writes = 2|\n"
      "signal after a call: call 1: SIGKILL: |[[fault]]|signal = \"SIGKILL\"|after_calls = 1|\n"
      "signal after a call: call 1: SIGTERM: |[[fault]]|signal = \"SIGTERM\"|after_calls = 1|\n"
      "signal after a line: line 1: SIGKILL: |[[fault]]|signal = \"SIGKILL\"|after_lines = 1|\n"
      "signal after a line: line 1: SIGTERM: |[[fault]]|signal = \"SIGTERM\"|after_lines = 1|\n"
      "console: console closed: from the start: |[[fault]]|console = \"closed\"|\n"
      "console: console full: from the start: |[[fault]]|console = \"full\"|\n"
      "console: console without reader: from the start: |[[fault]]|console = \"without reader\"|\n"
      "console: console slow: from the start: |[[fault]]|console = \"slow\"|\n"
      "status file: both in a folder that is missing: from the start: "
      "|[[fault]]|status_file = \"both\"|result = \"ENOENT\"|\n"
      "status file: both in a folder that is read-only: from the start: "
      "|[[fault]]|status_file = \"both\"|result = \"EROFS\"|\n"
      "status file: VAM_OK is a folder: from the start: "
      "|[[fault]]|status_file = \"VAM_OK\"|is = \"folder\"|\n"
      "status file: VAM_OK is a link: from the start: "
      "|[[fault]]|status_file = \"VAM_OK\"|is = \"link\"|\n"
      "status file: VAM_OK is another user's: from the start: "
      "|[[fault]]|status_file = \"VAM_OK\"|result = \"EACCES\"|\n"
      "status file: VAM_FAIL is a folder: from the start: "
      "|[[fault]]|status_file = \"VAM_FAIL\"|is = \"folder\"|\n"
      "status file: VAM_FAIL is a link: from the start: "
      "|[[fault]]|status_file = \"VAM_FAIL\"|is = \"link\"|\n"
      "status file: VAM_FAIL is another user's: from the start: "
      "|[[fault]]|status_file = \"VAM_FAIL\"|result = \"EACCES\"|\n"
      "full folder of the status files: byte 0: no space after it: |[[fault]]|status_room = 0|\n"
      "full folder of the status files: byte 1: no space after it: |[[fault]]|status_room = 1|\n"
      "no memory: request 1: refused: |[[fault]]|memory_fails_at_request = 1|\n"
      "no memory: request 2: refused: |[[fault]]|memory_fails_at_request = 2|\n");
}

TEST(MomentsTest, Call_ThatCanFail_HasAFaultAtItsPlace) {
  const std::string put = R"("CNolvWsm::PutUint","marshaller":1,"value":1,"result":true)";
  EXPECT_EQ(
      MomentsOfCalls(
          JournalCallText(put) + JournalCallText(R"("vconf_get_str","key":"k","value":"v")") +
          JournalCallText(R"("system_info_get_value_string","key":0,"result":0,"value":"m")") +
          JournalCallText(put) + JournalCallText(R"("TEEC_CloseSession","session":1)")),
      "call refused: CNolvWsm::PutUint 1: fails: "
      "|[[fault]]|call = \"CNolvWsm::PutUint\"|occurrence = 1|\n"
      "call refused: vconf_get_str 1: fails: "
      "|[[fault]]|call = \"vconf_get_str\"|occurrence = 1|\n"
      "call refused: system_info_get_value_string 1: -1: "
      "|[[fault]]|call = \"system_info_get_value_string\"|occurrence = 1|result = -1|\n"
      "call refused: CNolvWsm::PutUint 2: fails: "
      "|[[fault]]|call = \"CNolvWsm::PutUint\"|occurrence = 2|\n");
}

TEST(MomentsTest, NodeCall_HasEveryErrorThatANodeGives) {
  std::string expected;
  for (int number = 1; number < 4096; ++number) {
    if (const char* name = ErrorNumberName(number)) {
      expected += std::string("error of the node: open 1: ") + name +
                  ": |[[fault]]|call = \"open\"|occurrence = 1|result = \"" + name + "\"|\n";
    }
  }
  EXPECT_EQ(MomentsOfCalls(
                JournalCallText(R"("open","path":"/dev/zelkshield","flags":2,"descriptor":1)")),
            expected);
}

TEST(MomentsTest, TeeCall_HasEveryResultWithEveryOrigin) {
  const std::string success = R"("result":{"number":0,"name":"TEEC_SUCCESS"})";
  std::string contexts;
  std::string sessions;
  for (const TeeCode& code : kTeeCodes) {
    const std::string name = code.name;
    if (name == "TEEC_SUCCESS") {
      continue;
    }
    contexts += Joined({"result of the TEE client: TEEC_InitializeContext 1: ", name,
                        ": |[[fault]]|call = \"TEEC_InitializeContext\"|occurrence = 1|result = \"",
                        name, "\"|\n"});
    for (const char* origin : {"1", "2", "3", "4"}) {
      sessions +=
          Joined({"result of the TEE client: TEEC_OpenSession 1: ", name, ", origin ", origin,
                  ": |[[fault]]|call = \"TEEC_OpenSession\"|occurrence = 1|result = \"", name,
                  "\"|origin = ", origin, "|\n"});
    }
  }
  EXPECT_EQ(
      MomentsOfCalls(
          JournalCallText(R"("TEEC_InitializeContext","name":null,"context":1,)" + success) +
          JournalCallText(R"("TEEC_OpenSession","context":1,"destination":null,)"
                          R"("connectionMethod":0,"connectionData":null,"operation":null,)" +
                          success + R"(,"origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})")),
      contexts + sessions);
}

/// The lines of `lines` about what is wrong with a reply.
std::string OfReplies(const std::string& lines) {
  std::string replies;
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    const bool isOne = line.rfind("repl", 0) == 0 || line.rfind("result record", 0) == 0;
    replies += isOne ? line + "\n" : "";
  }
  return replies;
}

std::string InvocationText(const std::string& command, std::int64_t result = 0) {
  return JournalCallText(R"("TEEC_InvokeCommand","session":1,"command":)" + command +
                         R"(,"result":)" +
                         (result == 0 ? R"({"number":0,"name":"TEEC_SUCCESS"})"
                                      : "{\"number\":" + std::to_string(result) + "}") +
                         R"(,"origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})");
}

constexpr char kHackInfo[] = R"({"number":39,"name":"vam_getHackInfo"})";
constexpr char kUpdate[] = R"({"number":18,"name":"vm_updateFW"})";
constexpr char kTwo[] = R"("CNolvWsm::GetInt","marshaller":1,"value":2,"result":true)";

TEST(MomentsTest, ReplyItem_IsMissingCutAtEachByteAndOfOtherValues) {
  const std::string fault = "|[[fault]]|command = \"vam_getHackInfo\"|occurrence = 1|item = ";
  const std::string early = "reply that ends early: vam_getHackInfo, occurrence 1, item ";
  const std::string other = "reply item of another value: vam_getHackInfo, occurrence 1, item ";
  std::string expected = early + "1: missing: " + fault + "1|missing = true|\n";
  for (const char* kept : {"1", "2", "3", "4"}) {
    expected += Joined({early, "1: cut after ", kept, " bytes: ", fault, "1|cut = ", kept, "|\n"});
  }
  for (const char* value : {"0", "1", "-1", "2147483647", "2147483648", "4294967295", "\"text\""}) {
    expected += Joined({other, "1: ", value, ": ", fault, "1|value = ", value, "|\n"});
  }
  expected += early + "2: missing: " + fault + "2|missing = true|\n";
  for (const char* kept : {"1", "2", "3", "4", "5", "6"}) {
    expected += Joined({early, "2: cut after ", kept, " bytes: ", fault, "2|cut = ", kept, "|\n"});
  }
  const auto sized = [&](const std::string& what, std::size_t size, const std::string& digits) {
    expected += other + "2: " + what + ": " + fault + "1|value = " + std::to_string(size) + "|" +
                fault + "2|bytes = \"" + digits + "\"|\n";
  };
  const auto ones = [](int count) {
    std::string digits;
    for (int i = 0; i < count; ++i) {
      digits += "31";
    }
    return digits;
  };
  sized("nothing", 0, "");
  sized("one byte", 1, "31");
  sized("252 bytes", 252, ones(252));
  sized("8100 bytes", 8100, ones(8100));
  sized("a byte more", 3, "a0f131");
  sized("a byte less", 1, "a0");
  sized("a zero in front", 3, "00a0f1");
  sized("a newline in front", 3, "0aa0f1");
  sized("0xFF in front", 3, "ffa0f1");
  sized("another first byte", 2, "3ff1");
  expected += other + "2: 7: " + fault + "2|value = 7|\n";
  EXPECT_EQ(OfReplies(MomentsOfCalls(InvocationText(kHackInfo) + JournalCallText(kTwo) +
                                     BlobText(1, "\xa0\xf1"))),
            expected);
}

TEST(MomentsTest, Record_IsOfEachCodeAndOfExtremes) {
  const std::string put = R"("CNolvWsm::PutInt","marshaller":1,"value":3,"result":true)";
  const std::string lines = OfReplies(MomentsOfCalls(
      JournalCallText(put) + InvocationText(kUpdate) + BlobText(1, std::string(8, '\0'))));
  const std::string name = "vm_updateFW in mode 3, occurrence 1";
  const std::string fault = "|[[fault]]|command = \"vm_updateFW\"|mode = 3|occurrence = 1|";
  std::string expected = "reply that ends early: " + name + ", item 1: missing: " + fault +
                         "item = 1|missing = true|\n";
  for (int kept = 1; kept < 13; ++kept) {
    const std::string number = std::to_string(kept);
    expected += Joined({"reply that ends early: ", name, ", item 1: cut after ", number,
                        " bytes: ", fault, "item = 1|cut = ", number, "|\n"});
  }
  const auto add = [&](const std::string& vamCode, const std::string& firmwareCode) {
    const std::string record = "record = [" + vamCode + ", " + firmwareCode + "]";
    expected += "result record: " + name + ": " + record + ": " + fault + record + "|\n";
  };
  for (int code = 0; code <= 13; ++code) {
    add(std::to_string(code), "0");
  }
  const char* const kEdges[] = {"-2147483648", "-1", "0", "1", "2147483647"};
  for (const std::string vamCode : kEdges) {
    for (const std::string firmwareCode : kEdges) {
      if (firmwareCode != "0" || (vamCode != "0" && vamCode != "1")) {
        add(vamCode, firmwareCode);
      }
    }
  }
  expected +=
      "reply item of another value: " + name + ", item 1: 7: " + fault + "item = 1|value = 7|\n";
  EXPECT_EQ(lines, expected);
}

/// The places of the items that are missing in turn.
std::string Items(const std::string& calls) {
  std::string places;
  std::istringstream stream(OfReplies(MomentsOfCalls(calls)));
  for (std::string line; std::getline(stream, line);) {
    const std::size_t end = line.find(": missing: ");
    const std::size_t start = std::string("reply that ends early: ").size();
    places += end == std::string::npos ? "" : line.substr(start, end - start) + "\n";
  }
  return places;
}

TEST(MomentsTest, Invocations_AreCountedByCommandAndMode) {
  const auto put = [](int mode) {
    return JournalCallText(R"("CNolvWsm::PutInt","marshaller":1,"value":)" + std::to_string(mode) +
                           R"(,"result":true)");
  };
  const std::string two = JournalCallText(kTwo);
  EXPECT_EQ(Items(put(3) + InvocationText(kUpdate) + two + put(7) + InvocationText(kUpdate) + two +
                  two + put(3) + InvocationText(kUpdate) + two + InvocationText(kUpdate) + two +
                  InvocationText(kHackInfo) + two),
            "vm_updateFW in mode 3, occurrence 1, item 1\n"
            "vm_updateFW in mode 7, occurrence 1, item 1\n"
            "vm_updateFW in mode 7, occurrence 1, item 2\n"
            "vm_updateFW in mode 3, occurrence 2, item 1\n"
            "vm_updateFW, occurrence 1, item 1\n"
            "vam_getHackInfo, occurrence 1, item 1\n");
}

TEST(MomentsTest, WhatDidNotCome_HasNoFault) {
  EXPECT_EQ(Items(JournalCallText(kTwo) + BlobText(1, "ab")), "") << "nothing was invoked";
  EXPECT_EQ(Items(InvocationText(kHackInfo, 4294906420) + JournalCallText(kTwo)), "");
  EXPECT_EQ(Items(InvocationText(kHackInfo) +
                  JournalCallText(R"("CNolvWsm::GetInt","marshaller":1,"result":false)") +
                  JournalCallText(R"("CNolvWsm::GetBlob","marshaller":1,"length":1,"bytes":null)") +
                  JournalCallText(kTwo)),
            "vam_getHackInfo, occurrence 1, item 1\n");
}

TEST(MomentsTest, BytesThatAreLongerThanAnyFault_AreLeftOut) {
  const std::string lines = MomentsOfCalls(InvocationText(kHackInfo) + JournalCallText(kTwo) +
                                           BlobText(1, std::string(8100, 'x')));
  EXPECT_EQ(lines.find("item 2: a byte more: "), std::string::npos);
  EXPECT_EQ(lines.find("item 2: a zero in front: "), std::string::npos);
  EXPECT_NE(lines.find("item 2: another first byte: "), std::string::npos);
  EXPECT_NE(lines.find("item 2: 8100 bytes: "), std::string::npos);
}

}  // namespace
}  // namespace vam
