#include "journal/journal_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace vam {
namespace {

TEST(JournalTextTest, EveryByte_ComesBackFromItsText) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (int byte = 0; byte < 256; ++byte) {
    const std::string bytes(1, static_cast<char>(byte));
    const bool standsForItself = byte >= 0x20 && byte <= 0x7E && byte != '"' && byte != '\\';
    const std::string escape = std::string("\\u00") + kDigits[byte / 16] + kDigits[byte % 16];
    EXPECT_EQ(QuotedText(bytes), "\"" + (standsForItself ? bytes : escape) + "\"") << byte;
    EXPECT_EQ(InHexadecimal(bytes.data(), 1), escape.substr(4)) << byte;
  }
}

TEST(JournalTextTest, Numbers_AreInDecimal) {
  EXPECT_EQ(InDecimal(0), "0");
  EXPECT_EQ(InDecimal(INT64_MIN), "-9223372036854775808");
  EXPECT_EQ(InDecimal(INT64_MAX), "9223372036854775807");
}

TEST(JournalTextTest, NoBytes_AreNoDigits) {
  EXPECT_EQ(InHexadecimal("", 0), "");
  EXPECT_EQ(InHexadecimal("\x00\x1f\xff", 3), "001fff");
}

}  // namespace
}  // namespace vam
