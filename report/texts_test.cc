#include "report/texts.h"

#include <gtest/gtest.h>

#include <string>

namespace vam {
namespace {

TEST(PrintableTest, KeepsWhatATerminalShows) {
  EXPECT_EQ(Printable(""), "");
  EXPECT_EQ(Printable(" ~1.1,04/7,X\""), " ~1.1,04/7,X\"");
}

TEST(PrintableTest, EscapesTheRest) {
  EXPECT_EQ(Printable(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(Printable("\x1b[2J\x7f\x80\xff\t\r\n\\"),
            "\\x1b[2J\\x7f\\x80\\xff\\x09\\x0d\\x0a\\x5c");
}

TEST(PrintableTest, CutsLongText) {
  EXPECT_EQ(Printable(std::string(200, 'm')), std::string(200, 'm'));
  EXPECT_EQ(Printable(std::string(201, 'm')), std::string(200, 'm') + "...");
}

}  // namespace
}  // namespace vam
