#ifndef SIMULATOR_RECORDING_JOURNAL_DIFFERENCE_H_
#define SIMULATOR_RECORDING_JOURNAL_DIFFERENCE_H_

#include <string>

#include "simulator/recording/journal_reader.h"

namespace vam {

/// Tells where two runs part: the first call of a thread that differs, as each run made it. Times
/// and numbers do not count: processes are compared in the order in which they first called, the
/// threads of each in the order in which they were made, and contexts, sessions, memories,
/// marshallers and descriptors are not compared by their numbers, except by whether they were ever
/// made. Returns an empty text where the runs are the same.
[[nodiscard]] std::string WhereRunsPart(const RecordedRun& one, const std::string& nameOfOne,
                                        const RecordedRun& other, const std::string& nameOfOther);

}  // namespace vam

#endif  // SIMULATOR_RECORDING_JOURNAL_DIFFERENCE_H_
