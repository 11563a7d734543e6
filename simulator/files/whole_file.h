#ifndef SIMULATOR_FILES_WHOLE_FILE_H_
#define SIMULATOR_FILES_WHOLE_FILE_H_

// Files that are read and replaced as a whole.

#include <cstddef>
#include <optional>
#include <string>

namespace vam {

/// Returns the bytes of the file at `path`; none, with errno set, when they cannot be read.
[[nodiscard]] std::optional<std::string> ReadWholeFile(const std::string& path);

/// Whether a file is worth the time that its way to the disk takes.
enum class Keeping {
  /// A power failure leaves either the old file or the whole new one.
  kThroughPowerFailure,
  /// The file is made anew where it is needed.
  kWhilePowered,
};

/// Replaces the file at `path` by the `size` bytes at `bytes`. A reader meets either the old file
/// or the whole new one. Returns false, with errno set and the old file in place, when that cannot
/// be done.
[[nodiscard]] bool ReplaceFile(const std::string& path, const void* bytes, std::size_t size,
                               Keeping keeping = Keeping::kThroughPowerFailure);

}  // namespace vam

#endif  // SIMULATOR_FILES_WHOLE_FILE_H_
