#include "tests/support/outcome.h"

#include <charconv>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "tests/support/process.h"

namespace vam {

namespace {

constexpr char kConsole[] = "== Console";
constexpr char kStatus[] = "== Exit status: ";
constexpr char kOkFile[] = "== /tmp/VAM_OK";
constexpr char kErrorFile[] = "== /tmp/VAM_FAIL";
constexpr char kNoNewline[] = "\\ No newline at the end";

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

/// Reads the lines of the form one after the other.
class Lines {
 public:
  explicit Lines(const std::string& form) : text(form) { Next(); }

  bool AtEnd() const { return atEnd; }
  const std::string& Line() const { return line; }

  void Next() {
    atEnd = position == text.size();
    if (atEnd) {
      return;
    }
    ++number;
    const std::size_t end = text.find('\n', position);
    if (end == std::string::npos) {
      Refuse("the line has no end");
    }
    line = text.substr(position, end - position);
    position = end + 1;
  }

  [[noreturn]] void Refuse(const std::string& why) const {
    throw std::runtime_error("line " + std::to_string(number) + ": " + why);
  }

 private:
  const std::string& text;
  std::size_t position = 0;
  int number = 0;
  std::string line;
  bool atEnd = false;
};

/// Reads the section with that title; none where another one stands.
std::optional<std::string> Section(Lines& lines, const char* title) {
  if (lines.AtEnd() || lines.Line() != title) {
    return std::nullopt;
  }
  std::string contents;
  for (lines.Next(); !lines.AtEnd() && !StartsWith(lines.Line(), "=="); lines.Next()) {
    const std::string& line = lines.Line();
    if (line == kNoNewline && !contents.empty()) {
      contents.pop_back();
      lines.Next();
      break;
    }
    const bool escaped = StartsWith(line, "\\\\") || StartsWith(line, "\\==");
    if (!escaped && StartsWith(line, "\\")) {
      lines.Refuse("the backslash stands for nothing");
    }
    contents += line.substr(escaped ? 1 : 0) + "\n";
  }
  return contents;
}

int Status(Lines& lines) {
  const std::string& line = lines.Line();
  if (lines.AtEnd() || !StartsWith(line, kStatus)) {
    lines.Refuse("the exit status is missing");
  }
  int status = 0;
  const char* const end = line.data() + line.size();
  const auto read = std::from_chars(line.data() + sizeof kStatus - 1, end, status);
  if (read.ec != std::errc() || read.ptr != end) {
    lines.Refuse("the exit status is no number");
  }
  lines.Next();
  return status;
}

}  // namespace

Outcome ParseOutcome(const std::string& text) {
  Lines lines(text);
  Outcome outcome;
  const std::optional<std::string> console = Section(lines, kConsole);
  if (!console) {
    lines.Refuse("the console is missing");
  }
  outcome.console = *console;
  outcome.status = Status(lines);
  outcome.okFile = Section(lines, kOkFile);
  outcome.errorFile = Section(lines, kErrorFile);
  if (!lines.AtEnd()) {
    lines.Refuse("nothing belongs here");
  }
  return outcome;
}

Outcome ExpectedOutcome(const std::string& board) {
  const std::string file = std::string(VAM_EXPECTATIONS) + "/" + board + ".txt";
  const std::optional<std::string> text = ReadFile(file);
  if (!text) {
    throw std::runtime_error(file + " is missing; scripts/draft-expectation makes a draft");
  }
  try {
    return ParseOutcome(*text);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file + ": " + error.what());
  }
}

}  // namespace vam
