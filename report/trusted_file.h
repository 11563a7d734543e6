#ifndef REPORT_TRUSTED_FILE_H_
#define REPORT_TRUSTED_FILE_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

// What tells a file that can be believed from one that anybody may have put there.

namespace vam {

/// A file descriptor, closed with the object.
class Descriptor {
 public:
  explicit Descriptor(int opened = -1) : number(opened) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : number(other.number) { other.number = -1; }
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] bool IsOpen() const { return number >= 0; }
  [[nodiscard]] int Number() const { return number; }

 private:
  int number;
};

/// Opens `name` in `folder` for reading. Follows no symbolic link and waits for nobody: not for a
/// pipe's writer and not for a lease's holder. Not open when that fails, with the reason in errno.
[[nodiscard]] Descriptor OpenForReading(int folder, const char* name);

/// Reads up to `size` bytes at `offset` into `bytes`. Returns whether the file can be read.
[[nodiscard]] bool ReadAt(int descriptor, off_t offset, std::size_t size, std::string& bytes);

/// Returns whether `status` is of a regular file of `user` under a single name.
[[nodiscard]] bool IsPlainFileOf(uid_t user, const struct stat& status);

/// Returns whether others than the owner may write to a file or folder.
[[nodiscard]] inline bool OthersMayWrite(const struct stat& status) {
  return (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

/// Returns what `status` is of, such as "a symbolic link of user 1000" or "a file of user 0 with 2
/// links".
[[nodiscard]] std::string KindOf(const struct stat& status);

/// Returns what a clock says, in milliseconds.
[[nodiscard]] std::int64_t MillisecondsOf(clockid_t clock);

/// Returns a stamp of a file in nanoseconds.
[[nodiscard]] inline std::int64_t Nanoseconds(const struct timespec& time) {
  return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

}  // namespace vam

#endif  // REPORT_TRUSTED_FILE_H_
