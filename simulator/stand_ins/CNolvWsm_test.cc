#include "simulator/stand_ins/CNolvWsm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "platform/tee_client.h"

namespace {

using ::testing::Each;

/// A block of `size` bytes and the record that describes it.
class Block {
 public:
  explicit Block(std::size_t size) : bytes(size, 0) {
    record.buffer = bytes.data();
    record.size = size;
  }
  void* Record() { return &record; }

  std::vector<unsigned char> bytes;

 private:
  TEEC_SharedMemory record = {};
};

/// Bytes that one value takes besides a blob's own.
constexpr std::size_t kBlockHead = 4;
constexpr std::size_t kNumber = 5;
constexpr std::size_t kBlobHead = 5;

TEST(MarshallerTest, Values_ComeBackInTheirOrder) {
  Block block(8192);
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  {
    CNolvWsm request(block.Record());
    EXPECT_TRUE(request.PutInt(kMin));
    EXPECT_TRUE(request.PutUint(0xFFFFFFFF));
    EXPECT_TRUE(request.PutBlob("ab\0c", 4));
    EXPECT_TRUE(request.PutBlob(nullptr, 0));
  }
  CNolvWsm reply(block.Record());
  reply.PrepareReset(1);
  std::int32_t signedValue = 0;
  std::uint32_t unsignedValue = 0;
  EXPECT_TRUE(reply.GetInt(&signedValue));
  EXPECT_EQ(signedValue, kMin);
  EXPECT_TRUE(reply.GetUint(&unsignedValue));
  EXPECT_EQ(unsignedValue, 0xFFFFFFFF);
  const void* blob = reply.GetBlob(4);
  ASSERT_NE(blob, nullptr);
  EXPECT_EQ(std::memcmp(blob, "ab\0c", 4), 0);
  EXPECT_GE(blob, block.bytes.data());
  EXPECT_LE(static_cast<const unsigned char*>(blob) + 4, block.bytes.data() + block.bytes.size())
      << "in place";
  EXPECT_NE(reply.GetBlob(0), nullptr);
  EXPECT_FALSE(reply.GetInt(&signedValue)) << "nothing is left";
}

TEST(MarshallerTest, Reset_StartsAtTheBeginningAgain) {
  Block block(64);
  CNolvWsm marshaller(block.Record());
  ASSERT_TRUE(marshaller.PutInt(1));
  ASSERT_TRUE(marshaller.PutInt(2));
  for (int i = 0; i < 2; ++i) {
    marshaller.PrepareReset(1);
    std::int32_t value = 0;
    EXPECT_TRUE(marshaller.GetInt(&value));
    EXPECT_EQ(value, 1);
  }
}

TEST(MarshallerTest, ValueOfAnotherTypeOrLength_IsNotRead) {
  Block block(64);
  CNolvWsm marshaller(block.Record());
  ASSERT_TRUE(marshaller.PutInt(7));
  ASSERT_TRUE(marshaller.PutUint(8));
  ASSERT_TRUE(marshaller.PutBlob("ab", 2));
  marshaller.PrepareReset(1);

  std::int32_t signedValue = 99;
  std::uint32_t unsignedValue = 99;
  EXPECT_FALSE(marshaller.GetUint(&unsignedValue));
  EXPECT_EQ(marshaller.GetBlob(4), nullptr);
  EXPECT_TRUE(marshaller.GetInt(&signedValue)) << "a failed get leaves the value there";
  EXPECT_FALSE(marshaller.GetInt(&signedValue));
  EXPECT_TRUE(marshaller.GetUint(&unsignedValue));
  EXPECT_EQ(unsignedValue, 8U);
  for (const std::uint32_t length : {0U, 1U, 3U, 0xFFFFFFFFU}) {
    EXPECT_EQ(marshaller.GetBlob(length), nullptr) << length;
  }
  EXPECT_EQ(signedValue, 7);
  EXPECT_NE(marshaller.GetBlob(2), nullptr);
}

TEST(MarshallerTest, NumberThatDoesNotFit_IsRefused) {
  Block block(kBlockHead + kNumber);
  CNolvWsm marshaller(block.Record());
  EXPECT_TRUE(marshaller.PutUint(1));
  EXPECT_FALSE(marshaller.PutUint(2));
  EXPECT_FALSE(marshaller.PutInt(2));
  EXPECT_FALSE(marshaller.PutBlob("", 0));
  marshaller.PrepareReset(1);
  std::uint32_t value = 0;
  EXPECT_TRUE(marshaller.GetUint(&value));
  EXPECT_EQ(value, 1U);
  EXPECT_FALSE(marshaller.GetUint(&value));
}

TEST(MarshallerTest, BlobThatDoesNotFit_IsRefused) {
  const std::string longest(100 - kBlockHead - kBlobHead, 'b');
  Block block(100);
  {
    CNolvWsm marshaller(block.Record());
    EXPECT_FALSE(
        marshaller.PutBlob(longest.data(), static_cast<std::uint32_t>(longest.size() + 1)));
    EXPECT_FALSE(marshaller.PutBlob(longest.data(), 0xFFFFFFFF));
    EXPECT_TRUE(marshaller.PutBlob(longest.data(), static_cast<std::uint32_t>(longest.size())));
  }
  EXPECT_EQ(block.bytes.back(), 'b');
}

TEST(MarshallerTest, NullPointerWithALength_IsRefused) {
  Block block(64);
  CNolvWsm marshaller(block.Record());
  EXPECT_FALSE(marshaller.PutBlob(nullptr, 1));
}

TEST(MarshallerTest, BlockTooSmallForItsHead_TakesAndHoldsNothing) {
  for (std::size_t size = 0; size < kBlockHead; ++size) {
    Block block(size);
    CNolvWsm marshaller(block.Record());
    EXPECT_FALSE(marshaller.PutInt(1));
    marshaller.PrepareReset(1);
    std::int32_t value = 99;
    EXPECT_FALSE(marshaller.GetInt(&value));
    EXPECT_EQ(value, 99);
    EXPECT_THAT(block.bytes, Each(0));
  }
}

TEST(MarshallerTest, RecordWithoutABuffer_TakesAndHoldsNothing) {
  TEEC_SharedMemory record = {};
  record.size = 8192;
  CNolvWsm marshaller(&record);
  EXPECT_FALSE(marshaller.PutInt(1));
  EXPECT_FALSE(marshaller.PutBlob("a", 1));
  marshaller.PrepareReset(1);
  std::uint32_t value = 0;
  EXPECT_FALSE(marshaller.GetUint(&value));
  EXPECT_EQ(marshaller.GetBlob(0), nullptr);
}

TEST(MarshallerTest, Request_StartsANewBlock) {
  Block block(64);
  block.bytes.assign(block.bytes.size(), 0xFF);
  CNolvWsm marshaller(block.Record());
  EXPECT_TRUE(marshaller.PutInt(5));
  marshaller.PrepareReset(1);
  std::int32_t value = 0;
  EXPECT_TRUE(marshaller.GetInt(&value));
  EXPECT_EQ(value, 5);
  EXPECT_FALSE(marshaller.GetInt(&value));
}

TEST(MarshallerTest, BlockThatClaimsMoreThanItHas_HoldsNothingBeyondItsEnd) {
  Block block(16);
  CNolvWsm marshaller(block.Record());
  ASSERT_TRUE(marshaller.PutInt(5));
  block.bytes[0] = 0xFF;
  marshaller.PrepareReset(1);
  std::int32_t value = 0;
  while (marshaller.GetInt(&value)) {
    EXPECT_EQ(value, 5);
  }
  EXPECT_EQ(marshaller.GetBlob(8), nullptr);
}

}  // namespace
