#ifndef SIMULATOR_RUN_RECORDED_CALL_H_
#define SIMULATOR_RUN_RECORDED_CALL_H_

// The calls of a recording, as a run that replays it keeps them in its folder. vam-board writes
// them after it has read the recording; the stand-in libraries read them and nothing else, so that
// no program under test contains a reader of foreign files.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulator/board/platform_calls.h"

namespace vam {

/// One platform call of a recording.
struct RecordedCall {
  /// Which call of the recording it is, from 1.
  std::uint32_t number = 0;
  PlatformCall call = PlatformCall::kOpen;
  /// The call in a line for people.
  std::string words;
  /// What was asked and answered, by name: a Value's text. A parameter's members are named
  /// "params.0.size".
  std::map<std::string, std::string> members;

  [[nodiscard]] bool Has(const std::string& name) const { return members.count(name) != 0; }
  /// Returns a number, or 0 where the call has no such member.
  [[nodiscard]] std::int64_t Number(const std::string& name) const;
  /// Returns a number that a thing was given when it was made.
  [[nodiscard]] std::uint32_t Ordinal(const std::string& name) const {
    return static_cast<std::uint32_t>(Number(name));
  }
  [[nodiscard]] bool Truth(const std::string& name) const { return Number(name) != 0; }
  /// Returns a text or bytes; none where the member is null, is not there, or was withheld.
  [[nodiscard]] std::optional<std::string> Bytes(const std::string& name) const;
  /// Whether the recording has only the digest of the bytes.
  [[nodiscard]] bool IsWithheld(const std::string& name) const;
  /// Whether these bytes are those of the member: the same, or of the same length and digest.
  [[nodiscard]] bool HasBytes(const std::string& name, const void* bytes, std::size_t count) const;
};

/// The texts of members' values.
[[nodiscard]] std::string NumberValue(std::int64_t number);
[[nodiscard]] std::string BytesValue(const std::string& bytes);
[[nodiscard]] std::string WithheldValue(std::uint64_t length, const std::string& sha256);
inline constexpr char kNullValue[] = "null";

/// The calls of one thread of a recording.
struct RecordedThread {
  /// Which process of the recording, from 0 in the order of the first calls.
  std::uint32_t process = 0;
  /// Whether it is the thread that the process began with.
  bool isMain = false;
  /// How many calls, from the first on, make up a beginning. What replays them may make these in
  /// any order and number, until it asks what the first call after them asks.
  std::uint32_t beginning = 0;
  /// Never empty.
  std::vector<RecordedCall> calls;
};

/// All threads of a recording: those of a process in the order in which they were made.
using RecordedThreads = std::vector<RecordedThread>;

/// Returns the text of `threads` for ReadRecordedThreads().
[[nodiscard]] std::string TextOfRecordedThreads(const RecordedThreads& threads);

/// Returns the threads that are in `text`.
[[nodiscard]] RecordedThreads ReadRecordedThreads(const std::string& text);

}  // namespace vam

#endif  // SIMULATOR_RUN_RECORDED_CALL_H_
