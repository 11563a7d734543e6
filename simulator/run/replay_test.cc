#include "simulator/run/replay.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>

#include "simulator/board/platform_calls.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/run/recorded_call.h"

namespace vam {
namespace {

static_assert(!std::is_copy_constructible_v<Replay>);
static_assert(!std::is_copy_assignable_v<Replay>);

/// Recordings that ask for settings, each of which has the number of its call as its value.
class ReplayTest : public ::testing::Test {
 protected:
  static RecordedCall CallOf(std::uint32_t number, const char* key) {
    RecordedCall call;
    call.number = number;
    call.call = PlatformCall::kVconfGetStr;
    call.words = std::string("vconf_get_str key=") + key;
    call.members["key"] = BytesValue(key);
    return call;
  }

  void Record(std::uint32_t beginning, std::initializer_list<const char*> keys) {
    RecordedThread thread;
    thread.isMain = true;
    thread.beginning = beginning;
    for (const char* key : keys) {
      thread.calls.push_back(CallOf(static_cast<std::uint32_t>(thread.calls.size() + 1), key));
    }
    Replay::Prepare(folder.Path(), {thread});
  }

  /// Asks for each key in turn. Returns the numbers of the calls that answer, and what came instead
  /// of the last answer where there is none.
  std::string Ask(std::initializer_list<const char*> keys) const {
    // As each process of a run has its own.
    Replay replay(folder.Path());
    std::string answers;
    try {
      for (const char* key : keys) {
        Question question(PlatformCall::kVconfGetStr);
        question.Text("key", key);
        answers += std::to_string(replay.Answer(question).number) + " ";
      }
    } catch (const PartsFromRecording& parts) {
      return answers + parts.what();
    } catch (const RecordingIsOver& over) {
      return answers + over.what();
    }
    return answers + replay.WhatIsLeft();
  }

  const TemporaryFolder folder{"vam-replay-test"};
};

TEST_F(ReplayTest, RecordedCalls_AreAnsweredInTheirOrder) {
  Record(0, {"a", "b", "a"});
  EXPECT_EQ(Ask({"a", "b", "a"}), "1 2 3 ");
}

TEST_F(ReplayTest, OtherCall_PartsFromTheRecording) {
  Record(0, {"a", "b"});
  EXPECT_EQ(Ask({"a", "a"}),
            "1 the program parts from the recording at call 2\n"
            "  recorded: vconf_get_str key=b\n"
            "  came:     vconf_get_str key=\"a\"");
}

TEST_F(ReplayTest, CallAfterTheLast_EndsTheRecording) {
  Record(0, {"a"});
  EXPECT_EQ(Ask({"a", "a"}),
            "1 the recording ends after call 1\n  came:     vconf_get_str key=\"a\"");
}

TEST_F(ReplayTest, Beginning_MayBeLeftOut) {
  Record(2, {"a", "b", "c", "d"});
  EXPECT_EQ(Ask({"c", "d"}), "3 4 ");
}

TEST_F(ReplayTest, CallsOfTheBeginning_AreAnsweredInAnyOrderAndNumber) {
  Record(3, {"a", "b", "a", "c", "d"});
  EXPECT_EQ(Ask({"b", "a", "a", "a", "c", "d"}), "2 3 1 3 4 5 ");
}

TEST_F(ReplayTest, CallThatNoBeginningHas_PartsFromTheRecording) {
  Record(2, {"a", "b", "c"});
  EXPECT_EQ(Ask({"a", "x"}),
            "1 the program parts from the recording at call 3\n"
            "  recorded: vconf_get_str key=c\n"
            "  came:     vconf_get_str key=\"x\"");
}

TEST_F(ReplayTest, FirstCallThatMustBeMade_EndsTheBeginning) {
  Record(2, {"a", "b", "a", "c"});
  EXPECT_EQ(Ask({"a", "b"}),
            "3 the program parts from the recording at call 4\n"
            "  recorded: vconf_get_str key=c\n"
            "  came:     vconf_get_str key=\"b\"");
}

TEST_F(ReplayTest, ProgramThatEndsInItsBeginning_LeavesTheRest) {
  Record(1, {"a", "b"});
  EXPECT_EQ(Ask({"a"}),
            "1 the program ended before call 2 of the recording\n"
            "  recorded: vconf_get_str key=b");
}

TEST_F(ReplayTest, ThreadsThatEndEarly_LeaveTheFirstCallOfAll) {
  RecordedThread main;
  main.isMain = true;
  main.calls = {CallOf(1, "a"), CallOf(3, "c")};
  RecordedThread earlier;
  earlier.calls = {CallOf(2, "b"), CallOf(5, "e")};
  RecordedThread later;
  later.calls = {CallOf(4, "d")};
  for (const RecordedThreads& threads :
       {RecordedThreads{main, earlier, later}, {later, earlier, main}}) {
    Replay::Prepare(folder.Path(), threads);
    EXPECT_EQ(Ask({"a"}),
              "1 the program ended before call 2 of the recording\n"
              "  recorded: vconf_get_str key=b");
  }
}

TEST_F(ReplayTest, ThreadThatWasNotRecorded_EndsTheRecording) {
  RecordedThread other;
  other.calls = {CallOf(1, "a")};
  Replay::Prepare(folder.Path(), {other});
  EXPECT_EQ(Ask({"a"}),
            "the recording ends before the first call of this thread\n"
            "  came:     vconf_get_str key=\"a\"");
}

TEST_F(ReplayTest, WhatACallMayBeAskedWithout_CountsWhereItWasRecorded) {
  for (const char* member : {"size", "flags", "paramTypes"}) {
    SCOPED_TRACE(member);
    RecordedCall recorded = CallOf(1, "a");
    recorded.members[member] = NumberValue(7);
    Question question(PlatformCall::kVconfGetStr);
    question.Text("key", "a");
    EXPECT_FALSE(question.IsAskedIn(recorded));
    EXPECT_TRUE(question.IsAskedIn(CallOf(1, "a")));
    question.Number(member, 7);
    EXPECT_TRUE(question.IsAskedIn(recorded));
    EXPECT_FALSE(question.IsAskedIn(CallOf(1, "a")));
  }
}

TEST_F(ReplayTest, ThreadOfABeginningAlone_LeavesNothing) {
  Record(2, {"a", "b"});
  EXPECT_EQ(Ask({"b"}), "2 ");
  Record(2, {"a", "b"});
  EXPECT_EQ(Ask({"c"}),
            "the program parts from the recording at call 2\n"
            "  recorded: vconf_get_str key=b\n"
            "  came:     vconf_get_str key=\"c\"");
}

}  // namespace
}  // namespace vam
