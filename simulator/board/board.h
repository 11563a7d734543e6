#ifndef SIMULATOR_BOARD_BOARD_H_
#define SIMULATOR_BOARD_BOARD_H_

// A simulated board, as a board file (TOML) describes it. docs/simulator.md is the reference of the
// file's keys.

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/board/platform_calls.h"
#include "simulator/model/answer_fault.h"

namespace vam {

/// What the kernel driver's node answers.
struct ProbeSection {
  bool nodePresent = true;
  bool ioctlAnswers = true;
  /// The flag that the ioctl writes; none: the ioctl leaves it untouched.
  std::optional<std::int32_t> flag = 1;
};

struct SecureWorldSection {
  bool present = true;
  bool trustedApplication = true;
};

struct ImageSection {
  enum class State { kWhole, kMissing, kDamaged };

  std::string systemVersion;
  std::string appVersion;
  std::string runsSystemVersion;
  std::string runsAppVersion;
  std::uint32_t payloadSize = 4096;
  State state = State::kWhole;
  /// An image file that the board has instead; empty: none.
  std::string file;
};

struct ChipSection {
  enum class State { kWhole, kInterrupted, kDamaged, kFull };

  std::string systemVersion;
  std::string appVersion;
  State state = State::kWhole;
  bool implementsUpdates = true;
  bool selfTestPasses = true;
  std::vector<std::uint32_t> information;
  std::vector<std::uint8_t> hackInformation;
  std::vector<std::uint8_t> akRecord;
  std::vector<std::uint8_t> rpmbRecord;
};

/// One fault that the board declares.
struct Fault {
  enum class Kind {
    /// A platform call gives another result.
    kCall,
    /// The trusted application answers wrongly.
    kAnswer,
    /// The board loses power.
    kPowerCut,
    /// A process of the program gets a signal.
    kSignal,
    /// The program's standard output is not as it should be, from the start.
    kConsole,
    /// A status file cannot be written, or is no plain file from the start.
    kStatusFile,
    /// The folder of the status files gets full.
    kStatusRoom,
    /// A request of the program for memory fails.
    kMemory,
  };

  /// What is wrong with standard output.
  enum class Console {
    kWhole,
    kClosed,
    /// Every write fails with ENOSPC.
    kFull,
    /// A pipe whose reading end is closed.
    kWithoutReader,
    /// A pipe that is full and non-blocking, and is read from after a while.
    kSlow,
  };

  /// What is wrong with a status file.
  enum class StatusFile {
    /// No opening of it for writing succeeds.
    kRefused,
    kIsFolder,
    /// It is a symbolic link to a file beside it.
    kIsLink,
  };

  Kind kind = Kind::kCall;
  /// Its place among the faults of the board file, from 1. Reports and the journal name it so.
  std::uint32_t number = 0;
  /// What it changes, in words for reports.
  std::string description;
  /// kCall: the call, and which of these calls the fault changes, from 1; 0: every one.
  PlatformCall call = PlatformCall::kOpen;
  std::uint32_t occurrence = 0;
  /// kCall: what a TEEC_ function or system_info_get_value_string returns instead.
  std::uint32_t result = 0;
  std::uint32_t origin = 0;
  /// kCall on open and ioctl, and kStatusFile that is kRefused: the error number.
  int errorNumber = 0;
  AnswerFault answer{};
  /// kPowerCut: how many writes of the chip's memory a run makes before it.
  std::uint32_t writes = 0;
  /// kSignal: its number, and after how many platform calls or writes to standard output of the run
  /// it comes; one of these is 0.
  int signal = 0;
  std::uint32_t calls = 0;
  std::uint32_t lines = 0;
  Console console = Console::kWhole;
  /// kStatusFile: which of the files, and what is wrong with it.
  bool changesOkFile = false;
  bool changesFailFile = false;
  StatusFile statusFile = StatusFile::kRefused;
  /// kStatusRoom: how many bytes the folder takes.
  std::uint32_t room = 0;
  /// kMemory: which request of the run fails, from 1.
  std::uint32_t request = 0;

  /// Returns whether it is there before the program starts, and so fires in every run.
  [[nodiscard]] bool IsThereFromTheStart() const {
    return kind == Kind::kConsole ||
           (kind == Kind::kStatusFile && statusFile != StatusFile::kRefused);
  }
};

struct Board {
  /// The file's name, without its folder and ending, where the file gives no title.
  std::string title;
  std::string about;
  /// How a run of the update tool ends there; for people.
  std::string outcome;
  ProbeSection probe;
  SecureWorldSection secureWorld;
  ImageSection image;
  ChipSection chip;
  std::map<std::string, std::string> settings;
  /// Texts by the numbers of their keys in system_info.h.
  std::map<std::int32_t, std::string> systemInformation;
  std::vector<Fault> faults;
};

/// Tells what is wrong with a board file, in one line: the file, the line and what was expected.
class BoardError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The most bytes of a board file.
constexpr std::uint64_t kBoardFileLimit = std::uint64_t{1} << 20;

/// Reads the board file at `path`. Throws BoardError.
[[nodiscard]] Board ReadBoardFile(const std::string& path);

/// Reads a board from `text`; `name` stands for the file in errors. Throws BoardError.
[[nodiscard]] Board ReadBoardText(const std::string& text, const std::string& name);

}  // namespace vam

#endif  // SIMULATOR_BOARD_BOARD_H_
