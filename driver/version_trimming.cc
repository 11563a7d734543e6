#include "driver/version_trimming.h"

#include <string>

namespace vam {

void TrimVersions(std::string& updated, std::string& chip, std::string& fileSystem) {
  if (updated.empty() || chip.empty()) {
    return;
  }
  updated.pop_back();
  chip.pop_back();
  if (!fileSystem.empty()) {
    fileSystem.pop_back();
  }
}

}  // namespace vam
