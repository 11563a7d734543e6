#ifndef RECORDER_CALL_H_
#define RECORDER_CALL_H_

// What every recorded function is made of: the next definition of the function, and a line for the
// journal.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "journal/journal.h"
#include "journal/journal_line.h"

namespace vam {

/// The next definition of `name` in the process, from a library that the program itself loads;
/// null: none. `found` keeps it.
[[nodiscard]] void* FindNext(const char* name, std::atomic<void*>& found);

/// Does the same with the libraries that came with plug-ins. Ends the process where none has it, as
/// the loader would have.
[[nodiscard]] void* NeedNext(const char* name, std::atomic<void*>& found);

/// The next definition of a function in the process: the real library's. Its name has less than
/// `kCapacity` characters, which stand here: there is nothing to relocate.
template <std::size_t kCapacity>
class NextSymbol {
 public:
  template <std::size_t kSize>
  constexpr explicit NextSymbol(const char (&symbol)[kSize]) {
    static_assert(kSize <= kCapacity);
    for (std::size_t i = 0; i < kSize; ++i) {
      name[i] = symbol[i];
    }
  }

  /// Returns the function, as NeedNext() does.
  template <typename Function>
  [[nodiscard]] Function* As() {
    return reinterpret_cast<Function*>(NeedNext(name, found));
  }

  /// Returns whether a library has it that the program itself loads.
  [[nodiscard]] bool IsThere() { return FindNext(name, found) != nullptr; }

 private:
  std::atomic<void*> found{nullptr};
  char name[kCapacity] = {};
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

/// Tell the run's processes which opening of the node `descriptor` is: one may inherit it through
/// exec. The second returns 0 where none told. Of processes with the same descriptor the last
/// counts.
void NoteOpening(int descriptor, std::uint32_t opening);
[[nodiscard]] std::uint32_t NotedOpening(int descriptor);

}  // namespace vam

#endif  // RECORDER_CALL_H_
