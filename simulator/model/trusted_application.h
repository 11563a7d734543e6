#ifndef SIMULATOR_MODEL_TRUSTED_APPLICATION_H_
#define SIMULATOR_MODEL_TRUSTED_APPLICATION_H_

// A model of the VAM's trusted application. It answers every command from the chip's memory and the
// firmware image. The same source runs on a PC and in a real secure world, so it is freestanding
// C++17: C headers only, no exceptions, no RTTI, no allocation.

#include <stddef.h>
#include <stdint.h>

#include "report/result_codes.h"
#include "simulator/model/chip_memory.h"
#include "simulator/model/environment.h"
#include "simulator/model/firmware_image.h"
#include "simulator/model/value_block.h"

namespace vam {

/// Results of the GlobalPlatform TEE APIs that the model answers with.
enum TeeResult : uint32_t {
  kTeeSuccess = 0x00000000,
  kTeeErrorGeneric = 0xFFFF0000,
  kTeeErrorBadFormat = 0xFFFF0005,
  kTeeErrorBadParameters = 0xFFFF0006,
  kTeeErrorBadState = 0xFFFF0007,
  kTeeErrorItemNotFound = 0xFFFF0008,
  kTeeErrorNotSupported = 0xFFFF000A,
  kTeeErrorSecurity = 0xFFFF000F,
};

/// The most answer faults that apply to one command; further ones change nothing.
constexpr uint32_t kFaultsPerCommand = 8;

/// The wrong answers that apply to one command.
struct ActiveFaults {
  const AnswerFault* fault[kFaultsPerCommand];
  /// The place of each among all that the board declares.
  uint32_t index[kFaultsPerCommand];
  uint32_t count;
};

/// A reply under construction, with the board's faults applied item by item.
class Reply;

/// The chip, whose memory a command loads, changes and saves.
class Chip {
 public:
  Chip(ChipMemoryStore& memoryStore, Digest& sha256) : store(memoryStore), digest(sha256) {}

  /// Returns false when the chip's memory is damaged; Memory() then holds nothing to trust.
  [[nodiscard]] bool Load() { return LoadChipMemory(store, digest, stored); }
  /// Returns false when the store refuses; it then keeps the memory that it had.
  [[nodiscard]] bool Save() { return SaveChipMemory(store, digest, stored); }
  ChipMemory& Memory() { return stored.memory; }

 private:
  ChipMemoryStore& store;
  Digest& digest;
  StoredChipMemory stored{};
};

/// The model. Between two commands it keeps no state but the chip's memory.
class TrustedApplication {
 public:
  TrustedApplication(ChipMemoryStore& memoryStore, ImageSource& imageSource, Digest& sha256,
                     AnswerFaults& answerFaults)
      : image(imageSource), digest(sha256), faults(answerFaults), chip(memoryStore, sha256) {}

  /// Carries out `command` on the block of `size` bytes, which holds the request and receives the
  /// reply. Returns a result of the TEE's. A command that fails leaves the block alone.
  uint32_t Invoke(uint32_t command, uint8_t* block, size_t size);

 private:
  uint32_t CarryOut(uint32_t command, ValueCursor& request, Reply& reply);
  uint32_t RunUpdate(ValueCursor& request, Reply& reply);
  uint32_t RunOlderUpdate(ValueCursor& request);
  /// The versions that an update mode reports; null when it has none to report.
  struct Versions {
    const VersionText* system;
    const VersionText* app;
  };
  VamResult CarryOutMode(int32_t mode, Versions& versions);
  VamResult ReportImage(Versions& versions);
  VamResult UpdateChip(Versions& versions);
  VamResult ReportChip(Versions& versions);
  /// Writes the image to the chip, in four steps.
  bool WriteFirmware();

  ImageSource& image;
  Digest& digest;
  AnswerFaults& faults;
  Chip chip;
  FirmwareImage firmware{};
};

}  // namespace vam

#endif  // SIMULATOR_MODEL_TRUSTED_APPLICATION_H_
