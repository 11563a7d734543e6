#include "verdict/watched_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>

#include "report/run_record.h"
#include "report/texts.h"
#include "report/trusted_file.h"

namespace vam {

namespace {

constexpr int kMoves = 3;
/// Together longer than the coarsest clock of a file system stands still, which is a second.
constexpr int kMarkings = 1200;
constexpr int kBetweenMarkings = 1;

Descriptor OpenFolder(const std::string& path) {
  return Descriptor(open(path.c_str(), O_PATH | O_CLOEXEC));
}

bool IsSame(const timespec& one, const timespec& other) {
  return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

bool IsSameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Whether `status` is of a file whose last change was a write: that sets both times to one value.
/// Any other change, such as the renaming of a file into this place, sets the change time alone.
bool WasWrittenLast(const struct stat& status) { return IsSame(status.st_mtim, status.st_ctim); }

/// Whether nobody but this user and root can take away or replace this user's files in the folder.
bool KeepsFiles(const Descriptor& folder) {
  struct stat status = {};
  return fstat(folder.Number(), &status) == 0 &&
         (status.st_uid == 0 || status.st_uid == geteuid()) &&
         (!OthersMayWrite(status) || (status.st_mode & S_ISVTX) != 0);
}

/// Changes a file's change time until a write is no longer its last change, so that the next write
/// is seen even within one tick of the file system's clock.
void Mark(const Descriptor& file, struct stat& status) {
  for (int i = 0; i < kMarkings && fstat(file.Number(), &status) == 0; ++i) {
    if (!WasWrittenLast(status) || fchmod(file.Number(), status.st_mode & 07777) != 0) {
      return;
    }
    poll(nullptr, 0, kBetweenMarkings);
  }
}

/// Returns a name that nobody has used. It holds the nanosecond, so nobody can foresee it either.
std::string FreshName(const char* name) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return Formatted("%s.moved-%lld", name, static_cast<long long>(Nanoseconds(now)));
}

}  // namespace

void WatchedFile::Prepare(RunRecord& record) {
  const Descriptor directory = OpenFolder(folder);
  for (int moves = 0; fstatat(directory.Number(), name, &before, AT_SYMLINK_NOFOLLOW) == 0;
       ++moves) {
    if (IsPlainFileOf(geteuid(), before)) {
      wasThere = true;
      Mark(OpenForReading(directory.Number(), name), before);
      return;
    }
    const std::string fresh = FreshName(name);
    if (moves == kMoves ||
        renameat(directory.Number(), name, directory.Number(), fresh.c_str()) != 0) {
      record.problems.push_back(
          Formatted("%s is %s and cannot be moved: %s", path, KindOf(before).c_str(),
                    moves == kMoves ? "it comes back" : std::strerror(errno)));
      return;
    }
    // Somebody may have put something else there since.
    fstatat(directory.Number(), fresh.c_str(), &before, AT_SYMLINK_NOFOLLOW);
    record.moved.push_back(
        {path, Formatted("%s%s", folder.c_str(), fresh.c_str()), KindOf(before)});
  }
}

bool WatchedFile::Take(bool onlyAdded, RunRecord& record, std::string& text) const {
  const Descriptor directory = OpenFolder(folder);
  const Descriptor file = OpenForReading(directory.Number(), name);
  struct stat now = {};
  const char* problem = nullptr;
  if (!file.IsOpen() || fstat(file.Number(), &now) != 0) {
    if (errno == ENOENT) {
      return false;
    }
    problem = std::strerror(errno);
  } else if (wasThere && IsSameFile(now, before) && now.st_size == before.st_size &&
             IsSame(now.st_mtim, before.st_mtim) && IsSame(now.st_ctim, before.st_ctim)) {
    return false;
  } else if (!KeepsFiles(directory)) {
    problem = "anybody can replace it";
  } else if (!IsPlainFileOf(geteuid(), now) || !WasWrittenLast(now)) {
    problem = "somebody else put it there";
  }
  off_t start = 0;
  if (problem == nullptr) {
    if (onlyAdded && wasThere && IsSameFile(now, before) && now.st_size >= before.st_size) {
      start = before.st_size;
    }
    const auto longest = static_cast<off_t>(kLongestStatus);
    if (now.st_size - start > longest) {
      start = now.st_size - longest;
      record.problems.push_back(Formatted("%s: only its end was read", path));
    }
    if (ReadAt(file.Number(), start, kLongestStatus, text)) {
      return true;
    }
    problem = std::strerror(errno);
  }
  record.problems.push_back(Formatted("%s is not believed: %s", path, problem));
  return false;
}

}  // namespace vam
