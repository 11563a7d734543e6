#ifndef TESTS_SUPPORT_TERMINAL_H_
#define TESTS_SUPPORT_TERMINAL_H_

#include <string>

namespace vam {

/// A terminal with somebody in front of it. It shows bytes as they are written and echoes none.
class Terminal {
 public:
  /// Throws std::runtime_error where there is none to be had.
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  /// What a program has as its standard streams.
  int Descriptor() const { return slave; }

  void Type(const std::string& keys) const;

  /// Returns what has been written up to now and was not read before.
  std::string Screen() const;

  /// Returns what is written up to the end of `text`, and waits for it.
  std::string ScreenUpTo(const std::string& text) const;

 private:
  int master;
  int slave = -1;
};

}  // namespace vam

#endif  // TESTS_SUPPORT_TERMINAL_H_
