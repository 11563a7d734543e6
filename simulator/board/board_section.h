#ifndef SIMULATOR_BOARD_BOARD_SECTION_H_
#define SIMULATOR_BOARD_BOARD_SECTION_H_

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vam {

/// Numbers that a key takes, both ends included.
struct NumberRange {
  std::int64_t least;
  std::int64_t most;
};

constexpr NumberRange kSigned32 = {std::numeric_limits<std::int32_t>::min(),
                                   std::numeric_limits<std::int32_t>::max()};
constexpr NumberRange kUnsigned32 = {0, std::numeric_limits<std::uint32_t>::max()};
constexpr NumberRange kPositive32 = {1, std::numeric_limits<std::uint32_t>::max()};
/// 32 bits, written with or without a sign.
constexpr NumberRange kAny32 = {std::numeric_limits<std::int32_t>::min(),
                                std::numeric_limits<std::uint32_t>::max()};

/// What a list of numbers must be, and how complaints name the list and its elements.
struct NumberList {
  std::size_t least;
  std::size_t most;
  NumberRange range;
  std::string listInWords;
  std::string elementInWords;
};

/// One table of a board file. What is wrong with a key is thrown as a BoardError: one line with the
/// file, the key's line and what was expected.
class BoardSection {
 public:
  /// Returns the table that is the whole of `text`, a TOML file; `name` stands for the file in
  /// errors.
  static BoardSection Parse(const std::string& text, const std::string& name);

  /// Refuses keys that are not among `keys`.
  void Allow(std::initializer_list<std::string_view> keys) const;

  std::vector<std::string> Keys() const;
  bool Has(std::string_view key) const;
  bool HoldsNumber(std::string_view key) const;
  bool HoldsText(std::string_view key) const;
  /// Returns whether `key` holds this very text.
  bool Holds(std::string_view key, std::string_view text) const;

  /// Return the value of `key`, or `fallback` when it is left out.
  std::string Text(std::string_view key, const std::string& fallback = "") const;
  std::string Text(std::string_view key, const std::string& fallback, std::size_t mostBytes) const;
  bool Truth(std::string_view key, bool fallback) const;

  /// Returns the place of the text of `key` among `choices`; 0 when the key is left out.
  std::size_t Choice(std::string_view key, std::initializer_list<std::string_view> choices) const;

  /// Returns the bytes that `key` gives in hexadecimal; none when it is left out.
  std::vector<std::uint8_t> Hex(std::string_view key, std::size_t mostBytes) const;

  /// Returns the number of `key`. REQUIRES: Has(key).
  std::int64_t Number(std::string_view key, NumberRange range) const;
  /// Returns the numbers of `key`; none when it is left out.
  std::vector<std::int64_t> Numbers(std::string_view key, const NumberList& list) const;

  /// Returns the table under `key`; an empty one when it is left out.
  BoardSection Child(const std::string& key) const;
  /// Returns the tables that are written as [[key]].
  std::vector<BoardSection> Children(const std::string& key) const;

  /// Throws a BoardError with the line of this table.
  [[noreturn]] void Fail(const std::string& complaint) const;
  /// Throws a BoardError with the line of `key`, or of this table when the key is left out.
  [[noreturn]] void FailAt(std::string_view key, const std::string& complaint) const;

 private:
  struct Contents;
  explicit BoardSection(std::shared_ptr<const Contents> table) : contents(std::move(table)) {}

  std::shared_ptr<const Contents> contents;
};

}  // namespace vam

#endif  // SIMULATOR_BOARD_BOARD_SECTION_H_
