#include "simulator/recording/journal_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace vam {
namespace {

constexpr char kHead[] =
    R"({"format":1,"program":"tool","arguments":null,"build":"vam-board 1.0","keys":false,)"
    R"("clock":{"bootId":"","bootTime":1,"realTime":2}})"
    "\n";
constexpr char kOpen[] =
    R"({"time":5,"pid":7,"tid":8,"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":1})"
    "\n";

/// A line of a call, without its end.
std::string Line(const std::string& rest) { return R"({"time":5,"pid":7,"tid":8,)" + rest; }

RecordedRun Read(const std::string& text) { return ReadJournal(text, "j"); }

TEST(JournalReaderTest, WholeJournal_IsReadCallByCall) {
  const RecordedRun run = Read(std::string(kHead) + kOpen +
                               Line("\"call\":\"close\",\"descriptor\":1,\"result\":0}\n"));
  EXPECT_EQ(run.problem, "");
  EXPECT_EQ(run.head["program"], "tool");
  ASSERT_EQ(run.calls.size(), 2U);
  EXPECT_EQ(run.calls[0].line, 2U);
  EXPECT_EQ(run.calls[0].time, 5U);
  EXPECT_EQ(run.calls[0].process, 7);
  EXPECT_EQ(run.calls[0].thread, 8);
  EXPECT_EQ(run.calls[0].call, PlatformCall::kOpen);
  EXPECT_EQ(run.calls[0].members["flags"], 2);
  EXPECT_FALSE(run.calls[0].members.contains("pid"));
  EXPECT_EQ(run.calls[1].call, PlatformCall::kClose);
}

TEST(JournalReaderTest, JournalOfNoCall_IsWhole) {
  const RecordedRun run = Read(kHead);
  EXPECT_EQ(run.problem, "");
  EXPECT_TRUE(run.calls.empty());
}

TEST(JournalReaderTest, Texts_AreBytes) {
  const RecordedRun run = Read(
      std::string(kHead) +
      Line("\"call\":\"vconf_get_str\",\"key\":\"k\",\"value\":\"a\\u0000\\u00e9\\u00ff\"}\n"));
  ASSERT_EQ(run.problem, "");
  EXPECT_EQ(BytesOfText(run.calls[0].members["value"]), std::string("a\0\xe9\xff", 4));
  EXPECT_EQ(BytesOfDigits(Json("00ff7a")), std::string("\0\xffz", 3));
}

/// A journal that is cut anywhere has the calls of its whole lines.
TEST(JournalReaderTest, CutJournal_HasWhatCameBeforeTheCut) {
  const std::string whole = std::string(kHead) + kOpen + kOpen;
  const std::size_t head = std::string(kHead).size();
  const std::size_t line = std::string(kOpen).size();
  for (std::size_t length = 1; length < whole.size(); ++length) {
    const RecordedRun run = Read(whole.substr(0, length));
    const std::size_t calls = length < head ? 0 : (length - head) / line;
    EXPECT_EQ(run.calls.size(), calls) << length;
    const bool isBetweenLines = length >= head && (length - head) % line == 0;
    const std::size_t cutLine = length < head ? 1 : calls + 2;
    EXPECT_EQ(run.problem, isBetweenLines ? ""
                                          : "j:" + std::to_string(cutLine) +
                                                ": is cut: the recording ends within this line")
        << length;
  }
  EXPECT_EQ(Read("").problem, "j: is empty; a journal begins with its head");
}

struct Wrong {
  const char* name;
  std::string text;
  const char* problem;
};

class WrongJournalTest : public ::testing::TestWithParam<Wrong> {};

TEST_P(WrongJournalTest, Line_IsNamedWithWhatIsWrong) {
  const RecordedRun run = Read(GetParam().text);
  EXPECT_THAT(run.problem, ::testing::HasSubstr(GetParam().problem));
  EXPECT_TRUE(run.calls.empty());
}

std::string WithCall(const std::string& rest) { return kHead + Line(rest) + "\n"; }

std::string WithInvocation(const std::string& parameter) {
  return WithCall(R"("call":"TEEC_InvokeCommand","session":1,"command":{"number":99},)"
                  R"("paramTypes":7,"params":[)" +
                  parameter +
                  R"(],"result":{"number":0,"name":"TEEC_SUCCESS"},)"
                  R"("origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"}})");
}

std::string Head(const std::string& from, const std::string& to) {
  std::string head = kHead;
  return head.replace(head.find(from), from.size(), to);
}

const Wrong kWrong[] = {
    {"no_json", "text\n", "j:1: is no JSON object"},
    {"no_object", "[1]\n", "j:1: is no JSON object"},
    {"no_head", kOpen, "j:1: is no journal's head: it has no \"format\""},
    {"later_format", Head("\"format\":1", "\"format\":2"),
     "j:1: has format 2, and this program reads format 1"},
    {"head_lacks", Head("\"keys\":false,", ""), "j:1: the head has no \"keys\""},
    {"head_has_more", Head("\"keys\"", "\"more\":1,\"keys\""), "j:1: the head has \"more\""},
    {"head_arguments", Head("null", "[1]"), "\"arguments\" must be a list of texts, or null"},
    {"head_clock", Head("\"bootTime\":1", "\"bootTime\":-1"),
     "\"bootTime\" must be a number from 0 on"},
    {"time_missing", std::string(kHead) + "{\"pid\":1,\"tid\":1,\"call\":\"open\"}\n",
     "j:2: has no \"time\""},
    {"process_zero", std::string(kHead) + "{\"time\":1,\"pid\":0,\"tid\":1,\"call\":\"open\"}\n",
     "j:2: \"pid\" must be a number from 1 on"},
    {"other_call", WithCall("\"call\":\"read\"}"),
     "j:2: \"call\" is \"read\", which is no platform call"},
    {"member_missing", WithCall("\"call\":\"close\",\"descriptor\":1}"),
     "j:2: close has no \"result\""},
    {"member_more", WithCall("\"call\":\"close\",\"descriptor\":1,\"result\":0,\"fault\":1}"),
     "j:2: close has \"fault\", which is no part of it"},
    {"member_twice", WithCall("\"call\":\"close\",\"descriptor\":1,\"descriptor\":1,\"result\":0}"),
     "j:2: has \"descriptor\" twice"},
    {"number_large", WithCall("\"call\":\"close\",\"descriptor\":1,\"result\":2147483648}"),
     "\"result\" must be a 32-bit signed number"},
    {"number_huge",
     WithCall("\"call\":\"close\",\"descriptor\":18446744073709551615,\"result\":0}"),
     "\"descriptor\" must be a number from 1 on"},
    {"fraction", WithCall("\"call\":\"close\",\"descriptor\":1,\"result\":0.5}"),
     "\"result\" must be a 32-bit signed number"},
    {"no_truth",
     WithCall("\"call\":\"CNolvWsm::PutInt\",\"marshaller\":1,\"value\":1,\"result\":1}"),
     "\"result\" must be true or false"},
    {"result_of_other_name",
     WithCall("\"call\":\"TEEC_InitializeContext\",\"name\":null,"
              "\"result\":{\"number\":0,\"name\":\"TEEC_ERROR_BUSY\"}}"),
     "\"name\" must be \"TEEC_SUCCESS\""},
    {"result_without_name",
     WithCall("\"call\":\"TEEC_InitializeContext\",\"name\":null,\"result\":{\"number\":0}}"),
     "\"name\" must be \"TEEC_SUCCESS\""},
    {"text_beyond_a_byte",
     WithCall("\"call\":\"vconf_get_str\",\"key\":\"\xc4\x80\",\"value\":null}"),
     "\"key\" must be a text of characters up to U+00FF"},
    {"no_utf8", WithCall("\"call\":\"vconf_get_str\",\"key\":\"\xff\",\"value\":null}"),
     "j:2: is no JSON object"},
    {"half_a_byte",
     WithCall("\"call\":\"CNolvWsm::GetBlob\",\"marshaller\":1,\"length\":1,"
              "\"bytes\":\"0\"}"),
     "\"bytes\" must be small hexadecimal digits in pairs, or null"},
    {"bytes_of_other_length",
     WithCall("\"call\":\"CNolvWsm::GetBlob\",\"marshaller\":1,\"length\":2,\"bytes\":\"00\"}"),
     "\"bytes\" must be as many as \"length\" says"},
    {"short_digest",
     WithCall("\"call\":\"CNolvWsm::PutBlob\",\"marshaller\":1,\"length\":2,"
              "\"bytes\":{\"length\":2,\"sha256\":\"00\"},\"result\":true}"),
     "\"sha256\" must be 64 small hexadecimal digits"},
    {"value_of_a_failure",
     WithCall("\"call\":\"CNolvWsm::GetInt\",\"marshaller\":1,\"value\":1,\"result\":false}"),
     "has \"value\" with this result"},
    {"no_value_of_a_success",
     WithCall("\"call\":\"CNolvWsm::GetUint\",\"marshaller\":1,\"result\":true}"),
     "has no \"value\" with this result"},
    {"open_of_another_file",
     WithCall("\"call\":\"open\",\"path\":\"/dev/x\",\"flags\":2,"
              "\"descriptor\":1}"),
     "\"path\" must be that of the node"},
    {"open_that_failed_without_a_reason",
     WithCall("\"call\":\"open\",\"path\":\"/dev/zelkshield\",\"flags\":2,\"result\":-1}"),
     "has no \"errno\""},
    {"five_parameters",
     WithCall("\"call\":\"TEEC_InvokeCommand\",\"session\":1,\"command\":{\"number\":99},"
              "\"paramTypes\":1,\"params\":[{},{},{},{},{}],"
              "\"result\":{\"number\":0,\"name\":\"TEEC_SUCCESS\"},"
              "\"origin\":{\"number\":4,\"name\":\"TEEC_ORIGIN_TRUSTED_APP\"}}"),
     "\"params\" must be a list of at most 4 parameters"},
    {"parameter_of_half_a_byte", WithInvocation(R"({"size":1,"before":"0"})"),
     "\"before\" must be small hexadecimal digits in pairs, or null"},
    {"parameter_of_a_large_value", WithInvocation(R"({"newA":4294967296,"newB":0})"),
     "\"newA\" must be a 32-bit number from 0 on"},
    {"parameter_of_a_fraction", WithInvocation(R"({"size":0.5})"),
     "\"size\" must be a whole number"},
    {"parameter_of_half_a_value", WithInvocation(R"({"newA":1})"),
     "a parameter has \"newA\" without \"newB\""},
    {"parameter_of_an_offset_alone", WithInvocation(R"({"size":1,"offset":1})"),
     "a parameter has \"offset\" without \"sharedMemory\""},
    {"parameter_with_more", WithInvocation(R"({"bytes":"00"})"),
     "a parameter has \"bytes\", which is no part of it"},
    {"too_deep", WithCall("\"call\":[[[[[[1]]]]]]}"), "goes deeper than a line of a journal does"},
};

TEST(JournalReaderTest, ParametersOfEachKind_AreRead) {
  const std::string withheld =
      R"({"sharedMemory":1,"before":{"length":2,"sha256":")" + std::string(64, '0') + "\"}}";
  for (const std::string& parameter :
       {std::string("{}"), withheld, std::string(R"({"a":1,"b":4294967295,"newA":0,"newB":2})"),
        std::string(R"({"size":-1,"newSize":2,"before":"00ff","after":null})"),
        std::string(R"({"sharedMemory":0,"size":1,"offset":-1,"after":"00"})")}) {
    EXPECT_EQ(Read(WithInvocation(parameter)).problem, "") << parameter;
  }
}

INSTANTIATE_TEST_SUITE_P(Lines, WrongJournalTest, ::testing::ValuesIn(kWrong),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace vam
