#ifndef SIMULATOR_RUN_RUN_H_
#define SIMULATOR_RUN_RUN_H_

// One run of a program on a simulated board, or on a recording. vam-board prepares it. The stand-in
// libraries in the program's processes find it through the environment, and share its fault
// counters, its journal, and how far its recording has been replayed.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "journal/journal.h"
#include "journal/journal_line.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/recorded_call.h"
#include "simulator/run/replay.h"

namespace vam {

/// How many calls came that a fault may change, and whether it has fired. All processes of a run
/// share it.
struct FaultCounter {
  std::atomic<std::uint32_t> calls;
  std::atomic<bool> fired;
};

/// What all processes of a run share, followed by a FaultCounter for each fault.
struct SharedByRun;

/// What ended a run that a program did not end.
enum class Trouble : std::uint32_t {
  kNone,
  /// The rig's own: a full disk, a file that went away.
  kOfTheRig,
  /// The program asked something else than the recorded one.
  kPartsFromRecording,
  /// The program asked more than was recorded.
  kRecordingIsOver,
};

class Run {
 public:
  /// Names the run's folder to the stand-in libraries.
  static constexpr char kEnvironmentVariable[] = "VAM_BOARD_RUN";

  /// Returns the run that this process belongs to, or null when it was not started on a board. Ends
  /// the process, with a line on standard error, when the run's folder cannot be used: without it
  /// the program would meet another board than its own.
  static Run* Current();

  /// Returns the state folder of a run whose chip goes with it.
  static std::string OwnStateFolder(const std::string& runFolder);

  /// Prepares `runFolder`, which exists and is empty, for a run on the board in `boardText`, with
  /// the chip in `stateFolder`, or, when that is empty, in OwnStateFolder(). `journalFile` is a
  /// journal that was started, with its settings; an empty one means no journal. Throws BoardError
  /// for a wrong board and std::runtime_error for a file that cannot be written.
  static void Prepare(const std::string& runFolder, const std::string& boardText,
                      const std::string& boardName, const std::string& stateFolder,
                      const std::string& journalFile, const JournalSettings& settings = {});

  /// Opens a prepared run. Throws what Prepare() throws.
  explicit Run(const std::string& runFolder);
  ~Run();
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  const Board& Description() const { return description; }
  /// Where the board keeps the chip's memory and the firmware image.
  const std::string& StateFolder() const { return stateFolder; }
  /// Whether that outlives the run.
  bool StateIsKept() const { return stateFolder != OwnStateFolder(folder); }

  /// Counts `call` for every fault on it. Returns the first fault that fires, or null.
  const Fault* FireCallFault(PlatformCall call);

  /// Counts an invocation of `command` for the fault at `index` (from 0). Returns the fault when it
  /// is to change this invocation, or null.
  const Fault* SelectAnswerFault(std::size_t index, std::uint32_t command, bool hasMode,
                                 std::int32_t mode);

  /// Takes note that `fault`, which was selected, has changed an answer: it has fired.
  void AnswerFaultApplied(const Fault& fault);

  /// Counts a write of the chip's memory. Ends every program of the run when the board loses power
  /// after it.
  void ChipMemoryWritten();

  /// Returns how often the chip's memory was written.
  std::uint32_t ChipWrites() const;

  /// Counts a platform call that has ended. Sends this process the signal that comes after it.
  void CallEnded();

  /// Does the same for a write to standard output.
  void LineWritten();

  /// Counts an opening of a status file for writing. Returns the error number with which it fails;
  /// 0: it succeeds.
  int StatusFileOpened(bool isOkFile);

  /// Returns how many of `size` bytes there is room for in the status files, and takes the room.
  std::size_t TakeStatusRoom(std::size_t size);

  /// What the run has come to. Writes are counted in a run that is watched alone.
  struct Counts {
    std::uint32_t calls = 0;
    /// Writes to standard output.
    std::uint32_t lines = 0;
    /// Calls after a status file was first opened for writing.
    std::uint32_t callsAfterStatus = 0;
    /// Requests for memory, on a board where one fails.
    std::uint32_t memoryRequests = 0;
  };
  [[nodiscard]] Counts WhatWasCounted() const;

  /// Returns the faults that have fired in no process yet.
  std::vector<const Fault*> FaultsThatNeverFired() const;

  /// Records trouble that is none of the board's. vam-board reports the first of a run, a text for
  /// the user, when the run ends.
  void ReportTrouble(const std::string& text, Trouble kind = Trouble::kOfTheRig);
  /// Reports the trouble and ends every program of the run, which would otherwise meet the trouble
  /// as an answer of the board.
  [[noreturn]] void StopForTrouble(const std::string& text, Trouble kind = Trouble::kOfTheRig);
  bool HasTrouble() const { return KindOfTrouble() != Trouble::kNone; }
  Trouble KindOfTrouble() const;
  /// Returns what was said of the trouble that the run has had; empty: none.
  std::string TroubleInWords() const;

  /// Returns the recording that answers the programs of this run; null: a board does.
  Replay* Recording() { return recording.get(); }

  /// No process writes to it once the run has had trouble: what is missing is always the end.
  Journal& CallJournal() { return journal; }

 private:
  /// Counts a call that `fault` may change. Returns whether it is the `occurrence`th one; 0 stands
  /// for every one.
  bool Count(const Fault& fault, std::uint32_t occurrence);
  /// Sends this process the signals that come at `count`, by the member that says when.
  void SendSignals(std::uint32_t Fault::*place, std::uint32_t count);
  /// The counter of each fault, under its number less one.
  FaultCounter& CounterOf(const Fault& fault) const;

  std::string folder;
  Board description;
  std::string stateFolder;
  SharedByRun* shared = nullptr;
  std::size_t sharedSize = 0;
  std::unique_ptr<Replay> recording;
  Journal journal;
};

/// Counts `call` in the run that this process belongs to. Returns the fault that fires, or null.
const Fault* FireFaultOn(PlatformCall call);

/// Returns the recorded call that answers `question`; null where no recording does. Ends the
/// programs of the run where the recording has another call, or none.
const RecordedCall* AnswerFromRecording(const Question& question);

/// Does the same for the question that `ask` puts: it adds what is asked to a Question, as it adds
/// that to the call's JournalLine.
template <typename Ask>
const RecordedCall* FindRecorded(PlatformCall call, Ask ask) {
  Run* run = Run::Current();
  if (run == nullptr || run->Recording() == nullptr) {
    return nullptr;
  }
  Question question(call);
  ask(question);
  return AnswerFromRecording(question);
}

/// Returns the text or the bytes that `recorded` answers under `name`; none where it answers null.
/// Ends the programs of the run where the recording withheld them.
std::optional<std::string> RecordedBytes(const RecordedCall& recorded, const std::string& name);

/// Begins the line of `call` in the journal of the run that this process belongs to. Where there is
/// no journal, the line is not written.
[[nodiscard]] JournalLine LineOf(PlatformCall call);

/// Returns the number of `fault` for JournalLine::ChangedBy(); 0 for null.
[[nodiscard]] std::uint32_t NumberOf(const Fault* fault);

}  // namespace vam

#endif  // SIMULATOR_RUN_RUN_H_
