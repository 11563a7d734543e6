#include "command_line/values.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

#include "command_line/words.h"

namespace vam {

std::optional<std::int64_t> WholeNumber(const std::string& text, std::int64_t least,
                                        std::int64_t most) {
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const std::from_chars_result read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end || number < least || number > most) {
    return std::nullopt;
  }
  return number;
}

void TakeNumber(CLI::Option* option, std::int64_t least, std::int64_t most) {
  option->type_name("NUMBER");
  option->transform(CLI::Validator(
      [least, most](std::string& text) {
        const std::optional<std::int64_t> number = WholeNumber(text, least, most);
        if (!number) {
          return Quoted(text) + " is no whole number from " + std::to_string(least) + " to " +
                 std::to_string(most);
        }
        // The parser would read leading zeros as octal.
        text = std::to_string(*number);
        return std::string();
      },
      ""));
}

void TakeNamed(CLI::Option* option, const char* type) {
  option->type_name(type);
  option->check(
      [](const std::string& text) { return text.empty() ? "the name is empty" : std::string(); },
      "");
}

}  // namespace vam
