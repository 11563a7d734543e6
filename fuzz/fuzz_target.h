#ifndef FUZZ_FUZZ_TARGET_H_
#define FUZZ_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>

// What every fuzz target consists of. A target hands the code under test buffers of exactly the
// size that it says, so that the address sanitizer sees every access outside.

/// Runs the target on the `size` bytes at `data` and returns 0. libFuzzer calls it by this name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace vam {

/// How often Require() was called: a target that requires nothing finds nothing.
inline std::uint64_t requirements = 0;

/// Ends the program unless `holds`; libFuzzer reports that as a finding.
inline void Require(bool holds) {
  ++requirements;
  if (!holds) {
    std::abort();
  }
}

}  // namespace vam

#endif  // FUZZ_FUZZ_TARGET_H_
