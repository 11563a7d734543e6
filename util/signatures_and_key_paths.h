#ifndef UTIL_SIGNATURES_AND_KEY_PATHS_H_
#define UTIL_SIGNATURES_AND_KEY_PATHS_H_

#include <cstdint>

// ECDSA signatures of a 256-bit curve in their raw form, and paths of hierarchical-deterministic
// keys. Nothing here prints or throws.

/// A key path: an index for each level, in host order. No bit is interpreted. A mark of hardened
/// derivation is kept as part of its index.
struct hd_path_param {
  std::uint32_t indexes[5];
};

/// Converts the ECDSA signature in the `derLength` bytes at `der` from its DER form (X.690; r and s
/// as in RFC 3279's Ecdsa-Sig-Value) to 64 bytes at `raw`: r, then s, each of 32 bytes, the most
/// significant byte first. `*rawLength` is the size of `raw`; sets it to 64 and returns 0. Never
/// reads past `derLength`: a missing byte fails the check that needs it. `raw` may overlap `der`.
///
/// The sequence's length is checked against its limit only, and bytes after s are ignored. The
/// first byte of a 33-byte integer is dropped unread; the encoding puts a zero there. On failure
/// `raw` and `*rawLength` are untouched, and the result is the code of the first check that failed:
/// - -1: the signature has more than 72 bytes, or is not a sequence, or its length is above 70
/// - -2: r is not an integer
/// - -3: r leaves no room for the type and length of s
/// - -4: r has more than 33 bytes
/// - -5: s is not an integer
/// - -6: s does not end within the signature
/// - -7: s has more than 33 bytes
/// - -8: `*rawLength` is below 64
[[nodiscard]] std::int32_t ecSignature_der_to_raw(const unsigned char* der, std::uint32_t derLength,
                                                  unsigned char* raw, std::uint32_t* rawLength);

/// Reads a key path of 20 bytes into `*record` and returns 0: five indexes from level 0 on, each
/// with its most significant byte first. When `length` is not 20 or `record` is null, returns -1
/// and writes nothing. REQUIRES: `buffer` is not null when `length` is 20.
[[nodiscard]] std::int32_t BufferToHdParamS(const void* buffer, std::uint32_t length,
                                            hd_path_param* record);

/// Returns the index at `level`. Every level above 4 counts as 4.
std::uint32_t getHDPathIndex(const hd_path_param& record, std::uint32_t level);

#endif  // UTIL_SIGNATURES_AND_KEY_PATHS_H_
