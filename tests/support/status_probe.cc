// status_probe FOLDER: does to a status file what a C program can do to a file by its path, and
// prints for each call whether it had its effect in FOLDER, where the board keeps the file.
// status_probe --pieces: writes pieces to the other one.

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <string>

namespace {

constexpr char kPath[] = "/tmp/VAM_FAIL";
constexpr char kName[] = "VAM_FAIL";
constexpr char kAside[] = "/tmp/VAM_FAIL.aside";
constexpr char kAsideName[] = "VAM_FAIL.aside";
constexpr time_t kMoment = 1000000000;

std::string folder;
/// The board's /tmp.
int tmp = -1;

std::string Own(const char* name) { return folder + "/" + name; }

struct stat StatusOf(const char* name) {
  struct stat status = {};
  lstat(Own(name).c_str(), &status);
  return status;
}

bool Exists(const char* name) { return access(Own(name).c_str(), F_OK) == 0; }
bool IsKind(const char* name, mode_t kind) { return (StatusOf(name).st_mode & S_IFMT) == kind; }
bool IsLink(const char* name) { return IsKind(name, S_IFLNK); }
bool IsAged() { return StatusOf(kName).st_mtime == kMoment; }
bool IsEmpty() { return Exists(kName) && StatusOf(kName).st_size == 0; }
bool HasMode(mode_t mode) { return (StatusOf(kName).st_mode & 07777) == mode; }
bool HasMoved() { return !Exists(kName) && Exists(kAsideName); }
bool IsLinked() { return StatusOf(kName).st_nlink == 2 && Exists(kAsideName); }

void RemoveBoth() {
  for (const char* name : {kName, kAsideName}) {
    remove(Own(name).c_str());
  }
}

/// Puts the file there by its own path.
void Make() {
  RemoveBoth();
  FILE* file = fopen(Own(kName).c_str(), "w");
  fputs("text", file);
  fclose(file);
}

bool Created(int descriptor) {
  const bool written = write(descriptor, "new", 3) == 3;
  close(descriptor);
  return written && StatusOf(kName).st_size == 3;
}

struct Step {
  const char* name;
  /// Whether the file is there before.
  bool made;
  bool (*works)();
};

const timespec kTimes[2] = {{kMoment, 0}, {kMoment, 0}};
const timeval kOlderTimes[2] = {{kMoment, 0}, {kMoment, 0}};

const Step kSteps[] = {
    {"open", false, [] { return Created(open(kPath, O_CREAT | O_WRONLY, 0600)); }},
    {"openat", false, [] { return Created(openat(tmp, kName, O_CREAT | O_WRONLY, 0600)); }},
    {"creat", false, [] { return Created(creat(kPath, 0600)); }},
    {"fopen", false,
     [] {
       FILE* file = fopen(kPath, "w");
       return file != nullptr && fclose(file) == 0 && IsEmpty();
     }},
    {"stat", true,
     [] {
       struct stat status = {};
       return stat(kPath, &status) == 0 && status.st_ino == StatusOf(kName).st_ino;
     }},
    {"access", true, [] { return access(kPath, R_OK) == 0; }},
    {"realpath", true,
     [] {
       char* resolved = realpath(kPath, nullptr);
       const bool same = resolved != nullptr && strcmp(resolved, kPath) == 0;
       free(resolved);
       return same;
     }},
    {"realpath of a link", false,
     [] {
       char resolved[PATH_MAX];
       return symlink("/dev/null", Own(kName).c_str()) == 0 &&
              realpath(kPath, resolved) != nullptr && strcmp(resolved, "/dev/null") == 0;
     }},
    {"truncate", true, [] { return truncate(kPath, 0) == 0 && IsEmpty(); }},
    {"truncate64", true, [] { return truncate64(kPath, 0) == 0 && IsEmpty(); }},
    {"chmod", true, [] { return chmod(kPath, 0641) == 0 && HasMode(0641); }},
    {"fchmodat", true, [] { return fchmodat(tmp, kName, 0614, 0) == 0 && HasMode(0614); }},
    {"chown", true, [] { return chown(kPath, getuid(), getgid()) == 0; }},
    {"lchown", true, [] { return lchown(kPath, getuid(), getgid()) == 0; }},
    {"fchownat", true, [] { return fchownat(tmp, kName, getuid(), getgid(), 0) == 0; }},
    {"utimensat", true, [] { return utimensat(tmp, kName, kTimes, 0) == 0 && IsAged(); }},
    {"utime", true,
     [] {
       const utimbuf times = {kMoment, kMoment};
       return utime(kPath, &times) == 0 && IsAged();
     }},
    {"utimes", true, [] { return utimes(kPath, kOlderTimes) == 0 && IsAged(); }},
    {"lutimes", true, [] { return lutimes(kPath, kOlderTimes) == 0 && IsAged(); }},
    {"futimesat", true, [] { return futimesat(tmp, kName, kOlderTimes) == 0 && IsAged(); }},
    {"unlink", true, [] { return unlink(kPath) == 0 && !Exists(kName); }},
    {"unlinkat", true, [] { return unlinkat(tmp, kName, 0) == 0 && !Exists(kName); }},
    {"remove", true, [] { return remove(kPath) == 0 && !Exists(kName); }},
    {"rename", true, [] { return rename(kPath, kAside) == 0 && HasMoved(); }},
    {"renameat", true, [] { return renameat(tmp, kName, tmp, kAsideName) == 0 && HasMoved(); }},
    {"renameat2", true,
     [] { return renameat2(tmp, kName, tmp, kAsideName, RENAME_NOREPLACE) == 0 && HasMoved(); }},
    {"link", true, [] { return link(kPath, kAside) == 0 && IsLinked(); }},
    {"linkat", true, [] { return linkat(tmp, kName, tmp, kAsideName, 0) == 0 && IsLinked(); }},
    {"symlink", false, [] { return symlink("nowhere", kPath) == 0 && IsLink(kName); }},
    {"symlinkat", false, [] { return symlinkat("nowhere", tmp, kName) == 0 && IsLink(kName); }},
    {"readlink", false,
     [] {
       char target[8];
       return symlink("nowhere", Own(kName).c_str()) == 0 &&
              readlink(kPath, target, sizeof target) == 7;
     }},
    {"mkdir", false, [] { return mkdir(kPath, 0700) == 0 && IsKind(kName, S_IFDIR); }},
    {"mkdir with a slash", false,
     [] { return mkdir("/tmp/VAM_FAIL/", 0700) == 0 && IsKind(kName, S_IFDIR); }},
    {"mkdirat", false, [] { return mkdirat(tmp, kName, 0700) == 0 && IsKind(kName, S_IFDIR); }},
    {"rmdir", false,
     [] { return mkdir(Own(kName).c_str(), 0700) == 0 && rmdir(kPath) == 0 && !Exists(kName); }},
    {"mkfifo", false, [] { return mkfifo(kPath, 0600) == 0 && IsKind(kName, S_IFIFO); }},
    {"mkfifoat", false, [] { return mkfifoat(tmp, kName, 0600) == 0 && IsKind(kName, S_IFIFO); }},
    {"mknod", false, [] { return mknod(kPath, S_IFIFO | 0600, 0) == 0 && Exists(kName); }},
    {"mknodat", false, [] { return mknodat(tmp, kName, S_IFIFO | 0600, 0) == 0 && Exists(kName); }},
    {"in the folder", true, [] { return chdir("/tmp") == 0 && access(kName, R_OK) == 0; }},
    {"dots and slashes", true, [] { return access("//tmp/./../tmp//VAM_FAIL", R_OK) == 0; }},
};

std::string Answer(ssize_t written) {
  return written >= 0 ? std::to_string(written) : errno == ENOSPC ? "ENOSPC" : "another error";
}

/// Writes pieces to VAM_OK: none, three at once and one more. Says what each write answered, in
/// pieces too.
int WritePieces() {
  const int file = open("/tmp/VAM_OK", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  char bytes[] = "abcdefgh";
  const iovec pieces[] = {{bytes, 2}, {bytes + 2, 2}, {bytes + 4, 2}};
  std::string text = Answer(write(file, bytes, 0)) + " ";
  text += Answer(writev(file, pieces, 3)) + " ";
  text += Answer(write(file, bytes + 6, 2));
  close(file);
  char newline[] = "\n";
  const iovec answers[] = {{text.data(), text.size()}, {newline, 1}};
  return writev(STDOUT_FILENO, answers, 2) > 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && strcmp(argv[1], "--pieces") == 0) {
    return WritePieces();
  }
  if (argc != 2) {
    fputs("status_probe: name the folder\n", stderr);
    return 2;
  }
  folder = argv[1];
  tmp = open("/tmp", O_PATH | O_DIRECTORY | O_CLOEXEC);
  umask(0);
  for (const Step& step : kSteps) {
    step.made ? Make() : RemoveBoth();
    printf("%s: %s\n", step.name, step.works() ? "yes" : "no");
  }
  RemoveBoth();
  return 0;
}
