#ifndef VAMCTL_TEE_CODE_NAMES_H_
#define VAMCTL_TEE_CODE_NAMES_H_

#include <cstdint>

namespace vam {

/// Returns the name that the GlobalPlatform TEE Client API gives to a result code, or null
/// where it gives none.
[[nodiscard]] const char* TeeCodeName(std::uint32_t code);

}  // namespace vam

#endif  // VAMCTL_TEE_CODE_NAMES_H_
