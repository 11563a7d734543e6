// Prints the script that completes vam-verdict's command line in a shell, made of its options.

#include <CLI/CLI.hpp>
#include <exception>
#include <string>
#include <vector>

#include "command_line/parsing.h"
#include "command_line/program.h"
#include "command_line/values.h"
#include "verdict/options.h"

namespace {

void AddOptions(CLI::App* command, bool isRun) {
  for (const vam::VerdictOption& option : vam::kVerdictOptions) {
    if (isRun ? !option.ofRun : !option.ofOutcome) {
      continue;
    }
    if (option.value == nullptr) {
      command->add_flag(option.name, option.help);
    } else {
      command
          ->add_option_function<std::string>(
              option.name, [](const std::string& /*value*/) {}, option.help)
          ->type_name(option.value);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CLI::App program("", "vam-verdict");
    program.set_help_flag();
    AddOptions(&program, false);
    CLI::App* run = program.add_subcommand("run", "Run a program and record how it ended");
    run->set_help_flag();
    AddOptions(run, true);
    std::vector<std::string> command;
    run->add_option("PROGRAM", command)->type_name(vam::kCommandType);
    return vam::Parse(program, argc, argv) ? 1 : 0;
  } catch (const std::exception& error) {
    vam::Tell("verdict-completion", vam::ProblemInWords(error));
    return 1;
  }
}
