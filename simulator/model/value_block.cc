#include "simulator/model/value_block.h"

#include <string.h>

namespace vam {

namespace {

constexpr uint8_t kIntTag = 'i';
constexpr uint8_t kUintTag = 'u';
constexpr uint8_t kBlobTag = 'b';
constexpr size_t kTagSize = 1;
constexpr size_t kNumberSize = 4;

void store_number(uint8_t* bytes, uint32_t value) {
  for (size_t i = 0; i < kNumberSize; ++i) {
    bytes[i] = static_cast<uint8_t>(value >> (8 * i));
  }
}

uint32_t load_number(const uint8_t* bytes) {
  uint32_t value = 0;
  for (size_t i = 0; i < kNumberSize; ++i) {
    value |= static_cast<uint32_t>(bytes[i]) << (8 * i);
  }
  return value;
}

/// Returns where `count` bytes can be put, or null when they do not fit. REQUIRES: no sum of the
/// position and `count` wraps around.
uint8_t* room_for(const ValueCursor& cursor, size_t count) {
  if (cursor.block == nullptr || cursor.position + count > cursor.size) {
    return nullptr;
  }
  return cursor.block + cursor.position;
}

/// Returns the next value of `count` bytes when it is in use and carries `tag`, or null. REQUIRES:
/// as above.
uint8_t* next_value(const ValueCursor& cursor, uint8_t tag, size_t count) {
  if (cursor.block == nullptr || cursor.size < kFirstValue) {
    return nullptr;
  }
  const size_t used = load_number(cursor.block);
  const size_t end = used < cursor.size ? used : cursor.size;
  if (cursor.position + count > end || cursor.block[cursor.position] != tag) {
    return nullptr;
  }
  return cursor.block + cursor.position;
}

bool put_number(ValueCursor& cursor, uint8_t tag, uint32_t value) {
  uint8_t* place = room_for(cursor, kTagSize + kNumberSize);
  if (place == nullptr) {
    return false;
  }
  place[0] = tag;
  store_number(place + kTagSize, value);
  end_values(cursor, cursor.position + kTagSize + kNumberSize);
  return true;
}

bool get_number(ValueCursor& cursor, uint8_t tag, uint32_t* value) {
  const uint8_t* place = next_value(cursor, tag, kTagSize + kNumberSize);
  if (place == nullptr) {
    return false;
  }
  *value = load_number(place + kTagSize);
  cursor.position += kTagSize + kNumberSize;
  return true;
}

}  // namespace

bool put_int(ValueCursor& cursor, int32_t value) {
  return put_number(cursor, kIntTag, static_cast<uint32_t>(value));
}

bool put_uint(ValueCursor& cursor, uint32_t value) { return put_number(cursor, kUintTag, value); }

bool put_blob(ValueCursor& cursor, const void* bytes, uint32_t length) {
  constexpr size_t kHeadSize = kTagSize + kNumberSize;
  if (bytes == nullptr && length != 0) {
    return false;
  }
  uint8_t* place = room_for(cursor, kHeadSize);
  if (place == nullptr || length > cursor.size - cursor.position - kHeadSize) {
    return false;
  }
  if (length != 0) {
    // They may be a value of this very block.
    memmove(place + kHeadSize, bytes, length);
  }
  place[0] = kBlobTag;
  store_number(place + kTagSize, length);
  end_values(cursor, cursor.position + kHeadSize + length);
  return true;
}

bool get_int(ValueCursor& cursor, int32_t* value) {
  uint32_t bits = 0;
  if (!get_number(cursor, kIntTag, &bits)) {
    return false;
  }
  memcpy(value, &bits, sizeof bits);
  return true;
}

bool get_uint(ValueCursor& cursor, uint32_t* value) { return get_number(cursor, kUintTag, value); }

uint8_t* get_blob(ValueCursor& cursor, uint32_t length) {
  constexpr size_t kHeadSize = kTagSize + kNumberSize;
  const uint8_t* head = next_value(cursor, kBlobTag, kHeadSize);
  if (head == nullptr || load_number(head + kTagSize) != length ||
      length > cursor.size - cursor.position - kHeadSize) {
    return nullptr;
  }
  uint8_t* place = next_value(cursor, kBlobTag, kHeadSize + length);
  if (place == nullptr) {
    return nullptr;
  }
  cursor.position += kHeadSize + length;
  return place + kHeadSize;
}

void end_values(ValueCursor& cursor, size_t position) {
  store_number(cursor.block, static_cast<uint32_t>(position));
  cursor.position = position;
}

}  // namespace vam
