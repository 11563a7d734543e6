// node_probe PATH STEP...: what a C program does to a device node, and a line on how it went.
// Without steps it does all of them once.

#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "journal/code_names.h"

extern "C" {
// The C library does not declare all of these without FORTIFY.
// NOLINTBEGIN(bugprone-reserved-identifier)
// NOLINTBEGIN(readability-redundant-declaration): headers differ in which of them they declare
int __open_2(const char*, int);
int __open64_2(const char*, int);
int __openat_2(int, const char*, int);
int __openat64_2(int, const char*, int);
ssize_t __readlink_chk(const char*, char*, size_t, size_t);
ssize_t __readlinkat_chk(int, const char*, char*, size_t, size_t);
char* __realpath_chk(const char*, char*, size_t);
// NOLINTEND(readability-redundant-declaration)
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

constexpr unsigned long kGetSupport = 1;
/// No call below fails with it.
constexpr int kErrorBefore = E2BIG;

std::string path;
std::string self;

std::string ErrorName() {
  const char* name = vam::ErrorNumberName(errno);
  return name != nullptr ? name : "errno " + std::to_string(errno);
}

/// Returns `text`, and what must not happen to the error number in a call that succeeded.
std::string Succeeded(const std::string& text) {
  return errno == kErrorBefore ? text : text + ", and changed errno to " + ErrorName();
}

std::string FlagOf(int descriptor) {
  std::int32_t flag = -7;
  errno = kErrorBefore;
  if (ioctl(descriptor, kGetSupport, &flag) != 0) {
    return "ioctl " + ErrorName();
  }
  return Succeeded("flag " + std::to_string(flag));
}

std::string Close(int descriptor) {
  errno = kErrorBefore;
  return close(descriptor) == 0 ? Succeeded("closed") : ErrorName();
}

/// What comes of a descriptor that a call has just returned.
std::string Use(int descriptor) {
  if (descriptor < 0) {
    return ErrorName();
  }
  std::string text = Succeeded("");
  text += FlagOf(descriptor);
  text += ", " + Close(descriptor);
  return text;
}

std::string Use(FILE* stream) {
  if (stream == nullptr) {
    return ErrorName();
  }
  std::string text = Succeeded("");
  text += FlagOf(fileno(stream)) + ", ";
  errno = kErrorBefore;
  const bool closed = fclose(stream) == 0;
  return text + (closed ? Succeeded("closed") : ErrorName());
}

std::string Describe(mode_t mode, unsigned major, unsigned minor, long long size) {
  const char* kind = S_ISCHR(mode) ? "character device" : S_ISREG(mode) ? "file" : "other";
  char text[128];
  snprintf(text, sizeof text, "%s %03o, %u:%u, size %lld", kind, unsigned{mode & 0777}, major,
           minor, size);
  return text;
}

template <typename Status>
std::string Shown(int result, const Status& status) {
  return result != 0 ? ErrorName()
                     : Succeeded(Describe(status.st_mode, major(status.st_rdev),
                                          minor(status.st_rdev), status.st_size));
}

template <typename Call>
std::string Stat(Call call) {
  struct stat status = {};
  return Shown(call(&status), status);
}

template <typename Call>
std::string Stat64(Call call) {
  struct stat64 status = {};
  return Shown(call(&status), status);
}

std::string Statx(int folder, const char* name, int flags) {
  struct statx status = {};
  const int result = statx(folder, name, flags, STATX_BASIC_STATS, &status);
  return result != 0
             ? ErrorName()
             : Succeeded(Describe(status.stx_mode, status.stx_rdev_major, status.stx_rdev_minor,
                                  static_cast<long long>(status.stx_size)));
}

/// A descriptor of the path for the length of one step.
class Opened {
 public:
  explicit Opened(int flags = O_RDWR) : descriptor(open(path.c_str(), flags)) {
    errno = kErrorBefore;
  }
  ~Opened() { close(descriptor); }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;

  const int descriptor;
};

/// The path's folder and its name in it.
class Folder {
 public:
  Folder()
      : name(path.substr(path.rfind('/') + 1)),
        descriptor(open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY)) {
    errno = kErrorBefore;
  }
  ~Folder() { close(descriptor); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string name;
  const int descriptor;
};

/// A definition that programs of older systems use.
template <typename Function>
Function* Older(const char* name) {
  auto* function = reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
  errno = kErrorBefore;
  return function;
}

using OldStat = int(int, const char*, struct stat*);
using OldStat64 = int(int, const char*, struct stat64*);
using OldFstat = int(int, int, struct stat*);
using OldFstat64 = int(int, int, struct stat64*);
using OldFstatat = int(int, int, const char*, struct stat*, int);
using OldFstatat64 = int(int, int, const char*, struct stat64*, int);
constexpr int kOldVersion = 1;

std::string Allowed(int result) { return result == 0 ? Succeeded("allowed") : ErrorName(); }

std::string Link(ssize_t length, const char* target) {
  return length < 0 ? ErrorName()
                    : Succeeded("link to " + std::string(target, static_cast<size_t>(length)));
}

std::string Resolved(char* resolved) {
  std::string text = resolved == nullptr ? ErrorName() : resolved;
  free(resolved);
  return text;
}

/// Attributes are what the file system has; it may have none.
std::string Attributes(ssize_t length) {
  return length >= 0 || errno == ENODATA || errno == ENOTSUP ? "there" : ErrorName();
}

template <FILE* (*Reopen)(const char*, const char*, FILE*)>
std::string Reopened() {
  // Static, in sight of the leak sanitizer: where it fails, the C library only closes the stream.
  static FILE* stream = nullptr;
  stream = fopen("/dev/null", "r");
  errno = kErrorBefore;
  return Use(Reopen(path.c_str(), "r+", stream));
}

/// The ioctl with each pointer that does not lead to memory that can be written.
std::string BadPointers() {
  const long page = sysconf(_SC_PAGESIZE);
  const Opened opened;
  void* readOnly =
      mmap(nullptr, static_cast<size_t>(page), PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  void* gone = mmap(nullptr, static_cast<size_t>(page), PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  munmap(gone, static_cast<size_t>(page));
  std::string text;
  for (void* pointer : {static_cast<void*>(nullptr), readOnly, gone}) {
    text += ioctl(opened.descriptor, kGetSupport, pointer) == 0 ? "taken " : ErrorName() + " ";
  }
  munmap(readOnly, static_cast<size_t>(page));
  return text + FlagOf(opened.descriptor);
}

/// A number that the kernel does not answer for every file, as it does 2.
std::string OtherRequest() {
  const Opened opened;
  std::int32_t flag = -7;
  return ioctl(opened.descriptor, 3UL, &flag) == 0 ? "taken" : ErrorName();
}

std::string Duplicated() {
  const int first = open(path.c_str(), O_RDWR);
  errno = kErrorBefore;
  const int second = dup(first);
  const int third = fcntl(first, F_DUPFD_CLOEXEC, 200);
  const int fourth = dup2(first, 300);
  std::string text = Close(first);
  for (const int descriptor : {second, third, fourth}) {
    text += "; " + Use(descriptor);
  }
  return text;
}

/// Duplicates by the other calls, one of them onto the descriptor itself, and gives the place of a
/// duplicate to another file.
std::string DuplicatedOtherwise() {
  const int first = open(path.c_str(), O_RDWR);
  errno = kErrorBefore;
  const int second = dup3(first, 310, O_CLOEXEC);
  const int third = fcntl64(first, F_DUPFD, 210);
  dup2(first, first);
  const int file = open("/dev/null", O_RDWR);
  dup2(file, second);
  errno = kErrorBefore;
  std::string text = Use(second) + "; " + Use(third) + "; ";
  // Nothing is duplicated, and what is there stays.
  dup2(9999, first);
  errno = kErrorBefore;
  text += Use(first) + "; ";
  return text + Close(file);
}

/// Has another file of the node's file system in the place of a descriptor that close() was not
/// asked to end.
std::string ClosedByTheKernel() {
  const int node = open(path.c_str(), O_RDWR);
  syscall(SYS_close, node);
  const char* folder = getenv("TMPDIR");
  const int other = open(folder == nullptr ? "/" : folder, O_RDONLY | O_DIRECTORY);
  errno = kErrorBefore;
  return (other == node ? "" : "another descriptor, ") + Use(other);
}

/// Reopens a stream as a path that cannot be opened, which closes the stream.
std::string ReopenedInVain() {
  static FILE* stream = nullptr;
  stream = fopen("/dev/null", "r");
  const int descriptor = fileno(stream);
  const bool failed = freopen(path.c_str(), "r+", stream) == nullptr;
  const std::string error = ErrorName();
  return (failed ? error : "reopened") +
         (fcntl(descriptor, F_GETFD) < 0 ? ", closed" : ", still open");
}

/// What the path looks like once something was written into it.
std::string Written() {
  const Opened opened;
  if (pwrite(opened.descriptor, "bytes", 5, 0) < 0) {
    return ErrorName();
  }
  struct stat status = {};
  struct statx more = {};
  stat(path.c_str(), &status);
  statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS, &more);
  return "size " + std::to_string(status.st_size) + " " + std::to_string(more.stx_size) +
         ", blocks " + std::to_string(status.st_blocks) + " " + std::to_string(more.stx_blocks);
}

/// A file without a name, of the mode that it is given.
std::string Nameless() {
  umask(0);
  const int descriptor = open("/tmp", O_TMPFILE | O_RDWR, 0640);
  struct stat status = {};
  fstat(descriptor, &status);
  close(descriptor);
  char text[16];
  snprintf(text, sizeof text, "%03o", unsigned{status.st_mode & 0777U});
  return text;
}

std::string InChild() {
  const Opened opened;
  const pid_t child = fork();
  if (child == 0) {
    _exit(FlagOf(opened.descriptor) == "flag 1" ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return "child " + std::to_string(status) + ", parent " + FlagOf(opened.descriptor);
}

std::string InExecutedProgram() {
  const Opened opened;
  const pid_t child = fork();
  if (child == 0) {
    const std::string number = "use-" + std::to_string(opened.descriptor);
    execl(self.c_str(), self.c_str(), path.c_str(), number.c_str(), nullptr);
    _exit(127);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return "status " + std::to_string(WEXITSTATUS(status));
}

std::string ClosedAtExecution() {
  const Opened opened(O_RDWR | O_CLOEXEC);
  return (fcntl(opened.descriptor, F_GETFD) & FD_CLOEXEC) != 0 ? "yes" : "no";
}

std::string AccessMode() {
  std::string text;
  for (const int flags : {O_RDONLY, O_WRONLY, O_RDWR}) {
    const Opened opened(flags);
    text += std::to_string((fcntl(opened.descriptor, F_GETFL) & O_ACCMODE) == flags) + " " +
            FlagOf(opened.descriptor) + "; ";
  }
  return text;
}

std::string Ready() {
  const Opened opened;
  pollfd events = {opened.descriptor, POLLOUT, 0};
  return std::to_string(poll(&events, 1, 0));
}

/// Closes every descriptor that this program did not open, and has a file of its own in each place
/// while it uses the path. Returns what that file has got.
std::string ReusedDescriptors() {
  const int file = memfd_create("file", 0);
  for (int descriptor = STDERR_FILENO + 1; descriptor < 100; ++descriptor) {
    if (descriptor != file) {
      dup2(file, descriptor);
    }
  }
  Use(open(path.c_str(), O_RDWR));
  struct stat status = {};
  fstat(file, &status);
  for (int descriptor = STDERR_FILENO + 1; descriptor < 100; ++descriptor) {
    close(descriptor);
  }
  return "size " + std::to_string(status.st_size);
}

std::string WithoutEnvironment() {
  clearenv();
  return Use(open(path.c_str(), O_RDWR));
}

std::string WithoutOpening() {
  const Opened opened(O_PATH);
  return FlagOf(opened.descriptor);
}

/// Several threads at once, each with descriptors of its own.
std::string InThreads() {
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 100; ++round) {
        errno = kErrorBefore;
        right += Use(open(path.c_str(), O_RDWR)) == "flag 1, closed" ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return std::to_string(right) + " right";
}

/// Makes the path by `make`, which returns a descriptor, and says what it made.
template <typename Make>
std::string Made(Make make) {
  unlink(path.c_str());
  umask(0);
  errno = kErrorBefore;
  const int descriptor = make();
  if (descriptor < 0) {
    return ErrorName();
  }
  const std::string text = Succeeded("");
  close(descriptor);
  errno = kErrorBefore;
  return text + Stat([](auto* status) { return stat(path.c_str(), status); });
}

struct Step {
  const char* name;
  std::string (*perform)();
};

char buffer[PATH_MAX];

const Step kSteps[] = {
    {"open", [] { return Use(open(path.c_str(), O_RDWR)); }},
    {"open64", [] { return Use(open64(path.c_str(), O_RDWR)); }},
    {"__open_2", [] { return Use(__open_2(path.c_str(), O_RDWR)); }},
    {"__open64_2", [] { return Use(__open64_2(path.c_str(), O_RDWR)); }},
    {"openat", [] { return Use(openat(AT_FDCWD, path.c_str(), O_RDWR)); }},
    {"openat64", [] { return Use(openat64(AT_FDCWD, path.c_str(), O_RDWR)); }},
    {"openat in the folder",
     [] {
       const Folder folder;
       return Use(openat(folder.descriptor, folder.name.c_str(), O_RDWR));
     }},
    {"openat64 in the folder",
     [] {
       const Folder folder;
       return Use(openat64(folder.descriptor, folder.name.c_str(), O_RDWR));
     }},
    {"__openat_2 in the folder",
     [] {
       const Folder folder;
       return Use(__openat_2(folder.descriptor, folder.name.c_str(), O_RDWR));
     }},
    {"__openat64_2 in the folder",
     [] {
       const Folder folder;
       return Use(__openat64_2(folder.descriptor, folder.name.c_str(), O_RDWR));
     }},
    {"creat", [] { return Use(creat(path.c_str(), 0666)); }},
    {"creat64", [] { return Use(creat64(path.c_str(), 0666)); }},
    {"fopen", [] { return Use(fopen(path.c_str(), "r+")); }},
    {"fopen64", [] { return Use(fopen64(path.c_str(), "r+")); }},
    {"freopen", &Reopened<&freopen>},
    {"freopen64", &Reopened<&freopen64>},
    {"stat", [] { return Stat([](auto* status) { return stat(path.c_str(), status); }); }},
    {"stat64", [] { return Stat64([](auto* status) { return stat64(path.c_str(), status); }); }},
    {"lstat", [] { return Stat([](auto* status) { return lstat(path.c_str(), status); }); }},
    {"lstat64", [] { return Stat64([](auto* status) { return lstat64(path.c_str(), status); }); }},
    {"fstat",
     [] {
       const Opened opened;
       return Stat([&](auto* status) { return fstat(opened.descriptor, status); });
     }},
    {"fstat64",
     [] {
       const Opened opened;
       return Stat64([&](auto* status) { return fstat64(opened.descriptor, status); });
     }},
    {"fstatat in the folder",
     [] {
       const Folder folder;
       return Stat([&](auto* status) {
         return fstatat(folder.descriptor, folder.name.c_str(), status, 0);
       });
     }},
    {"fstatat64 of a descriptor",
     [] {
       const Opened opened;
       return Stat64(
           [&](auto* status) { return fstatat64(opened.descriptor, "", status, AT_EMPTY_PATH); });
     }},
    {"statx in the folder",
     [] {
       const Folder folder;
       return Statx(folder.descriptor, folder.name.c_str(), 0);
     }},
    {"statx of a descriptor",
     [] {
       const Opened opened;
       return Statx(opened.descriptor, "", AT_EMPTY_PATH);
     }},
    {"__xstat",
     [] {
       auto* older = Older<OldStat>("__xstat");
       return Stat([=](auto* status) { return older(kOldVersion, path.c_str(), status); });
     }},
    {"__xstat64",
     [] {
       auto* older = Older<OldStat64>("__xstat64");
       return Stat64([=](auto* status) { return older(kOldVersion, path.c_str(), status); });
     }},
    {"__lxstat",
     [] {
       auto* older = Older<OldStat>("__lxstat");
       return Stat([=](auto* status) { return older(kOldVersion, path.c_str(), status); });
     }},
    {"__lxstat64",
     [] {
       auto* older = Older<OldStat64>("__lxstat64");
       return Stat64([=](auto* status) { return older(kOldVersion, path.c_str(), status); });
     }},
    {"__fxstat",
     [] {
       auto* older = Older<OldFstat>("__fxstat");
       const Opened opened;
       return Stat([&](auto* status) { return older(kOldVersion, opened.descriptor, status); });
     }},
    {"__fxstat64",
     [] {
       auto* older = Older<OldFstat64>("__fxstat64");
       const Opened opened;
       return Stat64([&](auto* status) { return older(kOldVersion, opened.descriptor, status); });
     }},
    {"__fxstatat in the folder",
     [] {
       auto* older = Older<OldFstatat>("__fxstatat");
       const Folder folder;
       return Stat([&](auto* status) {
         return older(kOldVersion, folder.descriptor, folder.name.c_str(), status, 0);
       });
     }},
    {"__fxstatat64 in the folder",
     [] {
       auto* older = Older<OldFstatat64>("__fxstatat64");
       const Folder folder;
       return Stat64([&](auto* status) {
         return older(kOldVersion, folder.descriptor, folder.name.c_str(), status, 0);
       });
     }},
    {"access", [] { return Allowed(access(path.c_str(), R_OK | W_OK)); }},
    {"euidaccess", [] { return Allowed(euidaccess(path.c_str(), R_OK | W_OK)); }},
    {"eaccess", [] { return Allowed(eaccess(path.c_str(), R_OK | W_OK)); }},
    {"faccessat in the folder",
     [] {
       const Folder folder;
       return Allowed(faccessat(folder.descriptor, folder.name.c_str(), R_OK | W_OK, AT_EACCESS));
     }},
    {"access to execute", [] { return Allowed(access(path.c_str(), X_OK)); }},
    {"readlink", [] { return Link(readlink(path.c_str(), buffer, sizeof buffer), buffer); }},
    {"readlinkat in the folder",
     [] {
       const Folder folder;
       return Link(readlinkat(folder.descriptor, folder.name.c_str(), buffer, sizeof buffer),
                   buffer);
     }},
    {"__readlink_chk",
     [] {
       return Link(__readlink_chk(path.c_str(), buffer, sizeof buffer, sizeof buffer), buffer);
     }},
    {"__readlinkat_chk in the folder",
     [] {
       const Folder folder;
       return Link(__readlinkat_chk(folder.descriptor, folder.name.c_str(), buffer, sizeof buffer,
                                    sizeof buffer),
                   buffer);
     }},
    {"realpath", [] { return Resolved(realpath(path.c_str(), nullptr)); }},
    {"__realpath_chk",
     [] {
       char* resolved = __realpath_chk(path.c_str(), buffer, sizeof buffer);
       return resolved == nullptr ? ErrorName() : std::string(resolved);
     }},
    {"canonicalize_file_name", [] { return Resolved(canonicalize_file_name(path.c_str())); }},
    {"getxattr", [] { return Attributes(getxattr(path.c_str(), "user.none", buffer, 1)); }},
    {"lgetxattr", [] { return Attributes(lgetxattr(path.c_str(), "user.none", buffer, 1)); }},
    {"listxattr", [] { return Attributes(listxattr(path.c_str(), buffer, sizeof buffer)); }},
    {"llistxattr", [] { return Attributes(llistxattr(path.c_str(), buffer, sizeof buffer)); }},
};

/// Steps that have to be named.
const Step kMoreSteps[] = {
    {"bad-pointers", &BadPointers},
    {"other-request", &OtherRequest},
    {"duplicated", &Duplicated},
    {"duplicated-otherwise", &DuplicatedOtherwise},
    {"closed-by-the-kernel", &ClosedByTheKernel},
    {"reopened-in-vain", &ReopenedInVain},
    {"written", &Written},
    {"nameless", &Nameless},
    {"realpath-into-a-buffer",
     [] {
       const char* resolved = realpath(path.c_str(), buffer);
       return resolved == nullptr ? ErrorName() : std::string(buffer);
     }},
    {"in-child", &InChild},
    {"in-executed-program", &InExecutedProgram},
    {"closed-at-execution", &ClosedAtExecution},
    {"access-mode", &AccessMode},
    {"ready", &Ready},
    {"without-opening", &WithoutOpening},
    {"without-environment", &WithoutEnvironment},
    {"in-threads", &InThreads},
    {"reused-descriptors", &ReusedDescriptors},
    {"made-by-open",
     [] { return Made([] { return open(path.c_str(), O_CREAT | O_RDWR, 0641); }); }},
    {"made-by-open64",
     [] { return Made([] { return open64(path.c_str(), O_CREAT | O_RDWR, 0642); }); }},
    {"made-by-openat",
     [] { return Made([] { return openat(AT_FDCWD, path.c_str(), O_CREAT | O_RDWR, 0643); }); }},
    {"made-by-openat64",
     [] { return Made([] { return openat64(AT_FDCWD, path.c_str(), O_CREAT | O_RDWR, 0644); }); }},
    {"made-by-creat", [] { return Made([] { return creat(path.c_str(), 0645); }); }},
    {"made-by-creat64", [] { return Made([] { return creat64(path.c_str(), 0646); }); }},
    {"made-by-fopen", [] { return Made([] { return fileno(fopen(path.c_str(), "wx")); }); }},
};

/// Performs a step and prints how it went.
void Perform(const Step& step) {
  errno = kErrorBefore;
  const std::string outcome = step.perform();
  printf("%s: %s\n", step.name, outcome.c_str());
  // Before the next step may fork.
  fflush(stdout);
}

bool PerformByName(const std::string& name) {
  for (const auto& [first, last] : {std::pair{std::begin(kSteps), std::end(kSteps)},
                                    std::pair{std::begin(kMoreSteps), std::end(kMoreSteps)}}) {
    const Step* found =
        std::find_if(first, last, [&](const Step& step) { return name == step.name; });
    if (found != last) {
      Perform(*found);
      return true;
    }
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  self = argv[0];
  path = argc > 1 ? argv[1] : "";
  if (argc == 2) {
    std::for_each(std::begin(kSteps), std::end(kSteps), &Perform);
  }
  for (int i = 2; i < argc; ++i) {
    constexpr char kUse[] = "use-";
    if (strncmp(argv[i], kUse, strlen(kUse)) == 0) {
      const long descriptor = strtol(argv[i] + strlen(kUse), nullptr, 10);
      printf("inherited: %s\n", FlagOf(static_cast<int>(descriptor)).c_str());
    } else if (!PerformByName(argv[i])) {
      fprintf(stderr, "node_probe: no step %s\n", argv[i]);
      return 2;
    }
  }
  return 0;
}
