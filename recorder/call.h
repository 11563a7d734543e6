#ifndef RECORDER_CALL_H_
#define RECORDER_CALL_H_

// What every recorded function is made of: the next definition of the function, and a line for the
// journal.

#include <atomic>
#include <cerrno>

#include "journal/journal.h"
#include "journal/journal_line.h"

namespace vam {

/// The next definition of a function in the process: the real library's.
class NextSymbol {
 public:
  constexpr explicit NextSymbol(const char* symbol) : name(symbol) {}

  /// Returns the function. Ends the process where no library has it, as the loader would have.
  template <typename Function>
  [[nodiscard]] Function* As() {
    return reinterpret_cast<Function*>(Address());
  }

  /// Returns whether a library has it that the program itself loads.
  [[nodiscard]] bool IsThere();

 private:
  void* Address();

  const char* name;
  /// Found where it stays until the process ends.
  std::atomic<void*> found{nullptr};
};

/// Stands for one call of the program's, as long as it lives. What the real library calls meanwhile
/// is that library's business and is not recorded.
class Call {
 public:
  Call();
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  /// Whether the call is recorded.
  [[nodiscard]] bool IsRecorded() const;

  /// Runs `look` before the call where the call is recorded. Leaves the error number as it is, and
  /// lets nothing out: the recorder's troubles are not the program's.
  template <typename Look>
  void Prepare(Look look) const noexcept {
    if (IsRecorded()) {
      Guard([](void* argument) { (*static_cast<Look*>(argument))(); }, &look);
    }
  }

  /// Records the call by `fill`, which gets the call's line and adds to it. As careful as
  /// Prepare().
  template <typename Fill>
  void Record(const char* name, Fill fill) const noexcept {
    Write(
        name, [](void* argument, JournalLine& line) { (*static_cast<Fill*>(argument))(line); },
        &fill);
  }

 private:
  /// The journal; null where this process is not recorded, or no more.
  static Journal* File();
  static void Guard(void (*look)(void*), void* argument) noexcept;
  void Write(const char* name, void (*fill)(void*, JournalLine&), void* argument) const noexcept;

  static thread_local int depth;
  const bool isTheProgramsOwn;
};

}  // namespace vam

#endif  // RECORDER_CALL_H_
