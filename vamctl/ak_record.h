#ifndef VAMCTL_AK_RECORD_H_
#define VAMCTL_AK_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// AK records as the user gives them. A record is opaque bytes; whether it is one is the trusted
// application's verdict. Failures are std::runtime_error with a line for the user, which never
// shows what the record holds.

namespace vam {

/// Size in bytes of the block that carries a request. A record of this size or above does not fit
/// it, the marshaller's encoding included; how much below fits is the marshaller's business.
constexpr std::size_t kBlockSize = 8192;

/// Returns the bytes of the file `path`, which may be empty. Throws for one that cannot be read
/// and for one of more than kBlockSize bytes, of which no more is read.
[[nodiscard]] std::vector<std::uint8_t> ReadAkRecord(const std::string& path);

/// Returns the bytes of `digits`, hexadecimal digits of either case, two a byte and without
/// anything between them. Throws for other text and for more than kBlockSize bytes.
[[nodiscard]] std::vector<std::uint8_t> DecodeAkRecord(const std::string& digits);

}  // namespace vam

#endif  // VAMCTL_AK_RECORD_H_
