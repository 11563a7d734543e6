#ifndef VERDICT_RECORD_FOLDER_H_
#define VERDICT_RECORD_FOLDER_H_

#include <string>

#include "report/trusted_file.h"

namespace vam {

/// The folder in which a recorder keeps its record. There is one run at a time: the object holds
/// the folder's lock, which no other user can take.
class RecordFolder {
 public:
  /// `folderPath` outlives the object.
  explicit RecordFolder(const char* folderPath) : path(folderPath) {}

  /// Makes the folder where there is none, waits until no other run is under way, and removes the
  /// record of the run before: from now on there is none until Keep(). What fails here fails again
  /// there.
  void Begin();

  /// Writes `json` to a draft with the mode 0644 and renames it to the record. Returns why that
  /// could not be done; null when it was.
  [[nodiscard]] const char* Keep(const std::string& json);

 private:
  /// Opens the folder, and makes it where there is none, with the mode 0755.
  void Open();

  const char* const path;
  Descriptor folder;
  Descriptor lock;
};

}  // namespace vam

#endif  // VERDICT_RECORD_FOLDER_H_
