#include "simulator/model/value_block.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace vam {
namespace {

using ::testing::ElementsAre;

class ValueBlockTest : public ::testing::Test {
 protected:
  ValueCursor Cursor() { return {block.data(), block.size(), kFirstValue}; }

  std::array<std::uint8_t, 32> block{};
};

TEST_F(ValueBlockTest, Values_AreLaidOutAsDocumented) {
  ValueCursor cursor = Cursor();
  ASSERT_TRUE(put_int(cursor, -2));
  ASSERT_TRUE(put_blob(cursor, "ab", 2));
  const std::vector<std::uint8_t> start(block.begin(), block.begin() + 16);
  EXPECT_THAT(start,
              ElementsAre(16, 0, 0, 0, 'i', 0xFE, 0xFF, 0xFF, 0xFF, 'b', 2, 0, 0, 0, 'a', 'b'));
}

TEST_F(ValueBlockTest, Blob_ThatOverlapsItsPlaceInTheBlock_IsPutWhole) {
  ValueCursor cursor = Cursor();
  std::memcpy(block.data() + 6, "abcdefgh", 8);
  ASSERT_TRUE(put_blob(cursor, block.data() + 6, 8));
  ValueCursor reader = Cursor();
  const std::uint8_t* bytes = get_blob(reader, 8);
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(std::vector<std::uint8_t>(bytes, bytes + 8),
            (std::vector<std::uint8_t>{'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'}));
}

TEST_F(ValueBlockTest, Values_ComeBackInTheirOrder) {
  ValueCursor writer = Cursor();
  ASSERT_TRUE(put_int(writer, INT32_MIN));
  ASSERT_TRUE(put_uint(writer, UINT32_MAX));
  ASSERT_TRUE(put_blob(writer, "xyz", 3));
  ValueCursor reader = Cursor();
  std::int32_t number = 0;
  std::uint32_t count = 0;
  ASSERT_TRUE(get_int(reader, &number));
  EXPECT_EQ(number, INT32_MIN);
  ASSERT_TRUE(get_uint(reader, &count));
  EXPECT_EQ(count, UINT32_MAX);
  const std::uint8_t* blob = get_blob(reader, 3);
  ASSERT_NE(blob, nullptr);
  EXPECT_EQ(std::memcmp(blob, "xyz", 3), 0);
  EXPECT_FALSE(get_uint(reader, &count)) << "nothing follows the last value";
}

TEST_F(ValueBlockTest, AnotherTypeOrLength_FailsAndReadsNothing) {
  ValueCursor writer = Cursor();
  ASSERT_TRUE(put_uint(writer, 7));
  ASSERT_TRUE(put_blob(writer, "xyz", 3));
  ValueCursor reader = Cursor();
  std::int32_t number = 41;
  EXPECT_FALSE(get_int(reader, &number));
  EXPECT_EQ(number, 41);
  EXPECT_EQ(get_blob(reader, 4), nullptr);
  std::uint32_t count = 0;
  EXPECT_TRUE(get_uint(reader, &count));
  EXPECT_FALSE(get_uint(reader, &count));
  EXPECT_EQ(get_blob(reader, 2), nullptr);
  EXPECT_EQ(get_blob(reader, 4), nullptr);
  EXPECT_NE(get_blob(reader, 3), nullptr);
}

TEST_F(ValueBlockTest, ValueThatDoesNotFit_ChangesNothing) {
  ValueCursor writer = Cursor();
  const std::array<std::uint8_t, 24> bytes{};
  EXPECT_FALSE(put_blob(writer, bytes.data(), 24)) << "32 bytes hold 4 + 5 + 23";
  EXPECT_THAT(block, ::testing::Each(0));
  ASSERT_TRUE(put_blob(writer, bytes.data(), 23));
  const auto full = block;
  EXPECT_FALSE(put_int(writer, 1));
  EXPECT_FALSE(put_uint(writer, 1));
  EXPECT_FALSE(put_blob(writer, nullptr, 0));
  EXPECT_EQ(block, full);
}

TEST_F(ValueBlockTest, ValueThatEndsWithTheBlock_ComesBackWhole) {
  const std::vector<std::uint8_t> bytes(block.size() - kFirstValue - 5, 0xB1);
  ValueCursor writer = Cursor();
  ASSERT_TRUE(put_blob(writer, bytes.data(), static_cast<std::uint32_t>(bytes.size())));
  ValueCursor reader = Cursor();
  const std::uint8_t* blob = get_blob(reader, static_cast<std::uint32_t>(bytes.size()));
  ASSERT_NE(blob, nullptr);
  EXPECT_EQ(std::vector<std::uint8_t>(blob, blob + bytes.size()), bytes);

  writer = Cursor();
  writer.size = kFirstValue + 5;
  ASSERT_TRUE(put_int(writer, 7));
  reader = Cursor();
  reader.size = kFirstValue + 5;
  std::int32_t number = 0;
  EXPECT_TRUE(get_int(reader, &number));
  EXPECT_EQ(number, 7);
}

TEST_F(ValueBlockTest, BlobOfOneByte_ComesBackWhole) {
  ValueCursor writer = Cursor();
  ASSERT_TRUE(put_blob(writer, "x", 1));
  ValueCursor reader = Cursor();
  const std::uint8_t* blob = get_blob(reader, 1);
  ASSERT_NE(blob, nullptr);
  EXPECT_EQ(*blob, 'x');
}

TEST_F(ValueBlockTest, NullBytes_AreABlobOfLengthZeroOnly) {
  ValueCursor writer = Cursor();
  EXPECT_FALSE(put_blob(writer, nullptr, 1));
  EXPECT_TRUE(put_blob(writer, nullptr, 0));
  ValueCursor reader = Cursor();
  EXPECT_NE(get_blob(reader, 0), nullptr);
}

TEST_F(ValueBlockTest, BytesThatAreNotInUse_HoldNoValue) {
  ValueCursor writer = Cursor();
  ASSERT_TRUE(put_uint(writer, 7));
  for (std::size_t end = 0; end < kFirstValue + 5; ++end) {
    ValueCursor cut = Cursor();
    end_values(cut, end);
    ValueCursor reader = Cursor();
    std::uint32_t value = 0;
    EXPECT_FALSE(get_uint(reader, &value)) << "ends at " << end;
  }
}

TEST_F(ValueBlockTest, CountBeyondTheBlock_IsBoundedByTheBlock) {
  ValueCursor writer = Cursor();
  ASSERT_TRUE(put_blob(writer, "xyz", 3));
  block[0] = block[1] = block[2] = block[3] = 0xFF;
  ValueCursor reader = Cursor();
  EXPECT_NE(get_blob(reader, 3), nullptr);
  // A blob that claims more than the block holds.
  block[kFirstValue + 1] = 100;
  reader = Cursor();
  EXPECT_EQ(get_blob(reader, 100), nullptr);
  block[kFirstValue + 1] = block[kFirstValue + 2] = 0xFF;
  block[kFirstValue + 3] = block[kFirstValue + 4] = 0xFF;
  EXPECT_EQ(get_blob(reader, UINT32_MAX), nullptr);
}

TEST_F(ValueBlockTest, MissingOrTinyBlock_TakesAndHoldsNothing) {
  for (ValueCursor cursor :
       {ValueCursor{nullptr, 0, kFirstValue}, ValueCursor{block.data(), 3, kFirstValue},
        ValueCursor{block.data(), 8, kFirstValue}}) {
    std::uint32_t value = 0;
    EXPECT_FALSE(put_uint(cursor, 1));
    EXPECT_FALSE(get_uint(cursor, &value));
    EXPECT_EQ(get_blob(cursor, 0), nullptr);
  }
}

}  // namespace
}  // namespace vam
