#include "simulator/run/journal_line.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/run/journal.h"

namespace vam {
namespace {

class JournalLineTest : public ::testing::Test {
 protected:
  std::string Written() const { return ReadWholeFile(path).value_or("(no journal)"); }

  const TemporaryFolder folder{"vam-journal-line-test"};
  const std::string path = folder.Path() + "/journal";
  std::ofstream file{path};
  Journal journal{path, [](const std::string&) {}};
};

TEST_F(JournalLineTest, Line_IsOneObject) {
  Fault fault;
  fault.number = 3;
  JournalLine(&journal, PlatformCall::kIoctl)
      .Number("number", INT64_MIN)
      .Truth("yes", true)
      .Truth("no", false)
      .Text("text", "t")
      .Text("none", nullptr)
      .Bytes("bytes", "\x00\x1f\xff", 3)
      .Bytes("empty", "", 0)
      .Bytes("noBytes", nullptr, 3)
      .Result(0xFFFF000B)
      .ChangedBy(nullptr);
  JournalLine(&journal, PlatformCall::kOpenSession).ChangedBy(&fault);
  EXPECT_EQ(Written(),
            "{\"call\":\"ioctl\",\"number\":-9223372036854775808,\"yes\":true,\"no\":false,"
            "\"text\":\"t\",\"none\":null,\"bytes\":\"001fff\",\"empty\":\"\",\"noBytes\":null,"
            "\"result\":\"0xFFFF000B\"}\n"
            "{\"call\":\"TEEC_OpenSession\",\"fault\":3}\n");
}

TEST_F(JournalLineTest, CallOfAMethod_IsNamedWithoutItsClass) {
  JournalLine(&journal, PlatformCall::kPutInt).ChangedBy(nullptr);
  JournalLine(&journal, PlatformCall::kDestroyMarshaller).ChangedBy(nullptr);
  EXPECT_EQ(Written(), "{\"call\":\"PutInt\"}\n{\"call\":\"~CNolvWsm\"}\n");
}

TEST_F(JournalLineTest, NoJournal_WritesNothing) {
  Journal notKept(folder.Path() + "/missing", [](const std::string&) {});
  JournalLine(&notKept, PlatformCall::kIoctl).Number("n", 1);
  JournalLine(nullptr, PlatformCall::kIoctl).Number("n", 1);
  JournalLine(PlatformCall::kIoctl).Number("n", 1);
  EXPECT_EQ(Written(), "");
}

struct Escape {
  const char* name;
  const char* text;
  const char* json;
};

class EscapeTest : public JournalLineTest, public ::testing::WithParamInterface<Escape> {};

TEST_P(EscapeTest, TextWithSpecialBytes_KeepsTheLineWellFormed) {
  JournalLine(&journal, PlatformCall::kIoctl).Text("t", GetParam().text);
  EXPECT_EQ(Written(), std::string("{\"call\":\"ioctl\",\"t\":\"") + GetParam().json + "\"}\n");
}

const Escape kEscapes[] = {
    {"plain", "db/comss SN-1 ~", "db/comss SN-1 ~"},
    {"empty", "", ""},
    {"quote", "a\"b", "a\\\"b"},
    {"backslash", "a\\b", "a\\\\b"},
    {"newline", "a\nb", "a\\nb"},
    {"lowest_control", "\x01", "\\u0001"},
    {"highest_control", "\x1f", "\\u001f"},
    {"utf8", "\xc3\xa9", "\xc3\xa9"},
    {"no_utf8", "a\xff", "a\xef\xbf\xbd"},
};

INSTANTIATE_TEST_SUITE_P(Texts, EscapeTest, ::testing::ValuesIn(kEscapes),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace vam
