#ifndef SIMULATOR_RUN_COMPANION_H_
#define SIMULATOR_RUN_COMPANION_H_

#include <sys/types.h>

#include <functional>

namespace vam {

/// A child of this process that who waits for children does not see among them. The two talk on a
/// line that keeps messages whole.
class Companion {
 public:
  /// Forks, does `work` with the child's end of the line, and ends the child with that. Throws
  /// std::runtime_error.
  explicit Companion(const std::function<void(int line)>& work);
  /// Closes the line, and waits until the child has ended.
  ~Companion();
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

  /// Returns this process's end of the line.
  [[nodiscard]] int Line() const { return line; }

 private:
  int line;
  pid_t process;
};

}  // namespace vam

#endif  // SIMULATOR_RUN_COMPANION_H_
