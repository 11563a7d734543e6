#ifndef UTIL_TEXT_CONVERSIONS_H_
#define UTIL_TEXT_CONVERSIONS_H_

#include <cstdint>
#include <string>

// Bytes as Base64 and hexadecimal text, and back from hexadecimal text. Sizes and lengths are in
// bytes; texts have no terminating zero byte of their own. What returns a text cannot fail; what
// fills a caller's buffer returns 0 on success and -1 on failure. Nothing is thrown but
// std::bad_alloc.

/// Returns the standard Base64 form (RFC 4648, section 4) of `length` bytes, padded with "=" and
/// without line breaks.
std::string base64_encode(const char* bytes, std::uint32_t length);

/// Returns the bytes of `text` in lower-case hexadecimal, as many digits each as its value takes:
/// 0x00 to 0x0f one, 0x10 to 0x7f two, and 0x80 to 0xff, which are widened as signed values, the
/// eight digits ffffff80 to ffffffff. Such text cannot be decoded back unambiguously.
std::string string_to_hex_string(std::string text);

/// Returns `length` bytes in lower-case hexadecimal, two digits a byte. A `length` of 0 or of 2^31
/// and above (negative as a signed value) gives an empty string without a look at `bytes`.
std::string uint8_to_hex_string(const std::uint8_t* bytes, std::uint32_t length);

/// The same as uint8_to_hex_string().
std::string unsigned_char_to_hex_string(const unsigned char* bytes, std::uint32_t length);

/// Decodes `hexLength` hexadecimal digits of either case, the high one of a byte first, into
/// `output`, whose size is `*outputLength`, and sets `*outputLength` to the number of bytes.
///
/// Returns -1 and changes nothing when `hexLength` is odd or `output` is too small. Returns -1 at
/// the first character that is no digit: `*outputLength` is set, the bytes before stand in
/// `output`, and so does the high half of a byte whose low digit was wrong. Prints nothing.
[[nodiscard]] std::int32_t hex_str_2_bin(std::uint8_t* output, const char* hexText,
                                         std::uint32_t* outputLength, std::uint32_t hexLength);

/// Decodes hexadecimal text of exactly twice `outputSize` digits, as hex_str_2_bin() does, into
/// `output`, which is written only when all of it is valid. Otherwise returns -1 and prints
/// - "out_size too small" and `outputSize` behind it, without a space, when that is below half of
///   `hexLength` (rounded down);
/// - "hex_str_2_bin error" when `hexLength` is odd or a character is no digit;
/// - "temp_buffer_size error" when the text decodes to fewer bytes than `outputSize`.
[[nodiscard]] std::int32_t create_vam_data(std::uint8_t* output, std::uint32_t outputSize,
                                           const char* hexText, std::uint32_t hexLength);

#endif  // UTIL_TEXT_CONVERSIONS_H_
