#include "util/byte_conversions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

constexpr char kFillError[] = "Invalid input in function: fill_array\n";
constexpr char kMergeError[] = "Unable to merge, small array size\n";
constexpr std::uint8_t kGuard = 0xA5;

struct Fill {
  const char* name;
  std::uint32_t sourceSize;
  std::uint32_t destinationSize;
  std::uint32_t first;
  std::uint32_t last;
  std::int32_t result;
  /// All six bytes of the destination.
  Bytes destination;
};

// The source holds the bytes 0 to 11, whatever size is given for it.
const Fill kFills[] = {
    {"as many as the destination takes", 10, 4, 2, 5, 0, {2, 3, 4, 5, kGuard, kGuard}},
    {"one more than that", 10, 4, 2, 6, -1, Bytes(6, kGuard)},
    {"behind the source's size, by the number alone",
     10,
     4,
     8,
     11,
     0,
     {8, 9, 10, 11, kGuard, kGuard}},
    {"one byte", 10, 4, 7, 7, 0, {7, kGuard, kGuard, kGuard, kGuard, kGuard}},
    {"all of a source", 6, 6, 0, 5, 0, {0, 1, 2, 3, 4, 5}},
    {"one more than the source has", 5, 6, 0, 5, -1, Bytes(6, kGuard)},
    {"more than either has", 3, 3, 0, 5, -1, Bytes(6, kGuard)},
    {"last below first", 10, 4, 5, 2, -1, Bytes(6, kGuard)},
    {"last below first by one", 10, 4, 5, 4, -1, Bytes(6, kGuard)},
    {"a source size of 0 is the largest", 0, 4, 2, 5, 0, {2, 3, 4, 5, kGuard, kGuard}},
    {"a destination size of 0 is the largest", 10, 0, 2, 5, 0, {2, 3, 4, 5, kGuard, kGuard}},
    {"a destination size of 0 with a source too small", 3, 0, 2, 5, -1, Bytes(6, kGuard)},
    {"a source size of 0 with a destination too small", 0, 3, 2, 5, -1, Bytes(6, kGuard)},
    {"both sizes 0", 0, 0, 3, 8, 0, {3, 4, 5, 6, 7, 8}},
    {"both sizes 0, last below first", 0, 0, 5, 2, 0, Bytes(6, kGuard)},
    {"both sizes 0, the widest span", 0, 0, 1, 0, 0, Bytes(6, kGuard)},
};

TEST(FillArray, AnySpan_IsCopiedWholeOrNotAtAll) {
  const Bytes source = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  for (const Fill& fill : kFills) {
    SCOPED_TRACE(fill.name);
    Bytes destination(6, kGuard);
    testing::internal::CaptureStdout();
    const std::int32_t result = fill_array(source.data(), fill.sourceSize, destination.data(),
                                           fill.destinationSize, fill.first, fill.last);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), fill.result == 0 ? "" : kFillError);
    EXPECT_EQ(result, fill.result);
    EXPECT_EQ(destination, fill.destination);
  }
}

TEST(FillArray, OverlappingArrays_AreCopiedByteAfterByte) {
  Bytes bytes = {0, 1, 2, 3, 4, 5};
  EXPECT_EQ(fill_array(bytes.data(), 6, bytes.data(), 6, 2, 5), 0);
  EXPECT_THAT(bytes, ElementsAre(2, 3, 4, 5, 4, 5));

  bytes = {0, 1, 2, 3, 4, 5};
  EXPECT_EQ(fill_array(bytes.data(), 6, bytes.data() + 2, 4, 0, 3), 0);
  EXPECT_THAT(bytes, ElementsAre(0, 1, 0, 1, 0, 1));
}

struct Merge {
  const char* name;
  std::vector<Bytes> arrays;
  std::uint32_t destinationSize;
  std::int32_t result;
  /// All six bytes of the destination.
  Bytes destination;
};

const Merge kMerges[] = {
    {"two arrays", {{1, 2}, {3, 4, 5}}, 5, 0, {1, 2, 3, 4, 5, kGuard}},
    {"two arrays with room left", {{1, 2}, {3}}, 6, 0, {1, 2, 3, kGuard, kGuard, kGuard}},
    {"two arrays, one byte too many", {{1, 2}, {3, 4, 5}}, 4, -1, Bytes(6, kGuard)},
    {"two arrays, the first one empty", {{}, {1, 2}}, 2, 0, {1, 2, kGuard, kGuard, kGuard, kGuard}},
    {"two arrays, the second one empty",
     {{1, 2}, {}},
     2,
     0,
     {1, 2, kGuard, kGuard, kGuard, kGuard}},
    {"two arrays, one byte in all", {{}, {1}}, 1, 0, {1, kGuard, kGuard, kGuard, kGuard, kGuard}},
    {"two arrays, both empty", {{}, {}}, 0, 0, Bytes(6, kGuard)},
    {"two arrays, no room", {{1}, {}}, 0, -1, Bytes(6, kGuard)},
    {"three arrays, the middle one empty", {{1, 2}, {}, {3, 4, 5}}, 5, 0, {1, 2, 3, 4, 5, kGuard}},
    {"three arrays", {{1}, {2, 3}, {4, 5, 6}}, 6, 0, {1, 2, 3, 4, 5, 6}},
    {"three arrays, one byte too many", {{1, 2}, {}, {3, 4, 5}}, 4, -1, Bytes(6, kGuard)},
    {"three arrays, all empty", {{}, {}, {}}, 0, 0, Bytes(6, kGuard)},
};

std::uint32_t Length(const Bytes& bytes) { return static_cast<std::uint32_t>(bytes.size()); }

TEST(MergeArraysIntoOne, AnyLengths_AreWrittenWholeOrNotAtAll) {
  for (const Merge& merge : kMerges) {
    SCOPED_TRACE(merge.name);
    Bytes destination(6, kGuard);
    const Bytes& array1 = merge.arrays[0];
    const Bytes& array2 = merge.arrays[1];
    testing::internal::CaptureStdout();
    std::int32_t result = 1;
    if (merge.arrays.size() == 2) {
      result = mergeArraysIntoOne(destination.data(), merge.destinationSize, array1.data(),
                                  Length(array1), array2.data(), Length(array2));
    } else {
      const Bytes& array3 = merge.arrays[2];
      result = mergeArraysIntoOne(destination.data(), merge.destinationSize, array1.data(),
                                  Length(array1), array2.data(), Length(array2), array3.data(),
                                  Length(array3));
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), merge.result == 0 ? "" : kMergeError);
    EXPECT_EQ(result, merge.result);
    EXPECT_EQ(destination, merge.destination);
  }
}

TEST(MergeArraysIntoOne, SumWraps_WritesNoMoreThanTheSum) {
  // 2^32 - 1 and 6 bytes make a sum of 5: all of them the first array's.
  const Bytes array = {1, 2, 3, 4, 5, 6};
  Bytes destination(6, kGuard);
  testing::internal::CaptureStdout();
  EXPECT_EQ(mergeArraysIntoOne(destination.data(), 5, array.data(), 0xFFFFFFFF, array.data(), 6),
            0);
  EXPECT_THAT(destination, ElementsAre(1, 2, 3, 4, 5, kGuard));

  // Of 2, 2^32 - 1 and 3 bytes the sum is 4: two from the first array and two from the second.
  destination.assign(6, kGuard);
  EXPECT_EQ(mergeArraysIntoOne(destination.data(), 4, array.data(), 2, array.data(), 0xFFFFFFFF,
                               array.data(), 3),
            0);
  EXPECT_THAT(destination, ElementsAre(1, 2, 1, 2, kGuard, kGuard));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(MergeArraysIntoOne, OverlappingArrays_AreWrittenByteAfterByte) {
  Bytes bytes = {0, 1, 2, 3, 4, 5};
  EXPECT_EQ(mergeArraysIntoOne(bytes.data(), 6, bytes.data() + 1, 2, bytes.data() + 3, 3), 0);
  EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4, 5, 5));

  bytes = {0, 1, 2, 3, 4, 5};
  EXPECT_EQ(mergeArraysIntoOne(bytes.data() + 1, 5, bytes.data(), 2, bytes.data() + 1, 3), 0);
  EXPECT_THAT(bytes, ElementsAre(0, 0, 0, 0, 0, 0));

  bytes = {0, 1, 2, 3, 4, 5};
  EXPECT_EQ(mergeArraysIntoOne(bytes.data() + 1, 5, bytes.data() + 5, 1, bytes.data(), 2,
                               bytes.data() + 3, 2),
            0);
  EXPECT_THAT(bytes, ElementsAre(0, 5, 0, 5, 5, 5));
}

TEST(MergeArraysIntoOne, SumNegativeAsSigned_WritesNothing) {
  const Bytes array = {1, 2, 3};
  Bytes destination(6, kGuard);
  testing::internal::CaptureStdout();
  EXPECT_EQ(
      mergeArraysIntoOne(destination.data(), 0xFFFFFFFF, array.data(), 0x7FFFFFFF, array.data(), 1),
      0);
  EXPECT_EQ(mergeArraysIntoOne(destination.data(), 0xFFFFFFFF, array.data(), 3, array.data(),
                               0xFFFFFFFC, array.data(), 0),
            0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(destination, Bytes(6, kGuard));
}

struct Fitting {
  const char* name;
  std::string text;
  std::uint32_t length;
  std::string fitted;
};

const Fitting kFittings[] = {
    {"longer by two", "abc", 5, std::string("\0\0abc", 5)},
    {"shorter by two", "abcdef", 4, "abcd"},
    {"as it is", "abc", 3, "abc"},
    {"to nothing", "abc", 0, ""},
    {"nothing to nothing", "", 0, ""},
    {"nothing to two", "", 2, std::string("\0\0", 2)},
    {"zero bytes are bytes", std::string("a\0b", 3), 4, std::string("\0a\0b", 4)},
    {"longer than a string holds in place", std::string(40, 'x'), 41, '\0' + std::string(40, 'x')},
};

TEST(FitStringLength, AnyLength_PadsOnTheLeftAndCutsOnTheRight) {
  for (const Fitting& fitting : kFittings) {
    SCOPED_TRACE(fitting.name);
    EXPECT_EQ(fit_string_length(fitting.text, fitting.length), fitting.fitted);
  }
}

TEST(ToBigEndian, AnyValue_PutsTheMostSignificantByteFirst) {
  const std::pair<std::uint32_t, std::string> values[] = {
      {0x01020304, std::string("\x01\x02\x03\x04", 4)}, {0, std::string("\0\0\0\0", 4)},
      {0xFFFFFFFF, std::string("\xff\xff\xff\xff", 4)}, {0x80000000, std::string("\x80\0\0\0", 4)},
      {0x000000FE, std::string("\0\0\0\xfe", 4)},
  };
  for (const auto& [value, bytes] : values) {
    SCOPED_TRACE(value);
    EXPECT_EQ(to_big_endian(value), bytes);
  }
}

}  // namespace
