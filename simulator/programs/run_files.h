#ifndef SIMULATOR_PROGRAMS_RUN_FILES_H_
#define SIMULATOR_PROGRAMS_RUN_FILES_H_

#include <string>

// The files that a run of vam-board reads and writes.

namespace vam {

/// Paths of a run's files; empty: it has no such file.
struct RunFiles {
  std::string board;
  /// What is replayed in the place of a board file.
  std::string recording;
  /// An image file that the board file names.
  std::string image;
  std::string program;
  /// The folder that keeps the chip.
  std::string state;
  std::string journal;
};

/// Refuses a run that would write what it reads, or two things to one file: throws
/// std::runtime_error with a line for the user. Opens nothing.
void RefuseToOverwrite(const RunFiles& files);

}  // namespace vam

#endif  // SIMULATOR_PROGRAMS_RUN_FILES_H_
