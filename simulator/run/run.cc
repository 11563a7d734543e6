#include "simulator/run/run.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <ios>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "journal/journal.h"
#include "journal/journal_line.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/board_paths.h"
#include "simulator/run/memory_requests.h"
#include "simulator/run/power_line.h"
#include "simulator/run/recorded_call.h"
#include "simulator/run/replay.h"
#include "simulator/run/run_file.h"

namespace vam {

namespace {

constexpr char kBoardFile[] = "/board.toml";
constexpr char kSharedFile[] = "/shared";
/// The folder of a chip that goes with the run, or a link to the one that keeps the chip.
constexpr char kState[] = "/state";
constexpr char kJournalLink[] = "/journal";
constexpr char kUnwritable[] = "the journal cannot be written: ";
constexpr char kJournalSettingsFile[] = "/journal-settings";

void Link(const std::string& target, const std::string& path) {
  if (symlink(target.c_str(), path.c_str()) != 0) {
    FailOnRunFile(path);
  }
}

/// Returns the settings of the run's journal, or the defaults where it keeps none.
JournalSettings ReadJournalSettings(const std::string& path) {
  JournalSettings settings;
  std::ifstream(path) >> settings.start >> settings.withKeys;
  return settings;
}

/// Returns what the link at `path` leads to; `path` itself where that is none.
std::string Followed(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t length = readlink(path.c_str(), target, sizeof target);
  return length < 0 ? path : std::string(target, static_cast<std::size_t>(length));
}

constexpr std::size_t kTroubleBytes = 2048;

}  // namespace

struct SharedByRun {
  std::atomic<std::uint32_t> chipWrites;
  std::atomic<std::uint32_t> calls;
  std::atomic<std::uint32_t> lines;
  /// One more than how many calls there were when a status file was first opened for writing; 0:
  /// none was.
  std::atomic<std::uint32_t> callsBeforeStatus;
  std::atomic<std::uint32_t> statusBytes;
  /// The kind of the first trouble.
  std::atomic<std::uint32_t> kindOfTrouble;
  /// Ends with a zero at any time.
  char trouble[kTroubleBytes];
};

namespace {

static_assert(std::atomic<std::uint32_t>::is_always_lock_free &&
                  std::atomic<bool>::is_always_lock_free,
              "processes share the counters");

SharedByRun* MapShared(const std::string& runFolder, std::size_t size) {
  return static_cast<SharedByRun*>(MapRunFile(runFolder + kSharedFile, size));
}

std::size_t SizeOfShared(const Board& board) {
  return sizeof(SharedByRun) + board.faults.size() * sizeof(FaultCounter);
}

void Record(SharedByRun& shared, const std::string& trouble, Trouble kind) {
  std::uint32_t none = 0;
  if (shared.kindOfTrouble.compare_exchange_strong(none, static_cast<std::uint32_t>(kind))) {
    std::memcpy(shared.trouble, trouble.data(), std::min(trouble.size(), kTroubleBytes - 1));
  }
}

/// The program may have used up its descriptors. It ends, and needs none of its own any more.
void LeaveADescriptor() { close(STDIN_FILENO); }

/// Ends every program of the run, or, where no launcher listens, this one.
[[noreturn]] void StopRun(const std::string& runFolder, const std::string& trouble) {
  LeaveADescriptor();
  CutPowerAtLauncher(runFolder);
  std::fprintf(stderr, "simulated board: %s\n", trouble.c_str());
  std::_Exit(125);
}

/// Makes what tells the preloaded libraries which faults of the program's surroundings there are.
void PrepareSurroundings(const std::string& runFolder, const Board& board) {
  std::vector<std::uint32_t> requests;
  bool isWatched = false;
  for (const Fault& fault : board.faults) {
    if (fault.kind == Fault::Kind::kMemory) {
      requests.push_back(fault.request);
    }
    isWatched = isWatched || fault.kind == Fault::Kind::kStatusRoom || fault.lines != 0 ||
                fault.console == Fault::Console::kSlow ||
                (fault.kind == Fault::Kind::kStatusFile && !fault.IsThereFromTheStart());
  }
  if (isWatched) {
    WriteRunFile(runFolder + kWatchFile, "");
  }
  if (!requests.empty()) {
    const std::uint32_t head[] = {0, static_cast<std::uint32_t>(requests.size())};
    static_assert(sizeof head == sizeof(MemoryRequests), "the file begins with the record");
    std::string bytes(reinterpret_cast<const char*>(head), sizeof head);
    bytes.append(reinterpret_cast<const char*>(requests.data()),
                 requests.size() * sizeof requests[0]);
    WriteRunFile(runFolder + kMemoryRequestsFile, bytes);
  }
}

/// Returns how many requests for memory were counted in a run.
std::uint32_t MemoryRequestsIn(const std::string& runFolder) {
  std::uint32_t made = 0;
  std::ifstream file(runFolder + kMemoryRequestsFile, std::ios::binary);
  file.read(reinterpret_cast<char*>(&made), sizeof made);
  return file ? made : 0;
}

void SendSignal(int signal) {
  kill(getpid(), signal);
  if (signal == SIGKILL) {
    // Nothing of this process happens after it.
    for (;;) {
      pause();
    }
  }
}

}  // namespace

Run* Run::Current() {
  static const std::unique_ptr<Run> kCurrent = []() -> std::unique_ptr<Run> {
    const char* runFolder = std::getenv(kEnvironmentVariable);
    if (runFolder == nullptr) {
      return nullptr;
    }
    try {
      return std::make_unique<Run>(runFolder);
    } catch (const std::exception& error) {
      LeaveADescriptor();
      try {
        Record(*MapShared(runFolder, sizeof(SharedByRun)), error.what(), Trouble::kOfTheRig);
      } catch (const std::exception&) {
        // Nobody can be told but who reads the program's standard error.
      }
      StopRun(runFolder, error.what());
    }
  }();
  return kCurrent.get();
}

std::string Run::OwnStateFolder(const std::string& runFolder) { return runFolder + kState; }

void Run::Prepare(const std::string& runFolder, const std::string& boardText,
                  const std::string& boardName, const std::string& stateFolder,
                  const std::string& journalFile, const JournalSettings& settings) {
  const Board board = ReadBoardText(boardText, boardName);
  WriteRunFile(runFolder + kBoardFile, boardText);
  WriteRunFile(runFolder + kSharedFile, std::string(SizeOfShared(board), '\0'));
  PrepareSurroundings(runFolder, board);
  if (!stateFolder.empty()) {
    Link(stateFolder, runFolder + kState);
  }
  if (!journalFile.empty()) {
    Link(journalFile, runFolder + kJournalLink);
    WriteRunFile(runFolder + kJournalSettingsFile,
                 std::to_string(settings.start) + (settings.withKeys ? " 1" : " 0"));
  }
}

Run::Run(const std::string& runFolder)
    : folder(runFolder),
      description(ReadBoardFile(folder + kBoardFile)),
      stateFolder(Followed(folder + kState)),
      shared(MapShared(folder, SizeOfShared(description))),
      sharedSize(SizeOfShared(description)),
      recording(Replay::IsIn(folder) ? std::make_unique<Replay>(folder) : nullptr),
      journal(
          folder + kJournalLink, ReadJournalSettings(folder + kJournalSettingsFile),
          [this](const std::string& cause) {
            ReportTrouble(kUnwritable + cause + "; make room, or give another file with --journal");
          }) {
  if (!journal.IsKept() && errno != ENOENT) {
    ReportTrouble(std::string(kUnwritable) + std::strerror(errno));
  }
}

Run::~Run() { munmap(shared, sharedSize); }

FaultCounter& Run::CounterOf(const Fault& fault) const {
  return reinterpret_cast<FaultCounter*>(shared + 1)[fault.number - 1];
}

bool Run::Count(const Fault& fault, std::uint32_t occurrence) {
  const std::uint32_t call = CounterOf(fault).calls.fetch_add(1) + 1;
  return occurrence == 0 || call == occurrence;
}

const Fault* Run::FireCallFault(PlatformCall call) {
  const Fault* first = nullptr;
  for (const Fault& fault : description.faults) {
    if (fault.kind == Fault::Kind::kCall && fault.call == call && Count(fault, fault.occurrence) &&
        first == nullptr) {
      first = &fault;
    }
  }
  if (first != nullptr) {
    CounterOf(*first).fired = true;
  }
  return first;
}

const Fault* Run::SelectAnswerFault(std::size_t index, std::uint32_t command, bool hasMode,
                                    std::int32_t mode) {
  const Fault& fault = description.faults[index];
  const AnswerFault& answer = fault.answer;
  const bool matches = fault.kind == Fault::Kind::kAnswer && answer.command == command &&
                       (answer.hasMode == 0 || (hasMode && answer.mode == mode));
  return matches && Count(fault, answer.occurrence) ? &fault : nullptr;
}

void Run::AnswerFaultApplied(const Fault& fault) { CounterOf(fault).fired = true; }

void Run::ChipMemoryWritten() {
  const std::uint32_t writes = shared->chipWrites.fetch_add(1) + 1;
  for (const Fault& fault : description.faults) {
    if (fault.kind == Fault::Kind::kPowerCut && fault.writes == writes) {
      CounterOf(fault).fired = true;
      CutPower(folder);
    }
  }
}

std::uint32_t Run::ChipWrites() const { return shared->chipWrites.load(); }

void Run::SendSignals(std::uint32_t Fault::*place, std::uint32_t count) {
  for (const Fault& fault : description.faults) {
    if (fault.kind == Fault::Kind::kSignal && fault.*place == count) {
      CounterOf(fault).fired = true;
      SendSignal(fault.signal);
    }
  }
}

void Run::CallEnded() { SendSignals(&Fault::calls, shared->calls.fetch_add(1) + 1); }

void Run::LineWritten() { SendSignals(&Fault::lines, shared->lines.fetch_add(1) + 1); }

int Run::StatusFileOpened(bool isOkFile) {
  std::uint32_t none = 0;
  shared->callsBeforeStatus.compare_exchange_strong(none, shared->calls.load() + 1);
  for (const Fault& fault : description.faults) {
    if (fault.kind == Fault::Kind::kStatusFile && !fault.IsThereFromTheStart() &&
        (isOkFile ? fault.changesOkFile : fault.changesFailFile)) {
      CounterOf(fault).fired = true;
      return fault.errorNumber;
    }
  }
  return 0;
}

std::size_t Run::TakeStatusRoom(std::size_t size) {
  std::size_t allowed = size;
  const std::uint32_t taken = shared->statusBytes.load();
  for (const Fault& fault : description.faults) {
    const std::size_t left = fault.room < taken ? 0 : fault.room - taken;
    if (fault.kind == Fault::Kind::kStatusRoom && left < size) {
      CounterOf(fault).fired = true;
      allowed = std::min(allowed, left);
    }
  }
  shared->statusBytes.fetch_add(static_cast<std::uint32_t>(allowed));
  return allowed;
}

Run::Counts Run::WhatWasCounted() const {
  Counts counts;
  counts.calls = shared->calls.load();
  counts.lines = shared->lines.load();
  const std::uint32_t before = shared->callsBeforeStatus.load();
  counts.callsAfterStatus = before == 0 ? 0 : counts.calls - (before - 1);
  counts.memoryRequests = MemoryRequestsIn(folder);
  return counts;
}

std::vector<const Fault*> Run::FaultsThatNeverFired() const {
  std::vector<const Fault*> faults;
  for (const Fault& fault : description.faults) {
    const bool fired =
        fault.IsThereFromTheStart() ||
        (fault.kind == Fault::Kind::kMemory ? MemoryRequestsIn(folder) >= fault.request
                                            : CounterOf(fault).fired.load());
    if (!fired) {
      faults.push_back(&fault);
    }
  }
  return faults;
}

void Run::ReportTrouble(const std::string& text, Trouble kind) { Record(*shared, text, kind); }

void Run::StopForTrouble(const std::string& text, Trouble kind) {
  ReportTrouble(text, kind);
  StopRun(folder, text);
}

Trouble Run::KindOfTrouble() const { return static_cast<Trouble>(shared->kindOfTrouble.load()); }

std::string Run::TroubleInWords() const { return HasTrouble() ? shared->trouble : ""; }

const Fault* FireFaultOn(PlatformCall call) {
  Run* run = Run::Current();
  return run == nullptr ? nullptr : run->FireCallFault(call);
}

const RecordedCall* AnswerFromRecording(const Question& question) {
  Run* run = Run::Current();
  try {
    return &run->Recording()->Answer(question);
  } catch (const PartsFromRecording& parts) {
    run->StopForTrouble(parts.what(), Trouble::kPartsFromRecording);
  } catch (const RecordingIsOver& over) {
    run->StopForTrouble(over.what(), Trouble::kRecordingIsOver);
  }
}

std::optional<std::string> RecordedBytes(const RecordedCall& recorded, const std::string& name) {
  if (recorded.IsWithheld(name)) {
    Run::Current()->StopForTrouble("call " + std::to_string(recorded.number) +
                                   " of the recording answers with key material that was "
                                   "withheld; record it with --with-keys");
  }
  return recorded.Bytes(name);
}

JournalLine LineOf(PlatformCall call) {
  Run* run = Run::Current();
  Journal* journal = run == nullptr || run->HasTrouble() ? nullptr : &run->CallJournal();
  return JournalLine(
      journal, PlatformCallName(call),
      run == nullptr ? nullptr : +[] { Run::Current()->CallEnded(); });
}

std::uint32_t NumberOf(const Fault* fault) { return fault == nullptr ? 0 : fault->number; }

}  // namespace vam
