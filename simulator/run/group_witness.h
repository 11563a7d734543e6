#ifndef SIMULATOR_RUN_GROUP_WITNESS_H_
#define SIMULATOR_RUN_GROUP_WITNESS_H_

#include "simulator/run/companion.h"

namespace vam {

/// Tells signals that were sent to this process alone from those that its whole process group got:
/// a terminal's Ctrl-C, kill(0, ...). The kernel says nothing of it, so an idle process stands in
/// the group and is asked what it got.
class GroupWitness {
 public:
  /// Puts up the witness. REQUIRES: the signals that Saw() is asked about are blocked. Throws
  /// std::runtime_error.
  GroupWitness();

  /// Returns whether the whole group got `signal`, which this process just took. Also takes what
  /// came of `signal` meanwhile: the group's other processes got that too.
  [[nodiscard]] bool Saw(int signal) const;

 private:
  /// Returns whether `signal` waits for the witness, and takes it from there.
  bool Took(int signal) const;

  const Companion witness;
};

}  // namespace vam

#endif  // SIMULATOR_RUN_GROUP_WITNESS_H_
