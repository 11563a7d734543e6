#include "simulator/run/run.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
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

#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/power_line.h"

namespace vam {

namespace {

constexpr char kBoardFile[] = "/board.toml";
constexpr char kCountersFile[] = "/counters";
constexpr char kStateLink[] = "/state";
constexpr char kJournalLink[] = "/journal";

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

void Link(const std::string& target, const std::string& path) {
  if (symlink(target.c_str(), path.c_str()) != 0) {
    FailOn(path);
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
      std::fprintf(stderr, "simulated board: %s\n", error.what());
      std::_Exit(125);
    }
  }();
  return kCurrent.get();
}

void Run::Prepare(const std::string& runFolder, const std::string& boardText,
                  const std::string& boardName, const std::string& stateFolder,
                  const std::string& journalFile) {
  const Board board = ReadBoardText(boardText, boardName);
  WriteFile(runFolder + kBoardFile, boardText);
  // A counter for the writes of the chip's memory, and one for each fault under its number.
  WriteFile(runFolder + kCountersFile,
            std::string((board.faults.size() + 1) * sizeof(FaultCounter), '\0'));
  Link(stateFolder, runFolder + kStateLink);
  if (!journalFile.empty()) {
    Link(journalFile, runFolder + kJournalLink);
  }
}

Run::Run(const std::string& runFolder)
    : folder(runFolder),
      description(ReadBoardFile(folder + kBoardFile)),
      stateFolder(folder + kStateLink),
      journal(folder + kJournalLink) {
  static_assert(std::atomic<std::uint32_t>::is_always_lock_free,
                "the counters are shared by processes");
  const std::string countersFile = folder + kCountersFile;
  const int descriptor = open(countersFile.c_str(), O_RDWR | O_CLOEXEC);
  if (descriptor < 0) {
    FailOn(countersFile);
  }
  countersSize = (description.faults.size() + 1) * sizeof(FaultCounter);
  void* mapped = mmap(nullptr, countersSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  close(descriptor);
  if (mapped == MAP_FAILED) {
    FailOn(countersFile);
  }
  counters = static_cast<FaultCounter*>(mapped);
}

Run::~Run() { munmap(counters, countersSize); }

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
    CounterOf(*first).fired.fetch_add(1);
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

void Run::AnswerFaultApplied(const Fault& fault) { CounterOf(fault).fired.fetch_add(1); }

void Run::ChipMemoryWritten() {
  const std::uint32_t writes = ChipWrites().calls.fetch_add(1) + 1;
  for (const Fault& fault : description.faults) {
    if (fault.kind == Fault::Kind::kPowerCut && fault.writes == writes) {
      CounterOf(fault).fired.fetch_add(1);
      CutPower(folder);
    }
  }
}

std::vector<const Fault*> Run::FaultsThatNeverFired() const {
  std::vector<const Fault*> faults;
  for (const Fault& fault : description.faults) {
    if (CounterOf(fault).fired.load() == 0) {
      faults.push_back(&fault);
    }
  }
  return faults;
}

const Fault* FireFaultOn(PlatformCall call) {
  Run* run = Run::Current();
  return run == nullptr ? nullptr : run->FireCallFault(call);
}

}  // namespace vam
