#ifndef JOURNAL_JOURNAL_H_
#define JOURNAL_JOURNAL_H_

// The file of a run's platform calls: a head and then a line for each call, in the form that
// docs/journal.md describes. Any number of processes and threads append to one journal.

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vam {

/// The version of the form. It grows with every change that an older reader cannot read.
constexpr int kJournalFormat = 1;

/// What every process of a run knows of its journal.
struct JournalSettings {
  /// When the run started, in nanoseconds of the boot clock. The times of the lines count from
  /// here.
  std::uint64_t start = 0;
  /// Whether key material is written, and not only its length and digest.
  bool withKeys = false;
};

/// What a journal's head says of its run, beside its settings.
struct JournalHead {
  std::string program;
  /// Written only with key material.
  std::vector<std::string> arguments;
  /// What writes the journal, and its version: "vam-board 1.0.0".
  std::string build;
};

/// Which files may become a journal. A regular file is emptied, and is private to its owner (mode
/// 0600).
enum class JournalFile {
  /// A new file, a regular file, or what else takes lines. Symbolic links are followed.
  kAny,
  /// A new file, or a regular file of the caller's own that has no other name. A symbolic link is
  /// refused.
  kOwn,
  /// A new file.
  kNew,
};

/// Makes `path` a journal that has its head and no line. `settings.start` becomes this moment.
/// Returns whether that was done; errno tells why not: EPERM for a file that is not the caller's
/// own.
[[nodiscard]] bool StartJournal(const std::string& path, const JournalHead& head,
                                JournalSettings& settings, JournalFile kind = JournalFile::kAny);

/// A journal that was started, as one process appends to it.
class Journal {
 public:
  /// Is called with the cause when a line cannot be written.
  using Failed = std::function<void(const std::string& cause)>;

  /// Opens the file at `file`. A file that is missing, or not to be opened, is not kept; errno then
  /// tells why.
  Journal(std::string file, const JournalSettings& runSettings, Failed whenFailed);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  [[nodiscard]] bool IsKept() const { return descriptor >= 0; }
  [[nodiscard]] const JournalSettings& Settings() const { return settings; }

  /// Appends one line by one write, or nothing and reports the failure. REQUIRES: IsKept().
  void Append(const std::string& line);

 private:
  /// Returns whether it opened the file; errno tells why not.
  bool Open();
  /// Returns whether the descriptor is still the journal's.
  [[nodiscard]] bool HoldsDescriptor() const;

  std::string path;
  JournalSettings settings;
  Failed failed;
  int descriptor = -1;
  struct stat opened = {};
};

/// Returns this moment in nanoseconds of the boot clock, which also counts while the device sleeps.
[[nodiscard]] std::uint64_t BootTime();

}  // namespace vam

#endif  // JOURNAL_JOURNAL_H_
