#include "simulator/run/run.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
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
#include <new>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
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

Run* Run::Current() {
  static const std::unique_ptr<Run> kCurrent = []() -> std::unique_ptr<Run> {
    const char* folder = std::getenv(kEnvironmentVariable);
    if (folder == nullptr) {
      return nullptr;
    }
    try {
      return std::make_unique<Run>(folder);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "simulated board: %s\n", error.what());
      std::_Exit(125);
    }
  }();
  return kCurrent.get();
}

void Run::Prepare(const std::string& folder, const std::string& boardText,
                  const std::string& boardName, const std::string& stateFolder,
                  const std::string& journalFile) {
  const Board board = ReadBoardText(boardText, boardName);
  WriteFile(folder + kBoardFile, boardText);
  // A counter for the writes of the chip's memory, and one for each fault under its number.
  WriteFile(folder + kCountersFile,
            std::string((board.faults.size() + 1) * sizeof(FaultCounter), '\0'));
  Link(stateFolder, folder + kStateLink);
  if (!journalFile.empty()) {
    Link(journalFile, folder + kJournalLink);
  }
}

Run::Run(const std::string& runFolder)
    : folder(runFolder),
      description(ReadBoardFile(folder + kBoardFile)),
      stateFolder(folder + kStateLink) {
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
  if (!OpenJournal() && errno != ENOENT) {
    FailOn(folder + kJournalLink);
  }
}

Run::~Run() {
  munmap(counters, countersSize);
  if (journal >= 0) {
    close(journal);
  }
}

const Fault* Run::Count(const Fault& fault, std::uint32_t occurrence) {
  FaultCounter& counter = CounterOf(fault);
  const std::uint32_t call = counter.calls.fetch_add(1) + 1;
  if (occurrence != 0 && call != occurrence) {
    return nullptr;
  }
  counter.fired.fetch_add(1);
  return &fault;
}

const Fault* Run::FireCallFault(PlatformCall call) {
  const Fault* first = nullptr;
  for (const Fault& fault : description.faults) {
    if (fault.kind == Fault::Kind::kCall && fault.call == call) {
      const Fault* fired = Count(fault, fault.occurrence);
      first = first == nullptr ? fired : first;
    }
  }
  return first;
}

const Fault* Run::FireAnswerFault(std::size_t index, std::uint32_t command, bool hasMode,
                                  std::int32_t mode) {
  const Fault& fault = description.faults[index];
  const AnswerFault& answer = fault.answer;
  const bool matches = fault.kind == Fault::Kind::kAnswer && answer.command == command &&
                       (answer.hasMode == 0 || (hasMode && answer.mode == mode));
  return matches ? Count(fault, answer.occurrence) : nullptr;
}

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

bool Run::OpenJournal() {
  const int opened = open((folder + kJournalLink).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (opened < 0) {
    return false;
  }
  // Off the standard streams: what a program writes to one that its caller closed stays lost.
  journal = fcntl(opened, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(opened);
  return fstat(journal, &journalStatus) == 0;
}

bool Run::HoldsJournal() const {
  struct stat status;
  return fstat(journal, &status) == 0 && status.st_ino == journalStatus.st_ino &&
         status.st_dev == journalStatus.st_dev;
}

void Run::Journal(const std::string& line) {
  // The program may have closed a descriptor that it did not open, and have another file there.
  if (!HoldsJournal()) {
    OpenJournal();
  }
  // One write a line, so that lines of several processes do not mix.
  const std::string whole = line + "\n";
  if (write(journal, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size())) {
    std::fprintf(stderr, "simulated board: the journal cannot be written: %s\n",
                 std::strerror(errno));
    std::_Exit(125);
  }
}

const Fault* FireFaultOn(PlatformCall call) {
  Run* run = Run::Current();
  return run == nullptr ? nullptr : run->FireCallFault(call);
}

JournalLine::JournalLine(Run* owner, PlatformCall call)
    : run(owner != nullptr && owner->Journals() ? owner : nullptr) {
  if (run != nullptr) {
    line = "{\"call\":\"" + std::string(NameInJournal(call)) + "\"";
  }
}

JournalLine::~JournalLine() {
  if (run != nullptr) {
    run->Journal(line + "}");
  }
}

JournalLine& JournalLine::Raw(const char* key, const std::string& value) {
  if (run != nullptr) {
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
