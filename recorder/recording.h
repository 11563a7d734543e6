#ifndef RECORDER_RECORDING_H_
#define RECORDER_RECORDING_H_

// What vam-record and the library in the recorded processes tell one another. The library finds the
// recording through one variable of the environment. It tells its troubles through a file that
// vam-record holds open.

#include <cstdint>
#include <string>

#include "journal/journal.h"

namespace vam {

/// Where a process finds the recording.
struct Recording {
  /// Names the recording to the processes of a run.
  static constexpr char kEnvironmentVariable[] = "VAM_RECORDING";

  JournalSettings settings;
  /// Reaches the file of notes that vam-record holds open. Has no blank.
  std::string notes;
  /// The journal. Any path from the root on.
  std::string journal;
};

/// Returns `recording` as the variable's value.
[[nodiscard]] std::string RecordingAsText(const Recording& recording);

/// Reads the variable's value. Returns false, with `recording` in any state, where that is none.
[[nodiscard]] bool ReadRecording(const char* text, Recording& recording);

/// What a run's processes have noted.
struct RunNotes {
  /// Whether the library came into any process.
  bool isLoaded = false;
  /// Why the recording is not complete; empty: it is.
  std::string trouble;
};

/// Makes the file of notes. Returns its descriptor; -1 where there is none to be had.
[[nodiscard]] int MakeNotes();

/// Returns the path that reaches `descriptor`, a file of notes, from the run's processes.
[[nodiscard]] std::string PathOfNotes(int descriptor);

[[nodiscard]] RunNotes ReadNotes(int descriptor);

/// Note in the file `notes` that the library has come into a process, and why the recording lacks
/// something. Leave the error number as it is.
void NoteLoaded(const std::string& notes);
void NoteTrouble(const std::string& notes, const std::string& trouble);

/// Note in the file `notes` which opening of the node `descriptor` is, and return the last that was
/// noted of it; 0: none. Leave the error number as it is.
void NoteOpening(const std::string& notes, int descriptor, std::uint32_t opening);
[[nodiscard]] std::uint32_t NotedOpening(const std::string& notes, int descriptor);

}  // namespace vam

#endif  // RECORDER_RECORDING_H_
