#include "recorder/memory_of_program.h"

#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>

namespace vam {

bool CopyFromProgram(void* to, const void* from, std::size_t size) {
  const int error = errno;
  const iovec local = {to, size};
  const iovec remote = {const_cast<void*>(from), size};
  // The bare call: a sanitizer would report the addresses that the kernel is to judge.
  const long copied = syscall(SYS_process_vm_readv, getpid(), &local, 1L, &remote, 1L, 0L);
  const bool isForbidden = copied < 0 && errno != EFAULT;
  errno = error;
  if (isForbidden) {
    // Some kernels forbid the call. The program's address then has to do.
    if (from == nullptr) {
      return false;
    }
    std::memcpy(to, from, size);
    return true;
  }
  return copied == static_cast<long>(size);
}

bool ReadProgram(const void* from, std::size_t size, std::string& bytes) {
  // A wrong size can be larger than any memory.
  constexpr std::size_t kPiece = 65536;
  bytes.clear();
  while (bytes.size() < size) {
    const std::size_t done = bytes.size();
    const std::size_t piece = std::min(kPiece, size - done);
    bytes.resize(done + piece);
    if (!CopyFromProgram(&bytes[done], static_cast<const char*>(from) + done, piece)) {
      return false;
    }
  }
  return true;
}

}  // namespace vam
