#ifndef VIRTUAL_DEVICE_DEVICE_BOARD_NODE_H_
#define VIRTUAL_DEVICE_DEVICE_BOARD_NODE_H_

#include "simulator/board/board.h"

namespace vam {

/// Serves "/dev/zelkshield" as a character device that behaves as `probe` says, until SIGTERM or
/// SIGINT, and then removes it. Returns at once where the board has no node. Needs the kernel's
/// "/dev/cuse". Throws std::runtime_error, with one line for the user, when the node cannot be
/// made.
void ServeNode(const ProbeSection& probe);

}  // namespace vam

#endif  // VIRTUAL_DEVICE_DEVICE_BOARD_NODE_H_
