#ifndef SIMULATOR_RUN_PROGRAM_ENVIRONMENT_H_
#define SIMULATOR_RUN_PROGRAM_ENVIRONMENT_H_

#include <string>
#include <vector>

namespace vam {

/// Has programs that this process executes find the stand-ins in `libraries`. `isShortOfMemory`
/// has their requests for memory counted.
void SetUpProgramEnvironment(const std::string& libraries, bool isShortOfMemory);

/// Becomes the program. Returns when it cannot; errno tells why.
void ExecuteProgram(const std::vector<std::string>& command);

}  // namespace vam

#endif  // SIMULATOR_RUN_PROGRAM_ENVIRONMENT_H_
