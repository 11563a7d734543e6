#ifndef SIMULATOR_FILES_WHOLE_FILE_H_
#define SIMULATOR_FILES_WHOLE_FILE_H_

// Files that are read and replaced as a whole.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace vam {

/// The most bytes that ReadWholeFile() takes where its caller says nothing else.
constexpr std::uint64_t kWholeFileLimit = std::uint64_t{64} * 1024 * 1024;

/// Returns the bytes of the regular file at `path`. Returns none, with errno set, when they cannot
/// be read: EISDIR for a folder, ESPIPE for a device, a FIFO or a socket, EFBIG for a file of more
/// than `limit` bytes. Waits for nobody, and reads nothing of what it refuses.
[[nodiscard]] std::optional<std::string> ReadWholeFile(const std::string& path,
                                                       std::uint64_t limit = kWholeFileLimit);

/// Returns in words what an error number that this unit left in errno means.
[[nodiscard]] std::string FileErrorInWords(int error);

/// Whether a file is worth the time that its way to the disk takes.
enum class Keeping {
  /// A power failure leaves either the old file or the whole new one.
  kThroughPowerFailure,
  /// The file is made anew where it is needed.
  kWhilePowered,
};

/// Makes the file at `path` the `size` bytes at `bytes`. A reader meets either the old file or the
/// whole new one. The new file keeps the old one's mode and, where the system allows it, owner. A
/// symbolic link stays, and its target is replaced. A device, a FIFO or a socket gets the bytes
/// written; a FIFO that nobody reads from fails with ENXIO. Returns false, with errno set, the old
/// file in place and nothing left beside it, when that cannot be done. A file that may not be
/// written to fails with EACCES, also where its folder would allow to replace it.
[[nodiscard]] bool ReplaceFile(const std::string& path, const void* bytes, std::size_t size,
                               Keeping keeping = Keeping::kThroughPowerFailure);

/// Returns whether both paths lead to one file, or would make one.
[[nodiscard]] bool IsSameFile(const std::string& one, const std::string& other);

/// Removes what killed processes left of their tries to replace the file at `path`. REQUIRES: no
/// process is replacing it.
void RemoveDrafts(const std::string& path);

}  // namespace vam

#endif  // SIMULATOR_FILES_WHOLE_FILE_H_
