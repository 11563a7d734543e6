#ifndef VAMCTL_COMMANDS_H_
#define VAMCTL_COMMANDS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "interface/ca_vam_interface_sp.h"
#include "vamctl/answer.h"

// The commands of the trusted application, as vamctl sends them.

namespace vam {

struct Command;

/// What the command line asks for.
struct Request {
  const Command* command = nullptr;
  bool asJson = false;
  bool confirmed = false;
  /// The record's bytes come from standard input.
  bool recordIsInput = false;
  std::vector<std::uint8_t> record;
  std::int32_t mode = 0;
  std::uint32_t count = 10;
  std::int32_t size = 0;
};

/// The arguments that a command takes.
enum class Arguments { kNone, kRecord, kMode, kCount, kSize };

/// A change of the chip that the user must agree to.
struct Danger {
  const char* description;
  /// Returns whether `request` makes the change.
  bool (*applies)(const Request& request);
};

/// A command of the trusted application.
struct Command {
  const char* name;
  const char* description;
  Arguments arguments;
  /// Null for a command that may always be sent.
  const Danger* danger;
  /// Sends the command. The answer lacks the command's name and the cause of a failure.
  Answer (*send)(CaVamInterfaceSp& interface, const Request& request);
};

/// Returns every command.
[[nodiscard]] const std::vector<Command>& Commands();

/// Sends the command of `request` and returns what came of it. The lines that the exchange prints
/// go to standard error where the request asks for JSON.
[[nodiscard]] Answer Send(const Request& request);

}  // namespace vam

#endif  // VAMCTL_COMMANDS_H_
