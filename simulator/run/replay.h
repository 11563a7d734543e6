#ifndef SIMULATOR_RUN_REPLAY_H_
#define SIMULATOR_RUN_REPLAY_H_

// A run that a recording answers, and not a board. The stand-ins ask it each call of the program's.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "simulator/board/platform_calls.h"
#include "simulator/run/recorded_call.h"

namespace vam {

/// What a program asks by one platform call. Takes the members as a JournalLine does.
class Question {
 public:
  explicit Question(PlatformCall asked) : call(asked), words(PlatformCallName(asked)) {}

  Question& Number(const std::string& name, std::int64_t value);
  /// A text, or null.
  Question& Text(const std::string& name, const char* value);
  /// Bytes, or null. Where the recording does not have them, they do not count, and are not read.
  Question& Bytes(const std::string& name, const void* bytes, std::size_t count);
  Question& Command(std::uint32_t identifier) { return Number("command", identifier); }

  [[nodiscard]] bool IsAskedIn(const RecordedCall& recorded) const;
  [[nodiscard]] const std::string& InWords() const { return words; }

 private:
  struct AskedBytes {
    std::string name;
    const void* bytes;
    std::size_t count;
  };

  PlatformCall call;
  std::string words;
  std::vector<std::pair<std::string, std::string>> members;
  std::vector<AskedBytes> blobs;
};

/// A program asks what the recording does not answer: another call than the recorded one.
class PartsFromRecording : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A program asks more than was recorded.
class RecordingIsOver : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How far a thread's calls have been replayed; all processes share it.
struct ReplayPosition;

class Replay {
 public:
  /// Prepares `runFolder` for a replay of `threads`. Throws std::runtime_error.
  static void Prepare(const std::string& runFolder, const RecordedThreads& threads);
  /// Returns whether the run in `runFolder` is one.
  [[nodiscard]] static bool IsIn(const std::string& runFolder);

  /// Opens a prepared replay. Throws std::runtime_error.
  explicit Replay(const std::string& runFolder);
  ~Replay();
  Replay(const Replay&) = delete;
  Replay& operator=(const Replay&) = delete;

  /// Returns the recorded call that answers this thread's next one. Throws PartsFromRecording and
  /// RecordingIsOver, each with what was recorded and what came, for the user.
  const RecordedCall& Answer(const Question& question);

  /// Returns the first call of the recording that no program has made, in words; empty: none.
  [[nodiscard]] std::string WhatIsLeft() const;

 private:
  /// Returns the thread of the recording that this thread plays. Throws what Answer() throws.
  std::size_t ThreadFor(const Question& question);
  /// Returns who plays each thread of the recording; 0: nobody yet.
  [[nodiscard]] std::vector<std::uint64_t> Players() const;
  /// Returns the threads that this thread may play, with these players.
  [[nodiscard]] std::vector<std::size_t> FreeThreads(
      const std::vector<std::uint64_t>& players) const;
  /// Returns whether this thread now plays that one, and no other came first.
  bool Claim(std::size_t thread);

  RecordedThreads threads;
  ReplayPosition* positions = nullptr;
};

}  // namespace vam

#endif  // SIMULATOR_RUN_REPLAY_H_
