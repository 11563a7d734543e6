#include "tests/judged_outcome.h"

#include <string>

#include "report/run_record.h"
#include "verdict/judgement.h"

namespace vam {

std::string JudgedOutcome(int status, const std::string& okFile, const std::string& errorFile) {
  RunRecord record;
  record.status = status;
  JudgeRun(record, okFile, errorFile);
  return RunOutcomeName(record.outcome);
}

}  // namespace vam
