#include "simulator/run/recorded_call.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "simulator/board/platform_calls.h"

namespace vam {
namespace {

/// The SHA-256 of the three bytes "abc".
constexpr char kDigestOfAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

RecordedCall Call(const std::string& name, const std::string& value) {
  RecordedCall call;
  call.members[name] = value;
  return call;
}

TEST(RecordedCallTest, Numbers_ComeBack) {
  for (const std::int64_t number :
       {std::int64_t{0}, std::int64_t{-1}, std::int64_t{4294967295},
        std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_EQ(Call("n", NumberValue(number)).Number("n"), number);
  }
  const RecordedCall call = Call("n", NumberValue(7));
  EXPECT_TRUE(call.Has("n"));
  EXPECT_FALSE(call.Has("m"));
  EXPECT_EQ(call.Number("m"), 0);
  EXPECT_EQ(call.Ordinal("n"), 7U);
  EXPECT_TRUE(call.Truth("n"));
  EXPECT_FALSE(call.Truth("m"));
  EXPECT_FALSE(Call("n", NumberValue(0)).Truth("n"));
}

TEST(RecordedCallTest, Bytes_ComeBackUnlessTheyWereWithheld) {
  for (const std::string& bytes : {std::string(), std::string("\0a\xff\n=\t", 6)}) {
    const RecordedCall call = Call("b", BytesValue(bytes));
    EXPECT_EQ(call.Bytes("b"), bytes);
    EXPECT_FALSE(call.IsWithheld("b"));
    EXPECT_TRUE(call.HasBytes("b", bytes.data(), bytes.size()));
  }
  EXPECT_EQ(Call("b", kNullValue).Bytes("b"), std::nullopt);
  EXPECT_EQ(Call("b", BytesValue("a")).Bytes("c"), std::nullopt);
  EXPECT_EQ(Call("b", NumberValue(1)).Bytes("b"), std::nullopt);
  const RecordedCall withheld = Call("b", WithheldValue(3, kDigestOfAbc));
  EXPECT_EQ(withheld.Bytes("b"), std::nullopt);
  EXPECT_TRUE(withheld.IsWithheld("b"));
  EXPECT_FALSE(withheld.IsWithheld("c"));
}

TEST(RecordedCallTest, BytesThatAreAsked_AreTheMembersOrNot) {
  const RecordedCall call = Call("b", BytesValue("abc"));
  EXPECT_TRUE(call.HasBytes("b", "abc", 3));
  EXPECT_FALSE(call.HasBytes("b", "abd", 3));
  EXPECT_FALSE(call.HasBytes("b", "abc", 2));
  EXPECT_FALSE(call.HasBytes("b", nullptr, 3));
  EXPECT_FALSE(call.HasBytes("c", "abc", 3));
  const RecordedCall none = Call("b", kNullValue);
  EXPECT_TRUE(none.HasBytes("b", nullptr, 3));
  EXPECT_FALSE(none.HasBytes("b", "abc", 3));
  const RecordedCall withheld = Call("b", WithheldValue(3, kDigestOfAbc));
  EXPECT_TRUE(withheld.HasBytes("b", "abc", 3));
  EXPECT_FALSE(withheld.HasBytes("b", "abd", 3));
  EXPECT_FALSE(Call("b", WithheldValue(4, kDigestOfAbc)).HasBytes("b", "abc", 3));
}

TEST(RecordedCallTest, Threads_ComeBackFromTheirText) {
  RecordedThread first;
  first.isMain = true;
  first.beginning = 1;
  RecordedCall call = Call("key", BytesValue("a=b\t\n"));
  call.number = 4;
  call.call = PlatformCall::kVconfGetStr;
  call.words = "vconf_get_str key=\"a=b\"";
  call.members["value"] = kNullValue;
  first.calls = {call, call};
  first.calls[1].number = 9;
  RecordedThread second;
  second.process = 3;
  second.calls = {call};
  second.calls[0].call = PlatformCall::kPutInt;
  second.calls[0].members = {};
  const RecordedThreads read = ReadRecordedThreads(TextOfRecordedThreads({first, second}));
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(read[0].process, 0U);
  EXPECT_TRUE(read[0].isMain);
  EXPECT_EQ(read[0].beginning, 1U);
  ASSERT_EQ(read[0].calls.size(), 2U);
  EXPECT_EQ(read[0].calls[0].number, 4U);
  EXPECT_EQ(read[0].calls[0].call, PlatformCall::kVconfGetStr);
  EXPECT_EQ(read[0].calls[0].words, call.words);
  EXPECT_EQ(read[0].calls[0].members, call.members);
  EXPECT_EQ(read[0].calls[1].number, 9U);
  EXPECT_EQ(read[1].process, 3U);
  EXPECT_FALSE(read[1].isMain);
  EXPECT_EQ(read[1].beginning, 0U);
  ASSERT_EQ(read[1].calls.size(), 1U);
  EXPECT_EQ(read[1].calls[0].call, PlatformCall::kPutInt);
  EXPECT_TRUE(read[1].calls[0].members.empty());
  EXPECT_TRUE(ReadRecordedThreads("").empty());
}

}  // namespace
}  // namespace vam
