#ifndef SIMULATOR_MODEL_VALUE_BLOCK_H_
#define SIMULATOR_MODEL_VALUE_BLOCK_H_

// The encoding in which the simulated board's marshaller and its trusted application exchange typed
// values in a block of bytes. Freestanding: C headers only, nothing allocated, nothing thrown.
//
// A block starts with the number of bytes in use, itself included, as a 32-bit little-endian
// number. Values follow without gaps: a tag byte, then for an integer its four bytes little-endian,
// for a blob its 32-bit length and its bytes. A value that does not fit, or is not of the type or
// length asked for, makes the operation fail and changes nothing.

#include <stddef.h>
#include <stdint.h>

namespace vam {

/// Where in a block the next value is put or got. Does not own the block.
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
/// Returns the blob in place, or null.
[[nodiscard]] uint8_t* get_blob(ValueCursor& cursor, uint32_t length);

/// Declares the bytes before `position` to be in use and all others not, so that a block ends
/// there. REQUIRES: a block of at least kFirstValue bytes.
void end_values(ValueCursor& cursor, size_t position);

}  // namespace vam

#endif  // SIMULATOR_MODEL_VALUE_BLOCK_H_
