#ifndef UTIL_SIGNATURES_AND_KEY_PATHS_H_
#define UTIL_SIGNATURES_AND_KEY_PATHS_H_

#include <cstdint>

// ECDSA signatures of a 256-bit curve in their raw form, and paths of hierarchical-deterministic
// keys. Nothing here prints or throws.

/// A key path: one index a level, in host order. No bit is interpreted; a mark of hardened
/// derivation passes through as part of its index.
struct hd_path_param {
  std::uint32_t indexes[5];
};

/// Converts the ECDSA signature in the `derLength` bytes at `der` from its DER form (X.690; r and s
/// as in RFC 3279's Ecdsa-Sig-Value) to 64 bytes at `raw`: r, then s, each 32 bytes with the most
/// significant one first. Sets `*rawLength`, which says how many bytes `raw` has, to 64 and returns
/// 0. Reads nothing behind `derLength`; a byte that is missing fails the check that needs it.
/// `raw` may overlap `der`.
///
/// The sequence's length is only bounded and bytes behind s are ignored. The first byte of a
/// 33-byte integer, where the encoding puts a zero, is dropped whatever it is. Otherwise returns
/// the code of the first check that failed, with `raw` and `*rawLength` untouched:
/// - -1: more than 72 bytes, no sequence, or its length above 70
/// - -2: r is no integer
/// - -3: r does not leave room for the head of s
/// - -4: r has more than 33 bytes
/// - -5: s is no integer
/// - -6: s does not end within the signature
/// - -7: s has more than 33 bytes
/// - -8: `*rawLength` is below 64
[[nodiscard]] std::int32_t ecSignature_der_to_raw(const unsigned char* der, std::uint32_t derLength,
                                                  unsigned char* raw, std::uint32_t* rawLength);

/// Reads a key path from its 20 bytes, five indexes from level 0 on, each with its most significant
/// byte first, into `*record` and returns 0. Returns -1 and writes nothing when `length` is not 20
/// or `record` is null.
/// REQUIRES: `buffer` is not null when `length` is 20.
[[nodiscard]] std::int32_t BufferToHdParamS(const void* buffer, std::uint32_t length,
                                            hd_path_param* record);

/// Returns the index at `level`; that of level 4 for every level above.
std::uint32_t getHDPathIndex(const hd_path_param& record, std::uint32_t level);

#endif  // UTIL_SIGNATURES_AND_KEY_PATHS_H_
