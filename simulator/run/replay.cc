#include "simulator/run/replay.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <ios>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "journal/journal_text.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/recorded_call.h"
#include "simulator/run/run_file.h"

namespace vam {

struct ReplayPosition {
  /// The process and the thread that play it; 0: nobody yet.
  std::atomic<std::uint64_t> player;
  /// How many calls after the beginning were made.
  std::atomic<std::uint32_t> made;
  /// Where the beginning's next answer is searched first.
  std::atomic<std::uint32_t> nextOfBeginning;
};

namespace {

constexpr char kCallsFile[] = "/recording";
constexpr char kPositionsFile[] = "/recording-positions";
/// A player is a process above a thread.
constexpr unsigned kProcessShift = 32;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    FailOnRunFile(path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A recording of no call has room for a position too: no mapping is empty.
std::size_t SizeOf(const RecordedThreads& threads) {
  return (threads.size() + 1) * sizeof(ReplayPosition);
}

std::uint32_t ThisThread() { return static_cast<std::uint32_t>(syscall(SYS_gettid)); }

std::uint64_t ThisProcess() { return static_cast<std::uint64_t>(getpid()) << kProcessShift; }

bool IsOfThisProcess(std::uint64_t player) {
  return (player >> kProcessShift) == (ThisProcess() >> kProcessShift);
}

/// Returns the threads of this process that are older than this one, but for the one that the
/// process began with.
std::vector<std::uint64_t> OlderThreads() {
  const std::unique_ptr<DIR, int (*)(DIR*)> tasks(opendir("/proc/self/task"), closedir);
  std::vector<std::uint64_t> older;
  while (const dirent* task = tasks == nullptr ? nullptr : readdir(tasks.get())) {
    const auto thread = static_cast<std::uint32_t>(std::strtoul(task->d_name, nullptr, 10));
    if (thread != 0 && thread < ThisThread() && thread != ThisProcess() >> kProcessShift) {
      older.push_back(ThisProcess() | thread);
    }
  }
  return older;
}

std::string Shortened(const std::string& words) {
  constexpr std::size_t kLongest = 600;
  return words.size() > kLongest ? words.substr(0, kLongest) + "..." : words;
}

std::string Numbered(const RecordedCall& call) { return "call " + std::to_string(call.number); }

std::string WhereItParts(const RecordedCall& recorded, const Question& question) {
  return "the program parts from the recording at " + Numbered(recorded) +
         "\n  recorded: " + Shortened(recorded.words) +
         "\n  came:     " + Shortened(question.InWords());
}

/// Returns the first call that `thread` must make: the last of those that it may, where it must
/// make none.
const RecordedCall& FirstCall(const RecordedThread& thread) {
  return thread.calls[std::min<std::size_t>(thread.beginning, thread.calls.size() - 1)];
}

/// Returns the beginning's next call from `place` on, and then from its start, that asks
/// `question`; its size where none does.
std::size_t PlaceInBeginning(const RecordedThread& thread, const Question& question,
                             std::size_t place) {
  for (std::size_t i = 0; i < thread.beginning; ++i) {
    const std::size_t next = (place + i) % thread.beginning;
    if (question.IsAskedIn(thread.calls[next])) {
      return next;
    }
  }
  return thread.beginning;
}

bool CanBeginWith(const RecordedThread& thread, const Question& question) {
  const auto isAsked = [&question](const RecordedCall& call) { return question.IsAskedIn(call); };
  return isAsked(FirstCall(thread)) ||
         std::any_of(thread.calls.begin(), thread.calls.begin() + thread.beginning, isAsked);
}

std::string WhereItEnds(const std::string& where, const Question& question) {
  return "the recording ends " + where + "\n  came:     " + Shortened(question.InWords());
}

}  // namespace

Question& Question::Number(const std::string& name, std::int64_t value) {
  members.emplace_back(name, NumberValue(value));
  words.append(" ").append(name).append("=").append(members.back().second);
  return *this;
}

Question& Question::Text(const std::string& name, const char* value) {
  members.emplace_back(name, value == nullptr ? kNullValue : BytesValue(value));
  words.append(" ").append(name).append("=");
  words += value == nullptr ? kNullValue : QuotedText(value);
  return *this;
}

Question& Question::Bytes(const std::string& name, const void* bytes, std::size_t count) {
  blobs.push_back({name, bytes, count});
  return *this;
}

bool Question::IsAskedIn(const RecordedCall& recorded) const {
  if (recorded.call != call) {
    return false;
  }
  // What a call may be asked without.
  for (const char* name : {"size", "flags", "paramTypes"}) {
    const bool isAsked = std::any_of(members.begin(), members.end(),
                                     [name](const auto& member) { return member.first == name; });
    if (recorded.Has(name) && !isAsked) {
      return false;
    }
  }
  for (const auto& [name, value] : members) {
    const auto found = recorded.members.find(name);
    if (found == recorded.members.end() || found->second != value) {
      return false;
    }
  }
  return std::all_of(blobs.begin(), blobs.end(), [&recorded](const AskedBytes& asked) {
    const auto found = recorded.members.find(asked.name);
    return found == recorded.members.end() || found->second == kNullValue ||
           recorded.HasBytes(asked.name, asked.bytes, asked.count);
  });
}

void Replay::Prepare(const std::string& runFolder, const RecordedThreads& threads) {
  WriteRunFile(runFolder + kCallsFile, TextOfRecordedThreads(threads));
  WriteRunFile(runFolder + kPositionsFile, std::string(SizeOf(threads), '\0'));
}

bool Replay::IsIn(const std::string& runFolder) {
  return access((runFolder + kCallsFile).c_str(), F_OK) == 0;
}

Replay::Replay(const std::string& runFolder)
    : threads(ReadRecordedThreads(ReadFile(runFolder + kCallsFile))),
      positions(
          static_cast<ReplayPosition*>(MapRunFile(runFolder + kPositionsFile, SizeOf(threads)))) {}

Replay::~Replay() { munmap(positions, SizeOf(threads)); }

bool Replay::Claim(std::size_t thread) {
  std::uint64_t nobody = 0;
  return positions[thread].player.compare_exchange_strong(nobody, ThisProcess() | ThisThread());
}

std::vector<std::uint64_t> Replay::Players() const {
  std::vector<std::uint64_t> players;
  players.reserve(threads.size());
  for (std::size_t i = 0; i < threads.size(); ++i) {
    players.push_back(positions[i].player.load());
  }
  return players;
}

std::vector<std::size_t> Replay::FreeThreads(const std::vector<std::uint64_t>& players) const {
  // A process plays one of the recording's, and no other plays that one.
  std::set<std::uint32_t> ofOthers;
  std::set<std::uint32_t> ofThis;
  for (std::size_t i = 0; i < threads.size(); ++i) {
    if (players[i] != 0) {
      (IsOfThisProcess(players[i]) ? ofThis : ofOthers).insert(threads[i].process);
    }
  }
  const bool isMain = ThisThread() == ThisProcess() >> kProcessShift;
  std::vector<std::size_t> free;
  for (std::size_t i = 0; i < threads.size(); ++i) {
    const std::uint32_t process = threads[i].process;
    if (players[i] == 0 && threads[i].isMain == isMain &&
        (ofThis.empty() ? ofOthers.count(process) == 0 : ofThis.count(process) != 0)) {
      free.push_back(i);
    }
  }
  return free;
}

std::size_t Replay::ThreadFor(const Question& question) {
  for (std::size_t i = 0; i < threads.size(); ++i) {
    if (positions[i].player.load() == (ThisProcess() | ThisThread())) {
      return i;
    }
  }
  // Before the players are read: a thread that begins to play meanwhile and ends is one of them.
  const std::vector<std::uint64_t> older = OlderThreads();
  const std::vector<std::uint64_t> players = Players();
  const std::vector<std::size_t> free = FreeThreads(players);
  if (free.empty()) {
    throw RecordingIsOver(WhereItEnds("before the first call of this thread", question));
  }
  std::vector<std::size_t> alike;
  for (const std::size_t thread : free) {
    if (CanBeginWith(threads[thread], question) &&
        (alike.empty() || threads[alike.front()].process == threads[thread].process)) {
      alike.push_back(thread);
    }
  }
  if (alike.empty()) {
    throw PartsFromRecording(WhereItParts(FirstCall(threads[free.front()]), question));
  }
  // Threads that begin alike are told apart by their age: older ones are to come that do not play
  // yet.
  const auto toCome = static_cast<std::size_t>(
      std::count_if(older.begin(), older.end(), [&players](std::uint64_t thread) {
        return std::find(players.begin(), players.end(), thread) == players.end();
      }));
  const std::size_t thread = alike[std::min(toCome, alike.size() - 1)];
  return Claim(thread) ? thread : ThreadFor(question);
}

const RecordedCall& Replay::Answer(const Question& question) {
  const std::size_t playing = ThreadFor(question);
  const RecordedThread& thread = threads[playing];
  ReplayPosition& position = positions[playing];
  const std::uint32_t made = position.made.load();
  const std::size_t next = std::size_t{thread.beginning} + made;
  if (next < thread.calls.size() && question.IsAskedIn(thread.calls[next])) {
    position.made.store(made + 1);
    return thread.calls[next];
  }
  if (made == 0) {
    const std::size_t place = PlaceInBeginning(thread, question, position.nextOfBeginning.load());
    if (place < thread.beginning) {
      position.nextOfBeginning.store(static_cast<std::uint32_t>(place + 1));
      return thread.calls[place];
    }
  }
  if (next == thread.calls.size()) {
    throw RecordingIsOver(WhereItEnds("after " + Numbered(thread.calls.back()), question));
  }
  throw PartsFromRecording(WhereItParts(thread.calls[next], question));
}

std::string Replay::WhatIsLeft() const {
  const RecordedCall* first = nullptr;
  for (std::size_t i = 0; i < threads.size(); ++i) {
    const std::size_t next = threads[i].beginning + positions[i].made.load();
    if (next < threads[i].calls.size() &&
        (first == nullptr || threads[i].calls[next].number < first->number)) {
      first = &threads[i].calls[next];
    }
  }
  return first == nullptr ? ""
                          : "the program ended before " + Numbered(*first) +
                                " of the recording\n  recorded: " + Shortened(first->words);
}

}  // namespace vam
