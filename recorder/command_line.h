#ifndef RECORDER_COMMAND_LINE_H_
#define RECORDER_COMMAND_LINE_H_

namespace vam {

/// What the command line of vam-record asks for. The texts are the command line's own.
struct RecorderRequest {
  enum class What { kRecord, kHelp, kVersion, kWrong };

  What what = What::kRecord;
  /// The recording's file; null: a new one in the working folder.
  const char* file = nullptr;
  bool withKeys = false;
  /// The program and its arguments, of which the last is null.
  char* const* program = nullptr;
  /// kWrong: the word at which the reading ended, and what is wrong with it.
  const char* word = "";
  const char* problem = "";
};

/// Reads a command line, the last of which is null.
[[nodiscard]] RecorderRequest ReadRecorderCommandLine(char* const* arguments);

}  // namespace vam

#endif  // RECORDER_COMMAND_LINE_H_
