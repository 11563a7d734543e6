#ifndef JOURNAL_JOURNAL_LINE_H_
#define JOURNAL_JOURNAL_LINE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "journal/journal.h"

namespace vam {

/// One platform call in a journal: a JSON object in a line, which is written when the JournalLine
/// ends. docs/journal.md says which members a call has, and in which order.
class JournalLine {
 public:
  /// Begins the line with this moment, process and thread. Writes nothing when `file` is null or
  /// not kept. `call` is the call's name as C or C++ has it, a method with its class.
  /// `whenEnded` is called after the line has been written, or would have been.
  JournalLine(Journal* file, std::string_view call, void (*whenEnded)() = nullptr);
  ~JournalLine();
  JournalLine(const JournalLine&) = delete;
  JournalLine& operator=(const JournalLine&) = delete;

  JournalLine& Number(const char* key, std::int64_t value);
  JournalLine& Truth(const char* key, bool value);
  /// A text with a character for each byte, or null.
  JournalLine& Text(const char* key, const char* value);
  /// Bytes in hexadecimal, or null.
  JournalLine& Bytes(const char* key, const void* bytes, std::size_t count);
  /// The same for key material: its length and SHA-256, unless the journal keeps keys.
  JournalLine& KeyBytes(const char* key, const void* bytes, std::size_t count);

  /// Numbers that have names.
  JournalLine& Command(std::uint32_t identifier);
  JournalLine& Result(std::uint32_t result);
  JournalLine& Origin(std::uint32_t origin);
  JournalLine& ErrorNumber(int number);

  /// A list of objects under `key`: each Begin has its End. An object holds what is added between.
  JournalLine& BeginList(const char* key);
  JournalLine& BeginObject();
  JournalLine& EndObject();
  JournalLine& EndList();

  /// The fault of the simulated board that changed the call; 0 adds nothing. Stands last.
  JournalLine& ChangedBy(std::uint32_t fault);

 private:
  JournalLine& Raw(const char* key, std::string_view value);
  JournalLine& NumberWithName(const char* key, std::int64_t number, const char* name);
  void Separate();

  /// Null: nothing is written.
  Journal* journal;
  void (*ended)();
  std::string line;
};

}  // namespace vam

#endif  // JOURNAL_JOURNAL_LINE_H_
