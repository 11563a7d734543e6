#include "recorder/executable.h"

#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace vam {

namespace {

constexpr char kOwnFile[] = "/proc/self/exe";

/// Returns the first `size` bytes from `place` of a file, or as many as it has.
std::string BytesAt(const std::string& path, std::uint64_t place, std::size_t size) {
  std::string bytes(size, '\0');
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  // Both refuse what was not opened.
  const ssize_t length = pread(file, bytes.data(), size, static_cast<off_t>(place));
  close(file);
  if (length == -1) {
    return "";
  }
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

/// Returns whether the kernel starts the file with the rights of another user or group, where the
/// loader takes no library from the environment.
bool ChangesRights(const std::string& file) {
  struct stat status;
  if (stat(file.c_str(), &status) != 0) {
    return false;
  }
  const bool changesUser = (status.st_mode & S_ISUID) != 0 && status.st_uid != getuid();
  const bool changesGroup = (status.st_mode & S_ISGID) != 0 && (status.st_mode & S_IXGRP) != 0 &&
                            status.st_gid != getgid();
  return changesUser || changesGroup ||
         (getuid() != 0 && getxattr(file.c_str(), "security.capability", nullptr, 0) > 0);
}

/// Returns whether the program in `file`, of vam-record's own kind, asks for a loader.
bool HasLoader(const std::string& file, const std::string& start) {
  ElfW(Ehdr) header;
  std::memcpy(&header, start.data(), sizeof header);
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    ElfW(Phdr) segment;
    const std::string bytes =
        BytesAt(file, header.e_phoff + std::uint64_t{i} * header.e_phentsize, sizeof segment);
    if (bytes.size() != sizeof segment) {
      return false;
    }
    std::memcpy(&segment, bytes.data(), sizeof segment);
    if (segment.p_type == PT_INTERP) {
      return true;
    }
  }
  return false;
}

bool HasHeader(const std::string& start) { return start.size() >= sizeof(ElfW(Ehdr)); }

/// Returns whether two programs are for the same kind of machine: of one width, byte order and
/// processor.
bool AreOfOneKind(const std::string& one, const std::string& other) {
  const ElfW(Ehdr)* const none = nullptr;
  constexpr std::size_t kMachine = offsetof(ElfW(Ehdr), e_machine);
  return HasHeader(one) && HasHeader(other) &&
         std::memcmp(&one[EI_CLASS], &other[EI_CLASS], 2) == 0 &&
         std::memcmp(&one[kMachine], &other[kMachine], sizeof none->e_machine) == 0;
}

bool IsScript(const std::string& start) { return std::strncmp(start.c_str(), "#!", 2) == 0; }

/// Returns the interpreter that a script's first line names.
std::string InterpreterIn(const std::string& start) {
  const char* name = start.c_str() + 2;
  name += std::strspn(name, " \t");
  return {name, std::strcspn(name, " \t\n")};
}

}  // namespace

std::string FindExecutable(const char* name) {
  const auto isExecutable = [](const std::string& file) {
    struct stat status;
    if (stat(file.c_str(), &status) != 0) {
      return false;
    }
    if (!S_ISREG(status.st_mode)) {
      errno = EACCES;
      return false;
    }
    return faccessat(AT_FDCWD, file.c_str(), X_OK, AT_EACCESS) == 0;
  };
  if (std::strchr(name, '/') != nullptr) {
    return isExecutable(name) ? name : "";
  }
  const char* path = std::getenv("PATH");
  int error = ENOENT;
  for (const char* folder = path == nullptr ? "/bin:/usr/bin" : path; *name != '\0';) {
    const std::size_t length = std::strcspn(folder, ":");
    // An empty folder is the working folder.
    std::string file = length == 0 ? name : std::string(folder, length).append("/").append(name);
    if (isExecutable(file)) {
      return file;
    }
    // A file that cannot be executed tells more than that there is no other. A folder that the
    // caller may not search tells nothing.
    if (errno == EACCES && faccessat(AT_FDCWD, file.c_str(), F_OK, AT_EACCESS) == 0) {
      error = EACCES;
    }
    if (folder[length] == '\0') {
      break;
    }
    folder += length + 1;
  }
  errno = error;
  return "";
}

const char* WhyNotRecorded(const std::string& file) {
  constexpr std::size_t kStart = 256;
  // As many as the kernel follows.
  constexpr int kMostInterpreters = 5;
  std::string program = file;
  std::string start = BytesAt(program, 0, kStart);
  for (int i = 0; i < kMostInterpreters && IsScript(start); ++i) {
    program = InterpreterIn(start);
    start = BytesAt(program, 0, kStart);
  }
  if (ChangesRights(program)) {
    return "runs with the rights of another user or group";
  }
  if (!HasHeader(start) || std::memcmp(start.data(), ELFMAG, SELFMAG) != 0) {
    // The kernel judges what it is.
    return nullptr;
  }
  if (!AreOfOneKind(start, BytesAt(kOwnFile, 0, kStart))) {
    return "is for another processor than vam-record";
  }
  return HasLoader(program, start) ? nullptr : "is static";
}

}  // namespace vam
