#ifndef VERDICT_COMMAND_LINE_H_
#define VERDICT_COMMAND_LINE_H_

namespace vam {

/// What the command line asks for.
struct Request {
  enum class What { kSay, kRun, kHelp, kVersion, kWrong };
  What what = What::kSay;
  /// Of kWrong: what is wrong, and the word in question.
  const char* problem = nullptr;
  const char* word = nullptr;
  const char* folder = nullptr;
  bool asJson = false;
  bool isQuiet = false;
  unsigned secondsToWait = 0;
  /// Whether the recorder's lines bear the priorities that the journal reads.
  bool forJournal = false;
  /// The program and its arguments, ended by null.
  char* const* program = nullptr;
};

/// Reads a command line, as main() has it. The texts of the request are those of `arguments`.
[[nodiscard]] Request ReadCommandLine(char* const* arguments);

}  // namespace vam

#endif  // VERDICT_COMMAND_LINE_H_
