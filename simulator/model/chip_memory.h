#ifndef SIMULATOR_MODEL_CHIP_MEMORY_H_
#define SIMULATOR_MODEL_CHIP_MEMORY_H_

// What the simulated chip remembers. Freestanding: the trusted application of a real secure world
// takes the same source.

#include <stdint.h>

#include "simulator/model/environment.h"

namespace vam {

constexpr uint32_t kVersionCapacity = 252;
constexpr uint32_t kInformationCapacity = 64;
constexpr uint32_t kHackInformationCapacity = 1024;
constexpr uint32_t kAkRecordCapacity = 2048;

/// A version text without a terminating zero.
struct VersionText {
  uint32_t length;
  uint8_t text[kVersionCapacity];
};

enum ChipState : uint32_t {
  /// Runs the firmware of both parts.
  kChipWhole = 0,
  /// An update began and did not end.
  kChipInterrupted = 1,
  /// A recovery erased what an interrupted update left.
  kChipRecovered = 2,
};

/// One of the two parts of the chip's firmware. The chip keeps the part's size and digest instead
/// of its bytes.
struct FirmwarePart {
  VersionText version;
  uint32_t size;
  uint8_t digest[kDigestSize];
};

/// The chip's memory, laid out as it is stored: little-endian and without gaps.
struct ChipMemory {
  uint32_t state;
  /// 0: the firmware branch does not implement updates.
  uint32_t implementsUpdates;
  /// 0: the self test fails.
  uint32_t selfTestPasses;
  /// The largest part, in bytes, that the chip has room for.
  uint32_t partCapacity;
  FirmwarePart system;
  FirmwarePart app;
  /// Digest of the image that both parts come from; zeros when they come from none.
  uint8_t imageDigest[kDigestSize];
  uint32_t informationCount;
  uint32_t information[kInformationCapacity];
  uint32_t hackInformationSize;
  uint8_t hackInformation[kHackInformationCapacity];
  uint32_t akRecordSize;
  uint8_t akRecord[kAkRecordCapacity];
  /// The AK record kept in the replay-protected memory block.
  uint32_t rpmbRecordSize;
  uint8_t rpmbRecord[kAkRecordCapacity];
};

/// Starts the stored form. Its last byte tells the form's version.
constexpr uint8_t kChipMemoryMagic[8] = {'V', 'A', 'M', 'C', 'H', 'I', 'P', '1'};

/// The stored form: a magic, the memory, and the SHA-256 of both.
struct StoredChipMemory {
  uint8_t magic[8];
  ChipMemory memory;
  uint8_t digest[kDigestSize];
};
static_assert(sizeof(ChipMemory) ==
                  4 * 4 + 2 * (256 + 4 + 32) + 32 + 4 + 4 * 64 + 4 + 1024 + 2 * (4 + 2048),
              "the stored form has no gaps");

/// Sets `version` to the `length` bytes at `text`. Returns false, with nothing changed, when they
/// are too many.
[[nodiscard]] bool SetVersion(VersionText& version, const void* text, uint32_t length);

/// Loads the chip's memory into `stored.memory`. Returns false when the store has none, or one that
/// is damaged: another size, magic or digest, or a number beyond its bounds.
[[nodiscard]] bool LoadChipMemory(ChipMemoryStore& store, Digest& digest, StoredChipMemory& stored);

/// Fills in the magic and the digest, and stores all of `stored`. Returns false when the store
/// refuses; it then keeps the memory that it had.
[[nodiscard]] bool SaveChipMemory(ChipMemoryStore& store, Digest& digest, StoredChipMemory& stored);

}  // namespace vam

#endif  // SIMULATOR_MODEL_CHIP_MEMORY_H_
