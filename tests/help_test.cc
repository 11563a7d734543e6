// The helps of vam-board, vam-image and vamctl: each says what the command does, and names its
// arguments and options, each with its type and what it is for.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/process.h"

namespace vam {
namespace {

using ::testing::Each;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::Not;
using ::testing::StartsWith;
using Words = std::vector<std::string>;

/// Where the descriptions of a help begin.
constexpr std::size_t kColumn = 30;

struct HelpRow {
  /// The program and the command.
  Words command;
  /// What the help lists, as it is written there before its description.
  Words entries;
  /// How many lines say what the command is for.
  std::size_t purpose = 1;
};

const char kHelp[] = "-h,--help";
const char kRecord[] = "RECORD FILE Excludes: --hex";
const char kDigits[] = "--hex DIGITS Excludes: RECORD";
const char kMode[] = "MODE image|update|chip|NUMBER REQUIRED";
const char kCount[] = "--count NUMBER=10";

const HelpRow kRows[] = {
    {{"vam-board"},
     {kHelp, "--version", "run", "replay", "explore", "show", "list", "check", "journal"}},
    {{"vam-board", "run"},
     {"PROGRAM COMMAND ... REQUIRED", kHelp, "--board BOARD REQUIRED", "--state FOLDER",
      "--other-board Needs: --state", "--journal FILE", "--with-keys", "--verdict",
      "--machine-tmp"}},
    {{"vam-board", "replay"},
     {"FILE TEXT REQUIRED", "PROGRAM COMMAND ... REQUIRED", kHelp, "--from-call N:POSITIVE",
      "--state FOLDER", "--journal FILE", "--with-keys", "--verdict", "--machine-tmp"}},
    {{"vam-board", "explore"},
     {"PROGRAM COMMAND ... REQUIRED", kHelp, "--board BOARD REQUIRED", "--pairs", "--sample NUMBER",
      "--seed NUMBER Needs: --sample", "--keep FOLDER", "--json"}},
    {{"vam-board", "show"}, {kHelp, "--board BOARD REQUIRED", "--state FOLDER"}},
    {{"vam-board", "list"}, {kHelp, "--json"}},
    {{"vam-board", "check"}, {"BOARD BOARD ... REQUIRED", kHelp}},
    {{"vam-board", "journal"}, {kHelp, "show", "diff", "board"}},
    {{"vam-board", "journal", "show"}, {"FILE TEXT REQUIRED", kHelp, "--json"}},
    {{"vam-board", "journal", "diff"}, {"A TEXT REQUIRED", "B TEXT REQUIRED", kHelp}},
    {{"vam-board", "journal", "board"}, {"FILE TEXT REQUIRED", kHelp}},
    {{"vam-image"}, {kHelp, "--version", "make", "show"}},
    {{"vam-image", "make"},
     {kHelp, "--system-version TEXT REQUIRED", "--app-version TEXT REQUIRED",
      "--runs-system-version TEXT", "--runs-app-version TEXT", "--system-part FILE",
      "--app-part FILE", "-o,--output FILE REQUIRED"}},
    {{"vam-image", "show"}, {"FILE FILE REQUIRED", kHelp}},
    {{"vamctl"},
     {kHelp, "--version", "get-info", "get-app-info", "self-test-all", "get-public-key-status",
      "ak-provision-rpmb", "remove-ak-keys", "force-recovery", "force-recovery-sp", "ak-provision",
      "check-vam-ak", "get-hack-info", "update-fw", "older-update-fw", "get-fw-info",
      "older-get-fw-info", "verdict"},
     2},
    {{"vamctl", "get-info"}, {kHelp, "--json"}},
    {{"vamctl", "get-app-info"}, {kHelp, "--json"}},
    {{"vamctl", "self-test-all"}, {kHelp, "--json"}},
    {{"vamctl", "get-public-key-status"}, {kHelp, "--json"}},
    {{"vamctl", "ak-provision-rpmb"}, {kHelp, "--json", "--yes"}},
    {{"vamctl", "remove-ak-keys"}, {kHelp, "--json", "--yes"}},
    {{"vamctl", "force-recovery"}, {kHelp, "--json", "--yes"}},
    {{"vamctl", "force-recovery-sp"}, {kHelp, "--json", "--yes"}},
    {{"vamctl", "ak-provision"}, {kRecord, kHelp, "--json", "--yes", kDigits}},
    {{"vamctl", "check-vam-ak"}, {kRecord, kHelp, "--json", kDigits}},
    {{"vamctl", "get-hack-info"}, {kHelp, "--json", "--size NUMBER REQUIRED"}},
    {{"vamctl", "update-fw"}, {kMode, kHelp, "--json", "--yes"}},
    {{"vamctl", "older-update-fw"}, {kMode, kHelp, "--json", "--yes"}},
    {{"vamctl", "get-fw-info"}, {kHelp, "--json", kCount}},
    {{"vamctl", "older-get-fw-info"}, {kHelp, "--json", kCount}},
    {{"vamctl", "verdict"}, {kHelp, "--json"}},
};

std::string Joined(const Words& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

Words LinesOf(const std::string& text) {
  std::istringstream stream(text);
  Words lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// Returns the entries of a help, and expects a description of each.
Words EntriesOf(const Words& lines) {
  Words entries;
  bool isDescribed = true;
  for (const std::string& line : lines) {
    const bool isDescription = line.rfind(std::string(kColumn, ' '), 0) == 0;
    if (line.rfind("  ", 0) == 0 && !isDescription) {
      EXPECT_TRUE(isDescribed) << entries.back();
      // A description that has no room beside its entry stands in the next line.
      const bool standsApart = line.size() < kColumn || line[kColumn - 1] != ' ';
      std::string entry = line.substr(2, standsApart ? line.npos : kColumn - 2);
      entry.erase(entry.find_last_not_of(' ') + 1);
      entries.push_back(entry);
      isDescribed = !standsApart && line.find_first_not_of(' ', kColumn) != line.npos;
    } else if (isDescription) {
      isDescribed = line.find_first_not_of(' ') != line.npos;
    }
  }
  EXPECT_TRUE(isDescribed) << entries.back();
  return entries;
}

TEST(HelpTest, EachCommand_SaysWhatItIsForAndWhatItTakes) {
  const std::filesystem::path programs = std::filesystem::path(BoardLauncher()).parent_path();
  for (const HelpRow& row : kRows) {
    SCOPED_TRACE(Joined(row.command));
    Words command = row.command;
    command[0] = programs / command[0];
    command.emplace_back("--help");
    const Output output = Capture(command);
    EXPECT_EQ(output.status, 0);
    EXPECT_EQ(output.standardError, "");
    const Words lines = LinesOf(output.standardOutput);
    EXPECT_THAT(lines, Each(Not(EndsWith(" "))));
    ASSERT_GE(lines.size(), row.purpose + 3);
    for (std::size_t i = 0; i < row.purpose; ++i) {
      EXPECT_NE(lines[i], "");
    }
    EXPECT_THAT(lines[row.purpose], StartsWith("Usage: " + Joined(row.command) + " "));
    EXPECT_THAT(EntriesOf(lines), ElementsAreArray(row.entries));
  }
}

TEST(HelpTest, Version_IsTheProgramsNameAndItsRelease) {
  const std::filesystem::path programs = std::filesystem::path(BoardLauncher()).parent_path();
  for (const char* program : {"vam-board", "vam-image", "vamctl"}) {
    EXPECT_EQ(Capture({programs / program, "--version"}).standardOutput,
              std::string(program) + " " + VAM_VERSION + "\n");
  }
}

}  // namespace
}  // namespace vam
