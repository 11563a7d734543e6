#include "tests/support/process.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vam {

namespace {

/// A file without a name.
class MemoryFile {
 public:
  MemoryFile() : descriptor(memfd_create("output", MFD_CLOEXEC)) {
    if (descriptor < 0) {
      throw std::runtime_error(std::string("no memory file: ") + std::strerror(errno));
    }
  }
  ~MemoryFile() { close(descriptor); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string Contents() const {
    std::string contents;
    char piece[4096];
    ssize_t count = 0;
    lseek(descriptor, 0, SEEK_SET);
    while ((count = read(descriptor, piece, sizeof piece)) > 0) {
      contents.append(piece, static_cast<std::size_t>(count));
    }
    return contents;
  }

  const int descriptor;
};

void Become(std::optional<int> descriptor, int standard) {
  if (descriptor) {
    dup2(*descriptor, standard);
  } else {
    close(standard);
  }
}

}  // namespace

int RunProcess(const Process& process) {
  std::vector<char*> arguments;
  for (const std::string& argument : process.command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error(std::string("no process: ") + std::strerror(errno));
  }
  if (child == 0) {
    for (const auto& [name, value] : process.environment) {
      setenv(name.c_str(), value.c_str(), 1);
    }
    dup2(process.standardInput.value_or(open("/dev/null", O_RDONLY | O_CLOEXEC)), STDIN_FILENO);
    Become(process.standardOutput, STDOUT_FILENO);
    Become(process.standardError, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

Output Capture(const std::vector<std::string>& command,
               const std::map<std::string, std::string>& environment) {
  const MemoryFile output;
  const MemoryFile error;
  const int status = RunProcess({command, environment, output.descriptor, error.descriptor});
  return {status, output.Contents(), error.Contents()};
}

std::optional<std::string> ReadFile(const std::string& path) {
  if (!std::filesystem::is_regular_file(path)) {
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

void GiveUpPrivileges() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  if (syscall(SYS_capset, &header, none) != 0) {
    throw std::runtime_error(std::string("privileges stay: ") + std::strerror(errno));
  }
}

}  // namespace vam
