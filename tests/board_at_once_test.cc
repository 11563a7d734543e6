// Programs that use one chip at the same time: each command is carried out to its end before the
// next begins, so nobody meets a chip in the middle of another's update.

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

constexpr char kVerified[] = "Updated FW version: 1.1,04/7,3 \n";

/// How often each pair runs: VAM_ROUNDS says it.
int Rounds() {
  const char* rounds = std::getenv("VAM_ROUNDS");
  return rounds == nullptr ? 20 : static_cast<int>(std::strtol(rounds, nullptr, 10));
}

struct PairCase {
  const char* name;
  /// Commands of a shell, in which $0 is vam-update and $1 is vamctl.
  std::string first;
  std::string second;
  /// What must succeed once both have ended.
  std::string afterwards;
};

class AtOnceTest : public ::testing::TestWithParam<PairCase> {};

TEST_P(AtOnceTest, EachTime_BothSucceed) {
  const PairCase& pair = GetParam();
  const std::string script = "{ " + pair.first + "; } >/tmp/first 2>&1 & first=$!\n{ " +
                             pair.second +
                             "; } >/tmp/second 2>&1; second=$?\nwait $first; first=$?\n" +
                             pair.afterwards + "\necho $first $second $?";
  for (int round = 0; round < Rounds(); ++round) {
    const PrivateTmp tmp;
    const std::string state = PrivateTmp::Folder() + "/state";
    const Output output =
        Capture(OnBoard("update-needed", {"/bin/sh", "-c", script, UpdateTool(), Vamctl()}, state),
                BoardEnvironment());
    ASSERT_EQ(output.standardOutput, "0 0 0\n")
        << "round " << round << "\n== first\n"
        << ReadFile("/tmp/first").value_or("") << "== second\n"
        << ReadFile("/tmp/second").value_or("");
    EXPECT_EQ(output.standardError, "");
    EXPECT_EQ(output.status, 0);
    EXPECT_EQ(ReadFile(state + "/VAM_OK"), kVerified);
    EXPECT_EQ(ReadFile(state + "/VAM_FAIL"), std::nullopt);
  }
}

const PairCase kPairs[] = {
    {"TwoUpdates", "\"$0\"", "\"$0\"", "true"},
    {"ProvisioningAndUpdate", "\"$1\" ak-provision --yes --hex a1a2", "\"$0\"",
     "\"$1\" check-vam-ak --hex a1a2 >/dev/null 2>&1"},
    {"ProvisioningWhileAnotherStarts", "\"$0\"",
     "\"$1\" get-info && \"$1\" ak-provision --yes --hex a1a2",
     "\"$1\" check-vam-ak --hex a1a2 >/dev/null 2>&1"},
};

INSTANTIATE_TEST_SUITE_P(Pairs, AtOnceTest, ::testing::ValuesIn(kPairs),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace vam
