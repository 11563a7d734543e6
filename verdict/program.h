#ifndef VERDICT_PROGRAM_H_
#define VERDICT_PROGRAM_H_

#include <csignal>

#include "report/run_record.h"

namespace vam {

/// Lets no write to a console without a reader end this process. Returns the signal mask from
/// before, which is the program's.
[[nodiscard]] sigset_t SurviveLostConsole();

/// Runs the program that `arguments` name, the last of which is null, with the signal mask `mask`,
/// and waits for its end. It is looked up as a shell would. From this call on SIGTERM, SIGINT and
/// SIGHUP do nothing to this process but are sent on to the program. Fills in `record` how the
/// program ended. One that could not be started has the status 127, or 126 where it exists, and
/// leaves a problem.
void RunProgram(char* const* arguments, const sigset_t& mask, RunRecord& record);

}  // namespace vam

#endif  // VERDICT_PROGRAM_H_
