#ifndef SIMULATOR_STATE_CHIP_MEMORY_FILE_H_
#define SIMULATOR_STATE_CHIP_MEMORY_FILE_H_

#include <cstdint>
#include <string>
#include <utility>

#include "simulator/files/whole_file.h"
#include "simulator/model/environment.h"

namespace vam {

/// The chip's memory in a file. Each write replaces the whole file or leaves it as it was, also
/// through a power failure unless `kept` says otherwise.
class ChipMemoryFile final : public ChipMemoryStore {
 public:
  explicit ChipMemoryFile(std::string file, Keeping kept = Keeping::kThroughPowerFailure)
      : path(std::move(file)), keeping(kept) {}

  bool Load(void* bytes, std::uint32_t size) override;
  /// When it returns false, errno tells why.
  bool Save(const void* bytes, std::uint32_t size) override;

 private:
  std::string path;
  Keeping keeping;
};

}  // namespace vam

#endif  // SIMULATOR_STATE_CHIP_MEMORY_FILE_H_
