#ifndef DRIVER_VERSION_TRIMMING_H_
#define DRIVER_VERSION_TRIMMING_H_

#include <string>

namespace vam {

/// Removes the last byte of each of the three versions of one firmware part: the terminating zero
/// that the trusted application sends. Changes none of them when the updated or the chip's version
/// is empty. An empty version of the file system does not count, and stays empty.
void TrimVersions(std::string& updated, std::string& chip, std::string& fileSystem);

}  // namespace vam

#endif  // DRIVER_VERSION_TRIMMING_H_
