// Preloaded into the programs on a board: answers for the device node of the secure element.
//
// The node is an empty file in the run's folder, which a board without a node does not have. The
// functions below lead the node's path there and pass every other path on. So the kernel keeps the
// node's descriptors as it keeps any other: through dup, fork and exec. A descriptor is the node's
// when it refers to that file. Nothing else uses the file's offset, so it holds the number that the
// journal gives to the opening.
//
// Every process of a run loads this library. It therefore contains the C++ library instead of
// loading it, and reads the board only when a program uses the node.

#include "platform/device_node.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <optional>

#include "simulator/board/board.h"
#include "simulator/board/code_names.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/journal_line.h"
#include "simulator/run/node_file.h"
#include "simulator/run/run.h"

namespace {

static_assert(sizeof(struct stat) == sizeof(struct stat64), "one function serves both");

/// The kernel gives the drivers of single devices this major number, and the minor as it likes.
constexpr unsigned kMiscellaneousMajor = 10;
constexpr unsigned kNodeMinor = 120;

/// Stands for the next definition of a function in the process, usually the C library's.
struct Symbol {
  const char* name;

  template <typename Function>
  operator Function*() const {  // NOLINT(google-explicit-constructor): the member's type decides
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  }
};

struct NextFunctions {
  decltype(&::open) open = Symbol{"open"};
  decltype(&::open64) open64 = Symbol{"open64"};
  int (*openChecked)(const char*, int) = Symbol{"__open_2"};
  int (*open64Checked)(const char*, int) = Symbol{"__open64_2"};
  decltype(&::creat) creat = Symbol{"creat"};
  decltype(&::creat64) creat64 = Symbol{"creat64"};
  decltype(&::openat) openat = Symbol{"openat"};
  decltype(&::openat64) openat64 = Symbol{"openat64"};
  int (*openatChecked)(int, const char*, int) = Symbol{"__openat_2"};
  int (*openat64Checked)(int, const char*, int) = Symbol{"__openat64_2"};
  decltype(&::fopen) fopen = Symbol{"fopen"};
  decltype(&::fopen64) fopen64 = Symbol{"fopen64"};
  decltype(&::freopen) freopen = Symbol{"freopen"};
  decltype(&::freopen64) freopen64 = Symbol{"freopen64"};
  decltype(&::fclose) fclose = Symbol{"fclose"};
  decltype(&::ioctl) ioctl = Symbol{"ioctl"};
  decltype(&::close) close = Symbol{"close"};
  decltype(&::fstat) fstat = Symbol{"fstat"};
  decltype(&::fstatat) fstatat = Symbol{"fstatat"};
  decltype(&::statx) statx = Symbol{"statx"};
  decltype(&::access) access = Symbol{"access"};
  decltype(&::euidaccess) euidaccess = Symbol{"euidaccess"};
  decltype(&::faccessat) faccessat = Symbol{"faccessat"};
  decltype(&::readlink) readlink = Symbol{"readlink"};
  decltype(&::readlinkat) readlinkat = Symbol{"readlinkat"};
  ssize_t (*readlinkChecked)(const char*, char*, size_t, size_t) = Symbol{"__readlink_chk"};
  ssize_t (*readlinkatChecked)(int, const char*, char*, size_t,
                               size_t) = Symbol{"__readlinkat_chk"};
  decltype(&::realpath) realpath = Symbol{"realpath"};
  char* (*realpathChecked)(const char*, char*, size_t) = Symbol{"__realpath_chk"};
  decltype(&::getxattr) getxattr = Symbol{"getxattr"};
  decltype(&::lgetxattr) lgetxattr = Symbol{"lgetxattr"};
  decltype(&::listxattr) listxattr = Symbol{"listxattr"};
  decltype(&::llistxattr) llistxattr = Symbol{"llistxattr"};
};

const NextFunctions& Next() {
  static const NextFunctions kFunctions;
  return kFunctions;
}

/// Leaves the error number as it was.
class ErrorNumberKept {
 public:
  ErrorNumberKept() = default;
  ~ErrorNumberKept() { errno = error; }
  ErrorNumberKept(const ErrorNumberKept&) = delete;
  ErrorNumberKept& operator=(const ErrorNumberKept&) = delete;

 private:
  const int error = errno;
};

/// The file that stands for the node.
struct NodeFile {
  NodeFile() {
    const ErrorNumberKept kept;
    const char* folder = getenv(vam::Run::kEnvironmentVariable);
    if (folder == nullptr || strlen(folder) + sizeof vam::kNodeFile > sizeof path) {
      return;
    }
    snprintf(path, sizeof path, "%s%s", folder, vam::kNodeFile);
    onBoard = true;
    present = Next().fstatat(AT_FDCWD, path, &status, 0) == 0;
  }

  /// Returns whether the node is the file that the machine knows by these numbers.
  bool IsAt(dev_t device, ino_t inode) const {
    return present && inode == status.st_ino && device == status.st_dev;
  }

  /// Whether this process was started on a board, and whether that board has a node.
  bool onBoard = false;
  bool present = false;
  char path[PATH_MAX] = "";
  struct stat status = {};
};

const NodeFile& Node() {
  static const NodeFile kNode;
  return kNode;
}

/// Looks up everything before the program has threads: what a thread does at a fork, its child
/// cannot wait for.
[[gnu::constructor]] void FindEverything() { Node(); }

/// Returns whether the folder of `path`, up to `name`, is /dev.
bool LiesInDev(int folder, const char* path, const char* name) {
  const ErrorNumberKept kept;
  char parent[PATH_MAX];
  const auto length = static_cast<std::size_t>(name - path);
  if (length >= sizeof parent) {
    return false;
  }
  snprintf(parent, sizeof parent, "%.*s", static_cast<int>(length == 0 ? 1 : length),
           length == 0 ? "." : path);
  struct stat found;
  struct stat dev;
  return Next().fstatat(folder, parent, &found, 0) == 0 &&
         Next().fstatat(AT_FDCWD, "/dev", &dev, 0) == 0 && found.st_ino == dev.st_ino &&
         found.st_dev == dev.st_dev;
}

/// Returns whether `path`, relative to `folder`, is the node's.
bool IsNodePath(int folder, const char* path) {
  if (path == nullptr || !Node().onBoard) {
    return false;
  }
  if (strcmp(path, kVamDeviceNode) == 0) {
    return true;
  }
  const char* slash = strrchr(path, '/');
  const char* name = slash == nullptr ? path : slash + 1;
  return strcmp(name, strrchr(kVamDeviceNode, '/') + 1) == 0 && LiesInDev(folder, path, name);
}

/// Returns where the machine has what is at `path` on the board.
const char* OnMachine(int folder, const char* path) {
  return IsNodePath(folder, path) ? Node().path : path;
}

/// Returns the journal's number of the opening that `descriptor` refers to; none for another file.
std::optional<std::uint32_t> OpeningOf(int descriptor) {
  const ErrorNumberKept kept;
  struct stat status;
  if (!Node().present || Next().fstat(descriptor, &status) != 0 ||
      !Node().IsAt(status.st_dev, status.st_ino)) {
    return std::nullopt;
  }
  // Fails for a descriptor with O_PATH, which does not open the node.
  const off_t offset = lseek(descriptor, 0, SEEK_CUR);
  return offset < 0 ? std::nullopt : std::optional(static_cast<std::uint32_t>(offset));
}

/// How often this process opened the node.
std::atomic<std::uint32_t> openings{0};

/// Opens the node by `proceed`, unless the board declares a fault. Returns the descriptor, or -1.
template <typename Proceed>
int OpenNode(int flags, Proceed proceed) {
  const int errorBefore = errno;
  const vam::Fault* fault = vam::FireFaultOn(vam::PlatformCall::kOpen);
  int descriptor = -1;
  if (fault == nullptr) {
    descriptor = proceed();
  } else {
    errno = fault->errorNumber;
  }
  const int error = descriptor < 0 ? errno : errorBefore;
  {
    vam::JournalLine line(vam::PlatformCall::kOpen);
    line.Text("path", kVamDeviceNode).Number("flags", flags & ~O_LARGEFILE);
    if (descriptor < 0) {
      line.Number("result", descriptor).Text("errno", vam::ErrorNumberName(error).c_str());
    } else {
      const std::uint32_t opening = ++openings;
      lseek(descriptor, opening, SEEK_SET);
      line.Number("descriptor", opening);
    }
    line.ChangedBy(fault);
  }
  errno = error;
  return descriptor;
}

/// Opens the file that `path` is on the board by `proceed`, which takes its place on the machine.
template <typename Proceed>
int OpenAt(int folder, const char* path, int flags, Proceed proceed) {
  return IsNodePath(folder, path) ? OpenNode(flags, [&] { return proceed(Node().path); })
                                  : proceed(path);
}

/// The mode that follows the named arguments of open() and its kin, where there is one.
mode_t ModeIn(std::va_list arguments, int flags) {
  const bool given = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return given ? va_arg(arguments, mode_t) : 0;
}

/// Returns the flags of open() that `mode` stands for in fopen().
int FlagsOf(const char* mode) {
  int flags = O_RDONLY;
  if (*mode == 'w') {
    flags = O_WRONLY | O_CREAT | O_TRUNC;
  } else if (*mode == 'a') {
    flags = O_WRONLY | O_CREAT | O_APPEND;
  }
  if (strchr(mode, '+') != nullptr) {
    flags = (flags & ~O_ACCMODE) | O_RDWR;
  }
  return flags | (strchr(mode, 'x') != nullptr ? O_EXCL : 0) |
         (strchr(mode, 'e') != nullptr ? O_CLOEXEC : 0);
}

/// Returns the descriptor of `stream`, or -1 for a stream in memory.
int DescriptorOf(FILE* stream) {
  const ErrorNumberKept kept;
  return fileno(stream);
}

/// Opens a stream by `proceed`, which takes the file's place on the machine.
template <typename Proceed>
FILE* OpenStream(const char* path, const char* mode, Proceed proceed) {
  FILE* stream = nullptr;
  OpenAt(AT_FDCWD, path, FlagsOf(mode), [&](const char* place) {
    stream = proceed(place);
    return stream == nullptr ? -1 : DescriptorOf(stream);
  });
  return stream;
}

/// Does the same with a stream that is open, which is closed first in any case.
template <typename Proceed>
FILE* ReopenStream(const char* path, const char* mode, FILE* stream, Proceed proceed) {
  bool proceeded = false;
  FILE* reopened = OpenStream(path, mode, [&](const char* place) {
    proceeded = true;
    return proceed(place);
  });
  if (!proceeded) {
    const ErrorNumberKept kept;
    Next().fclose(stream);
  }
  return reopened;
}

/// Ends a descriptor or a stream by `proceed`, and tells the journal where it is the node's.
template <typename Proceed>
int Close(int descriptor, Proceed proceed) {
  const std::optional<std::uint32_t> opening = OpeningOf(descriptor);
  const int result = proceed();
  if (opening) {
    const ErrorNumberKept kept;
    vam::JournalLine(vam::PlatformCall::kClose)
        .Number("descriptor", *opening)
        .Number("result", result);
  }
  return result;
}

/// Copies within this process where the kernel finds both places in its memory. Returns whether it
/// did.
bool CopyIfMapped(void* to, const void* from, std::size_t size) {
  const ErrorNumberKept kept;
  const iovec local = {const_cast<void*>(from), size};
  const iovec remote = {to, size};
  // The bare call: a sanitizer would report the addresses that the kernel is to judge.
  if (syscall(SYS_process_vm_writev, getpid(), &local, 1L, &remote, 1L, 0L) < 0 &&
      errno == EFAULT) {
    return false;
  }
  // Once more, for the tools that watch the program's memory and for kernels that forbid the call.
  memcpy(to, from, size);
  return true;
}

/// Answers an ioctl as the board's driver does. Returns 0 or an error number.
int AnswerIoctl(const vam::ProbeSection& probe, unsigned long request, void* argument) {
  if (request != GET_VAM_SUPPORT) {
    return ENOTTY;
  }
  if (!probe.ioctlAnswers) {
    return EIO;
  }
  if (probe.flag && !CopyIfMapped(argument, &*probe.flag, sizeof *probe.flag)) {
    return EFAULT;
  }
  return 0;
}

/// Performs an ioctl on the opening `opening` of the node. A program that has taken the run from
/// its environment finds no driver.
int NodeIoctl(std::uint32_t opening, unsigned long request, void* argument) {
  const int errorBefore = errno;
  vam::Run* run = vam::Run::Current();
  const vam::Fault* fault = vam::FireFaultOn(vam::PlatformCall::kIoctl);
  int error = ENOTTY;
  if (fault != nullptr) {
    error = fault->errorNumber;
  } else if (run != nullptr) {
    error = AnswerIoctl(run->Description().probe, request, argument);
  }
  const int result = error == 0 ? 0 : -1;
  {
    vam::JournalLine line(vam::PlatformCall::kIoctl);
    line.Number("descriptor", opening)
        .Number("request", static_cast<std::int64_t>(request))
        .Number("result", result);
    std::int32_t flag = 0;
    if (result < 0) {
      line.Text("errno", vam::ErrorNumberName(error).c_str());
    } else if (CopyIfMapped(&flag, argument, sizeof flag)) {
      line.Number("flag", flag);
    }
    line.ChangedBy(fault);
  }
  errno = error == 0 ? errorBefore : error;
  return result;
}

/// Shows the node as the device that it is on the board. `status` is a stat or a stat64, and counts
/// where `result` is 0. Returns `result`.
int Shown(int result, void* status) {
  auto& found = *static_cast<struct stat*>(status);
  if (result == 0 && Node().IsAt(found.st_dev, found.st_ino)) {
    found.st_mode = (found.st_mode & ~mode_t{S_IFMT}) | S_IFCHR;
    found.st_rdev = makedev(kMiscellaneousMajor, kNodeMinor);
    found.st_size = 0;
    found.st_blocks = 0;
  }
  return result;
}

int StatAt(int folder, const char* path, void* status, int flags) {
  auto* found = static_cast<struct stat*>(status);
  return Shown(Next().fstatat(folder, OnMachine(folder, path), found, flags), found);
}

int StatDescriptor(int descriptor, void* status) {
  auto* found = static_cast<struct stat*>(status);
  return Shown(Next().fstat(descriptor, found), found);
}

/// Resolves `path` by `proceed`, which takes its place on the machine.
template <typename Proceed>
char* RealPath(const char* path, Proceed proceed) {
  if (!IsNodePath(AT_FDCWD, path)) {
    return proceed(path);
  }
  char* resolved = proceed(Node().path);
  // The run's file has the longer name.
  if (resolved != nullptr) {
    memcpy(resolved, kVamDeviceNode, sizeof kVamDeviceNode);
  }
  return resolved;
}

}  // namespace

// Everything below is what the C library exports under these names.
#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeIn(arguments, flags);
  va_end(arguments);
  return OpenAt(AT_FDCWD, path, flags,
                [=](const char* place) { return Next().open(place, flags, mode); });
}

int open64(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeIn(arguments, flags);
  va_end(arguments);
  return OpenAt(AT_FDCWD, path, flags,
                [=](const char* place) { return Next().open64(place, flags, mode); });
}

int openat(int folder, const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeIn(arguments, flags);
  va_end(arguments);
  return OpenAt(folder, path, flags,
                [=](const char* place) { return Next().openat(folder, place, flags, mode); });
}

int openat64(int folder, const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeIn(arguments, flags);
  va_end(arguments);
  return OpenAt(folder, path, flags,
                [=](const char* place) { return Next().openat64(folder, place, flags, mode); });
}

int creat(const char* path, mode_t mode) {
  return OpenAt(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC,
                [=](const char* place) { return Next().creat(place, mode); });
}

int creat64(const char* path, mode_t mode) {
  return OpenAt(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC,
                [=](const char* place) { return Next().creat64(place, mode); });
}

FILE* fopen(const char* path, const char* mode) {
  return OpenStream(path, mode, [=](const char* place) { return Next().fopen(place, mode); });
}

FILE* fopen64(const char* path, const char* mode) {
  return OpenStream(path, mode, [=](const char* place) { return Next().fopen64(place, mode); });
}

FILE* freopen(const char* path, const char* mode, FILE* stream) {
  return ReopenStream(path, mode, stream,
                      [=](const char* place) { return Next().freopen(place, mode, stream); });
}

FILE* freopen64(const char* path, const char* mode, FILE* stream) {
  return ReopenStream(path, mode, stream,
                      [=](const char* place) { return Next().freopen64(place, mode, stream); });
}

int fclose(FILE* stream) {
  return Close(DescriptorOf(stream), [=] { return Next().fclose(stream); });
}

int close(int descriptor) {
  return Close(descriptor, [=] { return Next().close(descriptor); });
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  const std::optional<std::uint32_t> opening = OpeningOf(descriptor);
  return opening ? NodeIoctl(*opening, request, argument)
                 : Next().ioctl(descriptor, request, argument);
}

int stat(const char* path, struct stat* status) noexcept {
  return StatAt(AT_FDCWD, path, status, 0);
}

int stat64(const char* path, struct stat64* status) noexcept {
  return StatAt(AT_FDCWD, path, status, 0);
}

int lstat(const char* path, struct stat* status) noexcept {
  return StatAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

int lstat64(const char* path, struct stat64* status) noexcept {
  return StatAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

int fstat(int descriptor, struct stat* status) noexcept {
  return StatDescriptor(descriptor, status);
}

int fstat64(int descriptor, struct stat64* status) noexcept {
  return StatDescriptor(descriptor, status);
}

int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept {
  return StatAt(folder, path, status, flags);
}

int fstatat64(int folder, const char* path, struct stat64* status, int flags) noexcept {
  return StatAt(folder, path, status, flags);
}

int statx(int folder, const char* path, int flags, unsigned mask, struct statx* status) noexcept {
  const int result = Next().statx(folder, OnMachine(folder, path), flags, mask, status);
  if (result == 0 &&
      Node().IsAt(makedev(status->stx_dev_major, status->stx_dev_minor), status->stx_ino)) {
    status->stx_mode = static_cast<std::uint16_t>((status->stx_mode & ~S_IFMT) | S_IFCHR);
    status->stx_rdev_major = kMiscellaneousMajor;
    status->stx_rdev_minor = kNodeMinor;
    status->stx_size = 0;
    status->stx_blocks = 0;
  }
  return result;
}

int access(const char* path, int mode) noexcept {
  return Next().access(OnMachine(AT_FDCWD, path), mode);
}

int euidaccess(const char* path, int mode) noexcept {
  return Next().euidaccess(OnMachine(AT_FDCWD, path), mode);
}

int eaccess(const char* path, int mode) noexcept {
  return Next().euidaccess(OnMachine(AT_FDCWD, path), mode);
}

int faccessat(int folder, const char* path, int mode, int flags) noexcept {
  return Next().faccessat(folder, OnMachine(folder, path), mode, flags);
}

ssize_t readlink(const char* path, char* target, size_t size) noexcept {
  return Next().readlink(OnMachine(AT_FDCWD, path), target, size);
}

ssize_t readlinkat(int folder, const char* path, char* target, size_t size) noexcept {
  return Next().readlinkat(folder, OnMachine(folder, path), target, size);
}

char* realpath(const char* path, char* resolved) noexcept {
  return RealPath(path, [=](const char* place) { return Next().realpath(place, resolved); });
}

char* canonicalize_file_name(const char* path) noexcept { return realpath(path, nullptr); }

ssize_t getxattr(const char* path, const char* name, void* value, size_t size) noexcept {
  return Next().getxattr(OnMachine(AT_FDCWD, path), name, value, size);
}

ssize_t lgetxattr(const char* path, const char* name, void* value, size_t size) noexcept {
  return Next().lgetxattr(OnMachine(AT_FDCWD, path), name, value, size);
}

ssize_t listxattr(const char* path, char* names, size_t size) noexcept {
  return Next().listxattr(OnMachine(AT_FDCWD, path), names, size);
}

ssize_t llistxattr(const char* path, char* names, size_t size) noexcept {
  return Next().llistxattr(OnMachine(AT_FDCWD, path), names, size);
}

// What programs call that were built with _FORTIFY_SOURCE, and, after them, what programs call that
// were built before version 2.33 of the C library.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
int __open_2(const char* path, int flags) {
  return OpenAt(AT_FDCWD, path, flags,
                [=](const char* place) { return Next().openChecked(place, flags); });
}

int __open64_2(const char* path, int flags) {
  return OpenAt(AT_FDCWD, path, flags,
                [=](const char* place) { return Next().open64Checked(place, flags); });
}

int __openat_2(int folder, const char* path, int flags) {
  return OpenAt(folder, path, flags,
                [=](const char* place) { return Next().openatChecked(folder, place, flags); });
}

int __openat64_2(int folder, const char* path, int flags) {
  return OpenAt(folder, path, flags,
                [=](const char* place) { return Next().openat64Checked(folder, place, flags); });
}

ssize_t __readlink_chk(const char* path, char* target, size_t size, size_t capacity) {
  return Next().readlinkChecked(OnMachine(AT_FDCWD, path), target, size, capacity);
}

ssize_t __readlinkat_chk(int folder, const char* path, char* target, size_t size, size_t capacity) {
  return Next().readlinkatChecked(folder, OnMachine(folder, path), target, size, capacity);
}

char* __realpath_chk(const char* path, char* resolved, size_t capacity) {
  return RealPath(
      path, [=](const char* place) { return Next().realpathChecked(place, resolved, capacity); });
}

int __xstat(int /*version*/, const char* path, struct stat* status) {
  return StatAt(AT_FDCWD, path, status, 0);
}

int __xstat64(int /*version*/, const char* path, struct stat64* status) {
  return StatAt(AT_FDCWD, path, status, 0);
}

int __lxstat(int /*version*/, const char* path, struct stat* status) {
  return StatAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

int __lxstat64(int /*version*/, const char* path, struct stat64* status) {
  return StatAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

int __fxstat(int /*version*/, int descriptor, struct stat* status) {
  return StatDescriptor(descriptor, status);
}

int __fxstat64(int /*version*/, int descriptor, struct stat64* status) {
  return StatDescriptor(descriptor, status);
}

int __fxstatat(int /*version*/, int folder, const char* path, struct stat* status, int flags) {
  return StatAt(folder, path, status, flags);
}

int __fxstatat64(int /*version*/, int folder, const char* path, struct stat64* status, int flags) {
  return StatAt(folder, path, status, flags);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

}  // extern "C"
#pragma GCC visibility pop
