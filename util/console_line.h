#ifndef UTIL_CONSOLE_LINE_H_
#define UTIL_CONSOLE_LINE_H_

#include <initializer_list>
#include <string_view>

// The one way in which this system writes to its console. Nothing is buffered and nothing fails: a
// run must reach its verdict even when its console is gone.

namespace vam {

/// Writes `pieces`, one after the other, and a newline to standard output. The line is composed in
/// full and is one write(2), so nothing is left to flush. What the process buffered in stdio is
/// written before it, so that the order holds.
///
/// A short write is continued. When standard output is closed, full or without a reader, the line
/// is lost and nothing reports it. The caller decides what SIGPIPE does.
void PrintLine(std::initializer_list<std::string_view> pieces);

/// Writes a line of one piece.
inline void PrintLine(std::string_view text) { PrintLine({text}); }

}  // namespace vam

#endif  // UTIL_CONSOLE_LINE_H_
