#ifndef SIMULATOR_STATE_CHIP_DESCRIPTION_H_
#define SIMULATOR_STATE_CHIP_DESCRIPTION_H_

#include <string>

namespace vam {

/// Returns in words, a line each, what the chip's memory in the file `path` holds, or one line that
/// says that it is damaged. Throws std::runtime_error, with a line for the user, when the file
/// cannot be read or is of another format.
[[nodiscard]] std::string DescribeChip(const std::string& path);

}  // namespace vam

#endif  // SIMULATOR_STATE_CHIP_DESCRIPTION_H_
