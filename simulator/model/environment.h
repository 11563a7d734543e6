#ifndef SIMULATOR_MODEL_ENVIRONMENT_H_
#define SIMULATOR_MODEL_ENVIRONMENT_H_

// What the model of the trusted application asks of the world that it runs in. On a PC that is
// files and libcrypto; in a real secure world, persistent objects and the TEE's own digest.
// Freestanding.

#include <stdint.h>

#include "simulator/model/answer_fault.h"

namespace vam {

/// Bytes of a SHA-256 digest (FIPS 180-4).
constexpr uint32_t kDigestSize = 32;

/// Where the chip's memory is kept.
class ChipMemoryStore {
 public:
  /// Reads the whole memory, exactly `size` bytes, into `bytes`. Returns false when there is none
  /// or it has another size.
  virtual bool Load(void* bytes, uint32_t size) = 0;
  /// Replaces the whole memory, or leaves it as it was and returns false. Does not return when the
  /// board loses power after this write.
  virtual bool Save(const void* bytes, uint32_t size) = 0;

 protected:
  ~ChipMemoryStore() = default;
};

/// The firmware image in the device's file system.
class ImageSource {
 public:
  /// Returns false when there is no image.
  virtual bool Size(uint32_t* size) = 0;
  /// Reads `count` bytes from `offset`. Returns false when the image does not have them all.
  virtual bool Read(uint32_t offset, void* bytes, uint32_t count) = 0;

 protected:
  ~ImageSource() = default;
};

/// SHA-256: Begin, any number of Update, End. One digest at a time.
class Digest {
 public:
  virtual void Begin() = 0;
  virtual void Update(const void* bytes, uint32_t count) = 0;
  virtual void End(uint8_t digest[kDigestSize]) = 0;

 protected:
  ~Digest() = default;
};

/// The wrong answers that a board declares.
class AnswerFaults {
 public:
  virtual uint32_t Count() = 0;
  /// Counts an invocation of `command` for fault `index` (from 0). Returns the fault when it is to
  /// change this invocation, else null. `hasMode` tells whether the command carries an update mode.
  virtual const AnswerFault* Select(uint32_t index, uint32_t command, bool hasMode,
                                    int32_t mode) = 0;
  /// Takes note that fault `index`, which was selected, has changed the answer. One whose item is
  /// not part of the reply never does.
  virtual void Applied(uint32_t index) = 0;

 protected:
  ~AnswerFaults() = default;
};

}  // namespace vam

#endif  // SIMULATOR_MODEL_ENVIRONMENT_H_
