#include "simulator/files/whole_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "util/write_signals.h"

namespace vam {

namespace {

constexpr char kDraftEnding[] = ".new";
/// Hexadecimal digits between a file's name and the ending of its draft.
constexpr std::size_t kDraftDigits = 8;
/// How much of a file's name goes into its draft's, whose length has a limit too.
constexpr std::size_t kDraftNameBytes = 200;
/// As many as the kernel follows.
constexpr int kMostLinks = 40;

/// Fails with `error` in errno.
bool FailWith(int error) {
  errno = error;
  return false;
}

/// A descriptor that is closed at the end; errno stays as it is.
class Descriptor {
 public:
  explicit Descriptor(int opened) : number(opened) {}
  ~Descriptor() {
    const int error = errno;
    Close();
    errno = error;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Number() const { return number; }
  bool IsOpen() const { return number >= 0; }
  bool Close() {
    const int closed = std::exchange(number, -1);
    return closed < 0 || close(closed) == 0;
  }

 private:
  int number;
};

/// The folder of a file, with the slash after it, and its name there.
struct Place {
  explicit Place(const std::string& path)
      : folder(path.substr(0, path.rfind('/') + 1)), name(path.substr(path.rfind('/') + 1)) {}

  std::string folder;
  std::string name;

  /// How the names of the file's drafts begin.
  std::string DraftStart() const { return name.substr(0, kDraftNameBytes) + "."; }
};

/// Returns where the file at `path` lies, or would be made, once symbolic links are followed.
/// Returns none, with errno set, when there are too many.
std::optional<std::string> FollowLinks(std::string path) {
  // One time more than there are links: that finds that the last target is none.
  for (int i = 0; i <= kMostLinks; ++i) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    if (length < 0) {
      return path;
    }
    const std::string next(target, static_cast<std::size_t>(length));
    path = next.rfind('/', 0) == 0 ? next : Place(path).folder.append(next);
  }
  errno = ELOOP;
  return std::nullopt;
}

bool WriteAll(int descriptor, const char* bytes, std::size_t size) {
  const WriteSignalsHeld held;
  while (size > 0) {
    const ssize_t count = write(descriptor, bytes, size);
    if (count >= 0) {
      bytes += count;
      size -= static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

/// Writes into what is no regular file.
bool WriteThrough(const std::string& path, const char* bytes, std::size_t size) {
  // Without waiting for a FIFO's reader.
  Descriptor file(open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  return file.IsOpen() && fcntl(file.Number(), F_SETFL, 0) == 0 &&
         WriteAll(file.Number(), bytes, size) && file.Close();
}

/// A file's new bytes under another name. Gone at the end unless they took the file's place.
class Draft {
 public:
  explicit Draft(const Place& place) : file(Make(place)) {}
  ~Draft() {
    if (!path.empty()) {
      const int error = errno;
      unlink(path.c_str());
      errno = error;
    }
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  /// Each returns false with errno set.
  bool IsMade() const { return file.IsOpen(); }
  bool TakeModeOf(const struct stat& old) const {
    constexpr auto kSameOwner = static_cast<uid_t>(-1);
    // Only root gives files away; a group of the user's own can still be kept.
    static_cast<void>(fchown(file.Number(), kSameOwner, old.st_gid) == 0);
    static_cast<void>(fchown(file.Number(), old.st_uid, old.st_gid) == 0);
    return fchmod(file.Number(), old.st_mode & 07777) == 0;
  }
  bool Write(const void* bytes, std::size_t size, Keeping keeping) {
    return WriteAll(file.Number(), static_cast<const char*>(bytes), size) &&
           (keeping == Keeping::kWhilePowered || fsync(file.Number()) == 0) && file.Close();
  }
  bool Become(const std::string& place) {
    if (std::rename(path.c_str(), place.c_str()) != 0) {
      return false;
    }
    path.clear();
    return true;
  }

 private:
  int Make(const Place& place) {
    for (;;) {
      std::uint32_t number = 0;
      if (getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number)) {
        return -1;
      }
      char digits[kDraftDigits + 1];
      std::snprintf(digits, sizeof digits, "%08x", number);
      const std::string name = place.folder + place.DraftStart() + digits + kDraftEnding;
      const int made =
          open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
      if (made >= 0) {
        path = name;
        return made;
      }
      if (errno != EEXIST) {
        return made;
      }
    }
  }

  std::string path;
  Descriptor file;
};

bool IsDraftOf(const Place& place, const std::string& name) {
  const std::string start = place.DraftStart();
  const std::size_t ending = start.size() + kDraftDigits;
  return name.size() == ending + std::strlen(kDraftEnding) && name.rfind(start, 0) == 0 &&
         name.compare(ending, std::string::npos, kDraftEnding) == 0 &&
         std::all_of(name.begin() + static_cast<std::ptrdiff_t>(start.size()),
                     name.begin() + static_cast<std::ptrdiff_t>(ending),
                     [](unsigned char character) { return std::isxdigit(character) != 0; });
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& path, std::uint64_t limit) {
  struct stat found;
  // Before it is opened: opening alone may make a device do something.
  if (stat(path.c_str(), &found) != 0) {
    return std::nullopt;
  }
  if (!S_ISREG(found.st_mode)) {
    errno = S_ISDIR(found.st_mode) ? EISDIR : ESPIPE;
    return std::nullopt;
  }
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file.IsOpen() || fstat(file.Number(), &found) != 0) {
    return std::nullopt;
  }
  if (!S_ISREG(found.st_mode) || static_cast<std::uint64_t>(found.st_size) > limit) {
    errno = S_ISREG(found.st_mode) ? EFBIG : ESPIPE;
    return std::nullopt;
  }
  std::string bytes;
  char piece[65536];
  for (;;) {
    const ssize_t count = read(file.Number(), piece, sizeof piece);
    if (count == 0) {
      return bytes;
    }
    if (count < 0 && errno != EINTR) {
      return std::nullopt;
    }
    bytes.append(piece, static_cast<std::size_t>(std::max(count, ssize_t{0})));
    // It may grow, or be one whose size the kernel does not tell.
    if (bytes.size() > limit) {
      errno = EFBIG;
      return std::nullopt;
    }
  }
}

std::string FileErrorInWords(int error) {
  return error == ESPIPE ? "Not a regular file" : std::strerror(error);
}

bool ReplaceFile(const std::string& path, const void* bytes, std::size_t size, Keeping keeping) {
  struct stat old;
  const bool exists = stat(path.c_str(), &old) == 0;
  if (!exists && errno != ENOENT) {
    return false;
  }
  if (exists && S_ISDIR(old.st_mode)) {
    return FailWith(EISDIR);
  }
  if (exists && !S_ISREG(old.st_mode)) {
    return WriteThrough(path, static_cast<const char*>(bytes), size);
  }
  const std::optional<std::string> place = FollowLinks(path);
  if (!place || (exists && faccessat(AT_FDCWD, place->c_str(), W_OK, AT_EACCESS) != 0)) {
    return false;
  }
  Draft draft{Place(*place)};
  return draft.IsMade() && (!exists || draft.TakeModeOf(old)) &&
         draft.Write(bytes, size, keeping) && draft.Become(*place);
}

bool IsSameFile(const std::string& one, const std::string& other) {
  struct stat first;
  struct stat second;
  const bool firstExists = stat(one.c_str(), &first) == 0;
  const bool secondExists = stat(other.c_str(), &second) == 0;
  if (firstExists && secondExists) {
    return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
  }
  if (firstExists != secondExists) {
    return false;
  }
  const std::optional<std::string> onePlace = FollowLinks(one);
  const std::optional<std::string> otherPlace = FollowLinks(other);
  if (!onePlace || !otherPlace) {
    return false;
  }
  const Place a(*onePlace);
  const Place b(*otherPlace);
  return a.name == b.name && stat((a.folder + ".").c_str(), &first) == 0 &&
         stat((b.folder + ".").c_str(), &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

void RemoveDrafts(const std::string& path) {
  const std::optional<std::string> file = FollowLinks(path);
  const Place place(file.value_or(path));
  DIR* folder = opendir(place.folder.empty() ? "." : place.folder.c_str());
  if (folder == nullptr) {
    return;
  }
  std::vector<std::string> drafts;
  while (const dirent* entry = readdir(folder)) {
    if (IsDraftOf(place, entry->d_name)) {
      drafts.push_back(place.folder + entry->d_name);
    }
  }
  closedir(folder);
  for (const std::string& draft : drafts) {
    unlink(draft.c_str());
  }
}

}  // namespace vam
