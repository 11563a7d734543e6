#ifndef VERDICT_OPTIONS_H_
#define VERDICT_OPTIONS_H_

// The options of vam-verdict, for what completes its command line. The parser itself does without
// the table, which would cost the program a page on ARM; a test holds the two together.

namespace vam {

/// An option of vam-verdict.
struct VerdictOption {
  const char* name;
  /// What its value is; null for an option without one.
  const char* value;
  const char* help;
  /// Whether the question for the outcome takes it, and whether `run` does.
  bool ofOutcome;
  bool ofRun;
};

inline constexpr VerdictOption kVerdictOptions[] = {
    {"--json", nullptr, "print the record", true, false},
    {"--quiet", nullptr, "print nothing", true, false},
    {"--wait", "SECONDS", "wait so long for a run to end", true, false},
    {"--folder", "FOLDER", "the record's folder", true, true},
    {"--journal", nullptr, "start each own line with its priority", false, true},
    {"--help", nullptr, "show the options", true, true},
    {"--version", nullptr, "show the version", true, false},
};

}  // namespace vam

#endif  // VERDICT_OPTIONS_H_
