#ifndef UTIL_CONSOLE_LINE_H_
#define UTIL_CONSOLE_LINE_H_

#include <string>

// The one way in which this system writes to its console. Nothing is buffered and nothing fails:
// a run must reach its verdict whatever became of the console.

namespace vam {

/// Writes `text` and a newline to standard output, as one write(2) that nothing is left to flush
/// after. What the process buffered in stdio is written before it, so that the order holds.
///
/// A short write is continued. A standard output that is closed, full or without a reader loses
/// the line and nothing else is done about it; the caller decides what SIGPIPE does.
void PrintLine(std::string text);

}  // namespace vam

#endif  // UTIL_CONSOLE_LINE_H_
