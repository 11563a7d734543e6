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
  bool Save(const void* bytes, std::uint32_t size) override;

  /// After Load() or Save(): what kept the file from being used, in a line for the user. It is
  /// empty after a success, and where the file is a chip's memory that is damaged: that is the
  /// chip's own affair, and only that is mended by a recovery.
  const std::string& Obstacle() const { return obstacle; }

 private:
  bool FailFor(const std::string& reason);

  std::string path;
  Keeping keeping;
  std::string obstacle;
};

}  // namespace vam

#endif  // SIMULATOR_STATE_CHIP_MEMORY_FILE_H_
