#include "verdict/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "verdict/options.h"

namespace vam {
namespace {

using What = Request::What;

/// A command line that lives as long as its request.
struct Line {
  explicit Line(std::vector<std::string> given) : words(std::move(given)) {
    words.insert(words.begin(), "vam-verdict");
    for (std::string& word : words) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    request = ReadCommandLine(arguments.data());
  }
  std::vector<std::string> words;
  std::vector<char*> arguments;
  Request request;
};

TEST(CommandLineTest, Nothing_AsksForTheOutcome) {
  const Request request = Line({}).request;
  EXPECT_EQ(request.what, What::kSay);
  EXPECT_STREQ(request.folder, "/run/vam-update");
  EXPECT_FALSE(request.asJson);
  EXPECT_FALSE(request.isQuiet);
  EXPECT_EQ(request.secondsToWait, 0U);
}

TEST(CommandLineTest, Options_OfTheOutcome_AreTaken) {
  const Line line({"--json", "--wait", "2147483647", "--folder", "/a b"});
  EXPECT_EQ(line.request.what, What::kSay);
  EXPECT_TRUE(line.request.asJson);
  EXPECT_EQ(line.request.secondsToWait, 2147483647U);
  EXPECT_STREQ(line.request.folder, "/a b");
  EXPECT_TRUE(Line({"--quiet"}).request.isQuiet);
  EXPECT_EQ(Line({"--help"}).request.what, What::kHelp);
  EXPECT_EQ(Line({"--version"}).request.what, What::kVersion);
}

TEST(CommandLineTest, Run_TakesWhatFollowsTheDashesAsItIs) {
  const Line line({"run", "--journal", "--folder", "x", "--", "--", "--json", "run"});
  EXPECT_EQ(line.request.what, What::kRun);
  EXPECT_TRUE(line.request.forJournal);
  EXPECT_STREQ(line.request.folder, "x");
  EXPECT_STREQ(line.request.program[0], "--");
  EXPECT_STREQ(line.request.program[1], "--json");
  EXPECT_STREQ(line.request.program[2], "run");
  EXPECT_EQ(line.request.program[3], nullptr);
  EXPECT_FALSE(line.request.asJson);
}

TEST(CommandLineTest, Options_OfTheCompletion_AreTakenWhereTheyAreOffered) {
  for (const VerdictOption& option : kVerdictOptions) {
    std::vector<std::string> words = {option.name};
    if (option.value != nullptr) {
      words.emplace_back("1");
    }
    EXPECT_EQ(Line(words).request.what != What::kWrong, option.ofOutcome) << option.name;
    words.insert(words.begin(), "run");
    words.insert(words.end(), {"--", "program"});
    EXPECT_EQ(Line(words).request.what != What::kWrong, option.ofRun) << option.name;
  }
}

struct WrongRow {
  std::vector<std::string> words;
  const char* problem;
};

TEST(CommandLineTest, WrongUsage_IsNamed) {
  const WrongRow rows[] = {
      {{"--nonsense"}, "'--nonsense' is no option"},
      {{"-q"}, "'-q' is no option"},
      {{""}, "'' is no command"},
      {{"watch"}, "'watch' is no command"},
      {{"--"}, "'--' is no option"},
      {{"--quiet", "run", "--", "x"}, "'run' is no command"},
      {{"--folder"}, "'--folder' needs a value"},
      {{"--folder", ""}, "'--folder' needs a value"},
      {{"--wait"}, "'--wait' needs a value"},
      {{"--wait", "soon"}, "'soon' is no whole number of seconds"},
      {{"--wait", "-1"}, "'-1' is no whole number of seconds"},
      {{"--wait", " 1"}, "' 1' is no whole number of seconds"},
      {{"--wait", "1.5"}, "'1.5' is no whole number of seconds"},
      {{"--wait", "2147483648"}, "'2147483648' is no whole number of seconds"},
      {{"--wait", "99999999999999999999"}, "'99999999999999999999' is no whole number of seconds"},
      {{"--journal"}, "'--journal' is no option"},
      {{"--json", "--quiet"}, "'--quiet' excludes --json"},
      {{"run"}, "'run' needs '--' and then a program"},
      {{"run", "--"}, "'run' needs '--' and then a program"},
      {{"run", "program"}, "'program' is no command"},
      {{"run", "--json", "--", "x"}, "'--json' is no option"},
      {{"run", "--wait", "1", "--", "x"}, "'--wait' is no option"},
  };
  for (const WrongRow& row : rows) {
    const Line line(row.words);
    EXPECT_EQ(line.request.what, What::kWrong) << row.problem;
    if (line.request.what == What::kWrong) {
      EXPECT_EQ(std::string("'") + line.request.word + "' " + line.request.problem, row.problem);
    }
  }
}

}  // namespace
}  // namespace vam
