#ifndef SIMULATOR_RUN_PREPARED_START_H_
#define SIMULATOR_RUN_PREPARED_START_H_

// What the launcher and the preloaded library say to each other about a program that is loaded once
// and started many times. They talk on a socket that keeps messages whole. Once the program is
// loaded, the library says one byte and waits before main; to each request it answers with the
// number of the process that it has started.

#include <limits.h>
#include <sys/types.h>

namespace vam {

/// The variable that names the library's end of the socket.
constexpr char kPreparedLineVariable[] = "VAM_BOARD_PREPARED";

/// The variable that has the dynamic linker look up all functions at once, and the value that the
/// launcher gives to it: the library takes it from what it starts.
constexpr char kBindNowVariable[] = "LD_BIND_NOW";
constexpr char kBoundHere[] = "vam-board";

/// Standard error, and standard output where it is not closed, come with it as descriptors.
struct StartRequest {
  /// Becomes the parent of the started process.
  pid_t launcher;
  bool hasOutput;
  char runFolder[PATH_MAX];
  char workingFolder[PATH_MAX];
};

}  // namespace vam

#endif  // SIMULATOR_RUN_PREPARED_START_H_
