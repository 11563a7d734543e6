#include "simulator/exploring/moments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/exploring/recorded_update_test.h"

namespace vam {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

const std::vector<Moment>& Moments() {
  static const std::vector<Moment> kMoments = MomentsOf(RecordedUpdate(), {4, 20, 10, 30, 6});
  return kMoments;
}

TEST(MomentsTest, Moments_OfAKind_AreAllThatTheRunHas) {
  std::map<std::string, int> counts;
  for (const Moment& moment : Moments()) {
    ++counts[moment.kind];
  }
  // An item of n bytes has a tag too, bytes also their length: a number is missing or cut at 5
  // places, the record at 13, a version of 4 bytes and the information word at 9.
  EXPECT_THAT(counts,
              ElementsAre(
                  // Three requests, and 3 * 5 + 2 items.
                  Pair("call refused", 3 + 17), Pair("console", 4),
                  // 19 errors of open and of ioctl.
                  Pair("error of the node", 2 * 19), Pair("full folder of the status files", 30),
                  Pair("loss of power", 4), Pair("no memory", 6),
                  // 7 for each number; a number for each of the other items; 10 for each
                  // version, and the same 10 for the information words.
                  Pair("reply item of another value", 7 * 7 + 10 + 10 * 7),
                  Pair("reply that ends early", 3 * (2 * 5 + 13 + 2 * 9) + 5 + 9),
                  // 19 codes; two calls have four origins, in four exchanges.
                  Pair("result of the TEE client", 4 * 19 * (1 + 4 + 1 + 4)),
                  // 14 codes, and 25 pairs of extremes but for two of those, in three replies.
                  Pair("result record", 3 * 37), Pair("signal after a call", 2 * 20),
                  Pair("signal after a line", 2 * 10),
                  // Both in a folder that is missing or read-only; three states of each.
                  Pair("status file", 2 + 2 * 3)));
}

TEST(MomentsTest, Faults_OfEachMoment_AreOnesThatABoardTakes) {
  for (const Moment& moment : Moments()) {
    SCOPED_TRACE(moment.place + ": " + moment.change);
    EXPECT_GE(ReadBoardText(moment.faults, "board.toml").faults.size(), 1U);
  }
}

TEST(MomentsTest, Moments_AreAllDifferent) {
  std::set<std::string> names;
  for (const Moment& moment : Moments()) {
    EXPECT_TRUE(names.insert(moment.place + ": " + moment.change).second) << moment.change;
  }
}

}  // namespace
}  // namespace vam
