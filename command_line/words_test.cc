#include "command_line/words.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vam {
namespace {

TEST(WordsTest, OneLine_PrintableText_IsUnchanged) {
  EXPECT_EQ(OneLine("a b\\c 'd' \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80"),
            "a b\\c 'd' \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80");
}

struct EscapedRow {
  const char* name;
  std::string text;
  const char* line;
};

TEST(WordsTest, OneLine_WhatATerminalWouldActOn_IsEscaped) {
  const EscapedRow rows[] = {
      {"newline", "a\nb", "a\\x0ab"},
      {"zero", std::string("a\0b", 3), "a\\x00b"},
      {"escape", "\x1b[2J", "\\x1b[2J"},
      {"delete", "\x7f", "\\x7f"},
      {"control of two bytes", "\xC2\x9B", "\\xc2\\x9b"},
      {"lone byte", "\xFF", "\\xff"},
      {"cut character", "\xE2\x82", "\\xe2\\x82"},
      {"overlong", "\xC0\xAF", "\\xc0\\xaf"},
      {"overlong of three", "\xE0\x80\xAF", "\\xe0\\x80\\xaf"},
      {"surrogate", "\xED\xA0\x80", "\\xed\\xa0\\x80"},
      {"too large", "\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
      {"right to left", "\xE2\x80\xAE", "\\xe2\\x80\\xae"},
      {"second starts anew", "\xC3\xC3\xA4", "\\xc3\xC3\xA4"},
  };
  for (const EscapedRow& row : rows) {
    EXPECT_EQ(OneLine(row.text), row.line) << row.name;
  }
}

TEST(WordsTest, Quoted_LongWord_IsCutBetweenCharacters) {
  EXPECT_EQ(Quoted(""), "''");
  EXPECT_EQ(Quoted(std::string(100, 'x')), "'" + std::string(100, 'x') + "'");
  EXPECT_EQ(Quoted(std::string(101, 'x')), "'" + std::string(100, 'x') + "...'");
  EXPECT_EQ(Quoted(std::string(99, 'x') + "\xE2\x82\xAC"), "'" + std::string(99, 'x') + "...'");
}

struct ClosestRow {
  const char* word;
  const char* closest;
};

TEST(WordsTest, Closest_IsWhatWasMeant) {
  const std::vector<std::string> commands = {"get-info",  "get-app-info", "get-fw-info",
                                             "update-fw", "verdict",      "run"};
  const ClosestRow rows[] = {
      {"verdcit", "verdict"},
      {"verdic", "verdict"},
      {"verdicts", "verdict"},
      {"vredict", "verdict"},
      {"get-inof", "get-info"},
      {"get-fw", "get-fw-info"},
      {"upd", "update-fw"},
      {"rnu", "run"},
      {"rum", "run"},
      {"get-", ""},
      {"xyz", ""},
      {"", ""},
      {"ru", ""},
      {"bogus", ""},
  };
  for (const ClosestRow& row : rows) {
    EXPECT_EQ(Closest(row.word, commands), row.closest) << row.word;
  }
}

TEST(WordsTest, Closest_HugeWord_IsNothing) {
  EXPECT_EQ(Closest(std::string(100000, 'x'), {"verdict"}), "");
}

TEST(WordsTest, Suggestion_AsksOnlyWithACandidate) {
  EXPECT_EQ(Suggestion("verdcit", {"verdict"}), "; did you mean verdict?");
  EXPECT_EQ(Suggestion("bogus", {"verdict"}), "");
}

}  // namespace
}  // namespace vam
