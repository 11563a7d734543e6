#ifndef SIMULATOR_EXPLORING_MOMENTS_H_
#define SIMULATOR_EXPLORING_MOMENTS_H_

// The faults that can befall a run, one after the other at each of its moments.

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/recording/journal_reader.h"

namespace vam {

/// A fault at one moment of a run.
struct Moment {
  /// What kind of fault it is, as tables of results name it.
  std::string kind;
  /// The moment: a call, or an item of a reply.
  std::string place;
  /// What happens there.
  std::string change;
  /// The [[fault]] sections that make it happen on a board.
  std::string faults;
};

/// How many moments a run has that its journal does not tell.
struct MomentCounts {
  /// Writes of the chip's memory, platform calls, and writes to standard output.
  std::uint32_t chipWrites = 0;
  std::uint32_t calls = 0;
  std::uint32_t lines = 0;
  /// Bytes written to the status files.
  std::uint32_t statusBytes = 0;
  /// The program's requests for memory.
  std::uint32_t memoryRequests = 0;
};

/// Returns every fault that a board can have at each moment of the run that `clean` recorded and
/// `counts` counted.
[[nodiscard]] std::vector<Moment> MomentsOf(const RecordedRun& clean, const MomentCounts& counts);

}  // namespace vam

#endif  // SIMULATOR_EXPLORING_MOMENTS_H_
