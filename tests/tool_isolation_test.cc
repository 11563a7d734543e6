// What the whole tool takes from outside: neither arguments nor variables. And what it does with an
// exception: nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/outcome.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

using ::testing::HasSubstr;

/// Runs the tool on `board` and expects what the board leads to.
void ExpectOutcomeOf(const std::string& board, const std::vector<std::string>& arguments,
                     const std::map<std::string, std::string>& variables) {
  const PrivateTmp tmp;
  std::vector<std::string> command = {UpdateTool()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::map<std::string, std::string> environment = BoardEnvironment();
  environment.insert(variables.begin(), variables.end());
  const Output output = Capture(OnBoardWithMachineTmp(board, command), environment);
  const Outcome expected = ExpectedOutcome(board);
  EXPECT_EQ(output.standardOutput, expected.console);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.status, expected.status);
  EXPECT_EQ(ReadFile("/tmp/VAM_OK"), expected.okFile);
  EXPECT_EQ(ReadFile("/tmp/VAM_FAIL"), expected.errorFile);
}

TEST(IsolationTest, AnyArgument_ChangesNothing) {
  const std::vector<std::vector<std::string>> kArguments = {
      {""}, {"--help"}, {"-h"}, {"--version"}, {"--"}, {"3"}, {"no-vam", "another"}};
  for (const std::vector<std::string>& arguments : kArguments) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    ExpectOutcomeOf("update-needed", arguments, {});
    ExpectOutcomeOf("mode-3-failing", arguments, {});
  }
}

TEST(IsolationTest, AnyVariable_ChangesNothing) {
  const std::map<std::string, std::string> kVariables = {
      {"VAM", "1"},        {"VAM_UPDATE", "0"},     {"VAM_DEBUG", "1"},
      {"DEBUG", "1"},      {"POSIXLY_CORRECT", ""}, {"LANG", "tr_TR"},
      {"LC_ALL", "de_DE"}, {"TMPDIR", "/nowhere"}};
  ExpectOutcomeOf("update-needed", {}, kVariables);
  ExpectOutcomeOf("mode-3-failing", {}, kVariables);
}

TEST(IsolationTest, MarshallerThrows_EndsTheProcess) {
  const PrivateTmp tmp;
  const Output output = Capture(
      OnBoardWithMachineTmp("update-needed",
                            {"/bin/sh", "-c", kPreloading, VAM_THROWING_MARSHALLER, UpdateTool()}),
      BoardEnvironment());
  EXPECT_EQ(output.status, 128 + SIGABRT);
  EXPECT_THAT(output.standardError, HasSubstr("the marshaller throws"));
  EXPECT_EQ(ReadFile("/tmp/VAM_OK"), std::nullopt);
  EXPECT_EQ(ReadFile("/tmp/VAM_FAIL"), std::nullopt);
}

}  // namespace
}  // namespace vam
