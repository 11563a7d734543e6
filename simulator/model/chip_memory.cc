#include "simulator/model/chip_memory.h"

#include <string.h>

namespace vam {

namespace {

void DigestOf(Digest& digest, const StoredChipMemory& stored, uint8_t value[kDigestSize]) {
  digest.Begin();
  digest.Update(&stored, sizeof stored.magic + sizeof stored.memory);
  digest.End(value);
}

bool Fits(const VersionText& version) { return version.length <= kVersionCapacity; }

bool Plausible(const ChipMemory& memory) {
  return memory.state <= kChipRecovered && Fits(memory.system.version) &&
         Fits(memory.app.version) && memory.informationCount <= kInformationCapacity &&
         memory.hackInformationSize <= kHackInformationCapacity &&
         memory.akRecordSize <= kAkRecordCapacity && memory.rpmbRecordSize <= kAkRecordCapacity;
}

}  // namespace

bool SetVersion(VersionText& version, const void* text, uint32_t length) {
  if (length > kVersionCapacity) {
    return false;
  }
  memset(&version, 0, sizeof version);
  version.length = length;
  if (length != 0) {
    memcpy(version.text, text, length);
  }
  return true;
}

bool LoadChipMemory(ChipMemoryStore& store, Digest& digest, StoredChipMemory& stored) {
  if (!store.Load(&stored, sizeof stored) ||
      memcmp(stored.magic, kChipMemoryMagic, sizeof kChipMemoryMagic) != 0) {
    return false;
  }
  uint8_t value[kDigestSize];
  DigestOf(digest, stored, value);
  return memcmp(stored.digest, value, sizeof value) == 0 && Plausible(stored.memory);
}

bool SaveChipMemory(ChipMemoryStore& store, Digest& digest, StoredChipMemory& stored) {
  memcpy(stored.magic, kChipMemoryMagic, sizeof kChipMemoryMagic);
  DigestOf(digest, stored, stored.digest);
  return store.Save(&stored, sizeof stored);
}

}  // namespace vam
