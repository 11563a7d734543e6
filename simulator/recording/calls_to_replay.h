#ifndef SIMULATOR_RECORDING_CALLS_TO_REPLAY_H_
#define SIMULATOR_RECORDING_CALLS_TO_REPLAY_H_

#include <cstdint>

#include "simulator/recording/journal_reader.h"
#include "simulator/run/recorded_call.h"

namespace vam {

/// Returns the calls of a run, thread by thread, as a replay answers them. Those before call
/// `first` of the run, whose first is 1, are the threads' beginnings.
[[nodiscard]] RecordedThreads CallsToReplay(const RecordedRun& run, std::uint32_t first);

}  // namespace vam

#endif  // SIMULATOR_RECORDING_CALLS_TO_REPLAY_H_
