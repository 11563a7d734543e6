#ifndef TESTS_SUPPORT_VAMCTL_RUN_H_
#define TESTS_SUPPORT_VAMCTL_RUN_H_

#include <string>
#include <vector>

#include "tests/support/process.h"

// vamctl on a simulated board, inside a PrivateTmp.

namespace vam {

/// Returns the command line that runs vamctl with `arguments` on `board`: the name of a board that
/// ships, or a fault to add to the board "update-needed". The chip is kept in `state` where that is
/// not empty.
[[nodiscard]] std::vector<std::string> VamctlOnBoard(const std::string& board,
                                                     std::vector<std::string> arguments,
                                                     const std::string& state = "");

/// Runs it, with no terminal to ask on.
[[nodiscard]] Output RunVamctl(const std::string& board, const std::vector<std::string>& arguments,
                               const std::string& state = "");

/// Returns what the last such run asked of the trusted application: each value of a request, and
/// each invoked command's identifier.
[[nodiscard]] std::vector<std::string> SentRequests();

/// Returns whether the last such run made no platform call at all.
[[nodiscard]] bool SentNothing();

}  // namespace vam

#endif  // TESTS_SUPPORT_VAMCTL_RUN_H_
