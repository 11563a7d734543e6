#ifndef VERDICT_WATCHED_FILE_H_
#define VERDICT_WATCHED_FILE_H_

#include <sys/stat.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "report/run_record.h"

// A status file over one run. Its folder is everybody's: whatever is there may have been put there
// by somebody else, at any moment.

namespace vam {

/// No more is taken of a status file, in bytes.
inline constexpr std::size_t kLongestStatus = 8192;

class WatchedFile {
 public:
  /// Watches the file of an absolute path, which outlives the object.
  explicit WatchedFile(const char* watched)
      : path(watched), name(std::strrchr(watched, '/') + 1), folder(path, name) {}

  /// Before the run: moves what is no regular file of this user under a single name to a fresh name
  /// beside it, as often as it comes back, and remembers what then is there. Tells `record` what
  /// was moved, and what could not be.
  void Prepare(RunRecord& record);

  /// After the run: takes the whole file that the run wrote, or with `onlyAdded` what it added to
  /// the file's end. Returns whether there is any. A file that somebody else put there is none of
  /// the run's; it and what cannot be read become problems of `record`, and so does a text longer
  /// than kLongestStatus, of which the last bytes are taken.
  bool Take(bool onlyAdded, RunRecord& record, std::string& text) const;

 private:
  const char* const path;
  const char* const name;
  const std::string folder;
  bool wasThere = false;
  /// Of the file before the run, where it was there.
  struct stat before = {};
};

}  // namespace vam

#endif  // VERDICT_WATCHED_FILE_H_
