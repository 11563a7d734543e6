#include "journal/sha256.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include "journal/journal_text.h"

namespace vam {

namespace {

constexpr std::size_t kBlock = 64;
constexpr std::size_t kLengthField = 8;
constexpr std::size_t kWords = 8;

constexpr std::uint32_t kStart[kWords] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                          0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

constexpr std::uint32_t kRounds[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

std::uint32_t Rotated(std::uint32_t word, unsigned count) {
  return word >> count | word << (32 - count);
}

/// Takes one block of 64 bytes into `state`.
void Compress(std::uint32_t (&state)[kWords], const std::uint8_t* block) {
  std::uint32_t words[64];
  for (std::size_t i = 0; i < 16; ++i) {
    const std::uint8_t* byte = block + 4 * i;
    words[i] = std::uint32_t{byte[0]} << 24 | std::uint32_t{byte[1]} << 16 |
               std::uint32_t{byte[2]} << 8 | std::uint32_t{byte[3]};
  }
  for (std::size_t i = 16; i < 64; ++i) {
    const std::uint32_t early = words[i - 15];
    const std::uint32_t late = words[i - 2];
    words[i] = words[i - 16] + (Rotated(early, 7) ^ Rotated(early, 18) ^ early >> 3) +
               words[i - 7] + (Rotated(late, 17) ^ Rotated(late, 19) ^ late >> 10);
  }
  std::uint32_t v[kWords];
  std::memcpy(v, state, sizeof v);
  for (std::size_t i = 0; i < 64; ++i) {
    const std::uint32_t chosen = (v[4] & v[5]) ^ (~v[4] & v[6]);
    const std::uint32_t first = v[7] + (Rotated(v[4], 6) ^ Rotated(v[4], 11) ^ Rotated(v[4], 25)) +
                                chosen + kRounds[i] + words[i];
    const std::uint32_t majority = (v[0] & v[1]) ^ (v[0] & v[2]) ^ (v[1] & v[2]);
    const std::uint32_t second =
        (Rotated(v[0], 2) ^ Rotated(v[0], 13) ^ Rotated(v[0], 22)) + majority;
    std::memmove(v + 1, v, 7 * sizeof v[0]);
    v[4] += first;
    v[0] = first + second;
  }
  std::transform(v, v + kWords, state, state, std::plus<>());
}

void PutBigEndian(std::uint64_t number, std::size_t size, std::uint8_t* bytes) {
  for (std::size_t i = size; i > 0; --i) {
    bytes[i - 1] = static_cast<std::uint8_t>(number);
    number >>= 8;
  }
}

}  // namespace

std::string Sha256InHex(const void* bytes, std::size_t count) {
  std::uint32_t state[kWords];
  std::memcpy(state, kStart, sizeof state);
  const auto* next = static_cast<const std::uint8_t*>(bytes);
  std::size_t left = count;
  for (; left >= kBlock; left -= kBlock, next += kBlock) {
    Compress(state, next);
  }
  // What is left, a bit that ends it, zeros, and the number of bits: one block or two.
  std::uint8_t last[2 * kBlock] = {};
  if (left > 0) {
    std::memcpy(last, next, left);
  }
  last[left] = 0x80;
  const std::size_t size = left + 1 + kLengthField <= kBlock ? kBlock : 2 * kBlock;
  PutBigEndian(std::uint64_t{count} * 8, kLengthField, last + size - kLengthField);
  for (std::size_t i = 0; i < size; i += kBlock) {
    Compress(state, last + i);
  }
  std::uint8_t digest[4 * kWords];
  for (std::size_t i = 0; i < kWords; ++i) {
    PutBigEndian(state[i], 4, digest + 4 * i);
  }
  return InHexadecimal(digest, sizeof digest);
}

}  // namespace vam
