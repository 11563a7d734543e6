#ifndef SIMULATOR_RUN_BOARD_PATHS_H_
#define SIMULATOR_RUN_BOARD_PATHS_H_

// The files of a board as a run keeps them: the device node of the secure element and the status
// files. The launcher puts them up and the preloaded library finds them, without reading the board.

#include <limits.h>

#include <cstddef>

namespace vam {

/// The folder in a run's folder that stands for the board's /dev. A board without a node does
/// not have it, so nothing can be made at the node's path either.
constexpr char kNodeFolder[] = "/dev";

/// The empty file in a run's folder that stands for the node.
constexpr char kNodeFile[] = "/dev/zelkshield";

/// The link in a run's folder that leads to where the status files lie, which programs on the board
/// find in /tmp. A run whose programs share the machine's does not have it.
constexpr char kStatusFolder[] = "/tmp";

/// The empty file in a run's folder which tells that the run counts what its programs write to
/// standard output and to the status files.
constexpr char kWatchFile[] = "/watch";

/// The longest path of a run's folder below which every one of these files has a path.
constexpr std::size_t kLongestRunFolder = PATH_MAX - NAME_MAX - sizeof kNodeFile;
static_assert(sizeof kStatusFolder <= sizeof kNodeFile, "kLongestRunFolder counts the longer one");

}  // namespace vam

#endif  // SIMULATOR_RUN_BOARD_PATHS_H_
