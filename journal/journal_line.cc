#include "journal/journal_line.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "journal/code_names.h"
#include "journal/journal.h"
#include "journal/journal_text.h"
#include "journal/sha256.h"
#include "report/tee_codes.h"

namespace vam {

JournalLine::JournalLine(Journal* file, std::string_view call, void (*whenEnded)())
    : journal(file != nullptr && file->IsKept() ? file : nullptr), ended(whenEnded) {
  if (journal != nullptr) {
    line = '{';
    Number("time", static_cast<std::int64_t>(BootTime() - journal->Settings().start));
    Number("pid", getpid());
    // The C library got a name for this call only in 2.30.
    Number("tid", syscall(SYS_gettid));
    Raw("call", QuotedText(call));
  }
}

JournalLine::~JournalLine() {
  if (journal != nullptr) {
    journal->Append(line + "}");
  }
  if (ended != nullptr) {
    ended();
  }
}

void JournalLine::Separate() {
  if (line.back() != '{' && line.back() != '[') {
    line += ',';
  }
}

JournalLine& JournalLine::Raw(const char* key, std::string_view value) {
  if (journal != nullptr) {
    Separate();
    line += '"';
    line += key;
    line += "\":";
    line += value;
  }
  return *this;
}

JournalLine& JournalLine::Number(const char* key, std::int64_t value) {
  return Raw(key, InDecimal(value));
}

JournalLine& JournalLine::Truth(const char* key, bool value) {
  return Raw(key, value ? "true" : "false");
}

JournalLine& JournalLine::Text(const char* key, const char* value) {
  return Raw(key, journal == nullptr || value == nullptr ? "null" : QuotedText(value));
}

JournalLine& JournalLine::Bytes(const char* key, const void* bytes, std::size_t count) {
  if (journal == nullptr || bytes == nullptr) {
    return Raw(key, "null");
  }
  Raw(key, "\"");
  line += InHexadecimal(bytes, count);
  line += '"';
  return *this;
}

JournalLine& JournalLine::KeyBytes(const char* key, const void* bytes, std::size_t count) {
  if (journal == nullptr || bytes == nullptr || journal->Settings().withKeys) {
    return Bytes(key, bytes, count);
  }
  Raw(key, "{");
  Number("length", static_cast<std::int64_t>(count));
  Raw("sha256", QuotedText(Sha256InHex(bytes, count)));
  return EndObject();
}

JournalLine& JournalLine::NumberWithName(const char* key, std::int64_t number, const char* name) {
  Raw(key, "{");
  Number("number", number);
  if (name != nullptr) {
    Text("name", name);
  }
  return EndObject();
}

JournalLine& JournalLine::Command(std::uint32_t identifier) {
  return NumberWithName("command", identifier, CommandName(identifier));
}

JournalLine& JournalLine::Result(std::uint32_t result) {
  return NumberWithName("result", result, TeeCodeName(result));
}

JournalLine& JournalLine::Origin(std::uint32_t origin) {
  return NumberWithName("origin", origin, OriginName(origin));
}

JournalLine& JournalLine::ErrorNumber(int number) {
  return NumberWithName("errno", number, ErrorNumberName(number));
}

JournalLine& JournalLine::BeginList(const char* key) { return Raw(key, "["); }

JournalLine& JournalLine::BeginObject() {
  if (journal != nullptr) {
    Separate();
    line += '{';
  }
  return *this;
}

JournalLine& JournalLine::EndObject() {
  line += '}';
  return *this;
}

JournalLine& JournalLine::EndList() {
  line += ']';
  return *this;
}

JournalLine& JournalLine::ChangedBy(std::uint32_t fault) {
  return fault == 0 ? *this : Number("fault", fault);
}

}  // namespace vam
