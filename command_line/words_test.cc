#include "command_line/words.h"

#include <gtest/gtest.h>

#include <cstdint>
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

/// Returns a character in UTF-8.
std::string InUtf8(std::uint32_t character) {
  const auto tail = [character](unsigned shift) {
    return static_cast<char>(0x80U | ((character >> shift) & 0x3FU));
  };
  if (character < 0x80) {
    return {static_cast<char>(character)};
  }
  if (character < 0x800) {
    return {static_cast<char>(0xC0U | character >> 6U), tail(0)};
  }
  if (character < 0x10000) {
    return {static_cast<char>(0xE0U | character >> 12U), tail(6), tail(0)};
  }
  return {static_cast<char>(0xF0U | character >> 18U), tail(12), tail(6), tail(0)};
}

TEST(WordsTest, OneLine_ShowsUnicodeButForControlsAndWhatTurnsALine) {
  struct Range {
    std::uint32_t first;
    std::uint32_t last;
  };
  // Between them lie the controls, the separators and turns of lines, and the surrogates.
  for (const Range& range : {Range{0x20, 0x7E},
                             {0xA0, 0x2027},
                             {0x202F, 0x2065},
                             {0x206A, 0xD7FF},
                             {0xE000, 0x10FFFF}}) {
    for (const std::uint32_t end : {range.first, range.last}) {
      EXPECT_EQ(OneLine("a" + InUtf8(end) + "b"), "a" + InUtf8(end) + "b") << end;
    }
  }
  for (const std::uint32_t shown : {0x7FFU, 0x800U, 0xFFFU, 0x1000U, 0xFFFFU, 0x10000U, 0x3FFFFU}) {
    EXPECT_EQ(OneLine(InUtf8(shown)), InUtf8(shown)) << shown;
  }
  for (const Range& range : {Range{0, 0x1F},
                             {0x7F, 0x9F},
                             {0x2028, 0x202E},
                             {0x2066, 0x2069},
                             {0xD800, 0xDFFF},
                             {0x110000, 0x13FFFF}}) {
    for (const std::uint32_t end : {range.first, range.last}) {
      const std::string line = OneLine("a" + InUtf8(end) + "b");
      EXPECT_EQ(line.size(), 2 + 4 * InUtf8(end).size()) << end;
      EXPECT_EQ(line.substr(0, 3), "a\\x") << end;
    }
  }
}

TEST(WordsTest, OneLine_BytesThatAreNoCharacter_AreEachEscaped) {
  const EscapedRow rows[] = {
      {"first of no character", "\x80", "\\x80"},
      {"last of no character", "\xBF", "\\xbf"},
      {"overlong of two", "\xC1\xBF", "\\xc1\\xbf"},
      {"overlong of four", "\xF0\x8F\xBF\xBF", "\\xf0\\x8f\\xbf\\xbf"},
      {"beyond the last first byte", "\xF5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
      {"cut after one of four", "\xF0", "\\xf0"},
      {"cut after three of four", "\xF0\x9F\x98", "\\xf0\\x9f\\x98"},
      {"tail that is a letter", "\xE2\x82z", "\\xe2\\x82z"},
      {"tail of another first byte", "\xE2\xC2\xA9", "\\xe2\xC2\xA9"},
  };
  for (const EscapedRow& row : rows) {
    EXPECT_EQ(OneLine(row.text), row.line) << row.name;
  }
}

TEST(WordsTest, Quoted_CutsBeforeACharacterOfAnyLength) {
  const std::string letters(97, 'x');
  EXPECT_EQ(Quoted(letters + "\xF0\x9F\x98\x80"), "'" + letters + "...'");
  EXPECT_EQ(Quoted(letters + "y\xE2\x82\xAC"), "'" + letters + "y...'");
  EXPECT_EQ(Quoted(letters + "yz\xC3\xA4"), "'" + letters + "yz...'");
  EXPECT_EQ(Quoted(letters.substr(1) + "\xF0\x9F\x98\x80z"),
            "'" + letters.substr(1) + "\xF0\x9F\x98\x80...'");
  // Bytes that are no character are cut somewhere.
  std::string escaped;
  for (int i = 0; i < 97; ++i) {
    escaped += "\\x80";
  }
  EXPECT_EQ(Quoted(std::string(101, '\x80')), "'" + escaped + "...'");
}

TEST(WordsTest, Closest_AllowsASlipInThreeLetters) {
  const std::vector<std::string> words = {"abcdefgh"};
  // Two of eight are, three are not.
  EXPECT_EQ(Closest("xxcdefgh", words), "abcdefgh");
  EXPECT_EQ(Closest("xxxdefgh", words), "");
  EXPECT_EQ(Closest("xxxdefghi", words), "") << "four of nine";
  EXPECT_EQ(Closest("abdefgh", words), "abcdefgh");
  EXPECT_EQ(Closest("abccdefghi", words), "abcdefgh");
  EXPECT_EQ(Closest("cdefgh", words), "abcdefgh") << "two of six are missing";
  EXPECT_EQ(Closest("badcefgh", words), "abcdefgh") << "two swaps";
  EXPECT_EQ(Closest("acbdefxh", words), "abcdefgh") << "a swap and a wrong one";
}

TEST(WordsTest, Closest_OfSeveral_IsThatOfTheFewestSlipsOrTheFirst) {
  EXPECT_EQ(Closest("stete", {"statt", "state"}), "state");
  EXPECT_EQ(Closest("stata", {"state", "statt"}), "state");
  EXPECT_EQ(Closest("sta", {"state", "status"}), "") << "two begin so";
  EXPECT_EQ(Closest("stat", {"state", "verdict"}), "state");
  EXPECT_EQ(Closest("state", {"states", "state"}), "state") << "two begin so, one is it";
}

}  // namespace
}  // namespace vam
