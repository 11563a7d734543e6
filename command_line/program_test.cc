#include "command_line/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vam {
namespace {

using ::testing::HasSubstr;

/// A program with a command and an option of it.
class ProgramTest : public ::testing::Test {
 protected:
  ProgramTest() {
    program.set_version_flag("--version", "probe 1.2");
    CLI::App* measure = program.add_subcommand("measure", "Measure something");
    measure->add_option("--count", count, "How often");
    measure->callback([this] { ++measured; });
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
  int measured = 0;
};

TEST_F(ProgramTest, Command_IsCarriedOut) {
  EXPECT_TRUE(Parsed({"measure", "--count", "3"}));
  EXPECT_EQ(count, 3);
  EXPECT_EQ(measured, 1);
}

TEST_F(ProgramTest, HelpAndVersion_ArePrintedAndDoNothing) {
  testing::internal::CaptureStdout();
  EXPECT_FALSE(Parsed({"measure", "--help"}));
  EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("probe measure [OPTIONS]"));
  testing::internal::CaptureStdout();
  EXPECT_FALSE(Parsed({"--version"}));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "probe 1.2\n");
  EXPECT_EQ(measured, 0);
}

TEST_F(ProgramTest, WrongUsage_NamesTheProgramWhoseHelpHelps) {
  EXPECT_THAT(Refusal({"measure", "--count", "three"}), HasSubstr("three; see probe --help"));
  EXPECT_EQ(Refusal({}), "A command is required; see probe --help");
  EXPECT_THAT(Refusal({"bogus"}), HasSubstr("bogus; see probe --help"));
  EXPECT_THAT(Refusal({"measure", "extra"}), HasSubstr("extra; see probe --help"));
  EXPECT_EQ(measured, 0);
}

}  // namespace
}  // namespace vam
