#ifndef SIMULATOR_FILES_WRITE_SIGNALS_H_
#define SIMULATOR_FILES_WRITE_SIGNALS_H_

#include <csignal>

namespace vam {

/// As long as it lives, a write of this thread that fails returns its error and nothing else: the
/// SIGPIPE or SIGXFSZ that comes with it is taken away. The rig writes files in the processes of
/// the programs under test, and no such signal may end them.
class WriteSignalsHeld {
 public:
  WriteSignalsHeld();
  ~WriteSignalsHeld();
  WriteSignalsHeld(const WriteSignalsHeld&) = delete;
  WriteSignalsHeld& operator=(const WriteSignalsHeld&) = delete;

 private:
  sigset_t maskBefore;
  sigset_t pendingBefore;
};

}  // namespace vam

#endif  // SIMULATOR_FILES_WRITE_SIGNALS_H_
