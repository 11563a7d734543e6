#include "simulator/run/run_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <ios>
#include <stdexcept>
#include <string>

namespace vam {

void FailOnRunFile(const std::string& path) {
  throw std::runtime_error(path + ": " + std::strerror(errno));
}

void WriteRunFile(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  file.close();
  if (!file) {
    FailOnRunFile(path);
  }
}

void* MapRunFile(const std::string& path, std::size_t size) {
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (file < 0) {
    FailOnRunFile(path);
  }
  void* mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  const int error = errno;
  close(file);
  errno = error;
  if (mapped == MAP_FAILED) {
    FailOnRunFile(path);
  }
  return mapped;
}

}  // namespace vam
