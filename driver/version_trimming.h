#ifndef DRIVER_VERSION_TRIMMING_H_
#define DRIVER_VERSION_TRIMMING_H_

#include <string>

namespace vam {

/// Removes the last byte, the terminating zero that the trusted application sends, of all three
/// versions of one firmware part, when the updated and the chip's version are both not empty; they
/// stand for the third, which is not tested and is left as it is when it is empty. Otherwise none
/// of the three is changed.
void TrimVersions(std::string& updated, std::string& chip, std::string& fileSystem);

}  // namespace vam

#endif  // DRIVER_VERSION_TRIMMING_H_
