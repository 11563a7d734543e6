// Stands in front of the C library: records what the program does with the device node.

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/device_node.h"
#include "recorder/call.h"
#include "recorder/live_numbers.h"
#include "recorder/memory_of_program.h"

namespace {

using vam::Call;
using vam::JournalLine;
using vam::LiveNumbers;
using vam::NextSymbol;

/// The node's descriptors. A key is a descriptor and 1.
LiveNumbers openings;

/// The file that the node was at its last opening.
struct NodeFile {
  std::atomic<dev_t> device{0};
  std::atomic<ino_t> inode{0};
};
NodeFile node;

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

/// How a function of the open() family is called.
enum class Form { kPath, kPathAlone, kFolder, kFolderAlone };

int Proceed(NextSymbol& next, Form form, int folder, const char* path, int flags, mode_t mode) {
  switch (form) {
    case Form::kPath:
      return next.As<int(const char*, int, ...)>()(path, flags, mode);
    case Form::kPathAlone:
      return next.As<int(const char*, int)>()(path, flags);
    case Form::kFolder:
      return next.As<int(int, const char*, int, ...)>()(folder, path, flags, mode);
    default:
      return next.As<int(int, const char*, int)>()(folder, path, flags);
  }
}

/// Opens a file by `next`, and records it where it is the node.
int OpenAt(NextSymbol& next, Form form, int folder, const char* path, int flags, mode_t mode) {
  if (!IsNode(folder, path)) {
    return Proceed(next, form, folder, path, flags, mode);
  }
  const Call call;
  const int descriptor = Proceed(next, form, folder, path, flags, mode);
  const int error = errno;
  call.Record("open", [=](JournalLine& line) {
    line.Text("path", kVamDeviceNode).Number("flags", flags & ~O_LARGEFILE);
    if (descriptor < 0) {
      line.Number("result", descriptor).ErrorNumber(error);
      return;
    }
    struct stat status;
    if (fstat(descriptor, &status) == 0) {
      node.device = status.st_dev;
      node.inode = status.st_ino;
    }
    line.Number("descriptor", openings.Make(KeyOf(descriptor)));
  });
  return descriptor;
}

/// The mode that follows the named arguments of open() and its kin, where there is one.
mode_t ModeIn(std::va_list arguments, int flags) {
  const bool given = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return given ? va_arg(arguments, mode_t) : 0;
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
[[gnu::constructor]] void FindEverything() {
  for (NextSymbol* each : {&nextOpen, &nextOpen64, &nextOpenat, &nextOpenat64, &nextOpenChecked,
                           &nextOpen64Checked, &nextOpenatChecked, &nextOpenat64Checked, &nextClose,
                           &nextIoctl, &nextDup, &nextDup2, &nextDup3, &nextFcntl, &nextFcntl64}) {
    static_cast<void>(each->IsThere());
  }
}

}  // namespace

// Everything below is what the C library exports under the names in quotes. With names of its own
// here, no header of the library leads one to another or checks its arguments.
#pragma GCC visibility push(default)
extern "C" {

int RecordedOpen(const char* path, int flags, ...) __asm__("open");
int RecordedOpen64(const char* path, int flags, ...) __asm__("open64");
int RecordedOpenat(int folder, const char* path, int flags, ...) __asm__("openat");
int RecordedOpenat64(int folder, const char* path, int flags, ...) __asm__("openat64");
int RecordedOpenChecked(const char* path, int flags) __asm__("__open_2");
int RecordedOpen64Checked(const char* path, int flags) __asm__("__open64_2");
int RecordedOpenatChecked(int folder, const char* path, int flags) __asm__("__openat_2");
int RecordedOpenat64Checked(int folder, const char* path, int flags) __asm__("__openat64_2");
int RecordedCreat(const char* path, mode_t mode) __asm__("creat");
int RecordedCreat64(const char* path, mode_t mode) __asm__("creat64");
int RecordedClose(int descriptor) __asm__("close");
int RecordedIoctl(int descriptor, unsigned long request, ...) __asm__("ioctl");
int RecordedIoctlTime64(int descriptor, unsigned long request, ...) __asm__("__ioctl_time64");
int RecordedDup(int descriptor) __asm__("dup");
int RecordedDup2(int descriptor, int copy) __asm__("dup2");
int RecordedDup3(int descriptor, int copy, int flags) __asm__("dup3");
int RecordedFcntl(int descriptor, int command, ...) __asm__("fcntl");
int RecordedFcntl64(int descriptor, int command, ...) __asm__("fcntl64");
int RecordedFcntlTime64(int descriptor, int command, ...) __asm__("__fcntl_time64");

int RecordedOpen(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeIn(arguments, flags);
  va_end(arguments);
  return OpenAt(nextOpen, Form::kPath, AT_FDCWD, path, flags, mode);
}

int RecordedOpen64(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeIn(arguments, flags);
  va_end(arguments);
  return OpenAt(nextOpen64, Form::kPath, AT_FDCWD, path, flags, mode);
}

int RecordedOpenat(int folder, const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeIn(arguments, flags);
  va_end(arguments);
  return OpenAt(nextOpenat, Form::kFolder, folder, path, flags, mode);
}

int RecordedOpenat64(int folder, const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeIn(arguments, flags);
  va_end(arguments);
  return OpenAt(nextOpenat64, Form::kFolder, folder, path, flags, mode);
}

int RecordedOpenChecked(const char* path, int flags) {
  return OpenAt(nextOpenChecked, Form::kPathAlone, AT_FDCWD, path, flags, 0);
}

int RecordedOpen64Checked(const char* path, int flags) {
  return OpenAt(nextOpen64Checked, Form::kPathAlone, AT_FDCWD, path, flags, 0);
}

int RecordedOpenatChecked(int folder, const char* path, int flags) {
  return OpenAt(nextOpenatChecked, Form::kFolderAlone, folder, path, flags, 0);
}

int RecordedOpenat64Checked(int folder, const char* path, int flags) {
  return OpenAt(nextOpenat64Checked, Form::kFolderAlone, folder, path, flags, 0);
}

int RecordedCreat(const char* path, mode_t mode) {
  return OpenAt(nextOpen, Form::kPath, AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

int RecordedCreat64(const char* path, mode_t mode) {
  return OpenAt(nextOpen64, Form::kPath, AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

int RecordedClose(int descriptor) {
  const std::uint32_t opening = OpeningOf(descriptor);
  if (opening == 0) {
    return nextClose.As<int(int)>()(descriptor);
  }
  const Call call;
  // Before the close: after it another thread may get the same descriptor.
  openings.Take(KeyOf(descriptor));
  const int result = nextClose.As<int(int)>()(descriptor);
  call.Record("close", [=](JournalLine& line) {
    line.Number("descriptor", opening).Number("result", result);
  });
  return result;
}

int RecordedIoctl(int descriptor, unsigned long request, ...) {
  std::va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return Ioctl(nextIoctl, descriptor, request, argument);
}

int RecordedIoctlTime64(int descriptor, unsigned long request, ...) {
  std::va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return Ioctl(nextIoctlTime64, descriptor, request, argument);
}

int RecordedDup(int descriptor) { return Copied(descriptor, nextDup.As<int(int)>()(descriptor)); }

int RecordedDup2(int descriptor, int copy) {
  return Copied(descriptor, nextDup2.As<int(int, int)>()(descriptor, copy));
}

int RecordedDup3(int descriptor, int copy, int flags) {
  return Copied(descriptor, nextDup3.As<int(int, int, int)>()(descriptor, copy, flags));
}

int RecordedFcntl(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return Fcntl(nextFcntl, descriptor, command, argument);
}

int RecordedFcntl64(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return Fcntl(nextFcntl64, descriptor, command, argument);
}

int RecordedFcntlTime64(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return Fcntl(nextFcntlTime64, descriptor, command, argument);
}

}  // extern "C"
#pragma GCC visibility pop
