#include "util/signatures_and_key_paths.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::uint8_t kSequenceTag = 0x30;
constexpr std::uint8_t kIntegerTag = 0x02;

// A component of 32 bytes takes 33 in DER when its top bit is set: a zero byte keeps it positive.
constexpr std::uint32_t kComponentSize = 32;
constexpr std::uint32_t kRawSize = 2 * kComponentSize;
constexpr std::uint32_t kLongestSequence = 2 * (2 + kComponentSize + 1);
constexpr std::uint32_t kLongestDer = 2 + kLongestSequence;

constexpr std::uint32_t kLevels = 5;
constexpr std::uint32_t kPathSize = kLevels * 4;

/// Writes an integer of `length` bytes to the end of a component that is all zero. Returns false
/// when the integer is too long.
bool PutComponent(unsigned char* component, const unsigned char* integer, std::uint32_t length) {
  if (length == kComponentSize + 1) {
    ++integer;
    --length;
  }
  if (length > kComponentSize) {
    return false;
  }
  if (length == kComponentSize) {
    // The usual length; a copy of a length that the compiler knows takes no call.
    std::memcpy(component, integer, kComponentSize);
  } else {
    std::memcpy(component + kComponentSize - length, integer, length);
  }
  return true;
}

}  // namespace

std::int32_t ecSignature_der_to_raw(const unsigned char* der, std::uint32_t derLength,
                                    unsigned char* raw, std::uint32_t* rawLength) {
  unsigned char signature[kRawSize] = {};
  if (derLength < 2 || derLength > kLongestDer || der[0] != kSequenceTag ||
      der[1] > kLongestSequence) {
    return -1;
  }
  if (derLength < 3 || der[2] != kIntegerTag) {
    return -2;
  }
  // Without a length byte there is no room for an integer of any length.
  if (derLength < 4 || der[3] + 4U > derLength - 2) {
    return -3;
  }
  const std::uint32_t rLength = der[3];
  if (!PutComponent(signature, der + 4, rLength)) {
    return -4;
  }
  if (der[rLength + 4] != kIntegerTag) {
    return -5;
  }
  const std::uint32_t sLength = der[rLength + 5];
  if (sLength + rLength + 6 > derLength) {
    return -6;
  }
  if (!PutComponent(signature + kComponentSize, der + rLength + 6, sLength)) {
    return -7;
  }
  if (*rawLength < kRawSize) {
    return -8;
  }
  std::memcpy(raw, signature, kRawSize);
  *rawLength = kRawSize;
  return 0;
}

std::int32_t BufferToHdParamS(const void* buffer, std::uint32_t length, hd_path_param* record) {
  if (length != kPathSize || record == nullptr) {
    return -1;
  }
  const auto* bytes = static_cast<const std::uint8_t*>(buffer);
  for (std::uint32_t& index : record->indexes) {
    index = std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
            std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
    bytes += 4;
  }
  return 0;
}

std::uint32_t getHDPathIndex(const hd_path_param& record, std::uint32_t level) {
  return record.indexes[std::min(level, kLevels - 1)];
}
