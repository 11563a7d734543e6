#ifndef SIMULATOR_RUN_JOURNAL_LINE_H_
#define SIMULATOR_RUN_JOURNAL_LINE_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/journal.h"

namespace vam {

/// One platform call in a journal: a JSON object in a line, which is written when the JournalLine
/// ends.
class JournalLine {
 public:
  /// For the journal of the run that this process belongs to.
  explicit JournalLine(PlatformCall call);
  /// For `file`. Writes nothing when that is null or not kept.
  JournalLine(Journal* file, PlatformCall call);
  ~JournalLine();
  JournalLine(const JournalLine&) = delete;
  JournalLine& operator=(const JournalLine&) = delete;

  JournalLine& Number(const char* key, std::int64_t value);
  JournalLine& Truth(const char* key, bool value);
  /// A text, or null. Bytes that are no UTF-8 become the replacement character.
  JournalLine& Text(const char* key, const char* value);
  /// Bytes as hexadecimal text, or null.
  JournalLine& Bytes(const char* key, const void* bytes, std::size_t count);
  /// A result of the TEE's, as "0x" and eight digits.
  JournalLine& Result(std::uint32_t result);
  /// The fault that changed the call; null adds nothing. The last call on a line.
  JournalLine& ChangedBy(const Fault* fault);

 private:
  JournalLine& Raw(const char* key, const std::string& value);

  /// Null: nothing is written.
  Journal* journal;
  std::string line;
};

}  // namespace vam

#endif  // SIMULATOR_RUN_JOURNAL_LINE_H_
