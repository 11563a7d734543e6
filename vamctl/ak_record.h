#ifndef VAMCTL_AK_RECORD_H_
#define VAMCTL_AK_RECORD_H_

#include <cstdint>
#include <string>
#include <vector>

// AK records as the user gives them. A record is opaque bytes, which the trusted application
// judges. One larger than the block that carries a request is refused here. How much of the block
// the marshaller leaves to a record only the marshaller knows. Failures are std::runtime_error with
// a line for the user, which never shows what the record holds.

namespace vam {

/// Returns the bytes of the file `path`, or of standard input, which may be empty. Throws for a
/// file that cannot be read and for a file of more than kSharedBlockSize bytes, of which it reads
/// no more.
[[nodiscard]] std::vector<std::uint8_t> ReadAkRecord(const std::string& path);

/// Returns the bytes of `digits`, hexadecimal digits of either case, two a byte and without
/// anything between them. Throws for other text and for more than kSharedBlockSize bytes.
[[nodiscard]] std::vector<std::uint8_t> DecodeAkRecord(const std::string& digits);

}  // namespace vam

#endif  // VAMCTL_AK_RECORD_H_
