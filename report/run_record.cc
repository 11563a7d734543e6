#include "report/run_record.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "report/texts.h"

namespace vam {

namespace {

// Arrays, not pointers: nothing to relocate.
constexpr char kOutcomeNames[][18] = {"verified",         "not verified",  "no VAM",
                                      "not implemented",  "update failed", "interrupted",
                                      "files not written"};

/// A record's text, either written from the record or read into it. The form stands once, in the
/// functions below: each hands over the values in their order, and this class knows the direction.
class RecordText {
 public:
  /// Writes.
  RecordText() : isRead(false) {}
  /// Reads `json`.
  explicit RecordText(const std::string& json) : text(json), isRead(true) {}

  [[nodiscard]] bool IsRead() const { return isRead; }
  /// Whether everything came as expected, and nothing follows.
  [[nodiscard]] bool IsWhole() const { return !failed && position == text.size(); }
  [[nodiscard]] const std::string& Written() const { return text; }

  void Literal(const char* literal) {
    if (!isRead) {
      text += literal;
    } else if (!Skip(literal)) {
      failed = true;
    }
  }

  void Number(std::int64_t& number) {
    if (!isRead) {
      text += Formatted("%lld", static_cast<long long>(number));
      return;
    }
    // How it is spelled does not matter here: what was read is written again and compared.
    const char* start = text.c_str() + position;
    char* end = nullptr;
    number = std::strtoll(start, &end, 10);
    position += static_cast<std::size_t>(end - start);
  }

  void Number(std::int32_t& number) {
    std::int64_t wide = number;
    Number(wide);
    number = static_cast<std::int32_t>(wide);
  }

  void Bytes(std::string& bytes) {
    Literal("\"");
    if (isRead) {
      ReadBytes(bytes);
    } else {
      WriteBytes(bytes);
    }
    Literal("\"");
  }

  /// Takes null in place of a value. Returns whether a value follows.
  bool Value(bool isThere) {
    if (isRead) {
      return !Skip("null");
    }
    if (!isThere) {
      Literal("null");
    }
    return isThere;
  }

  /// Takes what stands in a list before its item `index`, or its end. Returns whether an item
  /// follows.
  bool Item(std::size_t index, bool isThere) {
    Literal(index == 0 ? "[" : "");
    const bool isEnd = isRead ? Skip("]") : !isThere;
    if (!isEnd && index > 0) {
      Literal(",");
    }
    if (isEnd && !isRead) {
      Literal("]");
    }
    return !isEnd && !failed;
  }

 private:
  bool Skip(const char* literal) {
    const std::size_t length = std::strlen(literal);
    if (std::strncmp(text.c_str() + position, literal, length) != 0) {
      return false;
    }
    position += length;
    return true;
  }

  void WriteBytes(const std::string& bytes) {
    for (const char byte : bytes) {
      if (byte >= ' ' && byte <= '~' && byte != '"' && byte != '\\') {
        text += byte;
      } else {
        text += Formatted("\\u%04x", static_cast<unsigned char>(byte));
      }
    }
  }

  void ReadBytes(std::string& bytes) {
    while (position < text.size() && text[position] != '"') {
      if (position + 6 <= text.size() && Skip("\\u00")) {
        const char digits[] = {text[position], text[position + 1], '\0'};
        position += 2;
        bytes += static_cast<char>(std::strtoll(digits, nullptr, 16));
      } else {
        bytes += text[position++];
      }
    }
  }

  std::string text;
  std::size_t position = 0;
  const bool isRead;
  bool failed = false;
};

void Exchange(RecordText& text, std::string& bytes) { text.Bytes(bytes); }

void Exchange(RecordText& text, Moment& moment) {
  text.Literal("{\"boot_time_ms\":");
  text.Number(moment.bootTime);
  text.Literal(",\"wall_clock_ms\":");
  text.Number(moment.wallClock);
  text.Literal("}");
}

void ExchangeName(RecordText& text, std::string& name) {
  text.Literal(",\"name\":");
  if (text.Value(!name.empty())) {
    text.Bytes(name);
  }
}

void Exchange(RecordText& text, VamResult& record, StatusEntry& entry) {
  text.Literal("{\"vam\":{\"code\":");
  text.Number(record.vamCode);
  ExchangeName(text, entry.vamName);
  text.Literal("},\"firmware\":{\"code\":");
  text.Number(record.fwCode);
  ExchangeName(text, entry.firmwareName);
  text.Literal("}}");
}

void Exchange(RecordText& text, StatusEntry& entry) {
  text.Literal("{\"message\":");
  text.Bytes(entry.message);
  text.Literal(",\"meaning\":");
  text.Bytes(entry.meaning);
  text.Literal(",\"code\":");
  if (text.Value(entry.code.has_value())) {
    text.Number(text.IsRead() ? entry.code.emplace() : *entry.code);
  }
  ExchangeName(text, entry.codeName);
  text.Literal(",\"record\":");
  if (text.Value(entry.record.has_value())) {
    Exchange(text, text.IsRead() ? entry.record.emplace() : *entry.record, entry);
  }
  text.Literal("}");
}

void Exchange(RecordText& text, MovedFile& moved) {
  text.Literal("{\"path\":");
  text.Bytes(moved.path);
  text.Literal(",\"moved_to\":");
  text.Bytes(moved.movedTo);
  text.Literal(",\"was\":");
  text.Bytes(moved.was);
  text.Literal("}");
}

void Exchange(RecordText& text, RunOutcome& outcome) {
  std::string name = text.IsRead() ? "" : RunOutcomeName(outcome);
  text.Bytes(name);
  for (std::size_t i = 0; i < std::size(kOutcomeNames); ++i) {
    if (name == kOutcomeNames[i]) {
      outcome = static_cast<RunOutcome>(i);
    }
  }
}

template <typename Item>
void Exchange(RecordText& text, std::vector<Item>& items) {
  for (std::size_t i = 0; text.Item(i, i < items.size()); ++i) {
    if (text.IsRead()) {
      items.push_back(Item());
    }
    Exchange(text, items[i]);
  }
}

void Exchange(RecordText& text, RunRecord& record) {
  text.Literal("{\"format\":1,\"boot_id\":");
  text.Bytes(record.bootId);
  text.Literal(",\"start\":");
  Exchange(text, record.start);
  text.Literal(",\"end\":");
  Exchange(text, record.end);
  text.Literal(",\"program\":{\"status\":");
  if (text.Value(record.signal == 0)) {
    text.Number(record.status);
  }
  text.Literal(",\"signal\":");
  if (text.Value(record.signal != 0)) {
    text.Number(record.signal);
  }
  text.Literal("},\"outcome\":");
  Exchange(text, record.outcome);
  text.Literal(",\"version\":");
  if (text.Value(record.outcome == RunOutcome::kVerified)) {
    text.Bytes(record.version);
  }
  text.Literal(",\"entries\":");
  Exchange(text, record.entries);
  text.Literal(",\"moved\":");
  Exchange(text, record.moved);
  text.Literal(",\"problems\":");
  Exchange(text, record.problems);
  text.Literal("}\n");
}

std::string CodeInWords(const char* label, std::int32_t code, const std::string& name) {
  return Formatted("%s%d%s%s", label, code, name.empty() ? "" : " ", Escaped(name).c_str());
}

}  // namespace

const char* RunOutcomeName(RunOutcome outcome) { return kOutcomeNames[static_cast<int>(outcome)]; }

std::string RunRecordAsJson(const RunRecord& record) {
  RecordText text;
  // What is written stays as it is.
  Exchange(text, const_cast<RunRecord&>(record));
  return text.Written();
}

std::string NoRecordAsJson(const std::string& reason) {
  RecordText text;
  std::string copy = reason;
  text.Literal("{\"format\":1,\"error\":");
  text.Bytes(copy);
  text.Literal("}\n");
  return text.Written();
}

bool ReadRunRecord(const std::string& json, RunRecord& record) {
  RecordText text(json);
  Exchange(text, record);
  // A text that says the same in another spelling is none of ours.
  return text.IsWhole() && RunRecordAsJson(record) == json;
}

std::string RunEndInWords(const RunRecord& record) {
  const char* name = RunOutcomeName(record.outcome);
  if (record.outcome == RunOutcome::kVerified) {
    return Formatted("%s: the chip runs the image's firmware, system version %s.", name,
                     Escaped(record.version).c_str());
  }
  if (record.outcome == RunOutcome::kFilesNotWritten) {
    return Formatted("%s: the run ended, and the status files do not hold its verdict.", name);
  }
  return record.signal == 0 ? Formatted("%s: the run ended with status %d.", name, record.status)
                            : Formatted("%s: signal %d ended the run.", name, record.signal);
}

std::string RunRecordInWords(const RunRecord& record) {
  std::string words = RunEndInWords(record);
  for (const StatusEntry& entry : record.entries) {
    words += ' ';
    words += Escaped(entry.meaning);
    if (entry.code) {
      words += CodeInWords(" (code ", *entry.code, entry.codeName);
      if (entry.record) {
        words += CodeInWords(", VAM ", entry.record->vamCode, entry.vamName);
        words += CodeInWords(", firmware ", entry.record->fwCode, entry.firmwareName);
      }
      words += ')';
    }
  }
  return words;
}

}  // namespace vam
