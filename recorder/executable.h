#ifndef RECORDER_EXECUTABLE_H_
#define RECORDER_EXECUTABLE_H_

#include <string>

namespace vam {

/// Returns the file that a shell would run for the program `name`: one with a slash is a path, any
/// other is searched in PATH. Where there is none, returns an empty text; errno says why.
[[nodiscard]] std::string FindExecutable(const char* name);

/// Returns why no library can be preloaded into the program in `file`, or into the interpreter that
/// its first line names; null: nothing speaks against it. The words follow the program's name:
/// "is static".
[[nodiscard]] const char* WhyNotRecorded(const std::string& file);

}  // namespace vam

#endif  // RECORDER_EXECUTABLE_H_
