#ifndef SIMULATOR_RECORDING_RECORDED_CALLS_TEST_H_
#define SIMULATOR_RECORDING_RECORDED_CALLS_TEST_H_

#include <gtest/gtest.h>

#include <string>

#include "simulator/recording/journal_reader.h"

namespace vam {

/// Reads a journal of these lines of calls, which must be right, under the head of some recording.
inline RecordedRun ReadCalls(const std::string& calls) {
  RecordedRun run = ReadJournal(
      R"({"format":1,"program":"tool","arguments":null,"build":"vam-board 1.0","keys":false,)"
      R"("clock":{"bootId":"","bootTime":1,"realTime":1795000000000000000}})"
      "\n" +
          calls,
      "journal");
  EXPECT_EQ(run.problem, "");
  return run;
}

}  // namespace vam

#endif  // SIMULATOR_RECORDING_RECORDED_CALLS_TEST_H_
