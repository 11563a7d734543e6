#include "report/last_run.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>

#include "report/run_record.h"
#include "report/texts.h"
#include "report/trusted_file.h"

namespace vam {

namespace {

constexpr char kBootIdFile[] = "/proc/sys/kernel/random/boot_id";
constexpr std::size_t kBootIdLength = 36;
constexpr uid_t kRoot = 0;

bool IsSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Returns how a user other than root and `owner` can put something else in the place of `folder`;
/// empty when none can.
std::string Intrusion(const Descriptor& folder, uid_t owner) {
  std::string which = "the folder";
  Descriptor current(openat(folder.Number(), ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  struct stat status = {};
  struct stat below = {};
  while (current.IsOpen() && fstat(current.Number(), &status) == 0) {
    if (IsSame(status, below)) {
      return "";
    }
    if (status.st_uid != kRoot && status.st_uid != owner) {
      return Formatted("%s belongs to user %u", which.c_str(), status.st_uid);
    }
    if (OthersMayWrite(status)) {
      return Formatted("others may write to %s", which.c_str());
    }
    which += "'s parent";
    below = status;
    current = Descriptor(openat(current.Number(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
  }
  return Formatted("%s cannot be seen", which.c_str());
}

/// Reads the record into `run`. Returns why it cannot be trusted; empty when it can, or when there
/// is none.
std::string Read(const std::string& folder, LastRun& run) {
  const Descriptor directory(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  struct stat folderStatus = {};
  if (!directory.IsOpen() || fstat(directory.Number(), &folderStatus) != 0) {
    return errno == ENOENT ? "" : std::strerror(errno);
  }
  const uid_t owner = folderStatus.st_uid;
  std::string intrusion = Intrusion(directory, owner);
  if (!intrusion.empty()) {
    return intrusion;
  }
  const Descriptor file = OpenForReading(directory.Number(), kRecordName);
  struct stat status = {};
  if (!file.IsOpen() || fstat(file.Number(), &status) != 0) {
    return errno == ENOENT ? "" : errno == ELOOP ? "it is a symbolic link" : std::strerror(errno);
  }
  if (!IsPlainFileOf(kRoot, status) && !IsPlainFileOf(owner, status)) {
    return Formatted("it is %s", KindOf(status).c_str());
  }
  if (OthersMayWrite(status)) {
    return "others may write to it";
  }
  std::string json;
  if (!ReadAt(file.Number(), 0, kLongestRecord + 1, json)) {
    return std::strerror(errno);
  }
  if (json.size() > kLongestRecord || !ReadRunRecord(json, run.record)) {
    return "it is not a whole record of format 1";
  }
  const std::string bootId = BootId();
  if (bootId.empty()) {
    return "the kernel does not name this boot";
  }
  if (run.record.bootId != bootId) {
    return "it is of another boot";
  }
  run.state = LastRun::State::kEnded;
  return "";
}

}  // namespace

const char* VerdictFolder() { return VAM_VERDICT_FOLDER; }

std::string BootId() {
  std::string id;
  const Descriptor file(open(kBootIdFile, O_RDONLY | O_CLOEXEC));
  return ReadAt(file.Number(), 0, kBootIdLength, id) && id.size() == kBootIdLength ? id : "";
}

LastRun ReadLastRun(const std::string& folder) {
  LastRun run;
  const std::string problem = Read(folder, run);
  if (!problem.empty()) {
    run.state = LastRun::State::kNotTrusted;
    run.problem = Formatted("%s/%s: %s", Escaped(folder).c_str(), kRecordName, problem.c_str());
  }
  return run;
}

}  // namespace vam
