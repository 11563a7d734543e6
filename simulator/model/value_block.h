#ifndef SIMULATOR_MODEL_VALUE_BLOCK_H_
#define SIMULATOR_MODEL_VALUE_BLOCK_H_

// The encoding in which the simulated board's marshaller and its trusted application exchange typed
// values in a block of bytes. Freestanding: C headers only, nothing allocated, nothing thrown.
//
// A block starts with the number of bytes in use, itself included, as a 32-bit little-endian
// number. Values follow without gaps. Each is a tag byte, and then an integer's four bytes
// (little-endian) or a blob's 32-bit length and its bytes. An operation fails and changes nothing
// when the value does not fit, or is not of the type or length that was asked for.

#include <stddef.h>
#include <stdint.h>

namespace vam {

/// The place in a block of the next value to put or get. Does not own the block.
struct ValueCursor {
  uint8_t* block;
  /// Bytes of the block.
  size_t size;
  /// Offset of the next value.
  size_t position;
};

/// Offset of the first value of a block.
constexpr size_t kFirstValue = 4;

/// Appends one value and counts it as in use. `bytes` may be null only with a `length` of 0.
[[nodiscard]] bool put_int(ValueCursor& cursor, int32_t value);
[[nodiscard]] bool put_uint(ValueCursor& cursor, uint32_t value);
[[nodiscard]] bool put_blob(ValueCursor& cursor, const void* bytes, uint32_t length);

/// Reads the next value that is in use.
[[nodiscard]] bool get_int(ValueCursor& cursor, int32_t* value);
[[nodiscard]] bool get_uint(ValueCursor& cursor, uint32_t* value);
/// Returns the next value, a blob of `length` bytes, in place; null when it is no such blob.
[[nodiscard]] uint8_t* get_blob(ValueCursor& cursor, uint32_t length);

/// Ends the block's values at `position`: the bytes before it are in use, all others are not.
/// REQUIRES: a block of at least kFirstValue bytes.
void end_values(ValueCursor& cursor, size_t position);

}  // namespace vam

#endif  // SIMULATOR_MODEL_VALUE_BLOCK_H_
