#include "simulator/files/temporary_folder.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace vam {

namespace {

namespace fs = std::filesystem;

constexpr char kRandomPart[] = "XXXXXX";

constexpr char kFoldersInMemory[] = "/dev/shm";

fs::path Parent(FolderPlace place) {
  const char* parent = std::getenv("TMPDIR");
  if (parent != nullptr && *parent != '\0') {
    return fs::absolute(parent);
  }
  const bool isInMemory =
      place == FolderPlace::kMemory && access(kFoldersInMemory, W_OK | X_OK) == 0;
  return isInMemory ? kFoldersInMemory : "/tmp";
}

int OpenFolder(const std::string& path) {
  return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

/// Returns whether TemporaryFolder gives folders such names.
bool HasOurForm(const std::string& name, const std::string& prefix) {
  const std::string start = prefix + "-";
  return name.size() == start.size() + std::strlen(kRandomPart) &&
         name.compare(0, start.size(), start) == 0 &&
         std::all_of(name.begin() + static_cast<std::ptrdiff_t>(start.size()), name.end(),
                     [](unsigned char character) { return std::isalnum(character) != 0; });
}

void RemoveUnlessHeld(const std::string& path) {
  const int folder = OpenFolder(path);
  struct stat status;
  if (folder >= 0 && fstat(folder, &status) == 0 && status.st_uid == geteuid() &&
      flock(folder, LOCK_EX | LOCK_NB) == 0) {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  close(folder);
}

}  // namespace

TemporaryFolder::TemporaryFolder(const std::string& prefix, FolderPlace place) {
  struct stat status = {};
  // Until it is locked, another process may take the new folder for a left-over one and remove it.
  while (status.st_nlink == 0) {
    path = (Parent(place) / (prefix + "-" + kRandomPart)).string();
    if (mkdtemp(path.data()) == nullptr) {
      throw std::runtime_error(path + ": cannot be made: " + std::strerror(errno) +
                               "; point TMPDIR to a folder that you can write to");
    }
    close(lock);
    lock = OpenFolder(path);
    if (lock < 0 && errno != ENOENT) {
      throw std::runtime_error(path + ": cannot be opened: " + std::strerror(errno));
    }
    // On a file system without locks this fails, and so does every other process's attempt.
    while (flock(lock, LOCK_EX) != 0 && errno == EINTR) {
    }
    fstat(lock, &status);
  }
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path, ignored);
  close(lock);
}

void RemoveLeftOverFolders(const std::string& prefix, FolderPlace place) {
  std::vector<std::string> folders;
  std::error_code ignored;
  for (fs::directory_iterator entry(Parent(place), ignored), end; entry != end;
       entry.increment(ignored)) {
    if (HasOurForm(entry->path().filename().string(), prefix)) {
      folders.push_back(entry->path().string());
    }
  }
  std::for_each(folders.begin(), folders.end(), RemoveUnlessHeld);
}

}  // namespace vam
