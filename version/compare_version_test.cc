#include "version/compare_version.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "util/console_line.h"

namespace {

std::vector<std::string>* console = nullptr;

}  // namespace

// Takes the place of the console's.
void vam::PrintLine(std::initializer_list<std::string_view> pieces) {
  std::string& line = console->emplace_back();
  for (const std::string_view piece : pieces) {
    line += piece;
  }
}

namespace {

struct Comparison {
  const char* name;
  std::string first;
  std::string second;
  bool result;
  std::vector<std::string> lines;
};

void PrintTo(const Comparison& comparison, std::ostream* out) { *out << comparison.name; }

class CompareVersionTest : public testing::TestWithParam<Comparison> {
 protected:
  void SetUp() override { console = &lines; }
  void TearDown() override { console = nullptr; }

  std::vector<std::string> lines;
};

TEST_P(CompareVersionTest, CompareVersion_TwoVersions_AnswersAndPrints) {
  EXPECT_EQ(compareVersion(GetParam().first, GetParam().second), GetParam().result);
  EXPECT_EQ(lines, GetParam().lines);
}

TEST_P(CompareVersionTest, CompareVersion_CalledTwice_AnswersAlike) {
  compareVersion(GetParam().first, GetParam().second);
  compareVersion(GetParam().first, GetParam().second);
  std::vector<std::string> twice = GetParam().lines;
  twice.insert(twice.end(), GetParam().lines.begin(), GetParam().lines.end());
  EXPECT_EQ(lines, twice);
}

INSTANTIATE_TEST_SUITE_P(
    WorkedExamples, CompareVersionTest,
    testing::Values(
        Comparison{"Equal",
                   "1.0,20/7,3",
                   "1.0,20/7,3",
                   true,
                   {"1.0", "1.0", "20", "20", "7", "7", "3", "3"}},
        Comparison{"DifferentPart",
                   "1.0,20/7,3",
                   "1.0,21/7,3",
                   false,
                   {"1.0", "1.0", "20", "21", "substrings part diff!"}},
        Comparison{
            "DifferentSubstringSize", "1.0,20/7,3", "1.0,2/07,3", false, {"SubString size diff!"}},
        Comparison{"WildcardInFirst",
                   "1.0,XX/7,3",
                   "1.0,20/7,3",
                   true,
                   {"1.0", "1.0", "XX", "20", "Part skiped!", "7", "7", "3", "3"}},
        Comparison{"WildcardInSecond",
                   "1.0,20/7,3",
                   "1.0,XX/7,3",
                   true,
                   {"1.0", "1.0", "20", "XX", "Part skiped!", "7", "7", "3", "3"}},
        Comparison{"WildcardAlone", "XXX", "1.2", true, {"XXX", "1.2", "Part skiped!"}},
        Comparison{"WildcardAgainstOneLetterOfIt",
                   "XX,1",
                   "XY,1",
                   true,
                   {"XX", "XY", "Part skiped!", "1", "1"}},
        Comparison{"WildcardAgainstShorterPart",
                   "XX,1",
                   "1,23",
                   false,
                   {"XX", "1", "Part skiped!", "1", "3", "substrings part diff!"}},
        Comparison{"LowerCaseIsNoWildcard", "x", "1", false, {"x", "1", "substrings part diff!"}},
        Comparison{"DifferentSize", "abc", "abcd", false, {"Size of versions diff!"}},
        Comparison{"BothEmpty", "", "", true, {}},
        Comparison{"EmptyPart",
                   "1,,2",
                   "1,,2",
                   false,
                   {"1", "1", "", "", "Failed to parse sub versions!"}},
        Comparison{"CommaAtTheEnd", "1,2,", "1,2,", true, {"1", "1", "2", "2"}},
        Comparison{"SlashAtTheBeginning", "/1,2", "/1,2", true, {"1", "1", "2", "2"}},
        Comparison{"DoubledSlash", "1//2", "1//2", true, {"1", "1", "2", "2"}},
        Comparison{"SlashAgainstComma", "a/b", "a,b", false, {"SubString size diff!"}}),
    [](const auto& param) { return std::string(param.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Edges, CompareVersionTest,
    testing::Values(
        Comparison{"OneEmpty", "", "1", false, {"Size of versions diff!"}},
        Comparison{"SlashesAlone", "//", "//", true, {}},
        Comparison{"SlashAtTheEnd", "1/", "1/", true, {"1", "1"}},
        Comparison{"CommaAlone", ",", ",", false, {"", "", "Failed to parse sub versions!"}},
        Comparison{
            "CommaAtTheBeginning", ",1", ",1", false, {"", "", "Failed to parse sub versions!"}},
        Comparison{"EmptyPartInASecondSubstring",
                   "1/,2",
                   "1/,2",
                   false,
                   {"1", "1", "", "", "Failed to parse sub versions!"}},
        Comparison{"EmptyPartInSecondAlone",
                   "1,2",
                   ",12",
                   false,
                   {"1", "", "Failed to parse sub versions!"}},
        Comparison{"EmptyPartInFirstAlone",
                   ",12",
                   "1,2",
                   false,
                   {"", "1", "Failed to parse sub versions!"}},
        // The wildcard does not save a comparison with an empty part.
        Comparison{"WildcardAgainstAnEmptyPart",
                   "X,1",
                   ",X1",
                   false,
                   {"X", "", "Failed to parse sub versions!"}},
        Comparison{
            "LeadingZeroCounts", "01,1", "1,01", false, {"01", "1", "substrings part diff!"}},
        // Versions of the same length with parts of other lengths: a wildcard in the second version
        // counts only at the length of the first one's part.
        Comparison{"WildcardInSecondOfAnotherLength",
                   "1,23",
                   "XX,1",
                   false,
                   {"1", "XX", "substrings part diff!"}},
        Comparison{"WildcardInFirstAgainstALongerPart",
                   "X,23",
                   "12,3",
                   false,
                   {"X", "12", "Part skiped!", "23", "", "Failed to parse sub versions!"}},
        Comparison{"WildcardAgainstWildcard", "XX", "XX", true, {"XX", "XX", "Part skiped!"}},
        Comparison{"WildcardWithAnotherCharacter",
                   "X1",
                   "21",
                   false,
                   {"X1", "21", "substrings part diff!"}},
        Comparison{"CommaAtTheEndAgainstACharacter",
                   "1,",
                   "12",
                   false,
                   {"1", "12", "substrings part diff!"}},
        Comparison{"ZeroBytes",
                   std::string("a\0b", 3),
                   std::string("a\0c", 3),
                   false,
                   {std::string("a\0b", 3), std::string("a\0c", 3), "substrings part diff!"}},
        Comparison{"SecondSubstringDiffers",
                   "1/2",
                   "1/3",
                   false,
                   {"1", "1", "2", "3", "substrings part diff!"}}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
