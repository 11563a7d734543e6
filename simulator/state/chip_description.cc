#include "simulator/state/chip_description.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "simulator/model/chip_memory.h"
#include "simulator/state/chip_memory_file.h"
#include "simulator/state/sha256_digest.h"

namespace vam {

namespace {

std::string Line(const std::string& label, const std::string& value) {
  return "  " + label + ": " + value + "\n";
}

std::string PartInWords(const FirmwarePart& part) {
  const std::string version(reinterpret_cast<const char*>(part.version.text), part.version.length);
  return version.empty() ? "none" : version + " (" + std::to_string(part.size) + " bytes)";
}

std::string SizeInWords(std::uint32_t size) {
  return size == 0 ? "none" : std::to_string(size) + " bytes";
}

std::string StateInWords(std::uint32_t state) {
  switch (state) {
    case kChipInterrupted:
      return "an update was interrupted; it needs a recovery and another update";
    case kChipRecovered:
      return "recovered; it needs an update";
    default:
      return "whole";
  }
}

}  // namespace

std::string DescribeChip(const std::string& path) {
  ChipMemoryFile store(path);
  Sha256Digest digest;
  const auto stored = std::make_unique<StoredChipMemory>();
  if (!LoadChipMemory(store, digest, *stored)) {
    if (!store.Obstacle().empty()) {
      throw std::runtime_error(store.Obstacle());
    }
    return "Chip: its memory is damaged; it needs a recovery and an update\n";
  }
  const ChipMemory& memory = stored->memory;
  std::string text = "Chip: " + StateInWords(memory.state) + "\n";
  text += Line("system part", PartInWords(memory.system));
  text += Line("app part", PartInWords(memory.app));
  text += Line("updates", memory.implementsUpdates != 0 ? "implemented" : "not implemented");
  text += Line("room for a part", SizeInWords(memory.partCapacity));
  text += Line("self test", memory.selfTestPasses != 0 ? "passes" : "fails");
  text += Line("AK record", SizeInWords(memory.akRecordSize));
  text += Line("AK record in RPMB", SizeInWords(memory.rpmbRecordSize));
  text += Line("hack information", SizeInWords(memory.hackInformationSize));
  text += Line("information words", std::to_string(memory.informationCount));
  return text;
}

}  // namespace vam
