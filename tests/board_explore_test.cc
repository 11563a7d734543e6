// vam-board explore: finds no broken rule in vam-update, and each defect that is planted before it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"
#include "tests/support/terminal.h"

namespace vam {
namespace {

using Json = nlohmann::json;

class BoardExploreTest : public ::testing::Test {
 protected:
  /// Explores `program` with the options before it.
  static Output Explore(const std::vector<std::string>& options, const std::string& program,
                        const std::string& board = "update-needed") {
    std::vector<std::string> command = {BoardLauncher(), "explore", "--board", board};
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), {"--", program});
    return Capture(command, BoardEnvironment());
  }

  /// Returns a program of the update tool's name, a script that is given the tool as "$tool".
  static std::string Planted(const std::string& script) {
    std::string path = PrivateTmp::Folder() + "/vam-update";
    WriteFile(path, "#!/bin/sh\ntool='" + UpdateTool() + "'\n" + script);
    EXPECT_EQ(chmod(path.c_str(), 0755), 0);
    return path;
  }

  /// Expects that the exploration of `program` finds runs that broke a rule that begins with
  /// `rule`.
  static void ExpectFound(const std::string& program, const std::string& rule) {
    const Output output =
        Explore({"--sample", "40", "--seed", "1", "--json", "--keep", "/mnt/kept"}, program);
    EXPECT_EQ(output.status, 1);
    const Json results = Json::parse(output.standardOutput);
    EXPECT_GT(results["broken"], 0);
    std::size_t found = 0;
    for (const Json& violation : results["violations"]) {
      for (const std::string each : violation["rules"]) {
        found += each.rfind(rule, 0) == 0 ? 1 : 0;
      }
    }
    EXPECT_GT(found, 0U) << output.standardOutput;
  }

  const PrivateTmp tmp;
};

TEST_F(BoardExploreTest, UpdateTool_UnderSampledFaults_BreaksNoRule) {
  const Output output = Explore({"--sample", "60", "--seed", "7", "--json"}, UpdateTool());
  EXPECT_EQ(output.status, 0) << output.standardOutput;
  EXPECT_EQ(output.standardError, "vam-board: the seed is 7\n");
  const Json results = Json::parse(output.standardOutput);
  EXPECT_EQ(results["runs"].get<int>() + results["withoutEffect"].get<int>(), 60);
  EXPECT_EQ(results["broken"], 0);
  EXPECT_EQ(results["violations"], Json::array());
  int ended = 0;
  for (const Json& kind : results["kinds"]) {
    if (kind["kind"].get<std::string>().rfind("signal after", 0) == 0) {
      EXPECT_EQ(kind["outcomes"], Json({{"ended early", kind["runs"]}}));
      ended += kind["runs"].get<int>();
    }
  }
  EXPECT_GT(ended, 4);
}

TEST_F(BoardExploreTest, Runs_LeaveNoCoreFiles) {
  rlimit size;
  ASSERT_EQ(getrlimit(RLIMIT_CORE, &size), 0);
  if (size.rlim_max == 0) {
    GTEST_SKIP() << "core files are forbidden here";
  }
  const rlimit most = {size.rlim_max, size.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_CORE, &most), 0);
  const Output output = Explore({"--sample", "5", "--seed", "1"},
                                Planted("[ \"$(ulimit -c)\" = 0 ] || exit 3\n\"$tool\"\n"));
  ASSERT_EQ(setrlimit(RLIMIT_CORE, &size), 0);
  EXPECT_EQ(output.standardError, "vam-board: the seed is 1\n")
      << "the run without a fault is refused where it allows core files";
}

TEST_F(BoardExploreTest, SameSeed_GivesTheSameResults) {
  const std::vector<std::string> options = {"--pairs", "--sample", "20", "--seed", "3"};
  const Output first = Explore(options, UpdateTool());
  EXPECT_EQ(first.status, 0);
  EXPECT_EQ(Explore(options, UpdateTool()).standardOutput, first.standardOutput);
}

TEST_F(BoardExploreTest, SampleOfOne_CanBeAnyRun) {
  std::set<std::string> kinds;
  for (const char* seed : {"1", "2", "3", "4", "5", "6", "7", "8"}) {
    const Output output = Explore({"--sample", "1", "--seed", seed, "--json"}, UpdateTool());
    kinds.insert(Json::parse(output.standardOutput)["kinds"].dump());
  }
  EXPECT_GT(kinds.size(), 2U);
}

TEST_F(BoardExploreTest, OkFile_WrittenInAnyCase_IsFound) {
  ExpectFound(
      Planted("\"$tool\"; status=$?\nprintf 'Updated FW version: 1.1,04/7,3 \\n' >/tmp/VAM_OK\n"
              "exit $status\n"),
      "VAM_OK is written only when all answers agree");
}

TEST_F(BoardExploreTest, Status_ThatIsLost_IsFound) {
  ExpectFound(Planted("\"$tool\"\nexit 0\n"), "the exit status is 255 exactly when");
}

TEST_F(BoardExploreTest, Entry_ThatIsLost_IsFound) {
  ExpectFound(
      Planted("\"$tool\"; status=$?\nprintf 'Open /dev/zelkshield failed with error: -1 \\n' "
              ">/tmp/VAM_FAIL\nexit $status\n"),
      "each run is one row of the outcomes");
}

TEST_F(BoardExploreTest, NextRun_ThatDoesNotMend_IsFound) {
  ExpectFound(
      Planted("if grep -q 'vam_updateFW failed' /tmp/VAM_FAIL; then exit 0; fi\n\"$tool\"\n"),
      "the next run leaves a whole chip and VAM_OK");
}

TEST_F(BoardExploreTest, CallAfterTheVerdict_IsFound) {
  const Output output = Explore({}, Planted(": >>/tmp/VAM_OK\n\"$tool\"\n"));
  EXPECT_EQ(output.status, 125);
  EXPECT_EQ(output.standardError,
            "vam-board: the run without a fault breaks a rule: no call after the verdict: 63\n");
}

TEST_F(BoardExploreTest, RunThatBrokeARule_IsKeptAsABoardThatRepeatsIt) {
  const std::string program = Planted("\"$tool\"\nexit 0\n");
  ExpectFound(program, "the exit status");
  const Output again =
      Capture({BoardLauncher(), "run", "--board", "/mnt/kept/violation-1.toml", "--", program},
              BoardEnvironment());
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.standardError, "") << "each fault fires";
  const std::string board = ReadFile("/mnt/kept/violation-1.toml").value_or("");
  EXPECT_NE(board.find("# broke: the exit status is 255 exactly when"), std::string::npos);
  EXPECT_NE(board.find("# Repeat it: vam-board run --verdict --board /mnt/kept/violation-1.toml"),
            std::string::npos);
}

TEST_F(BoardExploreTest, ProgramOfAUsersOwn_IsHeldToTheRulesForAll) {
  const std::string program = PrivateTmp::Folder() + "/mine";
  WriteFile(program, "#!/bin/sh\n'" + UpdateTool() + "' >/dev/null\nexit 0\n");
  ASSERT_EQ(chmod(program.c_str(), 0755), 0);
  EXPECT_EQ(Explore({"--sample", "20", "--seed", "1"}, program).status, 0);
  // Nor has it to mend a chip.
  WriteFile(program, "#!/bin/sh\nexit 0\n");
  EXPECT_EQ(Explore({"--sample", "10", "--seed", "1"}, program).status, 0);
  WriteFile(program, "#!/bin/sh\n'" + UpdateTool() + "' >/dev/null || touch stranger\nexit 0\n");
  const Output output = Explore({"--sample", "20", "--seed", "1"}, program);
  EXPECT_EQ(output.status, 1);
  EXPECT_NE(output.standardOutput.find("broke: no other file is touched: stranger"),
            std::string::npos);
}

TEST_F(BoardExploreTest, ProgramThatBreaksARuleWithoutAFault_IsRefused) {
  const Output output = Explore({}, Planted("\"$tool\"\nexit 3\n"));
  EXPECT_EQ(output.status, 125);
  EXPECT_EQ(output.standardError,
            "vam-board: the run without a fault breaks a rule: the exit status is 255 exactly when "
            "an update command failed: 3\n");
}

/// Returns what an exploration that printed `results` as JSON says in words.
std::string InWords(const Json& results) {
  std::string text;
  const auto number = [](const Json& value) { return std::to_string(value.get<int>()); };
  for (const Json& kind : results["kinds"]) {
    text += kind["kind"].get<std::string>() + ": " + number(kind["runs"]) + " runs, " +
            number(kind["broken"]) + " break a rule\n";
    for (const auto& [outcome, count] : kind["outcomes"].items()) {
      text += outcome.empty() ? "" : "  " + outcome + ": " + number(count) + "\n";
    }
  }
  for (const Json& violation : results["violations"]) {
    for (const std::string rule : violation["rules"]) {
      text += violation["fault"].get<std::string>() + "\n  broke: " + rule + "\n";
    }
  }
  return text + number(results["runs"]) + " runs, " + number(results["broken"]) +
         " break a rule; " + number(results["withoutEffect"]) +
         " more in which a fault had no effect\n";
}

TEST_F(BoardExploreTest, Results_AreTheSameInWordsAndAsJson) {
  const std::string program = Planted("\"$tool\"\nexit 0\n");
  const std::vector<std::string> options = {"--sample", "12", "--seed", "5"};
  const Output words = Explore(options, program);
  const Output json = Explore({"--sample", "12", "--seed", "5", "--json"}, program);
  EXPECT_EQ(words.status, 1);
  EXPECT_EQ(json.status, 1);
  const Json results = Json::parse(json.standardOutput);
  EXPECT_EQ(json.standardOutput.rfind("{\n  \"runs\": ", 0), 0U);
  EXPECT_EQ(json.standardOutput, nlohmann::ordered_json::parse(json.standardOutput).dump(2) + "\n");
  EXPECT_EQ(words.standardOutput, InWords(results));
  EXPECT_GT(results["possibleRuns"], 500);
  EXPECT_GT(results["broken"], 0);
  EXPECT_EQ(results["broken"], results["violations"].size());
  int runs = 0;
  int broken = 0;
  for (const Json& kind : results["kinds"]) {
    runs += kind["runs"].get<int>();
    broken += kind["broken"].get<int>();
    EXPECT_GE(kind["moments"], 1);
    EXPECT_LE(kind["moments"], kind["runs"]);
  }
  EXPECT_EQ(results["runs"], runs);
  EXPECT_EQ(results["broken"], broken);
}

TEST_F(BoardExploreTest, EverySingleFault_IsTriedOnABoardWhereLittleHappens) {
  const Output output = Explore({"--json"}, UpdateTool(), "no-vam");
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError, "") << "no seed chooses among all";
  const Json results = Json::parse(output.standardOutput);
  EXPECT_EQ(results["runs"].get<int>() + results["withoutEffect"].get<int>(),
            results["possibleRuns"]);
  for (const Json& kind : results["kinds"]) {
    if (kind["kind"] == "signal after a call") {
      // SIGKILL and SIGTERM after each.
      EXPECT_EQ(kind["runs"], 2 * kind["moments"].get<int>());
    }
  }
}

TEST_F(BoardExploreTest, PairWhoseSecondFaultIsNotReached_IsNoRun) {
  const Output output =
      Explore({"--pairs", "--sample", "100", "--seed", "1", "--json"}, UpdateTool(), "no-vam");
  EXPECT_EQ(output.status, 0);
  const Json results = Json::parse(output.standardOutput);
  EXPECT_GT(results["withoutEffect"], 0);
  EXPECT_EQ(results["runs"].get<int>() + results["withoutEffect"].get<int>(), 100);
  for (const Json& kind : results["kinds"]) {
    EXPECT_NE(kind["kind"], "signal after a call and full folder of the status files")
        << "a status file is written after the last call";
  }
}

TEST_F(BoardExploreTest, FolderOfAKilledExploration_IsRemoved) {
  const std::string left = PrivateTmp::Folder() + "/vam-explore-AbCd12";
  std::filesystem::create_directories(left + "/tmp");
  EXPECT_EQ(Explore({"--sample", "1", "--seed", "1"}, UpdateTool(), "no-vam").status, 0);
  EXPECT_FALSE(std::filesystem::exists(left));
}

TEST_F(BoardExploreTest, FreshSeed_IsShownAndCanBeGivenAgain) {
  const Output fresh = Explore({"--sample", "3", "--json"}, UpdateTool(), "no-vam");
  std::smatch seed;
  ASSERT_TRUE(
      std::regex_match(fresh.standardError, seed, std::regex("vam-board: the seed is ([0-9]+)\n")));
  EXPECT_LE(std::stoull(seed.str(1)), std::uint64_t{INT32_MAX});
  const Output again =
      Explore({"--sample", "3", "--seed", seed.str(1), "--json"}, UpdateTool(), "no-vam");
  EXPECT_EQ(again.standardOutput, fresh.standardOutput);
  EXPECT_EQ(again.standardError, fresh.standardError);
  EXPECT_NE(Explore({"--sample", "3", "--json"}, UpdateTool(), "no-vam").standardError,
            fresh.standardError)
      << "one seed of 2^31 comes twice";
}

TEST_F(BoardExploreTest, Terminal_ShowsHowManyRunsHaveEnded) {
  const Terminal terminal;
  const int status = RunProcess({{BoardLauncher(), "explore", "--board", "up-to-date", "--sample",
                                  "101", "--seed", "2", "--", UpdateTool()},
                                 BoardEnvironment(),
                                 open("/dev/null", O_WRONLY | O_CLOEXEC),
                                 terminal.Descriptor()});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(terminal.Screen(), "vam-board: the seed is 2\n\r100 of 101 runs\r101 of 101 runs\n");
}

TEST_F(BoardExploreTest, KeptBoard_BeginsWithWhatItIsAndHowToRepeatIt) {
  const std::string program = Planted("\"$tool\" $1\nexit 0\n");
  const std::string kept = PrivateTmp::Folder() + "/not/there/yet";
  const Output output =
      Capture({BoardLauncher(), "explore", "--board", "update-needed", "--sample", "8", "--seed",
               "1", "--json", "--keep", kept, "--", program, "an", "argument"},
              BoardEnvironment());
  EXPECT_EQ(output.status, 1);
  const Json violations = Json::parse(output.standardOutput)["violations"];
  ASSERT_GT(violations.size(), 1U);
  int number = 0;
  for (const Json& violation : violations) {
    const std::string path = kept + "/violation-" + std::to_string(++number) + ".toml";
    std::string beginning = "# " + violation["fault"].get<std::string>() + "\n";
    for (std::string rule : violation["rules"]) {
      // In a comment, an entry's newline is no newline.
      rule = std::regex_replace(rule, std::regex("\n"), "\\x0a");
      beginning += "# broke: " + rule + "\n";
    }
    beginning.append("# Repeat it: vam-board run --verdict --board ").append(path);
    beginning.append(" -- ").append(program).append(" an argument\n");
    EXPECT_EQ(ReadFile(path).value_or("").substr(0, beginning.size()), beginning);
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(kept), {}), number);
}

TEST_F(BoardExploreTest, FolderThatCannotKeepABoard_IsNamedWithWhatToDo) {
  const std::string program = Planted("\"$tool\"\nexit 0\n");
  const std::string kept = PrivateTmp::Folder() + "/kept";
  std::filesystem::create_directories(kept + "/violation-1.toml");
  const std::vector<std::string> options = {"--sample", "6", "--seed", "1", "--keep", kept};
  const Output output = Explore(options, program);
  EXPECT_EQ(output.status, 125);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_EQ(output.standardError,
            "vam-board: the seed is 1\nvam-board: " + kept +
                "/violation-1.toml: cannot be written: Is a directory; give another folder with "
                "--keep\n");
}

}  // namespace
}  // namespace vam
