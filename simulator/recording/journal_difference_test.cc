#include "simulator/recording/journal_difference.h"

#include <gtest/gtest.h>

#include <string>

#include "simulator/recording/recorded_calls_test.h"

namespace vam {
namespace {

std::string Call(int time, int thread, const std::string& rest) {
  return "{\"time\":" + std::to_string(time) + ",\"pid\":" + std::to_string(thread) +
         ",\"tid\":" + std::to_string(thread) + ",\"call\":" + rest + "}\n";
}

std::string Part(const std::string& one, const std::string& other) {
  return WhereRunsPart(ReadCalls(one), "a", ReadCalls(other), "b");
}

constexpr char kReset[] = R"("CNolvWsm::PrepareReset","marshaller":1,"mode":1)";

std::string Setting(const std::string& value) {
  return R"("vconf_get_str","key":"k","value":")" + value + "\"";
}

TEST(JournalDifferenceTest, TimesAndNumbers_DoNotCount) {
  const std::string invoke = R"(,"command":{"number":18,"name":"vm_updateFW"},"paramTypes":15,)"
                             R"("result":{"number":0,"name":"TEEC_SUCCESS"},)"
                             R"("origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})";
  EXPECT_EQ(Part(Call(1, 7, kReset) +
                     Call(2, 7,
                          R"("TEEC_InvokeCommand","session":1)" + invoke +
                              R"(,"params":[{"sharedMemory":1,"size":5,"offset":0}],"fault":1)"),
                 Call(9, 8, R"("CNolvWsm::PrepareReset","marshaller":5,"mode":1)") +
                     Call(11, 8,
                          R"("TEEC_InvokeCommand","session":2)" + invoke +
                              R"(,"params":[{"sharedMemory":2,"size":5,"offset":0}])")),
            "");
}

TEST(JournalDifferenceTest, WhatWasNeverMade_IsNotWhatWas) {
  EXPECT_EQ(Part(Call(1, 7, R"("TEEC_CloseSession","session":0)"),
                 Call(1, 7, R"("TEEC_CloseSession","session":1)")),
            "The runs part after 0 equal calls.\na:2: TEEC_CloseSession session=0\n"
            "b:2: TEEC_CloseSession session=1\n");
}

TEST(JournalDifferenceTest, FirstCallThatDiffers_IsShownOfBoth) {
  EXPECT_EQ(Part(Call(1, 7, kReset) + Call(2, 7, Setting("x")) + Call(3, 7, Setting("1")),
                 Call(1, 7, kReset) + Call(2, 7, Setting("y")) + Call(3, 7, Setting("2"))),
            "The runs part after 1 equal calls.\na:3: vconf_get_str key=\"k\" value=\"x\"\n"
            "b:3: vconf_get_str key=\"k\" value=\"y\"\n");
}

TEST(JournalDifferenceTest, RunThatEndsEarly_IsTold) {
  EXPECT_EQ(Part(Call(1, 7, kReset), Call(1, 7, kReset) + Call(2, 7, Setting("y"))),
            "The runs part after 1 equal calls.\na: makes no further call\n"
            "b:3: vconf_get_str key=\"k\" value=\"y\"\n");
  EXPECT_EQ(Part("", ""), "");
}

/// How the calls of threads lie between one another is chance.
TEST(JournalDifferenceTest, Threads_AreComparedOneByOne) {
  const std::string one = Call(1, 7, Setting("a")) + Call(2, 8, Setting("b"));
  EXPECT_EQ(Part(one + Call(3, 7, kReset) + Call(4, 8, Setting("c")),
                 Call(1, 5, Setting("a")) + Call(2, 4, Setting("b")) + Call(3, 4, Setting("c")) +
                     Call(4, 5, kReset)),
            "");
  EXPECT_EQ(Part(one, Call(1, 7, Setting("a")) + Call(2, 8, Setting("c"))),
            "The runs part after 0 equal calls of thread 2.\n"
            "a:3: vconf_get_str key=\"k\" value=\"b\"\nb:3: vconf_get_str key=\"k\" value=\"c\"\n");
  EXPECT_EQ(Part(one, Call(1, 7, Setting("a"))),
            "The runs part after 0 equal calls of thread 2.\n"
            "a:3: vconf_get_str key=\"k\" value=\"b\"\nb: makes no further call\n");
}

TEST(JournalDifferenceTest, ThreadsOfOneProcess_AreComparedByAge) {
  const auto call = [](int thread, const std::string& rest) {
    return R"({"time":1,"pid":7,"tid":)" + std::to_string(thread) + ",\"call\":" + rest + "}\n";
  };
  EXPECT_EQ(Part(call(8, Setting("a")) + call(9, Setting("b")),
                 call(12, Setting("b")) + call(11, Setting("a"))),
            "");
}

}  // namespace
}  // namespace vam
