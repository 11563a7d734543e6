#ifndef SIMULATOR_RUN_JOURNAL_H_
#define SIMULATOR_RUN_JOURNAL_H_

#include <sys/stat.h>

#include <functional>
#include <string>

namespace vam {

/// The file that the programs of a run write their platform calls to, a line each.
class Journal {
 public:
  /// What is called with trouble, a line for the user.
  using Trouble = std::function<void(const std::string&)>;

  /// Opens the file at `file`; a run without one keeps no journal. Throws std::runtime_error when
  /// the file is there and cannot be opened.
  Journal(std::string file, Trouble trouble);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  bool IsKept() const { return descriptor >= 0; }

  /// Appends one line, or nothing: when that fails, it reports the trouble. REQUIRES: IsKept().
  void Append(const std::string& line);

 private:
  /// Returns whether it opened the file; errno tells why not.
  bool Open();
  /// Returns whether the descriptor is still the journal's.
  bool HoldsDescriptor() const;

  std::string path;
  Trouble report;
  int descriptor = -1;
  struct stat opened = {};
};

}  // namespace vam

#endif  // SIMULATOR_RUN_JOURNAL_H_
