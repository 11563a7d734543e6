#ifndef RECORDER_NUMBERS_OF_TEE_H_
#define RECORDER_NUMBERS_OF_TEE_H_

#include "recorder/live_numbers.h"

namespace vam {

/// The journal's numbers of the shared memories, by the addresses of their records.
[[nodiscard]] LiveNumbers& SharedMemories();

/// Returns whether the program has a marshaller: what travels is then told by its calls.
[[nodiscard]] bool HasMarshaller();

/// Returns the key of a record.
[[nodiscard]] inline LiveNumbers::Key KeyOf(const void* record) {
  return reinterpret_cast<LiveNumbers::Key>(record);
}

}  // namespace vam

#endif  // RECORDER_NUMBERS_OF_TEE_H_
