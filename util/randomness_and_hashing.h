#ifndef UTIL_RANDOMNESS_AND_HASHING_H_
#define UTIL_RANDOMNESS_AND_HASHING_H_

#include <cstdint>

// Random bytes and SHA-256, both of OpenSSL's libcrypto. Nothing is thrown but std::bad_alloc.

/// Fills `buffer` with `count` random bytes, fit for keys. Prints "Data successfully generated" and
/// returns 0; or, where libcrypto has no randomness to give, prints "Data generation error!" and
/// returns -1, with what `buffer` holds then left open. A `count` of 0 asks libcrypto all the same.
[[nodiscard]] std::int32_t GetRandomBytes(unsigned char* buffer, std::uint32_t count);

/// Writes the SHA-256 (FIPS 180-4) of `dataLength` bytes at `data` to the first 32 bytes of
/// `output`, sets `*outputLength`, which says how many bytes `output` has, to 32, and returns 1.
///
/// Returns 0, with `output` and `*outputLength` untouched, for a null `data`, a `dataLength` of 0,
/// a null `output` or an `*outputLength` below 32. Prints nothing.
/// REQUIRES: `outputLength` is not null.
[[nodiscard]] std::int32_t GetSHA256Hash(const unsigned char* data, std::uint32_t dataLength,
                                         unsigned char* output, std::uint32_t* outputLength);

#endif  // UTIL_RANDOMNESS_AND_HASHING_H_
