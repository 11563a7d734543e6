#ifndef UTIL_WRITE_SIGNALS_H_
#define UTIL_WRITE_SIGNALS_H_

#include <csignal>

namespace vam {

/// As long as it lives, a write of this thread that fails returns its error and nothing else: the
/// SIGPIPE or SIGXFSZ that comes with it is taken away. Whoever writes a file of its own in
/// the process of another program must not end that.
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

#endif  // UTIL_WRITE_SIGNALS_H_
