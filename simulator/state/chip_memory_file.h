#ifndef SIMULATOR_STATE_CHIP_MEMORY_FILE_H_
#define SIMULATOR_STATE_CHIP_MEMORY_FILE_H_

#include <cstdint>
#include <string>
#include <utility>

#include "simulator/model/environment.h"

namespace vam {

/// The chip's memory in a file. Each write replaces the whole file or leaves it as it was.
class ChipMemoryFile final : public ChipMemoryStore {
 public:
  explicit ChipMemoryFile(std::string file) : path(std::move(file)) {}

  bool Load(void* bytes, std::uint32_t size) override;
  /// When it returns false, errno tells why.
  bool Save(const void* bytes, std::uint32_t size) override;

 private:
  std::string path;
};

}  // namespace vam

#endif  // SIMULATOR_STATE_CHIP_MEMORY_FILE_H_
