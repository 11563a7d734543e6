#ifndef UTIL_BYTE_CONVERSIONS_H_
#define UTIL_BYTE_CONVERSIONS_H_

#include <cstdint>
#include <string>

// Moves bytes between arrays and strings. Sizes are in bytes. A function that returns a number
// returns 0 on success; on failure it prints one line on standard output, writes nothing and
// returns -1. Nothing is thrown but std::bad_alloc.

/// Copies bytes `first` to `last`, both included, of `source` to the beginning of `destination`.
/// The two may overlap. Prints "Invalid input in function: fill_array" and returns -1 when
/// last - first + 1 bytes are more than either array has.
///
/// Only the number of bytes is checked, in unsigned 32-bit arithmetic: a size of 0 passes as the
/// largest size, and a `last` below `first` that passes copies nothing and returns 0.
/// REQUIRES: `source` can be read up to `last`, which is not compared with `sourceSize`;
/// `destination` can take last - first + 1 bytes where its size is given as 0.
[[nodiscard]] std::int32_t fill_array(const std::uint8_t* source, std::uint32_t sourceSize,
                                      std::uint8_t* destination, std::uint32_t destinationSize,
                                      std::uint32_t first, std::uint32_t last);

/// Writes `array1` and `array2` one behind the other to the beginning of `destination`; its bytes
/// behind them stay as they were. Prints "Unable to merge, small array size" and returns -1 when
/// the sum of the lengths is above `destinationSize`.
///
/// The sum is taken modulo 2^32 and is all that is written; of a sum of 2^31 or more nothing is,
/// and the result is 0 all the same.
/// REQUIRES: `destination` overlaps neither array.
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

/// Returns `text` with a length of `length` bytes: its first ones, or all of it behind as many zero
/// bytes as it lacks.
std::string fit_string_length(const std::string& text, std::uint32_t length);

/// Returns the four bytes of `value`, the most significant one first.
std::string to_big_endian(std::uint32_t value);

#endif  // UTIL_BYTE_CONVERSIONS_H_
