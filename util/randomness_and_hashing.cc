#include "util/randomness_and_hashing.h"

#include <openssl/rand.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstdint>
#include <limits>

#include "util/console_line.h"

std::int32_t GetRandomBytes(unsigned char* buffer, std::uint32_t count) {
  // libcrypto counts in int.
  constexpr std::uint32_t kMostAtOnce = std::numeric_limits<int>::max();
  do {
    const std::uint32_t part = std::min(count, kMostAtOnce);
    if (RAND_bytes(buffer, static_cast<int>(part)) != 1) {
      vam::PrintLine("Data generation error!");
      return -1;
    }
    buffer += part;
    count -= part;
  } while (count > 0);
  vam::PrintLine("Data successfully generated");
  return 0;
}

std::int32_t GetSHA256Hash(const unsigned char* data, std::uint32_t dataLength,
                           unsigned char* output, std::uint32_t* outputLength) {
  if (data == nullptr || dataLength == 0 || output == nullptr ||
      *outputLength < SHA256_DIGEST_LENGTH) {
    return 0;
  }
  SHA256_CTX context;
  SHA256_Init(&context);
  SHA256_Update(&context, data, dataLength);
  SHA256_Final(output, &context);
  *outputLength = SHA256_DIGEST_LENGTH;
  return 1;
}
