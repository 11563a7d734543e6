#ifndef SIMULATOR_MODEL_TRUSTED_APPLICATION_H_
#define SIMULATOR_MODEL_TRUSTED_APPLICATION_H_

// The VAM's trusted application, modelled: every command, answered from the chip's memory and the
// firmware image. Freestanding C++17 (C headers only, no exceptions, no RTTI, no allocation), since
// the same source runs on a PC and in a real secure world.

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

/// The most answer faults that apply to one command; more are not looked at.
constexpr uint32_t kFaultsPerCommand = 8;

/// The wrong answers that apply to one command.
struct ActiveFaults {
  const AnswerFault* fault[kFaultsPerCommand];
  uint32_t count;
};

/// A reply under construction, with the board's faults applied item by item.
class Reply;

/// The model. Holds no state of its own between two commands: what persists is in the chip's
/// memory.
class TrustedApplication {
 public:
  TrustedApplication(ChipMemoryStore& memoryStore, ImageSource& imageSource, Digest& sha256,
                     AnswerFaults& answerFaults)
      : store(memoryStore), image(imageSource), digest(sha256), faults(answerFaults) {}

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
  uint32_t GetInformationWords(Reply& reply);
  uint32_t GetHackInformation(Reply& reply);
  uint32_t ProvisionAk(ValueCursor& request);
  uint32_t CheckAk(ValueCursor& request);
  uint32_t ProvisionAkFromRpmb();
  uint32_t GetPublicKeyStatus();
  uint32_t RemoveAkKeys();
  uint32_t SelfTest();
  uint32_t GetInfo();
  uint32_t ForceRecovery();
  uint32_t ForceRecoverySystemPart();

  ChipMemory& Memory() { return chip.memory; }
  bool LoadChip();
  bool SaveChip();
  /// Writes the image to the chip, in four steps.
  bool WriteFirmware();

  ChipMemoryStore& store;
  ImageSource& image;
  Digest& digest;
  AnswerFaults& faults;
  StoredChipMemory chip;
  FirmwareImage firmware;
};

}  // namespace vam

#endif  // SIMULATOR_MODEL_TRUSTED_APPLICATION_H_
