#ifndef UTIL_BYTE_CONVERSIONS_H_
#define UTIL_BYTE_CONVERSIONS_H_

#include <cstdint>
#include <string>

// Moves bytes between arrays and strings. Sizes are in bytes. A function that returns a number
// returns 0 on success; on failure it prints one line on standard output, writes nothing and
// returns -1. Nothing is thrown but std::bad_alloc.

/// Copies bytes `first` to `last` of `source`, both included, to the beginning of `destination`,
/// one after the other: where the two overlap, a byte is read as earlier ones left it. When either
/// array has fewer than last - first + 1 bytes, prints "Invalid input in function: fill_array" and
/// returns -1.
///
/// Only the number of bytes is checked, in unsigned 32-bit arithmetic. A size of 0 therefore counts
/// as the largest size. A `last` below `first` that passes the check copies nothing and returns 0.
/// REQUIRES: `source` can be read up to `last`, which is not compared with `sourceSize`. A
/// `destination` whose size is given as 0 has room for last - first + 1 bytes.
[[nodiscard]] std::int32_t fill_array(const std::uint8_t* source, std::uint32_t sourceSize,
                                      std::uint8_t* destination, std::uint32_t destinationSize,
                                      std::uint32_t first, std::uint32_t last);

/// Writes `array1` and then `array2` to the beginning of `destination`, one byte after the other,
/// and leaves its other bytes. Where arrays overlap, a byte is read as earlier ones left it. When
/// the sum of the lengths is above `destinationSize`, prints "Unable to merge, small array size"
/// and returns -1.
///
/// The sum wraps at 2^32, and only that many bytes are written. From 2^31 up, nothing is written
/// and 0 is still returned.
[[nodiscard]] std::int32_t mergeArraysIntoOne(std::uint8_t* destination,
                                              std::uint32_t destinationSize,
                                              const std::uint8_t* array1, std::uint32_t length1,
                                              const std::uint8_t* array2, std::uint32_t length2);

/// The same for three arrays.
[[nodiscard]] std::int32_t mergeArraysIntoOne(std::uint8_t* destination,
                                              std::uint32_t destinationSize,
                                              const std::uint8_t* array1, std::uint32_t length1,
                                              const std::uint8_t* array2, std::uint32_t length2,
                                              const std::uint8_t* array3, std::uint32_t length3);

/// Returns `text` cut to `length` bytes, or padded on the left with zero bytes to that length.
std::string fit_string_length(const std::string& text, std::uint32_t length);

/// Returns the four bytes of `value`, the most significant byte first.
std::string to_big_endian(std::uint32_t value);

#endif  // UTIL_BYTE_CONVERSIONS_H_
