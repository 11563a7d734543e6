#include "util/byte_conversions.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "util/console_line.h"

namespace {

/// Copies byte after byte, so that callers whose arrays overlap get what they always got, and
/// returns the byte after the last. The library's functions copy overlapping arrays in another way,
/// or not at all.
std::uint8_t* CopyInOrder(const std::uint8_t* bytes, std::size_t count, std::uint8_t* destination) {
  for (std::size_t i = 0; i < count; ++i) {
    destination[i] = bytes[i];
  }
  return destination + count;
}

struct Array {
  const std::uint8_t* bytes;
  std::uint32_t length;
};

std::int32_t Merge(std::uint8_t* destination, std::uint32_t destinationSize,
                   std::initializer_list<Array> arrays) {
  std::uint32_t sum = 0;
  for (const Array& array : arrays) {
    sum += array.length;
  }
  if (sum > destinationSize) {
    vam::PrintLine("Unable to merge, small array size");
    return -1;
  }
  if (static_cast<std::int32_t>(sum) <= 0) {
    return 0;
  }
  for (const Array& array : arrays) {
    // A sum that wrapped around is smaller than the arrays are together.
    const std::uint32_t count = std::min(array.length, sum);
    destination = CopyInOrder(array.bytes, count, destination);
    sum -= count;
  }
  return 0;
}

}  // namespace

std::int32_t fill_array(const std::uint8_t* source, std::uint32_t sourceSize,
                        std::uint8_t* destination, std::uint32_t destinationSize,
                        std::uint32_t first, std::uint32_t last) {
  const std::uint32_t width = last - first;
  if (destinationSize - 1 < width || width > sourceSize - 1) {
    vam::PrintLine("Invalid input in function: fill_array");
    return -1;
  }
  if (last >= first) {
    CopyInOrder(source + first, std::size_t{width} + 1, destination);
  }
  return 0;
}

std::int32_t mergeArraysIntoOne(std::uint8_t* destination, std::uint32_t destinationSize,
                                const std::uint8_t* array1, std::uint32_t length1,
                                const std::uint8_t* array2, std::uint32_t length2) {
  return Merge(destination, destinationSize, {{array1, length1}, {array2, length2}});
}

std::int32_t mergeArraysIntoOne(std::uint8_t* destination, std::uint32_t destinationSize,
                                const std::uint8_t* array1, std::uint32_t length1,
                                const std::uint8_t* array2, std::uint32_t length2,
                                const std::uint8_t* array3, std::uint32_t length3) {
  return Merge(destination, destinationSize,
               {{array1, length1}, {array2, length2}, {array3, length3}});
}

std::string fit_string_length(const std::string& text, std::uint32_t length) {
  if (length <= text.size()) {
    return text.substr(0, length);
  }
  std::string fitted(length, '\0');
  text.copy(&fitted[length - text.size()], text.size());
  return fitted;
}

std::string to_big_endian(std::uint32_t value) {
  return {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
          static_cast<char>(value >> 8), static_cast<char>(value)};
}
