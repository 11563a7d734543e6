#include "simulator/run/journal_line.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/journal.h"
#include "simulator/run/run.h"

namespace vam {

namespace {

Journal* CurrentJournal() {
  Run* run = Run::Current();
  return run == nullptr || run->HasTrouble() ? nullptr : &run->CallJournal();
}

/// The journal names a method without its class.
std::string_view NameInJournal(PlatformCall call) {
  const std::string_view name = PlatformCallName(call);
  const std::size_t colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// Returns `text` as a JSON string; bytes that are no UTF-8 become the replacement character.
std::string Quoted(const char* text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

JournalLine::JournalLine(PlatformCall call) : JournalLine(CurrentJournal(), call) {}

JournalLine::JournalLine(Journal* file, PlatformCall call)
    : journal(file != nullptr && file->IsKept() ? file : nullptr) {
  if (journal != nullptr) {
    line = "{\"call\":\"" + std::string(NameInJournal(call)) + "\"";
  }
}

JournalLine::~JournalLine() {
  if (journal != nullptr) {
    journal->Append(line + "}");
  }
}

JournalLine& JournalLine::Raw(const char* key, const std::string& value) {
  if (journal != nullptr) {
    line += std::string(",\"") + key + "\":" + value;
  }
  return *this;
}

JournalLine& JournalLine::Number(const char* key, std::int64_t value) {
  return Raw(key, std::to_string(value));
}

JournalLine& JournalLine::Truth(const char* key, bool value) {
  return Raw(key, value ? "true" : "false");
}

JournalLine& JournalLine::Text(const char* key, const char* value) {
  return Raw(key, value == nullptr ? "null" : Quoted(value));
}

JournalLine& JournalLine::Bytes(const char* key, const void* bytes, std::size_t count) {
  if (bytes == nullptr) {
    return Raw(key, "null");
  }
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "\"";
  const auto* byte = static_cast<const std::uint8_t*>(bytes);
  for (std::size_t i = 0; i < count; ++i) {
    text += kDigits[byte[i] >> 4];
    text += kDigits[byte[i] & 0xF];
  }
  return Raw(key, text + "\"");
}

JournalLine& JournalLine::Result(std::uint32_t result) {
  char text[16];
  std::snprintf(text, sizeof text, "\"0x%08X\"", result);
  return Raw("result", text);
}

JournalLine& JournalLine::ChangedBy(const Fault* fault) {
  return fault == nullptr ? *this : Number("fault", fault->number);
}

}  // namespace vam
