#ifndef SIMULATOR_RUN_NODE_FILE_H_
#define SIMULATOR_RUN_NODE_FILE_H_

// The device node of the secure element as a run keeps it. The launcher makes it and the preloaded
// library finds it, without reading the board.

namespace vam {

/// The folder in a run's folder that stands for the board's /dev. A board without a node does
/// not have it, so nothing can be made at the node's path either.
constexpr char kNodeFolder[] = "/dev";

/// The empty file in a run's folder that stands for the node.
constexpr char kNodeFile[] = "/dev/zelkshield";

}  // namespace vam

#endif  // SIMULATOR_RUN_NODE_FILE_H_
