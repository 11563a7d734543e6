#include "simulator/board/board_section.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/board/board.h"

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 1
#include <toml++/toml.h>

namespace vam {

namespace {

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string InWords(NumberRange range) {
  return "a whole number from " + std::to_string(range.least) + " to " + std::to_string(range.most);
}

bool IsHex(const std::string& text) {
  return text.size() % 2 == 0 && text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
}

/// Returns where the text, in quotes, that begins at `start` ends, or the line does; of a text in
/// three quotes that has no end, the end of `file`.
std::size_t EndOfText(std::string_view file, std::size_t start) {
  const char quote = file[start];
  const bool hasLines = file.substr(start, 3) == std::string(3, quote);
  const std::string quotes(hasLines ? 3 : 1, quote);
  for (std::size_t i = start + quotes.size(); i < file.size(); ++i) {
    if (file[i] == '\n' && !hasLines) {
      return i;
    }
    if (file[i] == '\\' && quote == '"') {
      ++i;
    } else if (file.substr(i, quotes.size()) == quotes) {
      // Up to two quotes more belong to a text in three.
      return hasLines ? file.find_first_not_of(quote, i) : i + 1;
    }
  }
  return file.size();
}

/// Returns where `file` begins after a byte order mark.
std::size_t StartOf(std::string_view file) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  return file.substr(0, kByteOrderMark.size()) == kByteOrderMark ? kByteOrderMark.size() : 0;
}

/// Returns where `file` has a character that is not ASCII outside of texts and comments, or npos.
/// TOML has none there, and what the parser does with one is undefined.
std::size_t ForeignCharacter(std::string_view file) {
  std::size_t i = StartOf(file);
  while (i < file.size()) {
    if (file[i] == '"' || file[i] == '\'') {
      i = EndOfText(file, i);
    } else if (file[i] == '#') {
      i = file.find('\n', i);
    } else if ((file[i] & 0x80) != 0) {
      return i;
    } else {
      ++i;
    }
  }
  return std::string_view::npos;
}

/// Returns `file` with two letters of ASCII for each byte that is none.
std::string InAscii(std::string_view file) {
  std::string text;
  for (const char c : file) {
    if ((c & 0x80) == 0) {
      text += c;
    } else {
      text += {static_cast<char>('a' + ((c >> 4) & 0xF)), static_cast<char>('a' + (c & 0xF))};
    }
  }
  return text;
}

}  // namespace

struct BoardSection::Contents {
  std::string file;
  /// As complaints call the table.
  std::string name;
  /// Owns the whole file.
  std::shared_ptr<const toml::table> table;

  [[noreturn]] void Fail(const toml::node& node, const std::string& complaint) const {
    throw BoardError(file + ":" + std::to_string(node.source().begin.line) + ": " + complaint);
  }

  std::int64_t Number(const toml::node& node, const std::string& what, NumberRange range) const {
    const std::optional<std::int64_t> number = node.value_exact<std::int64_t>();
    if (!number || *number < range.least || *number > range.most) {
      Fail(node, what + " must be " + InWords(range));
    }
    return *number;
  }
};

BoardSection BoardSection::Parse(const std::string& text, const std::string& name) {
  const std::size_t foreign = ForeignCharacter(text);
  if (foreign != std::string::npos) {
    const auto line =
        std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(foreign), '\n');
    throw BoardError(name + ":" + std::to_string(line + 1) +
                     ": not a TOML file: only texts in quotes and comments have letters that are "
                     "not ASCII");
  }
  try {
    const std::string_view letters = std::string_view(text).substr(StartOf(text));
    const std::string ascii = InAscii(letters);
    if (ascii != letters) {
      // An error elsewhere would make the parser see texts where ForeignCharacter() saw none.
      static_cast<void>(toml::parse(ascii, name));
    }
    return BoardSection(std::make_shared<Contents>(
        Contents{name, "the file", std::make_shared<toml::table>(toml::parse(text, name))}));
  } catch (const toml::parse_error& error) {
    std::string reason(error.description());
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    throw BoardError(name + ":" + std::to_string(error.source().begin.line) +
                     ": not a TOML file: " + reason);
  }
}

void BoardSection::Allow(std::initializer_list<std::string_view> keys) const {
  for (const auto& [key, node] : *contents->table) {
    if (std::find(keys.begin(), keys.end(), key.str()) == keys.end()) {
      std::string known;
      for (std::string_view each : keys) {
        known += (known.empty() ? "" : ", ") + std::string(each);
      }
      contents->Fail(node, "unknown key " + Quoted(key.str()) + " in " + contents->name +
                               "; known there: " + known);
    }
  }
}

std::vector<std::string> BoardSection::Keys() const {
  std::vector<std::string> keys;
  for (const auto& [key, node] : *contents->table) {
    keys.emplace_back(key.str());
  }
  return keys;
}

bool BoardSection::Has(std::string_view key) const { return contents->table->contains(key); }

bool BoardSection::HoldsNumber(std::string_view key) const {
  return Has(key) && contents->table->get(key)->is_integer();
}

bool BoardSection::HoldsText(std::string_view key) const {
  return Has(key) && contents->table->get(key)->is_string();
}

bool BoardSection::Holds(std::string_view key, std::string_view text) const {
  return HoldsText(key) && Text(key) == text;
}

std::string BoardSection::Text(std::string_view key, const std::string& fallback) const {
  if (!Has(key)) {
    return fallback;
  }
  const std::optional<std::string> text = contents->table->get(key)->value_exact<std::string>();
  if (!text) {
    FailAt(key, Quoted(key) + " must be a text in quotes");
  }
  return *text;
}

std::string BoardSection::Text(std::string_view key, const std::string& fallback,
                               std::size_t mostBytes) const {
  std::string text = Text(key, fallback);
  if (text.size() > mostBytes) {
    FailAt(key, Quoted(key) + " must be at most " + std::to_string(mostBytes) + " bytes long");
  }
  return text;
}

bool BoardSection::Truth(std::string_view key, bool fallback) const {
  if (!Has(key)) {
    return fallback;
  }
  const std::optional<bool> truth = contents->table->get(key)->value_exact<bool>();
  if (!truth) {
    FailAt(key, Quoted(key) + " must be true or false");
  }
  return *truth;
}

std::size_t BoardSection::Choice(std::string_view key,
                                 std::initializer_list<std::string_view> choices) const {
  if (!Has(key)) {
    return 0;
  }
  const auto* const found = std::find(choices.begin(), choices.end(), Text(key));
  if (found == choices.end()) {
    std::string known;
    for (std::string_view choice : choices) {
      known += (known.empty() ? "" : ", ") + Quoted(choice);
    }
    FailAt(key, Quoted(key) + " must be one of " + known);
  }
  return static_cast<std::size_t>(found - choices.begin());
}

std::vector<std::uint8_t> BoardSection::Hex(std::string_view key, std::size_t mostBytes) const {
  const std::string text = Text(key);
  if (!IsHex(text) || text.size() / 2 > mostBytes) {
    FailAt(key, Quoted(key) + " must be at most " + std::to_string(mostBytes) +
                    " bytes in hexadecimal, two digits each");
  }
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

std::int64_t BoardSection::Number(std::string_view key, NumberRange range) const {
  return contents->Number(*contents->table->get(key), Quoted(key), range);
}

std::vector<std::int64_t> BoardSection::Numbers(std::string_view key,
                                                const NumberList& list) const {
  if (!Has(key)) {
    return {};
  }
  const toml::array* elements = contents->table->get(key)->as_array();
  if (elements == nullptr || elements->size() < list.least || elements->size() > list.most) {
    FailAt(key, Quoted(key) + " must be " + list.listInWords);
  }
  std::vector<std::int64_t> numbers;
  for (const toml::node& element : *elements) {
    numbers.push_back(
        contents->Number(element, list.elementInWords + " of " + Quoted(key), list.range));
  }
  return numbers;
}

BoardSection BoardSection::Child(const std::string& key) const {
  const std::string name = "[" + key + "]";
  auto table = std::make_shared<const toml::table>();
  if (Has(key)) {
    const toml::table* found = contents->table->get(key)->as_table();
    if (found == nullptr) {
      FailAt(key, Quoted(key) + " must be a section: " + name);
    }
    table = {contents->table, found};
  }
  return BoardSection(std::make_shared<Contents>(Contents{contents->file, name, table}));
}

std::vector<BoardSection> BoardSection::Children(const std::string& key) const {
  if (!Has(key)) {
    return {};
  }
  const std::string name = "[[" + key + "]]";
  const toml::array* tables = contents->table->get(key)->as_array();
  if (tables == nullptr || !tables->is_array_of_tables()) {
    FailAt(key, key + "s must be written as " + name);
  }
  std::vector<BoardSection> children;
  for (const toml::node& node : *tables) {
    const std::shared_ptr<const toml::table> table(contents->table, node.as_table());
    children.push_back(
        BoardSection(std::make_shared<Contents>(Contents{contents->file, name, table})));
  }
  return children;
}

void BoardSection::Fail(const std::string& complaint) const {
  contents->Fail(*contents->table, complaint);
}

void BoardSection::FailAt(std::string_view key, const std::string& complaint) const {
  if (Has(key)) {
    contents->Fail(*contents->table->get(key), complaint);
  }
  Fail(complaint);
}

}  // namespace vam
