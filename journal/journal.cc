#include "journal/journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

#include "journal/journal_text.h"
#include "util/write_signals.h"

namespace vam {

namespace {

constexpr char kBootIdFile[] = "/proc/sys/kernel/random/boot_id";
constexpr std::size_t kBootIdLength = 36;

std::uint64_t Now(clockid_t clock) {
  constexpr std::uint64_t kNanosecondsInASecond = 1000000000;
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * kNanosecondsInASecond +
         static_cast<std::uint64_t>(now.tv_nsec);
}

/// Returns the kernel's name of this boot, or nothing where it does not tell.
std::string BootId() {
  char text[kBootIdLength];
  const int file = open(kBootIdFile, O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return "";
  }
  const ssize_t length = read(file, text, sizeof text);
  close(file);
  return length == static_cast<ssize_t>(sizeof text) ? std::string(text, sizeof text) : "";
}

std::string HeadLine(const JournalHead& head, const JournalSettings& settings) {
  std::string line = "{\"format\":" + InDecimal(kJournalFormat) +
                     ",\"program\":" + QuotedText(head.program) + ",\"arguments\":";
  // A key may stand on the command line.
  if (settings.withKeys) {
    line += '[';
    for (const std::string& argument : head.arguments) {
      line += (line.back() == '[' ? "" : ",") + QuotedText(argument);
    }
    line += ']';
  } else {
    line += "null";
  }
  line += ",\"build\":" + QuotedText(head.build) +
          ",\"keys\":" + (settings.withKeys ? "true" : "false") +
          ",\"clock\":{\"bootId\":" + QuotedText(BootId()) +
          ",\"bootTime\":" + InDecimal(static_cast<std::int64_t>(settings.start)) +
          ",\"realTime\":" + InDecimal(static_cast<std::int64_t>(Now(CLOCK_REALTIME))) + "}}\n";
  return line;
}

/// Writes `text` by one write, and no part of it where that fails: a disk that is full may take
/// one. Returns whether it was written; errno tells why not.
bool WriteWhole(int file, const std::string& text) {
  const WriteSignalsHeld held;
  ssize_t written = 0;
  do {
    written = write(file, text.data(), text.size());
  } while (written < 0 && errno == EINTR);
  if (written >= 0 && written < static_cast<ssize_t>(text.size())) {
    const off_t end = lseek(file, 0, SEEK_CUR);
    static_cast<void>(ftruncate(file, end - written) == 0);
    errno = ENOSPC;
    return false;
  }
  return written >= 0;
}

/// Empties a regular file and makes it private; what else takes lines is left as it is. Returns
/// false for what `kind` does not take; errno tells why.
bool MakePrivate(int file, JournalFile kind) {
  struct stat status;
  if (fstat(file, &status) != 0) {
    return false;
  }
  const bool isRegular = S_ISREG(status.st_mode);
  if (kind != JournalFile::kAny &&
      (!isRegular || status.st_uid != geteuid() || status.st_nlink != 1)) {
    errno = EPERM;
    return false;
  }
  return !isRegular || (fchmod(file, 0600) == 0 && ftruncate(file, 0) == 0);
}

}  // namespace

std::uint64_t BootTime() { return Now(CLOCK_BOOTTIME); }

bool StartJournal(const std::string& path, const JournalHead& head, JournalSettings& settings,
                  JournalFile kind) {
  int flags = O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  if (kind != JournalFile::kAny) {
    flags |= O_NOFOLLOW;
  }
  if (kind == JournalFile::kNew) {
    flags |= O_EXCL;
  }
  const int file = open(path.c_str(), flags, 0600);
  if (file < 0) {
    return false;
  }
  settings.start = BootTime();
  const bool done = MakePrivate(file, kind) && WriteWhole(file, HeadLine(head, settings));
  const int error = errno;
  close(file);
  errno = error;
  return done;
}

Journal::Journal(std::string file, const JournalSettings& runSettings, Failed whenFailed)
    : path(std::move(file)), settings(runSettings), failed(std::move(whenFailed)) {
  Open();
}

Journal::~Journal() {
  if (IsKept()) {
    close(descriptor);
  }
}

bool Journal::Open() {
  // Without waiting for a FIFO's reader that has gone.
  const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) {
    return false;
  }
  fcntl(file, F_SETFL, O_APPEND);
  // Off the standard streams, so that what a program writes to one that its caller closed stays
  // lost. And off the first descriptors, so that the program gets the ones it would get without.
  constexpr int kHigh = 512;
  descriptor = fcntl(file, F_DUPFD_CLOEXEC, kHigh);
  if (descriptor < 0) {
    descriptor = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  }
  close(file);
  return fstat(descriptor, &opened) == 0;
}

bool Journal::HoldsDescriptor() const {
  struct stat status;
  return fstat(descriptor, &status) == 0 && status.st_ino == opened.st_ino &&
         status.st_dev == opened.st_dev;
}

void Journal::Append(const std::string& line) {
  // The program may have closed a descriptor that it did not open, and have another file there.
  // One write a line, so that lines of several processes do not mix.
  if ((!HoldsDescriptor() && !Open()) || !WriteWhole(descriptor, line + "\n")) {
    failed(std::strerror(errno));
  }
}

}  // namespace vam
