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

namespace vam {

struct ReplayPosition {
  /// The process and the thread that play it; 0: nobody yet.
  std::atomic<std::uint64_t> player;
  std::atomic<std::uint32_t> next;
};

namespace {

constexpr char kCallsFile[] = "/recording";
constexpr char kPositionsFile[] = "/recording-positions";
/// A player is a process above a thread.
constexpr unsigned kProcessShift = 32;

[[noreturn]] void FailOn(const std::string& path) {
  throw std::runtime_error(path + ": " + std::strerror(errno));
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  file.close();
  if (!file) {
    FailOn(path);
  }
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    FailOn(path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

ReplayPosition* MapPositions(const std::string& path, std::size_t size) {
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (file < 0) {
    FailOn(path);
  }
  void* mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (mapped == MAP_FAILED) {
    FailOn(path);
  }
  return static_cast<ReplayPosition*>(mapped);
}

/// A recording of no call has room for a position too: no mapping is empty.
std::size_t SizeOf(const RecordedThreads& threads) {
  return (threads.size() + 1) * sizeof(ReplayPosition);
}

std::uint32_t ThisThread() { return static_cast<std::uint32_t>(syscall(SYS_gettid)); }

std::uint64_t ThisProcess() { return static_cast<std::uint64_t>(getpid()) << kProcessShift; }

bool IsOfThisProcess(std::uint64_t player) {
  return player != 0 && (player >> kProcessShift) == (ThisProcess() >> kProcessShift);
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
  WriteFile(runFolder + kCallsFile, TextOfRecordedThreads(threads));
  WriteFile(runFolder + kPositionsFile, std::string(SizeOf(threads), '\0'));
}

bool Replay::IsIn(const std::string& runFolder) {
  return access((runFolder + kCallsFile).c_str(), F_OK) == 0;
}

Replay::Replay(const std::string& runFolder)
    : threads(ReadRecordedThreads(ReadFile(runFolder + kCallsFile))),
      positions(MapPositions(runFolder + kPositionsFile, SizeOf(threads))) {}

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
    if (question.IsAskedIn(threads[thread].calls.front()) &&
        (alike.empty() || threads[alike.front()].process == threads[thread].process)) {
      alike.push_back(thread);
    }
  }
  if (alike.empty()) {
    throw PartsFromRecording(WhereItParts(threads[free.front()].calls.front(), question));
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
  const std::size_t thread = ThreadFor(question);
  const std::vector<RecordedCall>& calls = threads[thread].calls;
  const std::uint32_t next = positions[thread].next.load();
  if (next == calls.size()) {
    throw RecordingIsOver(WhereItEnds("after " + Numbered(calls.back()), question));
  }
  if (!question.IsAskedIn(calls[next])) {
    throw PartsFromRecording(WhereItParts(calls[next], question));
  }
  positions[thread].next.store(next + 1);
  return calls[next];
}

std::string Replay::WhatIsLeft() const {
  const RecordedCall* first = nullptr;
  for (std::size_t i = 0; i < threads.size(); ++i) {
    const std::uint32_t next = positions[i].next.load();
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
