#include "recorder/command_line.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace vam {
namespace {

using What = RecorderRequest::What;

/// A command line of vam-record, and what it asks for.
class CommandLineTest : public ::testing::Test {
 protected:
  RecorderRequest Read(std::initializer_list<const char*> given) {
    words = {"vam-record"};
    words.insert(words.end(), given.begin(), given.end());
    arguments.clear();
    for (std::string& word : words) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return ReadRecorderCommandLine(arguments.data());
  }

  void ExpectWrong(std::initializer_list<const char*> given, const std::string& word,
                   const std::string& problem) {
    const RecorderRequest request = Read(given);
    EXPECT_EQ(request.what, What::kWrong);
    EXPECT_EQ(request.word, word);
    EXPECT_EQ(request.problem, problem);
  }

  std::vector<std::string> words;
  std::vector<char*> arguments;
};

TEST_F(CommandLineTest, ProgramAlone_IsRecordedInANewFileWithoutKeys) {
  const RecorderRequest request = Read({"--", "program", "--help", "--"});
  EXPECT_EQ(request.what, What::kRecord);
  EXPECT_EQ(request.file, nullptr);
  EXPECT_FALSE(request.withKeys);
  ASSERT_NE(request.program, nullptr);
  EXPECT_STREQ(request.program[0], "program");
  EXPECT_STREQ(request.program[1], "--help");
  EXPECT_STREQ(request.program[2], "--");
  EXPECT_EQ(request.program[3], nullptr);
}

TEST_F(CommandLineTest, Options_StandBeforeTheProgramInAnyOrder) {
  for (const RecorderRequest& request :
       {Read({"-o", "file", "--with-keys", "--", "p"}),
        Read({"--with-keys", "-o", "other", "-o", "file", "--", "p"})}) {
    EXPECT_EQ(request.what, What::kRecord);
    EXPECT_TRUE(request.withKeys);
  }
  EXPECT_STREQ(Read({"-o", "other", "-o", "file", "--", "p"}).file, "file");
  EXPECT_STREQ(Read({"-o", "--help", "--", "p"}).file, "--help");
}

TEST_F(CommandLineTest, HelpAndVersion_NeedNoProgram) {
  EXPECT_EQ(Read({"--help"}).what, What::kHelp);
  EXPECT_EQ(Read({"--version"}).what, What::kVersion);
  EXPECT_EQ(Read({"--with-keys", "--version", "--", "p"}).what, What::kVersion);
}

TEST_F(CommandLineTest, WrongWord_IsNamedWithWhatIsWrong) {
  ExpectWrong({}, "vam-record", "needs '--' and then a program");
  ExpectWrong({"--"}, "vam-record", "needs '--' and then a program");
  ExpectWrong({"--with-keys"}, "vam-record", "needs '--' and then a program");
  ExpectWrong({"-o"}, "-o", "needs a file");
  ExpectWrong({"-o", ""}, "-o", "needs a file");
  ExpectWrong({"-o", "--", "p"}, "-o", "needs a file");
  ExpectWrong({"--keys", "--", "p"}, "--keys", "is no option");
  ExpectWrong({"--help", "-x"}, "-x", "is no option");
  ExpectWrong({"p"}, "p", "stands before '--'");
  ExpectWrong({"", "--", "p"}, "", "stands before '--'");
}

}  // namespace
}  // namespace vam
