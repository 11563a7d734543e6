#include "simulator/state/chip_memory_file.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "simulator/model/chip_memory.h"

namespace vam {

namespace {

/// Returns whether `stored` is a chip's memory in a form that only another version knows.
bool IsOfAnotherVersion(const std::string& stored) {
  constexpr std::size_t kVersion = sizeof kChipMemoryMagic - 1;
  return stored.size() > kVersion && std::memcmp(stored.data(), kChipMemoryMagic, kVersion) == 0 &&
         static_cast<std::uint8_t>(stored[kVersion]) != kChipMemoryMagic[kVersion];
}

}  // namespace

bool ChipMemoryFile::Load(void* bytes, std::uint32_t size) {
  obstacle.clear();
  const std::optional<std::string> stored = ReadWholeFile(path);
  if (!stored && errno != EFBIG) {
    return FailFor(": the chip's memory cannot be read: " + FileErrorInWords(errno) +
                   "; make it readable, or give another folder with --state");
  }
  if (stored && IsOfAnotherVersion(*stored)) {
    return FailFor(
        ": the chip's memory is of another format; use the vam-board that made it, or give another "
        "folder with --state");
  }
  if (!stored || stored->size() != size) {
    return false;
  }
  std::memcpy(bytes, stored->data(), size);
  return true;
}

bool ChipMemoryFile::Save(const void* bytes, std::uint32_t size) {
  obstacle.clear();
  return ReplaceFile(path, bytes, size, keeping) ||
         FailFor(": the chip's memory cannot be written: " + FileErrorInWords(errno) +
                 "; give a folder with --state that you can write to and that has room");
}

bool ChipMemoryFile::FailFor(const std::string& reason) {
  obstacle = path + reason;
  return false;
}

}  // namespace vam
