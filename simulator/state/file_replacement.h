#ifndef SIMULATOR_STATE_FILE_REPLACEMENT_H_
#define SIMULATOR_STATE_FILE_REPLACEMENT_H_

#include <cstddef>
#include <string>

namespace vam {

/// Replaces the file at `path` by `size` bytes so that a reader, or a power failure, meets either
/// the old file or the whole new one. Returns false, with errno set and the old file in place,
/// when that cannot be done.
[[nodiscard]] bool ReplaceFile(const std::string& path, const void* bytes, std::size_t size);

}  // namespace vam

#endif  // SIMULATOR_STATE_FILE_REPLACEMENT_H_
