// Preloaded into the programs on a board: answers for the device node of the secure element, and
// leads the status files to the board's own.
//
// The node is an empty file in the run's folder, which a board without a node does not have. The
// functions below lead the node's path there, the paths of the status files to the folder that the
// run names for them, and pass every other path on. So the kernel keeps the node's descriptors as
// it keeps any other: through dup, fork and exec. A descriptor is the node's when it refers to that
// file. Nothing else uses the file's offset, so it holds the number that the journal gives to the
// opening.
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
#include <sys/time.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utime.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "journal/journal_line.h"
#include "journal/stream_mode.h"
#include "report/status_messages.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/board_paths.h"
#include "simulator/run/recorded_call.h"
#include "simulator/run/run.h"
#include "simulator/stand_ins/prepared_start.h"

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
#ifdef _STAT_VER
  // Up to version 2.32 the C library has these four under names that only its headers call.
  int fstat(int descriptor, struct stat* status) const {
    return fxstat(_STAT_VER, descriptor, status);
  }
  int fstatat(int folder, const char* path, struct stat* status, int flags) const {
    return fxstatat(_STAT_VER, folder, path, status, flags);
  }
  int mknod(const char* path, mode_t mode, dev_t device) const {
    return xmknod(_MKNOD_VER, path, mode, &device);
  }
  int mknodat(int folder, const char* path, mode_t mode, dev_t device) const {
    return xmknodat(_MKNOD_VER, folder, path, mode, &device);
  }
  int (*fxstat)(int, int, struct stat*) = Symbol{"__fxstat"};
  int (*fxstatat)(int, int, const char*, struct stat*, int) = Symbol{"__fxstatat"};
  int (*xmknod)(int, const char*, mode_t, dev_t*) = Symbol{"__xmknod"};
  int (*xmknodat)(int, int, const char*, mode_t, dev_t*) = Symbol{"__xmknodat"};
#else
  decltype(&::fstat) fstat = Symbol{"fstat"};
  decltype(&::fstatat) fstatat = Symbol{"fstatat"};
  decltype(&::mknod) mknod = Symbol{"mknod"};
  decltype(&::mknodat) mknodat = Symbol{"mknodat"};
#endif
  decltype(&::statx) statx = Symbol{"statx"};
  decltype(&::access) access = Symbol{"access"};
  decltype(&::euidaccess) euidaccess = Symbol{"euidaccess"};
  decltype(&::faccessat) faccessat = Symbol{"faccessat"};
  decltype(&::readlink) readlink = Symbol{"readlink"};
  decltype(&::readlinkat) readlinkat = Symbol{"readlinkat"};
  ssize_t (*readlinkChecked)(const char*, char*, size_t, size_t) = Symbol{"__readlink_chk"};
  ssize_t (*readlinkatChecked)(int, const char*, char*, size_t,
                               size_t) = Symbol{"__readlinkat_chk"};
  // Up to version 2.35 this finds the C library's first realpath(), which takes no null pointer.
  decltype(&::realpath) realpathInto = Symbol{"realpath"};
  decltype(&::canonicalize_file_name) canonicalizeFileName = Symbol{"canonicalize_file_name"};
  char* (*realpathChecked)(const char*, char*, size_t) = Symbol{"__realpath_chk"};
  decltype(&::getxattr) getxattr = Symbol{"getxattr"};
  decltype(&::lgetxattr) lgetxattr = Symbol{"lgetxattr"};
  decltype(&::listxattr) listxattr = Symbol{"listxattr"};
  decltype(&::llistxattr) llistxattr = Symbol{"llistxattr"};
  decltype(&::unlink) unlink = Symbol{"unlink"};
  decltype(&::unlinkat) unlinkat = Symbol{"unlinkat"};
  decltype(&::remove) remove = Symbol{"remove"};
  decltype(&::rename) rename = Symbol{"rename"};
  decltype(&::renameat) renameat = Symbol{"renameat"};
  decltype(&::renameat2) renameat2 = Symbol{"renameat2"};
  decltype(&::link) link = Symbol{"link"};
  decltype(&::linkat) linkat = Symbol{"linkat"};
  decltype(&::symlink) symlink = Symbol{"symlink"};
  decltype(&::symlinkat) symlinkat = Symbol{"symlinkat"};
  decltype(&::mkdir) mkdir = Symbol{"mkdir"};
  decltype(&::mkdirat) mkdirat = Symbol{"mkdirat"};
  decltype(&::rmdir) rmdir = Symbol{"rmdir"};
  decltype(&::mkfifo) mkfifo = Symbol{"mkfifo"};
  decltype(&::mkfifoat) mkfifoat = Symbol{"mkfifoat"};
  decltype(&::truncate) truncate = Symbol{"truncate"};
  decltype(&::truncate64) truncate64 = Symbol{"truncate64"};
  decltype(&::chmod) chmod = Symbol{"chmod"};
  decltype(&::fchmodat) fchmodat = Symbol{"fchmodat"};
  decltype(&::chown) chown = Symbol{"chown"};
  decltype(&::lchown) lchown = Symbol{"lchown"};
  decltype(&::fchownat) fchownat = Symbol{"fchownat"};
  decltype(&::utimensat) utimensat = Symbol{"utimensat"};
  decltype(&::utime) utime = Symbol{"utime"};
  decltype(&::utimes) utimes = Symbol{"utimes"};
  decltype(&::lutimes) lutimes = Symbol{"lutimes"};
  decltype(&::futimesat) futimesat = Symbol{"futimesat"};
  decltype(&::write) write = Symbol{"write"};
  decltype(&::writev) writev = Symbol{"writev"};
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
  explicit NodeFile(const char* runFolder) {
    snprintf(path, sizeof path, "%s%s", runFolder, vam::kNodeFile);
    present = Next().fstatat(AT_FDCWD, path, &status, 0) == 0;
  }

  /// Returns whether the node is the file that the machine knows by these numbers.
  bool IsAt(dev_t device, ino_t inode) const {
    return present && inode == status.st_ino && device == status.st_dev;
  }

  bool present = false;
  char path[PATH_MAX] = "";
  struct stat status = {};
};

/// Where the board keeps its status files.
struct StatusFolder {
  explicit StatusFolder(const char* runFolder) {
    snprintf(path, sizeof path, "%s%s", runFolder, vam::kStatusFolder);
    struct stat status;
    present = Next().fstatat(AT_FDCWD, path, &status, 0) == 0;
  }

  /// Whether the board has status files of its own, and not the machine's.
  bool present = false;
  char path[PATH_MAX] = "";
};

/// The board of this process. A process that was not started on one finds all paths on the machine.
struct BoardPaths {
  BoardPaths() {
    const ErrorNumberKept kept;
    const char* folder = getenv(vam::Run::kEnvironmentVariable);
    if (folder != nullptr && strlen(folder) <= vam::kLongestRunFolder) {
      node.emplace(folder);
      statusFolder.emplace(folder);
      char watch[PATH_MAX];
      snprintf(watch, sizeof watch, "%s%s", folder, vam::kWatchFile);
      isWatched = Next().access(watch, F_OK) == 0;
    }
  }

  std::optional<NodeFile> node;
  std::optional<StatusFolder> statusFolder;
  /// Whether the run counts what is written to standard output and to the status files.
  bool isWatched = false;
};

BoardPaths& FoundBoard() {
  static BoardPaths board;
  return board;
}

const BoardPaths& Board() { return FoundBoard(); }

/// Looks up everything before the program has threads: what a thread does at a fork, its child
/// cannot wait for.
[[gnu::constructor]] void FindEverything() { Board(); }

/// Returns whether this device and inode are the node's.
bool IsNodeAt(dev_t device, ino_t inode) {
  return Board().node && Board().node->IsAt(device, inode);
}

/// Returns whether the folder of `path`, up to `name`, is `expected`.
bool LiesIn(const char* expected, int folder, const char* path, const char* name) {
  const ErrorNumberKept kept;
  char parent[PATH_MAX];
  const auto length = static_cast<std::size_t>(name - path);
  if (length >= sizeof parent) {
    return false;
  }
  snprintf(parent, sizeof parent, "%.*s", static_cast<int>(length == 0 ? 1 : length),
           length == 0 ? "." : path);
  struct stat found;
  struct stat wanted;
  return Next().fstatat(folder, parent, &found, 0) == 0 &&
         Next().fstatat(AT_FDCWD, expected, &wanted, 0) == 0 && found.st_ino == wanted.st_ino &&
         found.st_dev == wanted.st_dev;
}

/// Returns the last name in `path`, with the slashes that follow it.
const char* LastName(const char* path) {
  const char* end = path + strlen(path);
  while (end > path && end[-1] == '/') {
    --end;
  }
  while (end > path && end[-1] != '/') {
    --end;
  }
  return end;
}

/// Returns the last name in `path`, which no slash follows.
constexpr const char* NameIn(const char* path) {
  const char* name = path;
  for (const char* place = path; *place != '\0'; ++place) {
    name = *place == '/' ? place + 1 : name;
  }
  return name;
}

constexpr char kTmp[] = "/tmp";

/// Returns whether `name` is a status file's, or that of one which vam-verdict or a user has put
/// aside: the file's own name, a dot and more.
bool IsStatusName(const char* name) {
  for (const char* file : {vam::kOkFile, vam::kErrorFile}) {
    const char* own = NameIn(file);
    const std::size_t length = strlen(own);
    if (strncmp(name, own, length) == 0 &&
        (name[length] == '\0' || name[length] == '/' || name[length] == '.')) {
      return true;
    }
  }
  return false;
}

/// A path of the board, relative to a folder, and where the machine has what is there.
class Place {
 public:
  Place(int folder, const char* path) : place(path) {
    if (path == nullptr || !Board().node) {
      return;
    }
    const char* name = LastName(path);
    if (strcmp(name, NameIn(kVamDeviceNode)) == 0 && LiesIn("/dev", folder, path, name)) {
      kind = Kind::kNode;
      place = Board().node->path;
    } else if (Board().statusFolder->present && IsStatusName(name) &&
               LiesIn(kTmp, folder, path, name)) {
      const int length =
          snprintf(statusFile, sizeof statusFile, "%s/%s", Board().statusFolder->path, name);
      // The kernel takes no name for which there is no room.
      if (length < static_cast<int>(sizeof statusFile)) {
        kind = Kind::kStatusFile;
        place = statusFile;
      }
    }
  }
  ~Place() = default;
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  const char* OnMachine() const { return place; }
  bool IsNode() const { return kind == Kind::kNode; }
  bool IsStatusFile() const { return kind == Kind::kStatusFile; }
  bool IsTheMachines() const { return kind == Kind::kTheMachines; }

  /// Writes the path as the board's programs know it. REQUIRES: it is not the machine's.
  void WriteBoardPath(char (&path)[PATH_MAX]) const {
    if (IsNode()) {
      snprintf(path, sizeof path, "%s", kVamDeviceNode);
      return;
    }
    const char* name = LastName(statusFile);
    snprintf(path, sizeof path, "%s/%.*s", kTmp, static_cast<int>(strcspn(name, "/")), name);
  }

 private:
  enum class Kind { kTheMachines, kNode, kStatusFile };

  Kind kind = Kind::kTheMachines;
  const char* place;
  /// Left as it is where it is not used: every call on a path comes here.
  char statusFile[PATH_MAX];
};

/// Returns the journal's number of the opening that `descriptor` refers to; none for another file.
std::optional<std::uint32_t> OpeningOf(int descriptor) {
  const ErrorNumberKept kept;
  struct stat status;
  if (!Board().node || !Board().node->present || Next().fstat(descriptor, &status) != 0 ||
      !IsNodeAt(status.st_dev, status.st_ino)) {
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
  const auto ask = [flags](auto& asked) {
    asked.Text("path", kVamDeviceNode).Number("flags", flags & ~O_LARGEFILE);
  };
  const vam::Fault* fault = vam::FireFaultOn(vam::PlatformCall::kOpen);
  const vam::RecordedCall* recorded = vam::FindRecorded(vam::PlatformCall::kOpen, ask);
  int descriptor = -1;
  if (recorded != nullptr && !recorded->Has("descriptor")) {
    errno = static_cast<int>(recorded->Number("errno"));
  } else if (fault == nullptr) {
    descriptor = proceed();
  } else {
    errno = fault->errorNumber;
  }
  const int error = descriptor < 0 ? errno : errorBefore;
  {
    vam::JournalLine line = vam::LineOf(vam::PlatformCall::kOpen);
    ask(line);
    if (descriptor < 0) {
      line.Number("result", descriptor).ErrorNumber(error);
    } else {
      const std::uint32_t opening =
          recorded != nullptr ? recorded->Ordinal("descriptor") : ++openings;
      lseek(descriptor, opening, SEEK_SET);
      line.Number("descriptor", opening);
    }
    line.ChangedBy(vam::NumberOf(fault));
  }
  errno = error;
  return descriptor;
}

/// Those descriptors of a watched run through which a status file is written. A duplicate is none.
class StatusDescriptors {
 public:
  void Set(int descriptor, bool isOne) {
    if (descriptor >= 0 && descriptor < kMost) {
      are[descriptor] = isOne;
    }
  }
  bool Has(int descriptor) const {
    return descriptor >= 0 && descriptor < kMost && are[descriptor];
  }

 private:
  static constexpr int kMost = 1024;
  std::atomic<bool> are[kMost] = {};
};

StatusDescriptors statusDescriptors;

/// Opens the status file at `place` for writing by `proceed`, unless the board declares a fault.
template <typename Proceed>
int OpenStatusFile(const char* place, Proceed proceed) {
  vam::Run* run = vam::Run::Current();
  const bool isOkFile = strcmp(NameIn(place), NameIn(vam::kOkFile)) == 0;
  const int error = run == nullptr ? 0 : run->StatusFileOpened(isOkFile);
  if (error != 0) {
    errno = error;
    return -1;
  }
  const int descriptor = proceed();
  statusDescriptors.Set(descriptor, true);
  return descriptor;
}

/// Writes to a status file as far as the board has room for it.
ssize_t WriteStatusFile(int descriptor, const void* bytes, size_t size) {
  vam::Run* run = vam::Run::Current();
  const std::size_t allowed = run == nullptr ? size : run->TakeStatusRoom(size);
  if (allowed == 0 && size != 0) {
    errno = ENOSPC;
    return -1;
  }
  return Next().write(descriptor, bytes, allowed);
}

/// Tells the run of a write to standard output.
void CountLine() {
  const ErrorNumberKept kept;
  if (vam::Run* run = vam::Run::Current()) {
    run->LineWritten();
  }
}

/// Opens the file that `path` is on the board by `proceed`, which takes its place on the machine.
template <typename Proceed>
int OpenAt(int folder, const char* path, int flags, Proceed proceed) {
  const Place place(folder, path);
  const auto onMachine = [&] { return proceed(place.OnMachine()); };
  if (place.IsNode()) {
    return OpenNode(flags, onMachine);
  }
  const bool isWatched =
      Board().isWatched && place.IsStatusFile() && (flags & O_ACCMODE) != O_RDONLY;
  return isWatched ? OpenStatusFile(place.OnMachine(), onMachine) : onMachine();
}

/// The mode that follows the named arguments of open() and its kin, where there is one.
mode_t ModeIn(std::va_list arguments, int flags) {
  const bool given = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return given ? va_arg(arguments, mode_t) : 0;
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
  OpenAt(AT_FDCWD, path, vam::FlagsOfStream(mode), [&](const char* place) {
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
  statusDescriptors.Set(descriptor, false);
  int result = proceed();
  if (opening) {
    const ErrorNumberKept kept;
    const auto ask = [opening](auto& asked) { asked.Number("descriptor", *opening); };
    const vam::RecordedCall* recorded = vam::FindRecorded(vam::PlatformCall::kClose, ask);
    result = recorded != nullptr ? static_cast<int>(recorded->Number("result")) : result;
    vam::JournalLine line = vam::LineOf(vam::PlatformCall::kClose);
    ask(line);
    line.Number("result", result);
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
  const auto ask = [=](auto& asked) {
    asked.Number("descriptor", opening).Number("request", static_cast<std::int64_t>(request));
  };
  const vam::Fault* fault = vam::FireFaultOn(vam::PlatformCall::kIoctl);
  int error = ENOTTY;
  int result = -1;
  if (const vam::RecordedCall* recorded = vam::FindRecorded(vam::PlatformCall::kIoctl, ask)) {
    error = static_cast<int>(recorded->Number("errno"));
    result = static_cast<int>(recorded->Number("result"));
    const auto flag = static_cast<std::int32_t>(recorded->Number("flag"));
    if (recorded->Has("flag")) {
      CopyIfMapped(argument, &flag, sizeof flag);
    }
  } else {
    if (fault != nullptr) {
      error = fault->errorNumber;
    } else if (run != nullptr) {
      error = AnswerIoctl(run->Description().probe, request, argument);
    }
    result = error == 0 ? 0 : -1;
  }
  {
    vam::JournalLine line = vam::LineOf(vam::PlatformCall::kIoctl);
    ask(line);
    line.Number("result", result);
    std::int32_t flag = 0;
    if (result < 0) {
      line.ErrorNumber(error);
    } else if (CopyIfMapped(&flag, argument, sizeof flag)) {
      line.Number("flag", flag);
    }
    line.ChangedBy(vam::NumberOf(fault));
  }
  errno = error == 0 ? errorBefore : error;
  return result;
}

/// Shows the node as the device that it is on the board. `status` is a stat or a stat64, and counts
/// where `result` is 0. Returns `result`.
int Shown(int result, void* status) {
  auto& found = *static_cast<struct stat*>(status);
  if (result == 0 && IsNodeAt(found.st_dev, found.st_ino)) {
    found.st_mode = (found.st_mode & ~mode_t{S_IFMT}) | S_IFCHR;
    found.st_rdev = makedev(kMiscellaneousMajor, kNodeMinor);
    found.st_size = 0;
    found.st_blocks = 0;
  }
  return result;
}

int StatAt(int folder, const char* path, void* status, int flags) {
  auto* found = static_cast<struct stat*>(status);
  return Shown(Next().fstatat(folder, Place(folder, path).OnMachine(), found, flags), found);
}

int StatDescriptor(int descriptor, void* status) {
  auto* found = static_cast<struct stat*>(status);
  return Shown(Next().fstat(descriptor, found), found);
}

/// Returns whether `place` is a symbolic link on the machine.
bool IsLink(const char* place) {
  const ErrorNumberKept kept;
  struct stat status;
  return Next().fstatat(AT_FDCWD, place, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISLNK(status.st_mode);
}

/// Resolves `path` into `resolved` by `proceed`, which takes its place on the machine.
template <typename Proceed>
char* RealPath(const char* path, char* resolved, Proceed proceed) {
  const Place place(AT_FDCWD, path);
  char* found = proceed(place.OnMachine());
  if (found == nullptr || place.IsTheMachines() || IsLink(place.OnMachine())) {
    return found;
  }
  char onBoard[PATH_MAX];
  place.WriteBoardPath(onBoard);
  if (resolved == nullptr) {
    free(found);
    return strdup(onBoard);
  }
  memcpy(resolved, onBoard, strlen(onBoard) + 1);
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

ssize_t write(int descriptor, const void* bytes, size_t size) {
  if (!Board().isWatched) {
    return Next().write(descriptor, bytes, size);
  }
  if (statusDescriptors.Has(descriptor)) {
    return WriteStatusFile(descriptor, bytes, size);
  }
  const ssize_t written = Next().write(descriptor, bytes, size);
  if (descriptor == STDOUT_FILENO) {
    CountLine();
  }
  return written;
}

ssize_t writev(int descriptor, const struct iovec* pieces, int count) {
  if (!Board().isWatched || !statusDescriptors.Has(descriptor)) {
    const ssize_t written = Next().writev(descriptor, pieces, count);
    if (Board().isWatched && descriptor == STDOUT_FILENO) {
      CountLine();
    }
    return written;
  }
  ssize_t all = 0;
  for (int i = 0; i < count; ++i) {
    const ssize_t written = WriteStatusFile(descriptor, pieces[i].iov_base, pieces[i].iov_len);
    if (written < 0) {
      return all == 0 ? written : all;
    }
    all += written;
  }
  return all;
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
  const int result = Next().statx(folder, Place(folder, path).OnMachine(), flags, mask, status);
  if (result == 0 &&
      IsNodeAt(makedev(status->stx_dev_major, status->stx_dev_minor), status->stx_ino)) {
    status->stx_mode = static_cast<std::uint16_t>((status->stx_mode & ~S_IFMT) | S_IFCHR);
    status->stx_rdev_major = kMiscellaneousMajor;
    status->stx_rdev_minor = kNodeMinor;
    status->stx_size = 0;
    status->stx_blocks = 0;
  }
  return result;
}

int access(const char* path, int mode) noexcept {
  return Next().access(Place(AT_FDCWD, path).OnMachine(), mode);
}

int euidaccess(const char* path, int mode) noexcept {
  return Next().euidaccess(Place(AT_FDCWD, path).OnMachine(), mode);
}

int eaccess(const char* path, int mode) noexcept {
  return Next().euidaccess(Place(AT_FDCWD, path).OnMachine(), mode);
}

int faccessat(int folder, const char* path, int mode, int flags) noexcept {
  return Next().faccessat(folder, Place(folder, path).OnMachine(), mode, flags);
}

ssize_t readlink(const char* path, char* target, size_t size) noexcept {
  return Next().readlink(Place(AT_FDCWD, path).OnMachine(), target, size);
}

ssize_t readlinkat(int folder, const char* path, char* target, size_t size) noexcept {
  return Next().readlinkat(folder, Place(folder, path).OnMachine(), target, size);
}

char* realpath(const char* path, char* resolved) noexcept {
  return RealPath(path, resolved, [=](const char* place) {
    return resolved == nullptr ? Next().canonicalizeFileName(place)
                               : Next().realpathInto(place, resolved);
  });
}

char* canonicalize_file_name(const char* path) noexcept { return realpath(path, nullptr); }

ssize_t getxattr(const char* path, const char* name, void* value, size_t size) noexcept {
  return Next().getxattr(Place(AT_FDCWD, path).OnMachine(), name, value, size);
}

ssize_t lgetxattr(const char* path, const char* name, void* value, size_t size) noexcept {
  return Next().lgetxattr(Place(AT_FDCWD, path).OnMachine(), name, value, size);
}

ssize_t listxattr(const char* path, char* names, size_t size) noexcept {
  return Next().listxattr(Place(AT_FDCWD, path).OnMachine(), names, size);
}

ssize_t llistxattr(const char* path, char* names, size_t size) noexcept {
  return Next().llistxattr(Place(AT_FDCWD, path).OnMachine(), names, size);
}

int unlink(const char* path) noexcept { return Next().unlink(Place(AT_FDCWD, path).OnMachine()); }

int unlinkat(int folder, const char* path, int flags) noexcept {
  return Next().unlinkat(folder, Place(folder, path).OnMachine(), flags);
}

int remove(const char* path) noexcept { return Next().remove(Place(AT_FDCWD, path).OnMachine()); }

int rename(const char* from, const char* to) noexcept {
  return Next().rename(Place(AT_FDCWD, from).OnMachine(), Place(AT_FDCWD, to).OnMachine());
}

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  return Next().renameat(fromFolder, Place(fromFolder, from).OnMachine(), toFolder,
                         Place(toFolder, to).OnMachine());
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
              unsigned flags) noexcept {
  return Next().renameat2(fromFolder, Place(fromFolder, from).OnMachine(), toFolder,
                          Place(toFolder, to).OnMachine(), flags);
}

int link(const char* from, const char* to) noexcept {
  return Next().link(Place(AT_FDCWD, from).OnMachine(), Place(AT_FDCWD, to).OnMachine());
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
  return Next().linkat(fromFolder, Place(fromFolder, from).OnMachine(), toFolder,
                       Place(toFolder, to).OnMachine(), flags);
}

int symlink(const char* target, const char* path) noexcept {
  return Next().symlink(target, Place(AT_FDCWD, path).OnMachine());
}

int symlinkat(const char* target, int folder, const char* path) noexcept {
  return Next().symlinkat(target, folder, Place(folder, path).OnMachine());
}

int mkdir(const char* path, mode_t mode) noexcept {
  return Next().mkdir(Place(AT_FDCWD, path).OnMachine(), mode);
}

int mkdirat(int folder, const char* path, mode_t mode) noexcept {
  return Next().mkdirat(folder, Place(folder, path).OnMachine(), mode);
}

int rmdir(const char* path) noexcept { return Next().rmdir(Place(AT_FDCWD, path).OnMachine()); }

int mkfifo(const char* path, mode_t mode) noexcept {
  return Next().mkfifo(Place(AT_FDCWD, path).OnMachine(), mode);
}

int mkfifoat(int folder, const char* path, mode_t mode) noexcept {
  return Next().mkfifoat(folder, Place(folder, path).OnMachine(), mode);
}

int mknod(const char* path, mode_t mode, dev_t device) noexcept {
  return Next().mknod(Place(AT_FDCWD, path).OnMachine(), mode, device);
}

int mknodat(int folder, const char* path, mode_t mode, dev_t device) noexcept {
  return Next().mknodat(folder, Place(folder, path).OnMachine(), mode, device);
}

int truncate(const char* path, off_t size) noexcept {
  return Next().truncate(Place(AT_FDCWD, path).OnMachine(), size);
}

int truncate64(const char* path, off64_t size) noexcept {
  return Next().truncate64(Place(AT_FDCWD, path).OnMachine(), size);
}

int chmod(const char* path, mode_t mode) noexcept {
  return Next().chmod(Place(AT_FDCWD, path).OnMachine(), mode);
}

int fchmodat(int folder, const char* path, mode_t mode, int flags) noexcept {
  return Next().fchmodat(folder, Place(folder, path).OnMachine(), mode, flags);
}

int chown(const char* path, uid_t user, gid_t group) noexcept {
  return Next().chown(Place(AT_FDCWD, path).OnMachine(), user, group);
}

int lchown(const char* path, uid_t user, gid_t group) noexcept {
  return Next().lchown(Place(AT_FDCWD, path).OnMachine(), user, group);
}

int fchownat(int folder, const char* path, uid_t user, gid_t group, int flags) noexcept {
  return Next().fchownat(folder, Place(folder, path).OnMachine(), user, group, flags);
}

int utimensat(int folder, const char* path, const struct timespec times[2], int flags) noexcept {
  return Next().utimensat(folder, Place(folder, path).OnMachine(), times, flags);
}

int utime(const char* path, const struct utimbuf* times) noexcept {
  return Next().utime(Place(AT_FDCWD, path).OnMachine(), times);
}

int utimes(const char* path, const struct timeval times[2]) noexcept {
  return Next().utimes(Place(AT_FDCWD, path).OnMachine(), times);
}

int lutimes(const char* path, const struct timeval times[2]) noexcept {
  return Next().lutimes(Place(AT_FDCWD, path).OnMachine(), times);
}

int futimesat(int folder, const char* path, const struct timeval times[2]) noexcept {
  return Next().futimesat(folder, Place(folder, path).OnMachine(), times);
}

// What every program calls before its main: where a prepared one waits.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
int __libc_start_main(int (*program)(int, char**, char**), int count, char** arguments,
                      void (*begin)(), void (*end)(), void (*endOfLinker)(), void* stack) {
  using Start =
      int(int (*)(int, char**, char**), int, char**, void (*)(), void (*)(), void (*)(), void*);
  if (vam::WaitForStart()) {
    FoundBoard() = BoardPaths();
  }
  Start* start = Symbol{"__libc_start_main"};
  return start(program, count, arguments, begin, end, endOfLinker, stack);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

// What programs call that were built with _FORTIFY_SOURCE, and, after them, what programs call that
// were built before version 2.33 of the C library.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
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
  return Next().readlinkChecked(Place(AT_FDCWD, path).OnMachine(), target, size, capacity);
}

ssize_t __readlinkat_chk(int folder, const char* path, char* target, size_t size, size_t capacity) {
  return Next().readlinkatChecked(folder, Place(folder, path).OnMachine(), target, size, capacity);
}

char* __realpath_chk(const char* path, char* resolved, size_t capacity) {
  return RealPath(path, resolved, [=](const char* place) {
    return Next().realpathChecked(place, resolved, capacity);
  });
}

int __xstat(int /*version*/, const char* path, struct stat* status) noexcept {
  return StatAt(AT_FDCWD, path, status, 0);
}

int __xstat64(int /*version*/, const char* path, struct stat64* status) noexcept {
  return StatAt(AT_FDCWD, path, status, 0);
}

int __lxstat(int /*version*/, const char* path, struct stat* status) noexcept {
  return StatAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

int __lxstat64(int /*version*/, const char* path, struct stat64* status) noexcept {
  return StatAt(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

int __fxstat(int /*version*/, int descriptor, struct stat* status) noexcept {
  return StatDescriptor(descriptor, status);
}

int __fxstat64(int /*version*/, int descriptor, struct stat64* status) noexcept {
  return StatDescriptor(descriptor, status);
}

int __fxstatat(int /*version*/, int folder, const char* path, struct stat* status,
               int flags) noexcept {
  return StatAt(folder, path, status, flags);
}

int __fxstatat64(int /*version*/, int folder, const char* path, struct stat64* status,
                 int flags) noexcept {
  return StatAt(folder, path, status, flags);
}

int __xmknod(int /*version*/, const char* path, mode_t mode, dev_t* device) noexcept {
  return Next().mknod(Place(AT_FDCWD, path).OnMachine(), mode, *device);
}

int __xmknodat(int /*version*/, int folder, const char* path, mode_t mode, dev_t* device) noexcept {
  return Next().mknodat(folder, Place(folder, path).OnMachine(), mode, *device);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

}  // extern "C"
#pragma GCC visibility pop
