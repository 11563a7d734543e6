#ifndef VIRTUAL_DEVICE_TRUSTED_APPLICATION_TEST_COMMANDS_H_
#define VIRTUAL_DEVICE_TRUSTED_APPLICATION_TEST_COMMANDS_H_

// Commands that set the trusted application up for a test. Only its test build takes them; their
// numbers are far from those of the system's own commands. Includes C headers only: both worlds use
// it.

#include <stdint.h>

namespace vam {

constexpr uint32_t kFirstTestCommand = 0x80000000;

/// Each command names its parameters by number, from 0; the others are of type none. Parameters of
/// another type are answered with TEE_ERROR_BAD_PARAMETERS.
enum TestCommand : uint32_t {
  /// Replaces a stored object by an empty one. 0: value input, a = StoredObject.
  kBeginObject = kFirstTestCommand,
  /// Appends bytes to a stored object. 0: value input, a = StoredObject. 1: memory input.
  kAppendToObject,
  /// Reads a stored object. 0: value input, a = StoredObject, b = offset. 1: memory output; its
  /// size becomes the number of bytes read, 0 at the object's end.
  kReadObject,
  /// Removes a stored object, which may be missing. 0: value input, a = StoredObject.
  kRemoveObject,
  /// Forgets all faults, how often they were applied, and a stop.
  kClearFaults,
  /// Adds a fault of the answers. 1: memory input, an AnswerFault. Returns TEE_ERROR_OVERFLOW when
  /// there are kFaultCapacity of them.
  kAddFault,
  /// Tells how often each fault was applied. 1: memory output, a 32-bit number a fault in the order
  /// in which they were added. Returns TEE_ERROR_SHORT_BUFFER, and the size needed, when they do
  /// not fit.
  kGetApplied,
  /// Stops at a write of the chip's memory. 0: value input, a = after how many writes, counted from
  /// now, b = StopKind.
  kStopAfterWrites,
};

/// What the trusted application keeps in the secure world's storage.
enum StoredObject : uint32_t {
  kChipMemory = 1,
  kFirmwareImage = 2,
};

enum StopKind : uint32_t {
  /// Writes kPowerCutTrace to the secure world's trace and then waits for the power to be cut.
  kLosePower = 1,
  /// The trusted application panics.
  kPanic = 2,
};

/// The most faults of the answers that the test build holds.
constexpr uint32_t kFaultCapacity = 16;

constexpr char kPowerCutTrace[] = "the power is cut here";

}  // namespace vam

#endif  // VIRTUAL_DEVICE_TRUSTED_APPLICATION_TEST_COMMANDS_H_
