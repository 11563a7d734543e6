#ifndef VAMCTL_PARSER_H_
#define VAMCTL_PARSER_H_

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "vamctl/commands.h"

namespace vam {

/// A request that is not carried out. Nothing was changed on the chip.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Adds vamctl's commands to `program`, which fills in `request`. The request of `verdict` has no
/// command of the trusted application. A record that cannot be read is a Refusal.
void AddCommands(CLI::App& program, Request& request);

}  // namespace vam

#endif  // VAMCTL_PARSER_H_
