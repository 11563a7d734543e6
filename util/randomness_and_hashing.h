#ifndef UTIL_RANDOMNESS_AND_HASHING_H_
#define UTIL_RANDOMNESS_AND_HASHING_H_

#include <cstdint>

// Random bytes and SHA-256, both of OpenSSL's libcrypto. Nothing is thrown but std::bad_alloc.

/// Fills `buffer` with `count` random bytes, fit for keys, prints "Data successfully generated" and
/// returns 0. When libcrypto fails, prints "Data generation error!" and returns -1; `buffer` may
/// then hold anything. libcrypto is asked even for a `count` of 0.
[[nodiscard]] std::int32_t GetRandomBytes(unsigned char* buffer, std::uint32_t count);

/// Writes the SHA-256 (FIPS 180-4) of the `dataLength` bytes at `data` to the first 32 bytes of
/// `output`. `*outputLength` is the size of `output`; sets it to 32 and returns 1.
///
/// A null `data`, a `dataLength` of 0, a null `output` or an `*outputLength` below 32 returns 0 and
/// changes nothing. Prints nothing.
/// REQUIRES: `outputLength` is not null.
[[nodiscard]] std::int32_t GetSHA256Hash(const unsigned char* data, std::uint32_t dataLength,
                                         unsigned char* output, std::uint32_t* outputLength);

#endif  // UTIL_RANDOMNESS_AND_HASHING_H_
