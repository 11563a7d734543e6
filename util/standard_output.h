#ifndef UTIL_STANDARD_OUTPUT_H_
#define UTIL_STANDARD_OUTPUT_H_

#include <string_view>

// Standard output for programs whose caller relies on what they print: nothing is lost unnoticed.

namespace vam {

/// Keeps descriptors 0 to 2 from going to other files where the caller closed them. They stay as
/// useless as closed ones: reading and writing fail, and a program that is executed finds them
/// closed.
void HoldClosedStandardStreams();

/// Writes all of `text` to standard output, after what the process buffered in stdio. Returns 0, or
/// the number of the error that lost some of it. A reader that has gone is such an error (EPIPE)
/// and sends no SIGPIPE.
[[nodiscard]] int WriteToStandardOutput(std::string_view text);

}  // namespace vam

#endif  // UTIL_STANDARD_OUTPUT_H_
