#ifndef VAMCTL_TEE_WITNESS_H_
#define VAMCTL_TEE_WITNESS_H_

#include <cstdint>
#include <optional>
#include <string>

// What the TEE client library answers to an exchange. A command's result alone does not tell which
// step failed: a command whose session was refused still invokes, and returns the result of that.
// The linker leads the calls of the program that links this unit through it, and changes no other.

namespace vam {

/// The step at which an exchange failed.
struct FailedStep {
  /// The function of the library; "request" where the marshaller did not take the request, "reply"
  /// where it did not give an item of the reply.
  std::string name;
  /// What the function returned, and where that came from. The marshaller gives no reason, and not
  /// every function an origin.
  std::optional<std::uint32_t> result = std::nullopt;
  std::optional<std::uint32_t> origin = std::nullopt;
};

/// Forgets the exchanges up to now.
void WatchNextExchange();

/// Returns the first step that failed since then. REQUIRES: the exchange failed.
[[nodiscard]] FailedStep FirstFailedStep();

}  // namespace vam

#endif  // VAMCTL_TEE_WITNESS_H_
