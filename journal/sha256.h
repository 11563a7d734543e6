#ifndef JOURNAL_SHA256_H_
#define JOURNAL_SHA256_H_

#include <cstddef>
#include <string>

namespace vam {

/// Returns the SHA-256 digest of `count` bytes as 64 hexadecimal digits. The recorder runs on
/// devices whose programs do not link libcrypto, so it cannot take the digest from there.
[[nodiscard]] std::string Sha256InHex(const void* bytes, std::size_t count);

}  // namespace vam

#endif  // JOURNAL_SHA256_H_
