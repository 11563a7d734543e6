#ifndef SIMULATOR_RUN_MEMORY_REQUESTS_H_
#define SIMULATOR_RUN_MEMORY_REQUESTS_H_

// What the launcher and the preloaded library for scarce memory share of a run.

#include <atomic>
#include <cstdint>

namespace vam {

/// The file in a run's folder that holds it. A run whose program gets all memory does not have it.
constexpr char kMemoryRequestsFile[] = "/memory";

/// The numbers of the requests that fail follow it, `failing` of them.
struct MemoryRequests {
  /// How many requests the program's processes have made.
  std::atomic<std::uint32_t> made;
  std::uint32_t failing;
};

}  // namespace vam

#endif  // SIMULATOR_RUN_MEMORY_REQUESTS_H_
