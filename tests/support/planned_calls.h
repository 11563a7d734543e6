#ifndef TESTS_SUPPORT_PLANNED_CALLS_H_
#define TESTS_SUPPORT_PLANNED_CALLS_H_

#include <cstddef>
#include <functional>
#include <string>

namespace vam {

/// How the next calls of the system end: access(), close(), fchmod(), fcntl(), flock(), fsync(),
/// getrandom(), open(), pread(), read(), renameat() and write(). A program that links
/// vam_planned_calls makes its calls through here; those of the C and C++ libraries stay their own.
/// What is planned for one function comes in its order, call by call. Then the calls are the
/// system's again.
class PlannedCalls {
 public:
  PlannedCalls();
  /// Fails the test where a call that was planned never came.
  ~PlannedCalls();
  PlannedCalls(const PlannedCalls&) = delete;
  PlannedCalls& operator=(const PlannedCalls&) = delete;

  /// The call fails, with `error` in errno.
  void Fail(const std::string& function, int error);
  /// The call is one of pread(), read() or write() and asks for no more than `most` bytes.
  void Shorten(const std::string& function, std::size_t most);
  /// The call is made after `happens`, which is given its descriptor, or -1 where it has none.
  void Before(const std::string& function, std::function<void(int)> happens);
  /// The call is renameat(), and this happens after it.
  void After(std::function<void()> happens);
  /// The call is access() and fails where it asks for any of `rights`.
  void Deny(int rights);
  /// The call is getrandom() and gives bytes of this value.
  void GiveBytes(unsigned char value);
};

}  // namespace vam

#endif  // TESTS_SUPPORT_PLANNED_CALLS_H_
