#include "simulator/run/prepared_program.h"

#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "simulator/run/prepared_start.h"
#include "simulator/run/program_environment.h"

namespace vam {

namespace {

/// Returns whether the program at `path` is one that loads shared libraries as this one does: where
/// it did not get the preloaded one, it would not wait, but run outside of any board.
bool GetsPreloadedLibraries(const std::string& path) {
  const auto header = [](const std::string& file, ElfW(Ehdr) & elf) {
    std::ifstream stream(file, std::ios::binary);
    return static_cast<bool>(stream.read(reinterpret_cast<char*>(&elf), sizeof elf));
  };
  ElfW(Ehdr) own;
  ElfW(Ehdr) programs;
  struct stat status;
  if (!header("/proc/self/exe", own) || !header(path, programs) ||
      std::memcmp(own.e_ident, programs.e_ident, EI_VERSION) != 0 ||
      own.e_machine != programs.e_machine || stat(path.c_str(), &status) != 0 ||
      (status.st_mode & (S_ISUID | S_ISGID)) != 0) {
    return false;
  }
  std::vector<ElfW(Phdr)> segments(programs.e_phnum);
  std::ifstream stream(path, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(programs.e_phoff));
  stream.read(reinterpret_cast<char*>(segments.data()),
              static_cast<std::streamsize>(segments.size() * sizeof segments[0]));
  return stream && std::any_of(segments.begin(), segments.end(), [](const ElfW(Phdr) & segment) {
           return segment.p_type == PT_INTERP;
         });
}

/// In the process that becomes the program.
[[noreturn]] void BecomePrepared(const std::vector<std::string>& command,
                                 const std::string& libraries, int line) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  fcntl(line, F_SETFD, 0);
  setenv(kPreparedLineVariable, std::to_string(line).c_str(), 1);
  // What the linker does when a function is first called is done once, too.
  setenv(kBindNowVariable, kBoundHere, 0);
  SetUpProgramEnvironment(libraries, false);
  ExecuteProgram(command);
  _exit(EXIT_FAILURE);
}

/// Keeps the loaded program as its child until it has ended.
void Keep(const std::vector<std::string>& command, const std::string& libraries, int line) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::signal(SIGCHLD, SIG_DFL);
  const pid_t program = fork();
  if (program == 0) {
    BecomePrepared(command, libraries, line);
  }
  close(line);
  waitpid(program, nullptr, 0);
}

}  // namespace

PreparedProgram::PreparedProgram(const std::vector<std::string>& command,
                                 const std::string& libraries) {
  if (!GetsPreloadedLibraries(command[0])) {
    return;
  }
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  keeper.emplace([&](int line) { Keep(command, libraries, line); });
  char ready = 0;
  if (recv(keeper->Line(), &ready, sizeof ready, 0) != sizeof ready) {
    keeper.reset();
  }
}

pid_t PreparedProgram::Start(const std::string& runFolder, int standardOutput) {
  StartRequest request = {};
  request.launcher = getpid();
  request.hasOutput = standardOutput >= 0;
  std::snprintf(request.runFolder, sizeof request.runFolder, "%s", runFolder.c_str());
  const int descriptors[] = {STDERR_FILENO, standardOutput};
  const std::size_t size = (request.hasOutput ? 2U : 1U) * sizeof(int);
  iovec place = {&request, sizeof request};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof descriptors)] = {};
  msghdr message = {};
  message.msg_iov = &place;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = CMSG_SPACE(size);
  cmsghdr* head = CMSG_FIRSTHDR(&message);
  head->cmsg_level = SOL_SOCKET;
  head->cmsg_type = SCM_RIGHTS;
  head->cmsg_len = CMSG_LEN(size);
  std::memcpy(CMSG_DATA(head), descriptors, size);
  pid_t process = -1;
  if (getcwd(request.workingFolder, sizeof request.workingFolder) == nullptr ||
      sendmsg(keeper->Line(), &message, MSG_NOSIGNAL) == -1 ||
      recv(keeper->Line(), &process, sizeof process, 0) != sizeof process || process == -1) {
    keeper.reset();
    return -1;
  }
  return process;
}

}  // namespace vam
