#ifndef UTIL_TEXT_CONVERSIONS_H_
#define UTIL_TEXT_CONVERSIONS_H_

#include <cstdint>
#include <string>

// Turns bytes into Base64 and hexadecimal text, and hexadecimal text into bytes. Sizes and lengths
// are in bytes; no text has a terminating zero byte of its own. A function that returns a text
// cannot fail. A function that fills a caller's buffer returns 0 on success and -1 on failure.
// Nothing is thrown but std::bad_alloc.

/// Returns the standard Base64 form (RFC 4648, section 4) of `length` bytes, padded with "=" and
/// without line breaks.
std::string base64_encode(const char* bytes, std::uint32_t length);

/// Returns the bytes of `text` in lower-case hexadecimal, without leading zeros. 0x00 to 0x0f take
/// one digit and 0x10 to 0x7f two. 0x80 to 0xff are widened as signed values and take the eight
/// digits ffffff80 to ffffffff. Such text cannot be decoded without ambiguity.
std::string string_to_hex_string(std::string text);

/// Returns `length` bytes in lower-case hexadecimal, two digits for each byte. For a `length` of 0,
/// or of 2^31 and above (negative as a signed value), returns an empty string and does not read
/// `bytes`.
std::string uint8_to_hex_string(const std::uint8_t* bytes, std::uint32_t length);

/// The same as uint8_to_hex_string().
std::string unsigned_char_to_hex_string(const unsigned char* bytes, std::uint32_t length);

/// Decodes `hexLength` hexadecimal digits of either case into `output`, each byte's high digit
/// first. `*outputLength` is the size of `output`; sets it to the number of bytes. Prints nothing.
///
/// When `hexLength` is odd or `output` is too small, returns -1 and changes nothing. Also returns
/// -1 at the first character that is not a digit. `*outputLength` is then set, and `output` holds
/// the bytes before that character; when the character stands for a low digit, also the byte's high
/// half.
[[nodiscard]] std::int32_t hex_str_2_bin(std::uint8_t* output, const char* hexText,
                                         std::uint32_t* outputLength, std::uint32_t hexLength);

/// Decodes hexadecimal text of exactly twice `outputSize` digits into `output`, as hex_str_2_bin()
/// does. Writes `output` only when all of the text is valid; otherwise returns -1 and prints
/// - "out_size too small", directly followed by `outputSize`, when `outputSize` is below half of
///   `hexLength` (rounded down);
/// - "hex_str_2_bin error" when `hexLength` is odd or a character is not a digit;
/// - "temp_buffer_size error" when the text decodes to fewer bytes than `outputSize`.
[[nodiscard]] std::int32_t create_vam_data(std::uint8_t* output, std::uint32_t outputSize,
                                           const char* hexText, std::uint32_t hexLength);

#endif  // UTIL_TEXT_CONVERSIONS_H_
