#ifndef SIMULATOR_RUN_RUN_FILE_H_
#define SIMULATOR_RUN_RUN_FILE_H_

// The files of a run's folder: vam-board writes them, and the run's processes share some. Each
// function throws std::runtime_error, with the file and the reason, where it cannot be used.

#include <cstddef>
#include <string>

namespace vam {

/// Throws what is wrong with `path`, by the error number.
[[noreturn]] void FailOnRunFile(const std::string& path);

/// Writes the whole file.
void WriteRunFile(const std::string& path, const std::string& bytes);

/// Maps the first `size` bytes of the file, which all processes that map it read and write. The
/// caller unmaps them.
[[nodiscard]] void* MapRunFile(const std::string& path, std::size_t size);

}  // namespace vam

#endif  // SIMULATOR_RUN_RUN_FILE_H_
