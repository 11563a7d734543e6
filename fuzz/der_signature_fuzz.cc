// Converts arbitrary bytes as a signature. The first byte is the output's size. When libcrypto
// accepts the bytes as a DER signature with components of 32 bytes at most, the result must be the
// one that libcrypto pads.

#include <openssl/bn.h>
#include <openssl/ecdsa.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "util/signatures_and_key_paths.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kGuard = 0xA5;
constexpr std::size_t kRawSize = 64;

/// Returns the raw form if `der` is a whole signature in DER, with two components that are not
/// negative and not longer than 32 bytes.
std::optional<Bytes> LibcryptoRaw(const Bytes& der) {
  const unsigned char* end = der.data();
  const std::unique_ptr<ECDSA_SIG, void (*)(ECDSA_SIG*)> signature(
      d2i_ECDSA_SIG(nullptr, &end, static_cast<long>(der.size())), ECDSA_SIG_free);
  if (!signature) {
    return std::nullopt;
  }
  const BIGNUM* r = nullptr;
  const BIGNUM* s = nullptr;
  ECDSA_SIG_get0(signature.get(), &r, &s);
  if (BN_is_negative(r) != 0 || BN_is_negative(s) != 0) {
    return std::nullopt;
  }
  // libcrypto also reads forms that are not DER, but writes them differently.
  Bytes rewritten(static_cast<std::size_t>(i2d_ECDSA_SIG(signature.get(), nullptr)));
  unsigned char* rewrittenEnd = rewritten.data();
  i2d_ECDSA_SIG(signature.get(), &rewrittenEnd);
  Bytes raw(kRawSize);
  if (rewritten != der || BN_bn2binpad(r, raw.data(), kRawSize / 2) < 0 ||
      BN_bn2binpad(s, raw.data() + kRawSize / 2, kRawSize / 2) < 0) {
    return std::nullopt;
  }
  return raw;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const Bytes der(data + 1, data + size);
  const std::uint32_t rawSize = data[0];
  Bytes raw(rawSize, kGuard);
  std::uint32_t rawLength = rawSize;
  const std::int32_t result = ecSignature_der_to_raw(
      der.data(), static_cast<std::uint32_t>(der.size()), raw.data(), &rawLength);

  vam::Require(result <= 0 && result >= -8);
  if (result != 0) {
    vam::Require(rawLength == rawSize && raw == Bytes(rawSize, kGuard));
  } else {
    vam::Require(rawLength == kRawSize && rawSize >= kRawSize);
    vam::Require(std::all_of(raw.begin() + kRawSize, raw.end(),
                             [](std::uint8_t byte) { return byte == kGuard; }));
    raw.resize(kRawSize);
  }
  if (const std::optional<Bytes> expected = LibcryptoRaw(der)) {
    vam::Require(rawSize < kRawSize ? result == -8 : result == 0 && raw == *expected);
  }
  return 0;
}
