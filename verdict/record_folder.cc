#include "verdict/record_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

#include "report/last_run.h"
#include "report/trusted_file.h"

namespace vam {

namespace {

constexpr char kDraftName[] = "verdict.json.draft";
constexpr char kLockName[] = "lock";
constexpr mode_t kFolderMode = 0755;
constexpr mode_t kRecordMode = 0644;
constexpr mode_t kLockMode = 0600;

bool WriteAll(int descriptor, const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(descriptor, text.data() + written, text.size() - written);
    if (count < 0) {
      return false;
    }
    written += static_cast<std::size_t>(count);
  }
  return true;
}

/// Writes `text` to a new file, whole and down to the disk.
bool WriteDraft(int folder, const std::string& text) {
  unlinkat(folder, kDraftName, 0);
  const Descriptor draft(
      openat(folder, kDraftName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kRecordMode));
  return draft.IsOpen() && fchmod(draft.Number(), kRecordMode) == 0 &&
         WriteAll(draft.Number(), text) && fsync(draft.Number()) == 0;
}

}  // namespace

void RecordFolder::Open() {
  const bool isNew = mkdir(path, kFolderMode) == 0;
  folder = Descriptor(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (isNew && folder.IsOpen()) {
    // Whatever the umask left of it.
    fchmod(folder.Number(), kFolderMode);
  }
}

void RecordFolder::Begin() {
  Open();
  lock = Descriptor(openat(folder.Number(), kLockName,
                           O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, kLockMode));
  if (flock(lock.Number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    std::fputs("vam-verdict: another run is under way; waiting for its end\n", stderr);
    flock(lock.Number(), LOCK_EX);
  }
  unlinkat(folder.Number(), kRecordName, 0);
}

const char* RecordFolder::Keep(const std::string& json) {
  if (!folder.IsOpen()) {
    Open();
  }
  if (folder.IsOpen() && WriteDraft(folder.Number(), json) &&
      renameat(folder.Number(), kDraftName, folder.Number(), kRecordName) == 0) {
    return nullptr;
  }
  const char* reason = std::strerror(errno);
  unlinkat(folder.Number(), kDraftName, 0);
  return reason;
}

}  // namespace vam
