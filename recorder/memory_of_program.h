#ifndef RECORDER_MEMORY_OF_PROGRAM_H_
#define RECORDER_MEMORY_OF_PROGRAM_H_

#include <cstddef>
#include <string>

namespace vam {

/// Copies `size` bytes of the program's to `to`. Returns false, and does no harm, where the program
/// has no memory at `from`: its wrong addresses are for the real library to judge.
[[nodiscard]] bool CopyFromProgram(void* to, const void* from, std::size_t size);

/// Fills `bytes` with `size` bytes of the program's. Returns false where it has no memory there.
[[nodiscard]] bool ReadProgram(const void* from, std::size_t size, std::string& bytes);

}  // namespace vam

#endif  // RECORDER_MEMORY_OF_PROGRAM_H_
