#ifndef SIMULATOR_RUN_PROCESS_TREE_H_
#define SIMULATOR_RUN_PROCESS_TREE_H_

#include <sys/types.h>

#include <vector>

namespace vam {

/// Returns the processes that `ancestor` started, those that they started, and so on, as far as
/// /proc shows them.
[[nodiscard]] std::vector<pid_t> DescendantsOf(pid_t ancestor);

}  // namespace vam

#endif  // SIMULATOR_RUN_PROCESS_TREE_H_
