#include "simulator/state/chip_memory_file.h"

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace vam {

bool ChipMemoryFile::Load(void* bytes, std::uint32_t size) {
  const std::optional<std::string> stored = ReadWholeFile(path);
  if (!stored || stored->size() != size) {
    return false;
  }
  std::memcpy(bytes, stored->data(), size);
  return true;
}

bool ChipMemoryFile::Save(const void* bytes, std::uint32_t size) {
  return ReplaceFile(path, bytes, size, keeping);
}

}  // namespace vam
