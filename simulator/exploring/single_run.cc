#include "simulator/exploring/single_run.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "interface/trusted_application.h"
#include "journal/journal.h"
#include "simulator/board/board.h"
#include "simulator/files/whole_file.h"
#include "simulator/model/chip_memory.h"
#include "simulator/model/firmware_image.h"
#include "simulator/model/trusted_application.h"
#include "simulator/recording/journal_reader.h"
#include "simulator/run/board_paths.h"
#include "simulator/run/board_program.h"
#include "simulator/run/board_status.h"
#include "simulator/run/run.h"
#include "simulator/state/chip_memory_file.h"
#include "simulator/state/firmware_image_file.h"
#include "simulator/state/sha256_digest.h"
#include "simulator/state/state_folder.h"

namespace vam {

namespace {

namespace fs = std::filesystem;

// What an earlier run left.
constexpr char kOldOk[] = "Updated FW version: 0.0 \n";
constexpr char kOldFail[] = "Open /dev/zelkshield failed with error: -1 \n";

constexpr char kOkName[] = "/VAM_OK";
constexpr char kFailName[] = "/VAM_FAIL";

std::string StateIn(const std::string& folder) { return folder + "/state"; }

void Write(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  file.close();
  if (!file) {
    throw std::runtime_error(path + ": cannot be written: " + std::strerror(errno));
  }
}

/// A stream of this process that leads to a file for as long as the object lives.
class LedStream {
 public:
  LedStream(int ledStream, const std::string& path) : stream(ledStream) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    if (file == -1) {
      throw std::runtime_error(path + ": cannot be written: " + std::strerror(errno));
    }
    before = fcntl(stream, F_DUPFD_CLOEXEC, 3);
    dup2(file, stream);
    close(file);
  }
  ~LedStream() {
    dup2(before, stream);
    close(before);
  }
  LedStream(const LedStream&) = delete;
  LedStream& operator=(const LedStream&) = delete;

 private:
  int stream;
  int before;
};

/// The program's output streams, its working folder and the signals that it takes, for as long as
/// the object lives.
class Surroundings {
 public:
  explicit Surroundings(const std::string& folder)
      : output(STDOUT_FILENO, folder + "/console"),
        complaints(STDERR_FILENO, folder + "/complaints"),
        workingFolder(fs::current_path()) {
    // A run leaves signals blocked, which the program of the next one would inherit.
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    fs::create_directory(folder + "/work");
    fs::current_path(folder + "/work");
  }
  ~Surroundings() {
    std::error_code ignored;
    fs::current_path(workingFolder, ignored);
    sigprocmask(SIG_SETMASK, &blocked, nullptr);
  }
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;

 private:
  LedStream output;
  LedStream complaints;
  fs::path workingFolder;
  sigset_t blocked;
};

bool ChipRunsImage(const std::string& state) {
  ChipMemoryFile store(ChipMemoryIn(state));
  Sha256Digest digest;
  const auto chip = std::make_unique<StoredChipMemory>();
  FirmwareImageFile source(FirmwareImageIn(state));
  const auto image = std::make_unique<FirmwareImage>();
  return LoadChipMemory(store, digest, *chip) && chip->memory.state == kChipWhole &&
         ReadFirmwareImage(source, digest, *image) == ImageStatus::kWhole &&
         std::memcmp(chip->memory.imageDigest, image->digest, kDigestSize) == 0;
}

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    files.push_back(entry.path().filename().string());
  }
  return files;
}

/// Looks at which faults fired, of which the last `added` ones are those of the exploration, and at
/// what they do to the rules.
void LookAtFaults(const Run& ended, std::size_t added, SingleRun& run) {
  const std::vector<Fault>& faults = ended.Description().faults;
  const std::vector<const Fault*> unfired = ended.FaultsThatNeverFired();
  Evidence& evidence = run.evidence;
  for (const Fault& fault : faults) {
    if (std::find(unfired.begin(), unfired.end(), &fault) != unfired.end()) {
      run.allFired = run.allFired && fault.number + added <= faults.size();
      continue;
    }
    switch (fault.kind) {
      case Fault::Kind::kPowerCut:
      case Fault::Kind::kSignal:
      case Fault::Kind::kMemory:
        evidence.isCutOff = true;
        break;
      case Fault::Kind::kStatusFile:
        if (fault.statusFile != Fault::StatusFile::kIsLink) {
          evidence.okIsRefused = evidence.okIsRefused || fault.changesOkFile;
          evidence.failIsRefused = evidence.failIsRefused || fault.changesFailFile;
        }
        break;
      case Fault::Kind::kStatusRoom:
        evidence.statusRoom = std::min(evidence.statusRoom.value_or(fault.room), fault.room);
        break;
      default:
        break;
    }
  }
}

/// Returns how many bytes a run wrote to its status files.
std::uint32_t StatusBytesOf(const Evidence& run) {
  const std::size_t failBefore = run.failBefore.value_or("").size();
  const std::size_t failAfter = run.failAfter.value_or("").size();
  const std::size_t ok = run.okAfter == run.okBefore ? 0 : run.okAfter.value_or("").size();
  return static_cast<std::uint32_t>(ok + failAfter - std::min(failBefore, failAfter));
}

/// Puts the program on its board, and looks at what it leaves.
SingleRun Observe(const Scene& scene, const std::string& folder, const std::string& boardText,
                  std::size_t addedFaults, PreparedProgram* prepared) {
  const std::string state = StateIn(folder);
  const std::string runFolder = folder + "/run";
  fs::create_directory(runFolder);
  SingleRun run;
  JournalSettings settings;
  const std::string journal = folder + "/journal";
  if (!StartJournal(journal, {scene.command[0], {}, "vam-board explore"}, settings)) {
    throw std::runtime_error(journal + ": cannot be written: " + std::strerror(errno));
  }
  Run::Prepare(runFolder, boardText, scene.boardName, state, journal, settings);
  Write(runFolder + kWatchFile, "");
  const Board board = ReadBoardText(boardText, scene.boardName);
  LeadToStatusFiles(runFolder, state, board.faults);
  Write(ChipLockIn(state), "");
  run.evidence.okBefore = ReadWholeFile(state + kOkName);
  run.evidence.failBefore = ReadWholeFile(state + kFailName);
  const std::vector<std::string> filesBefore = FilesIn(state);
  {
    const Surroundings surroundings(folder);
    run.evidence.status = RunOnBoard(
        {scene.command, runFolder, scene.libraries, board.probe, board.faults, prepared});
  }
  const Run ended(runFolder);
  if (ended.HasTrouble()) {
    throw std::runtime_error(ended.TroubleInWords());
  }
  LookAtFaults(ended, addedFaults, run);
  const Run::Counts counts = ended.WhatWasCounted();
  run.evidence.callsAfterStatus = counts.callsAfterStatus;
  run.counts = {ended.ChipWrites(), counts.calls, counts.lines, 0, counts.memoryRequests};
  run.evidence.journal = ReadJournal(ReadWholeFile(journal).value_or(""), "the journal");
  for (const JournalCall& call : run.evidence.journal.calls) {
    run.evidence.answersChanged = run.evidence.answersChanged || call.members.contains("fault");
  }
  run.evidence.okAfter = ReadWholeFile(state + kOkName);
  run.evidence.failAfter = ReadWholeFile(state + kFailName);
  run.counts.statusBytes = StatusBytesOf(run.evidence);
  run.evidence.complaints = ReadWholeFile(folder + "/complaints").value_or("");
  run.evidence.chipRunsImage = ChipRunsImage(state);
  run.evidence.strangers = FilesIn(folder + "/work");
  for (const std::string& file : FilesIn(state)) {
    if (std::find(filesBefore.begin(), filesBefore.end(), file) == filesBefore.end()) {
      run.evidence.strangers.push_back(file);
    }
  }
  fs::remove_all(runFolder);
  fs::remove_all(folder + "/work");
  return run;
}

class NoFaults final : public AnswerFaults {
 public:
  std::uint32_t Count() override { return 0; }
  const AnswerFault* Select(std::uint32_t /*index*/, std::uint32_t /*command*/, bool /*hasMode*/,
                            std::int32_t /*mode*/) override {
    return nullptr;
  }
  void Applied(std::uint32_t /*index*/) override {}
};

/// Forces the recovery of a chip that asks for it; another chip refuses.
void Recover(const std::string& state) {
  ChipMemoryFile store(ChipMemoryIn(state), Keeping::kWhilePowered);
  FirmwareImageFile image(FirmwareImageIn(state));
  Sha256Digest digest;
  NoFaults faults;
  std::vector<std::uint8_t> block(kSharedBlockSize);
  const auto application = std::make_unique<TrustedApplication>(store, image, digest, faults);
  static_cast<void>(application->Invoke(kVamForceRecovery, block.data(), block.size()));
}

}  // namespace

SingleRun RunOnce(const Scene& scene, const std::string& folder, const std::string& faults,
                  PreparedProgram* prepared) {
  const std::string text = scene.boardText + faults;
  const Board board = ReadBoardText(text, scene.boardName);
  const Board without = ReadBoardText(scene.boardText, scene.boardName);
  const std::string state = StateIn(folder);
  PrepareStateFolder(state, board, scene.boardFolder, Keeping::kWhilePowered);
  Write(state + kOkName, kOldOk);
  Write(state + kFailName, kOldFail);
  return Observe(scene, folder, text, board.faults.size() - without.faults.size(), prepared);
}

SingleRun RunAgain(const Scene& scene, const std::string& folder, PreparedProgram* prepared) {
  Recover(StateIn(folder));
  return Observe(scene, folder, scene.boardText, 0, prepared);
}

std::string ChipMemoryOf(const std::string& folder) {
  return ReadWholeFile(ChipMemoryIn(StateIn(folder))).value_or("");
}

}  // namespace vam
