// The form of an outcome: what scripts/outcome prints is read back as it was.

#include "tests/support/outcome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

void WriteFile(const std::string& path, const std::optional<std::string>& text) {
  if (text) {
    std::ofstream(path, std::ios::binary) << *text;
  }
}

/// Returns what scripts/outcome prints of files that hold this.
std::string Printed(const Outcome& outcome) {
  const PrivateTmp tmp;
  WriteFile("/tmp/console", outcome.console);
  WriteFile("/tmp/VAM_OK", outcome.okFile);
  WriteFile("/tmp/VAM_FAIL", outcome.errorFile);
  const Output output = Capture({VAM_OUTCOME_SCRIPT, "/tmp/console", std::to_string(outcome.status),
                                 "/tmp/VAM_OK", "/tmp/VAM_FAIL"});
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.status, 0);
  return output.standardOutput;
}

TEST(OutcomeTest, PrintedOutcome_HasTheForm) {
  EXPECT_EQ(Printed({"one\n", 255, "two \n", "three \nfour \n"}),
            "== Console\none\n== Exit status: 255\n== /tmp/VAM_OK\ntwo \n"
            "== /tmp/VAM_FAIL\nthree \nfour \n");
  EXPECT_EQ(Printed({"== Console\n\\", 0, std::nullopt, ""}),
            "== Console\n\\== Console\n\\\\\n\\ No newline at the end\n== Exit status: 0\n"
            "== /tmp/VAM_FAIL\n");
}

struct ContentsRow {
  const char* name;
  std::string contents;
};

const ContentsRow kContents[] = {
    {"Nothing", ""},
    {"Lines", "one\n\n  two \n"},
    {"EmptyLine", "\n"},
    {"NoNewlineAtTheEnd", "one\ntwo"},
    {"TheFormItself", "== Console\n== Exit status: 0\n== /tmp/VAM_OK\n"},
    {"TheFormsEnd", "one\n\\ No newline at the end\n"},
    {"TheFormsEndWithoutNewline", "\\ No newline at the end"},
    {"Backslashes", "\\\n\\\\\n\\==\n\\\\==\n"},
    {"ZeroBytes", std::string("a\0b\n\0", 5)},
    {"OtherBytes", "\xff\xfe\x80\x1b\r\n"},
};

class OutcomeForm : public ::testing::TestWithParam<ContentsRow> {};

TEST_P(OutcomeForm, AnyContents_AreReadBackAsTheyWere) {
  const std::string& contents = GetParam().contents;
  const Outcome read = ParseOutcome(Printed({contents, 137, contents, contents}));
  EXPECT_EQ(read.console, contents);
  EXPECT_EQ(read.status, 137);
  EXPECT_EQ(read.okFile, contents);
  EXPECT_EQ(read.errorFile, contents);
}

INSTANTIATE_TEST_SUITE_P(Contents, OutcomeForm, ::testing::ValuesIn(kContents),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(OutcomeTest, MissingStatusFiles_StayMissing) {
  const Outcome read = ParseOutcome(Printed({"one\n", 0, std::nullopt, std::nullopt}));
  EXPECT_EQ(read.okFile, std::nullopt);
  EXPECT_EQ(read.errorFile, std::nullopt);
}

TEST(OutcomeTest, OtherForms_AreRefusedWithTheLine) {
  struct Row {
    std::string text;
    const char* complaint;
  };
  const Row rows[] = {
      {"", "line 0: the console is missing"},
      {"one\n", "line 1: the console is missing"},
      {"== Console\none\n", "line 2: the exit status is missing"},
      {"== Console\n== Exit status: \n", "line 2: the exit status is no number"},
      {"== Console\n== Exit status: 0x\n", "line 2: the exit status is no number"},
      {"== Console\n== Exit status: 0", "line 2: the line has no end"},
      {"== Console\n\\one\n== Exit status: 0\n", "line 2: the backslash stands for nothing"},
      {"== Console\n\\ No newline at the end\n== Exit status: 0\n",
       "line 2: the backslash stands for nothing"},
      {"== Console\na\n\\ No newline at the end\nb\n== Exit status: 0\n",
       "line 4: the exit status is missing"},
      {"== Console\n== Exit status: 0\none\n", "line 3: nothing belongs here"},
      {"== Console\n== Exit status: 0\n== /tmp/VAM_FAIL\n== /tmp/VAM_OK\n",
       "line 4: nothing belongs here"},
      {"== Console\n== Exit status: 0\n== /tmp/other\n", "line 3: nothing belongs here"},
  };
  for (const Row& row : rows) {
    EXPECT_THAT([&] { return ParseOutcome(row.text); },
                ThrowsMessage<std::runtime_error>(row.complaint));
  }
}

TEST(OutcomeTest, BoardWithoutExpectation_IsNamed) {
  EXPECT_THAT([] { return ExpectedOutcome("nowhere"); },
              ThrowsMessage<std::runtime_error>(HasSubstr("nowhere.txt is missing")));
}

}  // namespace
}  // namespace vam
