#include "report/texts.h"

#include <gtest/gtest.h>

#include <string>

namespace vam {
namespace {

TEST(Printable, PrintableAscii_IsKept) {
  EXPECT_EQ(Printable(""), "");
  EXPECT_EQ(Printable(" ~1.1,04/7,X\""), " ~1.1,04/7,X\"");
}

TEST(Printable, OtherBytes_AreEscaped) {
  EXPECT_EQ(Printable(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(Printable("\x1b[2J\x7f\x80\xff\t\r\n\\"),
            "\\x1b[2J\\x7f\\x80\\xff\\x09\\x0d\\x0a\\x5c");
}

TEST(Escaped, LongText_IsWhole) {
  EXPECT_EQ(Escaped("\n" + std::string(100000, 'm')), "\\x0a" + std::string(100000, 'm'));
}

TEST(Printable, LongText_IsCutAfter200Bytes) {
  EXPECT_EQ(Printable(std::string(200, 'm')), std::string(200, 'm'));
  EXPECT_EQ(Printable(std::string(201, 'm')), std::string(200, 'm') + "...");
  EXPECT_EQ(Printable(std::string(199, 'm') + "\n\n"), std::string(199, 'm') + "\\x0a...");
}

}  // namespace
}  // namespace vam
