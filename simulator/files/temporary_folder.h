#ifndef SIMULATOR_FILES_TEMPORARY_FOLDER_H_
#define SIMULATOR_FILES_TEMPORARY_FOLDER_H_

#include <string>

namespace vam {

/// Where folders are made for which TMPDIR names no place.
enum class FolderPlace {
  kTmp,
  /// In memory, where the machine has such a place: much is written to it, and nothing lasts.
  kMemory,
};

/// A folder of its owner's own, removed with everything in it when the object ends. It is locked
/// until then.
class TemporaryFolder {
 public:
  /// Makes the folder in the one that TMPDIR names, else in `place`. Its name starts with `prefix`.
  /// Throws std::runtime_error, with a line for the user, when it cannot be made.
  explicit TemporaryFolder(const std::string& prefix, FolderPlace place = FolderPlace::kTmp);
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// An absolute path.
  const std::string& Path() const { return path; }

 private:
  std::string path;
  int lock = -1;
};

/// Removes this user's folders that TemporaryFolder made with `prefix` and that no process holds
/// any more, because it was killed. What cannot be removed stays.
void RemoveLeftOverFolders(const std::string& prefix, FolderPlace place = FolderPlace::kTmp);

}  // namespace vam

#endif  // SIMULATOR_FILES_TEMPORARY_FOLDER_H_
