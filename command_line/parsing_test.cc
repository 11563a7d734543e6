#include "command_line/parsing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "command_line/completion.h"
#include "command_line/program.h"
#include "command_line/values.h"

namespace vam {
namespace {

using ::testing::HasSubstr;

/// A program with commands and options.
class ParsingTest : public ::testing::Test {
 protected:
  ParsingTest() {
    program.set_version_flag("--version", "probe 1.2");
    CLI::App* measure = program.add_subcommand("measure", "Measure something");
    TakeNumber(measure->add_option("--count", count, "How often"), 1, 9);
    TakeNamed(measure->add_option("--output", output, "Where to"), kFileType);
    measure->add_flag("--quickly", "Less exactly")->disable_flag_override();
    measure->add_option("THING", thing, "What to measure")->required();
    measure->callback([this] { ++measured; });
    CLI::Option* fast = measure->add_flag("--fast", "At once");
    measure->add_flag("--slow", "Later")->excludes(fast);
    measure->add_flag("--secret", "Nobody sees it")->group("");
    program.add_subcommand("show", "Show what was measured");
  }

  bool Parsed(std::vector<const char*> words) {
    words.insert(words.begin(), "/anywhere/renamed");
    return Parse(program, static_cast<int>(words.size()), words.data());
  }

  /// Returns the line of the refusal.
  std::string Refusal(const std::vector<const char*>& words) {
    try {
      static_cast<void>(Parsed(words));
    } catch (const WrongUsage& error) {
      return error.what();
    }
    return "no refusal";
  }

  CLI::App program{"Measures.", "probe"};
  int count = 1;
  std::string output;
  std::string thing;
  int measured = 0;
};

TEST_F(ParsingTest, Command_IsCarriedOut) {
  EXPECT_TRUE(Parsed({"measure", "--count", "3", "wall"}));
  EXPECT_EQ(count, 3);
  EXPECT_EQ(thing, "wall");
  EXPECT_EQ(measured, 1);
}

TEST_F(ParsingTest, HelpAndVersion_ArePrintedAndDoNothing) {
  testing::internal::CaptureStdout();
  EXPECT_FALSE(Parsed({"measure", "--help"}));
  EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("probe measure [OPTIONS]"));
  testing::internal::CaptureStdout();
  EXPECT_FALSE(Parsed({"--version"}));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "probe 1.2\n");
  EXPECT_EQ(measured, 0);
}

struct WrongRow {
  std::vector<const char*> words;
  const char* refusal;
};

TEST_F(ParsingTest, WrongUsage_SaysWhatWasWrongAndWhatToDo) {
  const WrongRow rows[] = {
      {{}, "A command is required; see probe --help"},
      {{""}, "'' is no command of probe; see probe --help"},
      {{"bogus"}, "'bogus' is no command of probe; see probe --help"},
      {{"mesure", "wall"},
       "'mesure' is no command of probe; did you mean measure?; see probe --help"},
      {{"--versoin"},
       "'--versoin' is no option of probe; did you mean --version?; see probe --help"},
      {{"measure", "--outptu", "file", "wall"},
       "'--outptu' is no option of probe measure; did you mean --output?; see probe measure "
       "--help"},
      {{"measure", "--outptu=file"},
       "'--outptu' is no option of probe measure; did you mean --output?; see probe measure "
       "--help"},
      {{"measure", "--cuont", "3", "--", "-x", "-y"},
       "'--cuont' is no option of probe measure; did you mean --count?; see probe measure --help"},
      {{"measure", "wall", "--", "-x"},
       "'-x' is no option of probe measure; see probe measure --help"},
      {{"mesure", "--count", "3"},
       "'mesure' is no command of probe; did you mean measure?; see probe --help"},
      {{"--quickly", "measure", "wall"},
       "'--quickly' comes after the command: probe measure --quickly; see probe measure --help"},
      {{"measure"}, "THING is required; see probe measure --help"},
      {{"measure", "wall", "floor"},
       "'floor' is one word too many for probe measure; see probe measure --help"},
      {{"measure", "--cuont=3", "wall"},
       "'--cuont' is no option of probe measure; did you mean --count?; see probe measure --help"},
      {{"measure", "-x", "wall"}, "'-x' is no option of probe measure; see probe measure --help"},
      {{"measure", "wall", "--count"}, "--count needs a value; see probe measure --help"},
      {{"measure", "--count", "1", "--count", "2", "wall"},
       "--count is there more than once; give it once; see probe measure --help"},
      {{"measure", "--quickly=no", "wall"}, "--quickly takes no value; see probe measure --help"},
      {{"--quickly", "measure"},
       "'--quickly' comes after the command: probe measure --quickly; see probe measure --help"},
      {{"measure", "wall", "floor", "-x"},
       "'-x' is no option of probe measure; see probe measure --help"},
      {{"-"}, "'-' is no command of probe; see probe --help"},
      {{"measure", "wall", "-"},
       "'-' is one word too many for probe measure; see probe measure --help"},
      {{"show", "measure", "wall"},
       "'measure' is one word too many for probe show; see probe show --help"},
      {{"measure", "--secre", "wall"},
       "'--secre' is no option of probe measure; see probe measure --help"},
      {{"measure", "--fast", "--slow", "wall"},
       "--fast excludes --slow; give one of them; see probe measure --help"},
      {{"measure", "--output", "a", "--output", "b", "wall"},
       "--output is there more than once; give it once; see probe measure --help"},
      {{"measure", "--output", "", "wall"},
       "--output: the name is empty; see probe measure --help"},
  };
  for (const WrongRow& row : rows) {
    EXPECT_EQ(Refusal(row.words), row.refusal);
    EXPECT_EQ(measured, 0) << row.refusal;
  }
}

TEST_F(ParsingTest, EmptyValue_IsNotTakenFromTheNextWord) {
  EXPECT_EQ(Refusal({"--output="}), "--output needs a value; see probe --help");
  EXPECT_EQ(Refusal({"measure", "--count=", "5", "wall"}),
            "--count needs a value; see probe --help");
}

TEST_F(ParsingTest, Number_ThatIsNone_IsRefused) {
  for (const char* text : {"three", "0", "10", "-1", "", " 3", "3 ", "+3", "0x3", "3.0", "1e1",
                           "18446744073709551617", "[3]", "3,4"}) {
    EXPECT_EQ(Refusal({"measure", "--count", text, "wall"}),
              "--count: '" + std::string(text) +
                  "' is no whole number from 1 to 9; see probe measure --help");
  }
  // Octal digits mean nothing.
  EXPECT_TRUE(Parsed({"measure", "--count", "09", "wall"}));
  EXPECT_EQ(count, 9);
}

TEST_F(ParsingTest, HostileWords_MakeOneShortLine) {
  EXPECT_EQ(Refusal({"a\nb\x1b\xff"}),
            "'a\\x0ab\\x1b\\xff' is no command of probe; see probe --help");
  const std::string huge(100000, 'x');
  EXPECT_LT(Refusal({huge.c_str()}).size(), 200U);
  EXPECT_LT(Refusal({"measure", "--count", huge.c_str(), "wall"}).size(), 250U);
  EXPECT_LT(Refusal({"measure", ("--" + huge).c_str(), "wall"}).size(), 250U);
}

TEST_F(ParsingTest, EmptyValue_IsLookedForBeforeTheDashesAlone) {
  EXPECT_EQ(Refusal({"measure", "--output="}), "--output needs a value; see probe --help");
  EXPECT_TRUE(Parsed({"measure", "--", "--output="}));
  EXPECT_EQ(thing, "--output=");
  EXPECT_TRUE(Parsed({"measure", "--output=a=", "wall"}));
  EXPECT_EQ(output, "a=");
}

TEST_F(ParsingTest, Number_AtAnEndOfItsRange_IsTaken) {
  EXPECT_TRUE(Parsed({"measure", "--count", "1", "wall"}));
  EXPECT_EQ(count, 1);
  EXPECT_TRUE(Parsed({"measure", "--count", "9", "wall"}));
  EXPECT_EQ(count, 9);
}

TEST_F(ParsingTest, Help_SaysWhatValuesAre) {
  testing::internal::CaptureStdout();
  EXPECT_FALSE(Parsed({"measure", "--help"}));
  const std::string help = testing::internal::GetCapturedStdout();
  EXPECT_THAT(help, ::testing::ContainsRegex("\n  --count NUMBER +How often\n"));
  EXPECT_THAT(help, ::testing::ContainsRegex("\n  --output FILE +Where to\n"));
}

TEST_F(ParsingTest, Completion_IsPrintedForTheShellsThatAreKnown) {
  for (const char* shell : {"bash", "zsh"}) {
    testing::internal::CaptureStdout();
    EXPECT_FALSE(Parsed({"--completion", shell}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              std::string(shell) == "bash" ? BashCompletion(program) : ZshCompletion(program));
  }
  EXPECT_EQ(Refusal({"--completion", "fish"}), "--completion takes bash or zsh, not 'fish'");
  EXPECT_EQ(Refusal({"--completion"}), "--completion takes bash or zsh, not ''");
  EXPECT_EQ(measured, 0);
}

TEST(WholeNumberTest, Number_IsTakenWithinItsRangeAlone) {
  EXPECT_EQ(WholeNumber("-5", -5, 7), -5);
  EXPECT_EQ(WholeNumber("7", -5, 7), 7);
  EXPECT_EQ(WholeNumber("-6", -5, 7), std::nullopt);
  EXPECT_EQ(WholeNumber("8", -5, 7), std::nullopt);
  EXPECT_EQ(WholeNumber("007", -5, 7), 7);
  EXPECT_EQ(WholeNumber("7 ", -5, 7), std::nullopt);
  EXPECT_EQ(WholeNumber("", -5, 7), std::nullopt);
  EXPECT_EQ(WholeNumber("9223372036854775807", 0, INT64_MAX), INT64_MAX);
  EXPECT_EQ(WholeNumber("9223372036854775808", 0, INT64_MAX), std::nullopt);
}

}  // namespace
}  // namespace vam
