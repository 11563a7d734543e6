#ifndef SIMULATOR_STATE_CHIP_DESCRIPTION_H_
#define SIMULATOR_STATE_CHIP_DESCRIPTION_H_

#include <string>

namespace vam {

/// Returns in words, a line each, what the memory file `path` of a chip holds; says so when there
/// is none or when it is damaged.
[[nodiscard]] std::string DescribeChip(const std::string& path);

}  // namespace vam

#endif  // SIMULATOR_STATE_CHIP_DESCRIPTION_H_
