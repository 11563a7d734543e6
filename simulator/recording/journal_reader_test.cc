#include "simulator/recording/journal_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

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

/// What a member's value may be, as a member of the schema says it.
struct Sort {
  std::vector<const char*> right;
  std::vector<const char*> wrong;
  const char* expected;
};

const Sort& SortOf(const std::string& name, const Json& property) {
  static const Sort kInt32 = {{"-2147483648", "2147483647"},
                              {"-2147483649", "2147483648", "0.5", "\"1\"", "null", "true"},
                              "a 32-bit signed number"};
  static const Sort kUint32 = {
      {"0", "4294967295"}, {"-1", "4294967296", "null"}, "a 32-bit number from 0 on"};
  static const Sort kNumber = {
      {"0", "9223372036854775807"}, {"-1", "9223372036854775808", "{}"}, "a number from 0 on"};
  static const Sort kOrder = {
      {"1", "9223372036854775807"}, {"0", "18446744073709551615", "\"1\""}, "a number from 1 on"};
  static const Sort kWord = {{"-9223372036854775808", "9223372036854775807"},
                             {"9223372036854775808", "0.5", "null"},
                             "a whole number"};
  static const Sort kTruth = {{"true", "false"}, {"0", "\"true\"", "null"}, "true or false"};
  static const Sort kText = {{R"("")", R"("\u0000\u00ff")"},
                             {R"("\u0100")", "1", "null"},
                             "a text of characters up to U+00FF"};
  static const Sort kTextOrNull = {
      {R"("\u00ff")", "null"}, {R"("\u0100")", "1"}, "a text of characters up to U+00FF, or null"};
  static const Sort kGiven = {
      {R"("given")", "null"}, {R"("")", R"("taken")", "1"}, "\"given\" or null"};
  static const Sort kBytes = {{R"("00ff")", "null"},
                              {R"("0")", R"("00FF")", R"("0g")", "1"},
                              "small hexadecimal digits in pairs, or null"};
  static const Sort kCode = {
      {R"({"number":4294967295})", R"({"number":4294967295,"name":"later"})"},
      {"0", "null", "[]"},
      "a number with its name"};
  static const Sort kParameters = {{"[]", "[{},{},{},{}]"},
                                   {"{}", "[{},{},{},{},{}]", "null"},
                                   "a list of at most 4 parameters"};
  static const std::map<std::string, const Sort*> kSorts = {
      {"int32", &kInt32}, {"uint32", &kUint32}, {"number", &kNumber},
      {"time", &kNumber}, {"order", &kOrder},   {"process", &kOrder},
      {"fault", &kOrder}, {"text", &kText},     {"code", &kCode}};
  if (name == "params") {
    return kParameters;
  }
  if (name == "bytes") {
    return kBytes;
  }
  if (property.contains("$ref")) {
    const auto reference = property["$ref"].get<std::string>();
    return *kSorts.at(reference.substr(reference.rfind('/') + 1));
  }
  if (property.contains("enum")) {
    return kGiven;
  }
  if (property.contains("oneOf") || property.contains("pattern")) {
    return kTextOrNull;
  }
  return property["type"] == "boolean" ? kTruth : kWord;
}

/// The forms of lines that docs/journal.schema.json has.
Json Forms() {
  std::ifstream file(VAM_JOURNAL_SCHEMA);
  Json schema = Json::parse(file);
  Json forms = Json::object();
  for (const Json& form : schema["oneOf"]) {
    const auto reference = form["$ref"].get<std::string>();
    const std::string name = reference.substr(reference.rfind('/') + 1);
    forms[name] = schema["$defs"][name];
  }
  return forms;
}

/// Returns a call of a form with every member that can stand together.
Json Sample(const std::string& call, const Json& form) {
  static const std::map<std::string, const char*> kValues = {
      {"path", "\"/dev/zelkshield\""},
      {"origin", R"({"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})"},
      {"command", R"({"number":18,"name":"vm_updateFW"})"},
      {"length", "2"},
      {"bytes", "\"00ff\""},
  };
  Json line;
  for (const auto& property : form["properties"].items()) {
    const std::string& name = property.key();
    const auto value = kValues.find(name);
    if (name == "call") {
      line[name] = call;
    } else if (value != kValues.end()) {
      line[name] = Json::parse(value->second);
    } else if (name == "result" && property.value().value("$ref", "") == "#/$defs/code") {
      line[name] = Json::parse(R"({"number":0,"name":"TEEC_SUCCESS"})");
    } else if (name != "errno" && !(call == "open" && name == "result")) {
      line[name] = Json::parse(SortOf(name, property.value()).right[0]);
    }
  }
  if (call == "ioctl") {
    line["result"] = 0;
  }
  return line;
}

std::string ProblemOf(const Json& line) { return Read(kHead + line.dump() + "\n").problem; }

std::string ProblemWith(Json line, const std::string& name, const char* value) {
  line[name] = Json::parse(value);
  return ProblemOf(line);
}

TEST(JournalFormsTest, EachCall_WithEveryMember_IsRead) {
  int calls = 0;
  const Json forms = Forms();
  for (const auto& form : forms.items()) {
    if (form.key() != "head") {
      EXPECT_EQ(ProblemOf(Sample(form.key(), form.value())), "") << form.key();
      ++calls;
    }
  }
  EXPECT_EQ(calls, 23);
}

TEST(JournalFormsTest, EachMember_LeftOut_IsNamedWhereTheFormRequiresIt) {
  const std::map<std::pair<std::string, std::string>, std::string> kTogether = {
      {{"open", "descriptor"}, "has no \"result\" where the node was not opened"},
      {{"CNolvWsm::GetInt", "value"}, "has no \"value\" with this result"},
      {{"CNolvWsm::GetUint", "value"}, "has no \"value\" with this result"},
  };
  const auto hasNo = [](const std::string& call, const std::string& member) {
    return "j:2: " + call + " has no \"" + member + "\"";
  };
  const Json forms = Forms();
  for (const auto& form : forms.items()) {
    const std::string& call = form.key();
    if (call == "head") {
      continue;
    }
    const Json whole = Sample(call, form.value());
    const auto required = form.value()["required"].get<std::set<std::string>>();
    for (const auto& member : whole.items()) {
      const std::string& name = member.key();
      const bool isOfEach = name == "time" || name == "pid" || name == "tid" || name == "call";
      const auto together = kTogether.find({call, name});
      Json line = whole;
      line.erase(name);
      EXPECT_EQ(ProblemOf(line), together != kTogether.end() ? "j:2: " + together->second
                                 : required.count(name) == 0 ? ""
                                 : isOfEach                  ? "j:2: has no \"" + name + "\""
                                                             : hasNo(call, name))
          << call << " " << name;
    }
    EXPECT_EQ(ProblemWith(whole, "more", "1"),
              "j:2: " + call + " has \"more\", which is no part of it");
  }
}

TEST(JournalFormsTest, EachMember_OfAnotherSort_IsNamedWithWhatItMustBe) {
  const Json forms = Forms();
  for (const auto& form : forms.items()) {
    const std::string& call = form.key();
    if (call == "head") {
      continue;
    }
    const Json whole = Sample(call, form.value());
    for (const auto& property : form.value()["properties"].items()) {
      const std::string& name = property.key();
      if (name == "call" || name == "path" || (call == "open" && name == "result")) {
        continue;
      }
      const Sort& sort = SortOf(name, property.value());
      const std::string problem = "j:2: \"" + name + "\" must be " + sort.expected;
      for (const char* value : sort.wrong) {
        EXPECT_EQ(ProblemWith(whole, name, value), problem) << call << " " << value;
      }
      for (const char* value : sort.right) {
        EXPECT_NE(ProblemWith(whole, name, value), problem) << call << " " << value;
      }
    }
  }
}

TEST(JournalFormsTest, MembersThatCannotStandTogether_AreNamed) {
  const Json forms = Forms();
  const auto with = [&forms](const std::string& call,
                             const std::vector<std::pair<const char*, const char*>>& members,
                             const std::vector<const char*>& without = {}) {
    Json line = Sample(call, forms[call]);
    for (const auto& [name, value] : members) {
      line[name] = Json::parse(value);
    }
    for (const char* name : without) {
      line.erase(name);
    }
    return ProblemOf(line);
  };
  constexpr char kError[] = R"({"number":5,"name":"EIO"})";
  EXPECT_EQ(with("open", {{"result", "-1"}, {"errno", kError}}, {"descriptor"}), "");
  EXPECT_EQ(with("open", {{"result", "-1"}}), "j:2: has \"result\" where the node was opened");
  EXPECT_EQ(with("open", {{"errno", kError}}), "j:2: has \"errno\" where the node was opened");
  EXPECT_EQ(with("open", {{"result", "-1"}}, {"descriptor"}),
            "j:2: has no \"errno\" where the node was not opened");
  EXPECT_EQ(with("ioctl", {{"result", "-1"}, {"errno", kError}}, {"flag"}), "");
  EXPECT_EQ(with("ioctl", {{"result", "-1"}}), "j:2: has no \"errno\" with this result");
  EXPECT_EQ(with("ioctl", {{"errno", kError}}), "j:2: has \"errno\" with this result");
  EXPECT_EQ(with("CNolvWsm::GetInt", {{"result", "false"}}), "j:2: has \"value\" with this result");
  EXPECT_EQ(with("CNolvWsm::GetInt", {{"result", "false"}}, {"value"}), "");
  EXPECT_EQ(with("CNolvWsm::GetUint", {{"result", "false"}}),
            "j:2: has \"value\" with this result");
  for (const char* call : {"CNolvWsm::PutBlob", "CNolvWsm::GetBlob"}) {
    const std::string digest = R"({"length":3,"sha256":")" + std::string(64, '0') + "\"}";
    EXPECT_EQ(with(call, {{"bytes", "null"}}), "");
    EXPECT_EQ(with(call, {{"bytes", digest.c_str()}, {"length", "3"}}), "");
    const std::string problem = "j:2: \"bytes\" must be as many as \"length\" says";
    EXPECT_EQ(with(call, {{"bytes", digest.c_str()}}), problem);
    EXPECT_EQ(with(call, {{"bytes", "\"00\""}}), problem);
    EXPECT_EQ(with(call, {{"bytes", "\"0000ff\""}}), problem);
  }
}

TEST(JournalFormsTest, NumberWithItsName_HasTheNameThatIsKnown) {
  const Json whole = Sample("TEEC_InvokeCommand", Forms()["TEEC_InvokeCommand"]);
  struct Code {
    const char* member;
    const char* value;
    const char* problem;
  };
  const Code kCodes[] = {
      {"result", R"({"number":4294906420})", ""},
      {"result", R"({"number":4294906420,"name":"TEEC_ERROR_OF_LATER"})", ""},
      {"result", R"({"number":4294906420,"name":1})", "\"name\" must be a text"},
      {"result", R"({"number":0,"name":1})", "\"name\" must be a text"},
      {"result", R"({"number":0})", "\"name\" must be \"TEEC_SUCCESS\""},
      {"result", R"({"name":"TEEC_SUCCESS"})", "\"result\" has no \"number\""},
      {"result", R"({"number":0,"name":"TEEC_SUCCESS","more":1})",
       "\"result\" has \"more\", which is no part of it"},
      {"result", R"({"number":-1})", "\"number\" must be a 32-bit number from 0 on"},
      {"result", R"({"number":4294967296})", "\"number\" must be a 32-bit number from 0 on"},
      {"origin", R"({"number":4})", "\"name\" must be \"TEEC_ORIGIN_TRUSTED_APP\""},
      {"command", R"({"number":18,"name":"vm_getFWInfo"})", "\"name\" must be \"vm_updateFW\""},
  };
  for (const Code& code : kCodes) {
    const std::string problem = code.problem;
    EXPECT_EQ(ProblemWith(whole, code.member, code.value), problem.empty() ? "" : "j:2: " + problem)
        << code.value;
  }
  Json failed = Sample("open", Forms()["open"]);
  failed.erase("descriptor");
  failed["result"] = -1;
  EXPECT_EQ(ProblemWith(failed, "errno", R"({"number":5})"), "j:2: \"name\" must be \"EIO\"");
}

TEST(JournalFormsTest, WithheldBytes_AreALengthAndADigest) {
  Json line = Sample("CNolvWsm::PutBlob", Forms()["CNolvWsm::PutBlob"]);
  const std::string digest(64, 'f');
  const auto problem = [&line](const std::string& value) {
    return ProblemWith(line, "bytes", value.c_str());
  };
  EXPECT_EQ(problem(R"({"length":2,"sha256":")" + digest + "\"}"), "");
  EXPECT_EQ(problem(R"({"sha256":")" + digest + "\"}"), "j:2: \"bytes\" has no \"length\"");
  EXPECT_EQ(problem(R"({"length":2})"), "j:2: \"bytes\" has no \"sha256\"");
  EXPECT_EQ(problem(R"({"length":2,"more":1,"sha256":")" + digest + "\"}"),
            "j:2: \"bytes\" has \"more\", which is no part of it");
  EXPECT_EQ(problem(R"({"length":-1,"sha256":")" + digest + "\"}"),
            "j:2: \"length\" must be a 32-bit number from 0 on");
  for (const std::string& wrong : {digest + "f", digest.substr(1), digest.substr(1) + "F"}) {
    EXPECT_EQ(problem(R"({"length":2,"sha256":")" + wrong + "\"}"),
              "j:2: \"sha256\" must be 64 small hexadecimal digits");
  }
  EXPECT_EQ(problem(R"({"length":2,"sha256":1})"),
            "j:2: \"sha256\" must be 64 small hexadecimal digits");
}

TEST(JournalFormsTest, Parameter_HasTheMembersOfItsSort) {
  const auto problem = [](const std::string& parameter) {
    return Read(WithInvocation(parameter)).problem;
  };
  const auto without = [](const std::string& one, const std::string& other) {
    return "j:2: a parameter has \"" + one + "\" without \"" + other + "\"";
  };
  const auto values = [](const std::string& one, const std::string& wrong,
                         const std::string& other) {
    return "{\"" + one + "\":" + wrong + ",\"" + other + "\":0}";
  };
  for (const char* pair : {"a b", "b a", "newA newB", "newB newA"}) {
    const std::string names = pair;
    const std::string one = names.substr(0, names.find(' '));
    const std::string other = names.substr(names.find(' ') + 1);
    EXPECT_EQ(problem("{\"" + one + "\":4294967295}"), without(one, other));
    for (const char* wrong : {"-1", "4294967296", "null"}) {
      EXPECT_EQ(problem(values(one, wrong, other)),
                "j:2: \"" + one + "\" must be a 32-bit number from 0 on");
    }
  }
  for (const char* size : {"size", "offset", "newSize"}) {
    const std::string name = size;
    for (const char* right : {"-9223372036854775808", "9223372036854775807"}) {
      EXPECT_EQ(
          problem(R"({"sharedMemory":1,"size":1,")" + name + "\":" + right + "}").find("must"),
          std::string::npos);
    }
    EXPECT_EQ(problem("{\"" + name + "\":9223372036854775808}"),
              "j:2: \"" + name + "\" must be a whole number");
  }
  EXPECT_EQ(problem(R"({"sharedMemory":9223372036854775807})"), "");
  EXPECT_EQ(problem(R"({"sharedMemory":-1})"), "j:2: \"sharedMemory\" must be a number from 0 on");
  EXPECT_EQ(problem(R"({"sharedMemory":1,"offset":1})"),
            "j:2: a parameter has \"offset\" without \"size\"");
  EXPECT_EQ(problem(R"({"size":1,"offset":1})"),
            "j:2: a parameter has \"offset\" without \"sharedMemory\"");
  for (const char* bytes : {"before", "after"}) {
    EXPECT_EQ(
        problem(std::string("{\"") + bytes + "\":1}"),
        std::string("j:2: \"") + bytes + "\" must be small hexadecimal digits in pairs, or null");
  }
  EXPECT_EQ(problem("{},1"), "j:2: \"params\" must be a list of objects");
}

TEST(JournalFormsTest, Head_HasEachMemberOfItsSort) {
  const Json head = Json::parse(kHead);
  const auto problem = [](const Json& changed) { return Read(changed.dump() + "\n").problem; };
  for (const char* name : {"program", "arguments", "build", "keys", "clock"}) {
    Json changed = head;
    changed.erase(name);
    EXPECT_EQ(problem(changed), std::string("j:1: the head has no \"") + name + "\"");
  }
  for (const char* name : {"bootId", "bootTime", "realTime"}) {
    Json changed = head;
    changed["clock"].erase(name);
    EXPECT_EQ(problem(changed), std::string("j:1: \"clock\" has no \"") + name + "\"");
  }
  const auto with = [&](const std::string& place, const char* value) {
    Json changed = head;
    changed[Json::json_pointer(place)] = Json::parse(value);
    return problem(changed);
  };
  EXPECT_EQ(with("/arguments", R"(["a","\u00ff"])"), "");
  EXPECT_EQ(with("/more", "1"), "j:1: the head has \"more\", which is no part of it");
  EXPECT_EQ(with("/clock/more", "1"), "j:1: \"clock\" has \"more\", which is no part of it");
  EXPECT_EQ(with("/program", "1"), "j:1: \"program\" must be a text of characters up to U+00FF");
  EXPECT_EQ(with("/build", "1"), "j:1: \"build\" must be a text of characters up to U+00FF");
  EXPECT_EQ(with("/keys", "1"), "j:1: \"keys\" must be true or false");
  EXPECT_EQ(with("/arguments", R"(["\u0100"])"),
            "j:1: \"arguments\" must be a list of texts, or null");
  EXPECT_EQ(with("/arguments", "1"), "j:1: \"arguments\" must be a list of texts, or null");
  EXPECT_EQ(with("/clock", "1"), "j:1: \"clock\" must be an object");
  EXPECT_EQ(with("/clock/bootId", "1"),
            "j:1: \"bootId\" must be a text of characters up to U+00FF");
  EXPECT_EQ(with("/clock/bootTime", "0.5"), "j:1: \"bootTime\" must be a number from 0 on");
  EXPECT_EQ(with("/clock/realTime", "-1"), "j:1: \"realTime\" must be a number from 0 on");
  EXPECT_EQ(with("/format", "0"), "j:1: has format 0, and this program reads format 1");
  EXPECT_EQ(with("/format", R"("\u00e9")"),
            "j:1: has format \"\\u00e9\", and this program reads format 1");
}

TEST(JournalFormsTest, Problem_IsOneLineThatCanBePrinted) {
  const std::string refused = "\", which is no platform call";
  EXPECT_EQ(Read(WithCall("\"call\":\"\\u0001\\u001f ~\\u007f\\n\"}")).problem,
            "j:2: \"call\" is \"?? ~??" + refused);
  // The text before the name takes 11 characters.
  const std::string longest(200 - 11 - refused.size(), 'x');
  EXPECT_EQ(Read(WithCall("\"call\":\"" + longest + "\"}")).problem,
            "j:2: \"call\" is \"" + longest + refused);
  EXPECT_EQ(Read(WithCall("\"call\":\"x" + longest + "\"}")).problem,
            "j:2: \"call\" is \"x" + longest + refused.substr(0, refused.size() - 1) + "...");
}

TEST(JournalFormsTest, Line_AsDeepAsOneMayBe_IsJudgedByItsMembers) {
  EXPECT_EQ(Read(WithCall("\"call\":[[[1]]]}")).problem,
            "j:2: \"call\" must be a text of characters up to U+00FF");
  EXPECT_EQ(Read(WithCall("\"call\":[[[[1]]]]}")).problem,
            "j:2: goes deeper than a line of a journal does");
}

TEST(JournalFormsTest, OnlyALineAfterTheHead_IsCutOff) {
  const std::string head = kHead;
  EXPECT_FALSE(Read(head).isCut);
  EXPECT_FALSE(Read(head.substr(0, head.size() - 1)).isCut) << "there is no head then";
  EXPECT_TRUE(Read(head + "{").isCut);
  EXPECT_FALSE(Read(head + "{\n").isCut);
  EXPECT_TRUE(Read(head.substr(0, head.size() - 1)).head.is_null());
}

INSTANTIATE_TEST_SUITE_P(Lines, WrongJournalTest, ::testing::ValuesIn(kWrong),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace vam
