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

/// Returns every fault that a board can have at each moment of the run that `clean` recorded, whose
/// programs wrote the chip's memory `chipWrites` times.
[[nodiscard]] std::vector<Moment> MomentsOf(const RecordedRun& clean, std::uint32_t chipWrites);

}  // namespace vam

#endif  // SIMULATOR_EXPLORING_MOMENTS_H_
