// vam-board explore finds each of three defects in copies of vam-update that differ from it in a
// line.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

using Json = nlohmann::json;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class BoardExploreDefectsTest : public ::testing::Test {
 protected:
  /// Explores the tool with `defect` under every single fault. Returns what it found.
  static Json Explore(const std::string& defect) {
    const std::string tool = std::string(VAM_PLANTED_DEFECTS) + "/" + defect + "/vam-update";
    const Output output =
        Capture({BoardLauncher(), "explore", "--board", "update-needed", "--json", "--", tool},
                BoardEnvironment());
    EXPECT_EQ(output.status, 1) << output.standardError;
    return Json::parse(output.standardOutput, nullptr, false);
  }

  /// Returns the faults of those runs that broke a rule which begins with `rule`.
  static std::set<std::string> FaultsThatBroke(const Json& found, const std::string& rule) {
    std::set<std::string> faults;
    for (const Json& violation : found["violations"]) {
      for (const std::string each : violation["rules"]) {
        if (each.rfind(rule, 0) == 0) {
          faults.insert(violation["fault"].get<std::string>());
        }
      }
    }
    return faults;
  }

  const PrivateTmp tmp;
};

TEST_F(BoardExploreDefectsTest, VerdictBeforeTheComparison_IsFoundByAVersionThatDiffers) {
  const Json found = Explore("verdict_before_comparison");
  EXPECT_THAT(FaultsThatBroke(found, "VAM_OK is written only when all answers agree"),
              Contains("vm_updateFW in mode 11, occurrence 1, item 3: another first byte"));
}

TEST_F(BoardExploreDefectsTest, SessionLeftOpen_IsFoundByMemoryThatIsNotAllocated) {
  const Json found = Explore("session_left_open");
  EXPECT_THAT(FaultsThatBroke(found, "everything is given back once, in order"),
              Contains(StartsWith("TEEC_AllocateSharedMemory 2: TEEC_ERROR_OUT_OF_MEMORY")));
}

TEST_F(BoardExploreDefectsTest, EntryLostWithoutAConsole_IsFoundByAConsoleWithoutReader) {
  const Json found = Explore("entry_lost_without_console");
  EXPECT_THAT(FaultsThatBroke(found, "no signal ends the program"),
              Contains(HasSubstr("console without reader")));
  EXPECT_EQ(found["broken"], 1);
}

}  // namespace
}  // namespace vam
