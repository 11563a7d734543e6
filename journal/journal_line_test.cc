#include "journal/journal_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "journal/journal.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"

namespace vam {
namespace {

static_assert(!std::is_copy_constructible_v<JournalLine>);
static_assert(!std::is_copy_assignable_v<JournalLine>);

void Fail(const std::string& cause) { ADD_FAILURE() << "not written: " << cause; }

class JournalLineTest : public ::testing::Test {
 protected:
  std::string Written() const { return ReadWholeFile(path).value_or("(no journal)"); }

  /// The lines from their calls on.
  std::string Calls() const {
    static const std::regex kBeginning(R"re("time":\d+,"pid":\d+,"tid":\d+,)re");
    return std::regex_replace(Written(), kBeginning, "");
  }

  const TemporaryFolder folder{"vam-journal-line-test"};
  const std::string path = folder.Path() + "/journal";
  std::ofstream file{path};
  Journal journal{path, {}, Fail};
};

TEST_F(JournalLineTest, Line_IsOneObject) {
  JournalLine(&journal, "ioctl")
      .Number("number", INT64_MIN)
      .Truth("yes", true)
      .Truth("no", false)
      .Text("text", "t")
      .Text("none", nullptr)
      .Bytes("bytes", "\x00\x1f\xff", 3)
      .Bytes("empty", "", 0)
      .Bytes("noBytes", nullptr, 3)
      .ChangedBy(0);
  JournalLine(&journal, "CNolvWsm::~CNolvWsm").ChangedBy(3);
  EXPECT_EQ(Calls(),
            "{\"call\":\"ioctl\",\"number\":-9223372036854775808,\"yes\":true,\"no\":false,"
            "\"text\":\"t\",\"none\":null,\"bytes\":\"001fff\",\"empty\":\"\",\"noBytes\":null}\n"
            "{\"call\":\"CNolvWsm::~CNolvWsm\",\"fault\":3}\n");
}

TEST_F(JournalLineTest, NumbersThatHaveNames_StandWithThem) {
  JournalLine(&journal, "TEEC_InvokeCommand").Command(18).Result(0xFFFF000B).Origin(4);
  JournalLine(&journal, "ioctl").ErrorNumber(25);
  JournalLine(&journal, "TEEC_InvokeCommand").Command(9).Result(0xFFFF1234).Origin(9);
  EXPECT_EQ(Calls(),
            R"({"call":"TEEC_InvokeCommand","command":{"number":18,"name":"vm_updateFW"},)"
            R"("result":{"number":4294901771,"name":"TEEC_ERROR_NO_DATA"},)"
            R"("origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"}})"
            "\n"
            R"({"call":"ioctl","errno":{"number":25,"name":"ENOTTY"}})"
            "\n"
            R"({"call":"TEEC_InvokeCommand","command":{"number":9},"result":{"number":4294906420},)"
            R"("origin":{"number":9}})"
            "\n");
}

TEST_F(JournalLineTest, List_HoldsObjects) {
  JournalLine(&journal, "call")
      .BeginList("list")
      .BeginObject()
      .Number("a", 1)
      .Number("b", 2)
      .EndObject()
      .BeginObject()
      .EndObject()
      .EndList()
      .BeginList("empty")
      .EndList()
      .Number("c", 3);
  EXPECT_EQ(Calls(), "{\"call\":\"call\",\"list\":[{\"a\":1,\"b\":2},{}],\"empty\":[],\"c\":3}\n");
}

TEST_F(JournalLineTest, KeyBytes_AreWithheldUnlessAskedFor) {
  JournalLine(&journal, "call").KeyBytes("key", "abc", 3).KeyBytes("none", nullptr, 3);
  Journal whole(path, {0, true}, Fail);
  JournalLine(&whole, "call").KeyBytes("key", "abc", 3);
  EXPECT_EQ(Calls(),
            "{\"call\":\"call\",\"key\":{\"length\":3,\"sha256\":"
            "\"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad\"},\"none\":null}\n"
            "{\"call\":\"call\",\"key\":\"616263\"}\n");
}

TEST_F(JournalLineTest, Line_TellsTimeProcessAndThread) {
  const std::uint64_t start = BootTime();
  Journal timed(path, {start, false}, Fail);
  const std::string process = std::to_string(getpid());
  JournalLine(&timed, "call").ChangedBy(0);
  std::string thread;
  std::thread([&] {
    thread = std::to_string(syscall(SYS_gettid));
    JournalLine(&timed, "call").ChangedBy(0);
  }).join();
  const std::uint64_t passed = BootTime() - start;

  std::smatch found;
  const std::string written = Written();
  const std::regex lines(R"re(\{"time":(\d+),"pid":)re" + process + R"re(,"tid":)re" + process +
                         R"re(,"call":"call"\}\n\{"time":(\d+),"pid":)re" + process +
                         R"re(,"tid":)re" + thread + R"re(,"call":"call"\}\n)re");
  ASSERT_TRUE(std::regex_match(written, found, lines)) << written;
  EXPECT_LE(std::stoull(found.str(1)), std::stoull(found.str(2)));
  EXPECT_LE(std::stoull(found.str(2)), passed);
}

TEST_F(JournalLineTest, NoJournal_WritesNothing) {
  Journal notKept(folder.Path() + "/missing", {}, Fail);
  for (Journal* none : {&notKept, static_cast<Journal*>(nullptr)}) {
    JournalLine(none, "call")
        .Number("n", 1)
        .Text("text", "t")
        .Bytes("bytes", "b", 1)
        .KeyBytes("key", "k", 1)
        .Result(1)
        .BeginList("l")
        .BeginObject()
        .EndObject()
        .EndList();
  }
  EXPECT_EQ(Written(), "");
}

/// Where the journal lies, and what it held each time a line ended.
struct Endings {
  std::string path;
  std::vector<std::string> journals;
};

Endings& EndingsOfLines() {
  static Endings endings;
  return endings;
}

void NoteEnd() {
  Endings& endings = EndingsOfLines();
  endings.journals.push_back(ReadWholeFile(endings.path).value_or("(no journal)"));
}

TEST_F(JournalLineTest, End_IsToldAfterTheLineIsWrittenOrWouldHaveBeen) {
  EndingsOfLines() = {path, {}};
  JournalLine(&journal, "open", NoteEnd).Number("n", 1);
  ASSERT_EQ(EndingsOfLines().journals.size(), 1U);
  EXPECT_EQ(EndingsOfLines().journals[0], Written());
  EXPECT_NE(Written(), "");
  JournalLine(nullptr, "open", NoteEnd).Number("n", 1);
  EXPECT_EQ(EndingsOfLines().journals.size(), 2U);
}

struct Escape {
  const char* name;
  const char* text;
  const char* json;
};

class EscapeTest : public JournalLineTest, public ::testing::WithParamInterface<Escape> {};

TEST_P(EscapeTest, TextWithSpecialBytes_KeepsTheLineWellFormed) {
  JournalLine(&journal, "ioctl").Text("t", GetParam().text);
  EXPECT_EQ(Calls(), std::string("{\"call\":\"ioctl\",\"t\":\"") + GetParam().json + "\"}\n");
}

const Escape kEscapes[] = {
    {"plain", "db/comss SN-1 ~", "db/comss SN-1 ~"},
    {"empty", "", ""},
    {"quote", "a\"b", "a\\u0022b"},
    {"backslash", "a\\b", "a\\u005cb"},
    {"newline", "a\nb", "a\\u000ab"},
    {"lowest_control", "\x01", "\\u0001"},
    {"highest_control", "\x1f", "\\u001f"},
    {"delete", "\x7f", "\\u007f"},
    {"utf8", "\xc3\xa9", "\\u00c3\\u00a9"},
    {"no_utf8", "a\xff", "a\\u00ff"},
};

INSTANTIATE_TEST_SUITE_P(Texts, EscapeTest, ::testing::ValuesIn(kEscapes),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace vam
