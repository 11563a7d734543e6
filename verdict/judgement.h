#ifndef VERDICT_JUDGEMENT_H_
#define VERDICT_JUDGEMENT_H_

#include <string>

#include "report/run_record.h"

namespace vam {

/// Fills in the outcome, the version and the entries of `record`, whose program has ended.
/// `okText` is what the run wrote to the file of verified firmware, `added` what it added to the
/// error file; empty where it did not touch the file.
///
/// A run is verified only if it exited with 0, left the one line of a verified version, and added
/// no entry but that of the information words.
void JudgeRun(RunRecord& record, const std::string& okText, const std::string& added);

}  // namespace vam

#endif  // VERDICT_JUDGEMENT_H_
