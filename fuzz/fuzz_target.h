#ifndef FUZZ_FUZZ_TARGET_H_
#define FUZZ_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>

// What every fuzz target consists of. Its input and what it hands to the code under test are
// exactly as long as they say, so that the address sanitizer sees every byte read or written
// beyond.

/// Takes one input of `size` bytes at `data`; libFuzzer calls it by this name. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace vam {

/// Ends the program with a finding unless `holds`.
inline void Require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

}  // namespace vam

#endif  // FUZZ_FUZZ_TARGET_H_
