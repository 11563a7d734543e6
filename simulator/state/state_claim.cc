#include "simulator/state/state_claim.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "simulator/files/whole_file.h"
#include "simulator/state/state_folder.h"

namespace vam {

namespace {

/// The record is this line, and the board in another.
constexpr char kFirstLine[] = "vam-board state, format 1\n";
constexpr char kAnyFormat[] = "vam-board state, format ";
constexpr std::size_t kRecordLimit = 65536;

[[noreturn]] void Fail(const std::string& path, const std::string& why) {
  throw std::runtime_error(path + ": " + why);
}

}  // namespace

StateClaim::StateClaim(const std::string& stateFolder, const std::string& owner, bool takesOver)
    : folder(stateFolder), board(owner) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    Fail(folder, "cannot be made: " + error.message() +
                     "; give a folder that you can write to with --state");
  }
  Lock();
  try {
    const std::optional<std::string> recorded = BoardOfState(folder);
    isRecorded = recorded == board;
    // Without a chip it is nobody's.
    if (recorded && !isRecorded && !takesOver &&
        std::filesystem::exists(ChipMemoryIn(folder), error)) {
      Fail(folder, "holds the chip of another board, " + *recorded +
                       "; give another folder with --state, or put the chip on "
                       "this board with "
                       "--other-board");
    }
  } catch (...) {
    close(lock);
    throw;
  }
}

StateClaim::~StateClaim() { close(lock); }

void StateClaim::Lock() {
  const std::string file = RunLockIn(folder);
  lock = open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
  // Of the whole file. Unlike that of flock(), the children of the process do not share it, so it
  // ends with the process.
  struct flock range = {};
  range.l_type = F_WRLCK;
  if (lock >= 0 && fcntl(lock, F_SETLK, &range) == 0) {
    return;
  }
  const bool isHeld = lock >= 0 && (errno == EAGAIN || errno == EACCES);
  const std::string cause = std::strerror(errno);
  std::string holder;
  if (isHeld && fcntl(lock, F_GETLK, &range) == 0 && range.l_pid > 0) {
    holder = " (process " + std::to_string(range.l_pid) + ")";
  }
  if (lock >= 0) {
    close(lock);
  }
  if (isHeld) {
    Fail(folder, "another run uses this folder" + holder +
                     "; wait until it has ended, or give another folder with --state");
  }
  Fail(file, "cannot be locked: " + cause + "; give a folder that you can write to with --state");
}

void StateClaim::Record() const {
  const std::string file = BoardRecordIn(folder);
  const std::string record = kFirstLine + board + "\n";
  if (!isRecorded && !ReplaceFile(file, record.data(), record.size())) {
    Fail(file, "cannot be written: " + FileErrorInWords(errno) +
                   "; give a folder that you can write to with --state");
  }
}

std::optional<std::string> BoardOfState(const std::string& folder) {
  const std::string file = BoardRecordIn(folder);
  const std::optional<std::string> record = ReadWholeFile(file, kRecordLimit);
  if (!record && errno == ENOENT) {
    return std::nullopt;
  }
  if (!record) {
    Fail(file, "cannot be read: " + FileErrorInWords(errno) +
                   "; make it readable, or give another folder with --state");
  }
  const std::size_t start = std::strlen(kFirstLine);
  if (record->rfind(kFirstLine, 0) == 0 && record->size() > start && record->back() == '\n') {
    return record->substr(start, record->size() - start - 1);
  }
  const bool hasALine = record->find('\n') != std::string::npos;
  if (hasALine && record->rfind(kFirstLine, 0) != 0 && record->rfind(kAnyFormat, 0) == 0) {
    Fail(folder,
         "another version of vam-board made this folder, in a format "
         "that this one does not know; "
         "use that version, or give another folder with --state");
  }
  Fail(file, "damaged; remove it, and the next run writes it anew");
}

}  // namespace vam
