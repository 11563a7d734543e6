#include "simulator/run/board_status.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "report/status_messages.h"
#include "report/status_reader.h"
#include "report/texts.h"
#include "report/trusted_file.h"
#include "simulator/board/board.h"
#include "simulator/run/board_paths.h"

namespace vam {

namespace {

/// Of each file; a run adds nine at most.
constexpr std::size_t kShownLines = 12;

/// Returns the path in `folder` of the status file that the board knows as `path`.
std::string In(const std::string& folder, const char* path) {
  return folder + std::strrchr(path, '/');
}

std::string DescribeFile(const std::string& path, const char* pathOnBoard, bool isOld) {
  const StatusFile file = ReadStatusFile(path);
  if (!file.present) {
    return "";
  }
  std::string text = std::string("  ") + pathOnBoard;
  if (!file.problem.empty()) {
    return text + ": cannot be read: " + file.problem + "\n";
  }
  text += isOld ? ", as it was before this run\n" : "\n";
  const std::size_t first = file.lines.size() > kShownLines ? file.lines.size() - kShownLines : 0;
  if (first > 0 || file.startsLater) {
    text += "    (older lines are left out)\n";
  }
  for (std::size_t i = first; i < file.lines.size(); ++i) {
    text += "    " + Printable(file.lines[i]) + "\n";
  }
  return text;
}

[[noreturn]] void FailOn(const std::string& path) {
  throw std::runtime_error(path + ": " + std::strerror(errno));
}

/// Makes the status file at `path` a folder, or moves it aside and makes it a link to where it is.
void Misshape(const std::string& path, Fault::StatusFile shape) {
  struct stat status = {};
  const bool exists = lstat(path.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    return;
  }
  const std::string target = path + ".linked";
  if (shape == Fault::StatusFile::kIsFolder) {
    if ((exists && unlink(path.c_str()) != 0) || mkdir(path.c_str(), 0700) != 0) {
      FailOn(path);
    }
  } else if ((exists && rename(path.c_str(), target.c_str()) != 0) ||
             symlink(target.c_str(), path.c_str()) != 0) {
    FailOn(path);
  }
}

}  // namespace

void LeadToStatusFiles(const std::string& runFolder, const std::string& folder,
                       const std::vector<Fault>& faults) {
  if (runFolder.size() > kLongestRunFolder) {
    throw std::runtime_error(runFolder + ": the path is too long; set TMPDIR to a shorter one");
  }
  const std::string link = runFolder + kStatusFolder;
  if (symlink(folder.c_str(), link.c_str()) != 0) {
    FailOn(link);
  }
  for (const Fault& fault : faults) {
    if (fault.kind != Fault::Kind::kStatusFile || !fault.IsThereFromTheStart()) {
      continue;
    }
    if (fault.changesOkFile) {
      Misshape(In(folder, kOkFile), fault.statusFile);
    }
    if (fault.changesFailFile) {
      Misshape(In(folder, kErrorFile), fault.statusFile);
    }
  }
}

bool BoardStatus::Stamp::operator==(const Stamp& other) const {
  return present == other.present && inode == other.inode && size == other.size &&
         changed == other.changed;
}

BoardStatus::Stamp BoardStatus::StampOf(const std::string& path) {
  struct stat status = {};
  const bool present = lstat(path.c_str(), &status) == 0;
  return {present, status.st_ino, status.st_size, Nanoseconds(status.st_mtim)};
}

BoardStatus::BoardStatus(const std::string& folder)
    : place(folder),
      okFile(In(folder, kOkFile)),
      errorFile(In(folder, kErrorFile)),
      okBefore(StampOf(okFile)),
      errorBefore(StampOf(errorFile)) {}

std::string BoardStatus::Text(bool namesOldOnes) const {
  std::string text =
      DescribeFile(okFile, kOkFile, namesOldOnes && StampOf(okFile) == okBefore) +
      DescribeFile(errorFile, kErrorFile, namesOldOnes && StampOf(errorFile) == errorBefore);
  return text.empty() ? "Status files: none\n" : "Status files:\n" + text;
}

std::string BoardStatus::Describe() const { return Text(false); }

std::string BoardStatus::DescribeChanges() const { return Text(true); }

void BoardStatus::RequireRoom() const {
  struct statvfs system = {};
  // One that does not tell its size does not tell its room.
  if (statvfs(place.c_str(), &system) != 0 || system.f_blocks == 0) {
    return;
  }
  const fsblkcnt_t blocks = geteuid() == 0 ? system.f_bfree : system.f_bavail;
  const bool hasFiles = system.f_files == 0 || system.f_ffree > 0;
  if (blocks == 0 || !hasFiles) {
    throw std::runtime_error(place + ": its disk is full, and what the program wrote to " +
                             kOkFile + " and " + kErrorFile +
                             " may be lost; make room, or give another folder with --state");
  }
}

}  // namespace vam
