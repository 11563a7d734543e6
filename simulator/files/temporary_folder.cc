#include "simulator/files/temporary_folder.h"

#include <stdlib.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace vam {

TemporaryFolder::TemporaryFolder(const std::string& prefix) {
  const char* parent = std::getenv("TMPDIR");
  const std::filesystem::path folder = parent == nullptr || *parent == '\0' ? "/tmp" : parent;
  path = (std::filesystem::absolute(folder) / (prefix + "-XXXXXX")).string();
  if (mkdtemp(path.data()) == nullptr) {
    throw std::runtime_error(path + ": cannot be made: " + std::strerror(errno) +
                             "; point TMPDIR to a folder that you can write to");
  }
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

}  // namespace vam
