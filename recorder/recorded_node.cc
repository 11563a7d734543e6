// Stands in front of the C library: records what the program does with the device node.

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "journal/stream_mode.h"
#include "platform/device_node.h"
#include "recorder/call.h"
#include "recorder/live_numbers.h"
#include "recorder/memory_of_program.h"

namespace {

using vam::Call;
using vam::JournalLine;
using vam::LiveNumbers;
using NextSymbol = vam::NextSymbol<16>;

/// The node's descriptors. A key is a descriptor and 1.
LiveNumbers openings;

/// The file that the node was at its last opening.
struct NodeFile {
  std::atomic<dev_t> device{};
  std::atomic<ino_t> inode{};
};
NodeFile node;

void KeepNode(const struct stat& status) {
  node.device = status.st_dev;
  node.inode = status.st_ino;
}

LiveNumbers::Key KeyOf(int descriptor) { return static_cast<LiveNumbers::Key>(descriptor) + 1; }

/// Returns whether `descriptor` still refers to the node: a program may close one by other ways
/// than close().
bool IsStillTheNode(int descriptor) {
  const int error = errno;
  struct stat status;
  const bool is = fstat(descriptor, &status) == 0 && status.st_dev == node.device &&
                  status.st_ino == node.inode;
  errno = error;
  return is;
}

/// Returns the journal's number of the opening that `descriptor` refers to; 0 for another file.
std::uint32_t OpeningOf(int descriptor) {
  const std::uint32_t number = descriptor < 0 ? 0 : openings.Of(KeyOf(descriptor));
  return number != 0 && IsStillTheNode(descriptor) ? number : 0;
}

/// Returns whether `path`, relative to `folder`, names the node.
bool IsNode(int folder, const char* path) {
  static const char* const kName = std::strrchr(kVamDeviceNode, '/') + 1;
  if (path == nullptr) {
    return false;
  }
  const std::size_t length = std::strlen(path);
  const std::size_t nameLength = std::strlen(kName);
  if (length < nameLength || std::strcmp(path + length - nameLength, kName) != 0) {
    return false;
  }
  // The working folder where no other is named.
  char parent[PATH_MAX] = ".";
  const std::size_t parentLength = length - nameLength;
  if (parentLength >= sizeof parent || (parentLength > 0 && path[parentLength - 1] != '/')) {
    return false;
  }
  if (parentLength > 0) {
    std::memcpy(parent, path, parentLength);
    parent[parentLength] = '\0';
  }
  const int error = errno;
  struct stat found;
  struct stat wanted;
  const bool is = fstatat(folder, parent, &found, 0) == 0 && stat("/dev", &wanted) == 0 &&
                  found.st_ino == wanted.st_ino && found.st_dev == wanted.st_dev;
  errno = error;
  return is;
}

/// Records the opening of the node that gave `descriptor`, or -1 with an error number.
void RecordOpening(const Call& call, int flags, int descriptor) {
  const int error = errno;
  call.Record("open", [=](JournalLine& line) {
    line.Text("path", kVamDeviceNode).Number("flags", flags & ~O_LARGEFILE);
    if (descriptor < 0) {
      line.Number("result", descriptor).ErrorNumber(error);
      return;
    }
    struct stat status;
    if (fstat(descriptor, &status) == 0) {
      KeepNode(status);
    }
    const std::uint32_t opening = openings.Make(KeyOf(descriptor));
    line.Number("descriptor", opening);
    vam::NoteOpening(descriptor, opening);
  });
}

/// Opens a file by `next`, and records it where it is the node. A `folder` stands before the path
/// where the function takes one.
int OpenAt(NextSymbol& next, const int* folder, const char* path, int flags, mode_t mode) {
  const auto proceed = [&] {
    return folder == nullptr
               ? next.As<int(const char*, int, ...)>()(path, flags, mode)
               : next.As<int(int, const char*, int, ...)>()(*folder, path, flags, mode);
  };
  if (!IsNode(folder == nullptr ? AT_FDCWD : *folder, path)) {
    return proceed();
  }
  const Call call;
  const int descriptor = proceed();
  RecordOpening(call, flags, descriptor);
  return descriptor;
}

/// Opens a stream by `next`, and records it where it is the node. `old` is a stream that it takes
/// the place of.
FILE* OpenStream(NextSymbol& next, const char* path, const char* mode, FILE* old) {
  auto* function = next.As<FILE*(const char*, const char*, FILE*)>();
  if (!IsNode(AT_FDCWD, path)) {
    return function(path, mode, old);
  }
  const Call call;
  FILE* stream = function(path, mode, old);
  RecordOpening(call, vam::FlagsOfStream(mode), stream == nullptr ? -1 : fileno(stream));
  return stream;
}

/// Ends a descriptor or a stream by `next`, and records it where it is the node's.
template <typename Thing>
int Close(NextSymbol& next, Thing thing, int descriptor) {
  auto* function = next.As<int(Thing)>();
  const std::uint32_t opening = OpeningOf(descriptor);
  if (opening == 0) {
    return function(thing);
  }
  const Call call;
  // Before the close: after it another thread may get the same descriptor.
  openings.Take(KeyOf(descriptor));
  const int result = function(thing);
  call.Record("close", [=](JournalLine& line) {
    line.Number("descriptor", opening).Number("result", result);
  });
  return result;
}

int Ioctl(NextSymbol& next, int descriptor, unsigned long request, void* argument) {
  const std::uint32_t opening = OpeningOf(descriptor);
  auto* function = next.As<int(int, unsigned long, ...)>();
  if (opening == 0) {
    return function(descriptor, request, argument);
  }
  const Call call;
  const int result = function(descriptor, request, argument);
  const int error = errno;
  call.Record("ioctl", [=](JournalLine& line) {
    line.Number("descriptor", opening)
        .Number("request", static_cast<std::int64_t>(request))
        .Number("result", result);
    std::int32_t flag = 0;
    if (result < 0) {
      line.ErrorNumber(error);
    } else if (vam::CopyFromProgram(&flag, argument, sizeof flag)) {
      line.Number("flag", flag);
    }
  });
  return result;
}

/// Takes note that `copy` refers to what `descriptor` refers to. Returns `copy`.
int Copied(int descriptor, int copy) {
  if (copy >= 0 && copy != descriptor) {
    const std::uint32_t opening = OpeningOf(descriptor);
    if (opening != 0) {
      openings.Keep(KeyOf(copy), opening);
      vam::NoteOpening(copy, opening);
    } else {
      openings.Take(KeyOf(copy));
    }
  }
  return copy;
}

int Fcntl(NextSymbol& next, int descriptor, int command, void* argument) {
  const int result = next.As<int(int, int, ...)>()(descriptor, command, argument);
  return command == F_DUPFD || command == F_DUPFD_CLOEXEC ? Copied(descriptor, result) : result;
}

NextSymbol nextOpen("open");
NextSymbol nextOpen64("open64");
NextSymbol nextOpenat("openat");
NextSymbol nextOpenat64("openat64");
NextSymbol nextOpenChecked("__open_2");
NextSymbol nextOpen64Checked("__open64_2");
NextSymbol nextOpenatChecked("__openat_2");
NextSymbol nextOpenat64Checked("__openat64_2");
NextSymbol nextFopen("fopen");
NextSymbol nextFopen64("fopen64");
NextSymbol nextFreopen("freopen");
NextSymbol nextFreopen64("freopen64");
NextSymbol nextFclose("fclose");
NextSymbol nextClose("close");
NextSymbol nextIoctl("ioctl");
NextSymbol nextIoctlTime64("__ioctl_time64");
NextSymbol nextDup("dup");
NextSymbol nextDup2("dup2");
NextSymbol nextDup3("dup3");
NextSymbol nextFcntl("fcntl");
NextSymbol nextFcntl64("fcntl64");
NextSymbol nextFcntlTime64("__fcntl_time64");

/// Looks up everything before the program has threads: what a thread does at a fork, its child
/// cannot wait for.
void FindFunctions() {
  for (NextSymbol* each :
       {&nextOpen,        &nextOpen64,        &nextOpenat,        &nextOpenat64,
        &nextOpenChecked, &nextOpen64Checked, &nextOpenatChecked, &nextOpenat64Checked,
        &nextFopen,       &nextFopen64,       &nextFreopen,       &nextFreopen64,
        &nextFclose,      &nextClose,         &nextIoctl,         &nextDup,
        &nextDup2,        &nextDup3,          &nextFcntl,         &nextFcntl64}) {
    static_cast<void>(each->IsThere());
  }
}

/// Finds the descriptors of the node that the program inherits through exec.
void FindInherited() {
  struct stat status;
  if (stat(kVamDeviceNode, &status) != 0) {
    return;
  }
  KeepNode(status);
  DIR* descriptors = opendir("/proc/self/fd");
  while (const dirent* entry = descriptors == nullptr ? nullptr : readdir(descriptors)) {
    const auto descriptor = static_cast<int>(std::strtoull(entry->d_name, nullptr, 10));
    if (entry->d_name[0] != '.' && IsStillTheNode(descriptor)) {
      const std::uint32_t noted = vam::NotedOpening(descriptor);
      openings.Keep(KeyOf(descriptor), noted != 0 ? noted : openings.Make(KeyOf(descriptor)));
    }
  }
  if (descriptors != nullptr) {
    closedir(descriptors);
  }
}

[[gnu::constructor]] void Begin() {
  const int error = errno;
  FindFunctions();
  FindInherited();
  errno = error;
}

}  // namespace

// Everything below is what the C library exports under the names in quotes. With names of its own
// here, no header of the library leads one to another or checks its arguments. The argument that
// only some calls give is in a register on the processors of this system; it is passed on unread.
#pragma GCC visibility push(default)
extern "C" {

int RecordedOpen(const char* path, int flags, mode_t mode) __asm__("open");
int RecordedOpen64(const char* path, int flags, mode_t mode) __asm__("open64");
int RecordedOpenat(int folder, const char* path, int flags, mode_t mode) __asm__("openat");
int RecordedOpenat64(int folder, const char* path, int flags, mode_t mode) __asm__("openat64");
int RecordedOpenChecked(const char* path, int flags) __asm__("__open_2");
int RecordedOpen64Checked(const char* path, int flags) __asm__("__open64_2");
int RecordedOpenatChecked(int folder, const char* path, int flags) __asm__("__openat_2");
int RecordedOpenat64Checked(int folder, const char* path, int flags) __asm__("__openat64_2");
int RecordedCreat(const char* path, mode_t mode) __asm__("creat");
int RecordedCreat64(const char* path, mode_t mode) __asm__("creat64");
FILE* RecordedFopen(const char* path, const char* mode) __asm__("fopen");
FILE* RecordedFopen64(const char* path, const char* mode) __asm__("fopen64");
FILE* RecordedFreopen(const char* path, const char* mode, FILE* stream) __asm__("freopen");
FILE* RecordedFreopen64(const char* path, const char* mode, FILE* stream) __asm__("freopen64");
int RecordedFclose(FILE* stream) __asm__("fclose");
int RecordedClose(int descriptor) __asm__("close");
int RecordedIoctl(int descriptor, unsigned long request, void* argument) __asm__("ioctl");
int RecordedIoctlTime64(int descriptor, unsigned long request,
                        void* argument) __asm__("__ioctl_time64");
int RecordedDup(int descriptor) __asm__("dup");
int RecordedDup2(int descriptor, int copy) __asm__("dup2");
int RecordedDup3(int descriptor, int copy, int flags) __asm__("dup3");
int RecordedFcntl(int descriptor, int command, void* argument) __asm__("fcntl");
int RecordedFcntl64(int descriptor, int command, void* argument) __asm__("fcntl64");
int RecordedFcntlTime64(int descriptor, int command, void* argument) __asm__("__fcntl_time64");

int RecordedOpen(const char* path, int flags, mode_t mode) {
  return OpenAt(nextOpen, nullptr, path, flags, mode);
}

int RecordedOpen64(const char* path, int flags, mode_t mode) {
  return OpenAt(nextOpen64, nullptr, path, flags, mode);
}

int RecordedOpenat(int folder, const char* path, int flags, mode_t mode) {
  return OpenAt(nextOpenat, &folder, path, flags, mode);
}

int RecordedOpenat64(int folder, const char* path, int flags, mode_t mode) {
  return OpenAt(nextOpenat64, &folder, path, flags, mode);
}

int RecordedOpenChecked(const char* path, int flags) {
  return OpenAt(nextOpenChecked, nullptr, path, flags, 0);
}

int RecordedOpen64Checked(const char* path, int flags) {
  return OpenAt(nextOpen64Checked, nullptr, path, flags, 0);
}

int RecordedOpenatChecked(int folder, const char* path, int flags) {
  return OpenAt(nextOpenatChecked, &folder, path, flags, 0);
}

int RecordedOpenat64Checked(int folder, const char* path, int flags) {
  return OpenAt(nextOpenat64Checked, &folder, path, flags, 0);
}

int RecordedCreat(const char* path, mode_t mode) {
  return OpenAt(nextOpen, nullptr, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

int RecordedCreat64(const char* path, mode_t mode) {
  return OpenAt(nextOpen64, nullptr, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

FILE* RecordedFopen(const char* path, const char* mode) {
  return OpenStream(nextFopen, path, mode, nullptr);
}

FILE* RecordedFopen64(const char* path, const char* mode) {
  return OpenStream(nextFopen64, path, mode, nullptr);
}

FILE* RecordedFreopen(const char* path, const char* mode, FILE* stream) {
  return OpenStream(nextFreopen, path, mode, stream);
}

FILE* RecordedFreopen64(const char* path, const char* mode, FILE* stream) {
  return OpenStream(nextFreopen64, path, mode, stream);
}

int RecordedFclose(FILE* stream) {
  const int error = errno;
  const int descriptor = openings.IsUsed() && stream != nullptr ? fileno(stream) : -1;
  errno = error;
  return Close(nextFclose, stream, descriptor);
}

int RecordedClose(int descriptor) { return Close(nextClose, descriptor, descriptor); }

int RecordedIoctl(int descriptor, unsigned long request, void* argument) {
  return Ioctl(nextIoctl, descriptor, request, argument);
}

int RecordedIoctlTime64(int descriptor, unsigned long request, void* argument) {
  return Ioctl(nextIoctlTime64, descriptor, request, argument);
}

int RecordedDup(int descriptor) { return Copied(descriptor, nextDup.As<int(int)>()(descriptor)); }

int RecordedDup2(int descriptor, int copy) {
  return Copied(descriptor, nextDup2.As<int(int, int)>()(descriptor, copy));
}

int RecordedDup3(int descriptor, int copy, int flags) {
  return Copied(descriptor, nextDup3.As<int(int, int, int)>()(descriptor, copy, flags));
}

int RecordedFcntl(int descriptor, int command, void* argument) {
  return Fcntl(nextFcntl, descriptor, command, argument);
}

int RecordedFcntl64(int descriptor, int command, void* argument) {
  return Fcntl(nextFcntl64, descriptor, command, argument);
}

int RecordedFcntlTime64(int descriptor, int command, void* argument) {
  return Fcntl(nextFcntlTime64, descriptor, command, argument);
}

}  // extern "C"
#pragma GCC visibility pop
