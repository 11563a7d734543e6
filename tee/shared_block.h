#ifndef TEE_SHARED_BLOCK_H_
#define TEE_SHARED_BLOCK_H_

// The block of shared memory that every invocation carries, as both sides of the secure world's
// border know it. Includes C headers only.

#include <stdint.h>

namespace vam {

/// Size in bytes of the block that carries a request to the trusted application and its reply
/// back. The marshaller's own encoding takes its share of it.
constexpr uint32_t kSharedBlockSize = 8192;

}  // namespace vam

#endif  // TEE_SHARED_BLOCK_H_
