#include "command_line/parsing.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "command_line/completion.h"
#include "command_line/program.h"
#include "command_line/words.h"

namespace vam {

namespace {

/// Returns the command that the line asks for, as far as it was read; the program without one.
const CLI::App& AskedFor(const CLI::App& program) {
  const std::vector<CLI::App*> commands = program.get_subcommands();
  return commands.empty() ? program : AskedFor(*commands.front());
}

/// Returns how `command` is typed, the program's name included.
std::string TypedName(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return (parent == nullptr ? "" : TypedName(*parent) + " ") + command.get_name();
}

std::vector<std::string> CommandsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* each : command.get_subcommands(nullptr)) {
    names.push_back(each->get_name());
  }
  return names;
}

/// Returns the options of `command` that its help shows, by their long names.
std::vector<std::string> OptionsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      if (!option->get_group().empty()) {
        names.push_back("--" + name);
      }
    }
  }
  return names;
}

/// Returns what is wrong with `word`, which `command` takes nowhere.
std::string UnexpectedWord(const CLI::App& command, const std::string& word) {
  if (word.size() > 1 && word.front() == '-') {
    const std::string name = word.substr(0, word.find('='));
    if (command.get_option_no_throw(name) != nullptr) {
      return Quoted(name) + " comes after the command: " + TypedName(command) + " " + name;
    }
    return Quoted(name) + " is no option of " + TypedName(command) +
           Suggestion(name, OptionsOf(command));
  }
  const std::vector<std::string> commands = CommandsOf(command);
  if (!commands.empty()) {
    return Quoted(word) + " is no command of " + TypedName(command) + Suggestion(word, commands);
  }
  return Quoted(word) + " is one word too many for " + TypedName(command);
}

/// Returns the first word before "--" that is meant as an option and that `program` did not take.
/// Returns nothing where there is none, or where it comes after a word that is no command.
std::string MistypedOption(const CLI::App& program, int argc, const char* const* argv) {
  const std::vector<std::string> left = program.remaining(true);
  const bool hasCommand = !program.get_subcommands().empty();
  for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
    const std::string word = argv[i];
    const bool isOption = word.size() > 1 && word.front() == '-';
    if ((isOption || !hasCommand) && std::find(left.begin(), left.end(), word) != left.end()) {
      return isOption ? word : "";
    }
  }
  return "";
}

std::string WrongCount(const CLI::App& command, const CLI::ArgumentMismatch& error) {
  const std::string text = error.what();
  // The text starts with the option's name, and with that of a flag without its dashes.
  const std::string name = text.substr(0, text.find_first_of(": "));
  const CLI::Option* option = command.get_option_no_throw(name);
  if (option == nullptr && command.get_option_no_throw("--" + name) != nullptr) {
    return "--" + name + " takes no value";
  }
  if (option != nullptr &&
      option->count() > static_cast<std::size_t>(option->get_items_expected_max())) {
    return name + " is there more than once; give it once";
  }
  return name + " needs a value";
}

/// Returns what is wrong with the line that `program` refused.
std::string Problem(const CLI::App& program, const CLI::ParseError& error, int argc,
                    const char* const* argv) {
  const CLI::App& command = AskedFor(program);
  const std::string mistyped = MistypedOption(program, argc, argv);
  // What the option was to give may be what is missing.
  if (!mistyped.empty() && (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr ||
                            dynamic_cast<const CLI::RequiredError*>(&error) != nullptr)) {
    return UnexpectedWord(command, mistyped);
  }
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    return UnexpectedWord(command, program.remaining(true).front());
  }
  const auto* count = dynamic_cast<const CLI::ArgumentMismatch*>(&error);
  if (count != nullptr) {
    return WrongCount(command, *count);
  }
  if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
    return std::string(error.what()) + "; give one of them";
  }
  return error.what();
}

/// Refuses "--name=", whose value the parser would take from the next word.
void RefuseEmptyValues(int argc, const char* const* argv) {
  for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
    const std::string word = argv[i];
    if (word.size() > 2 && word.compare(0, 2, "--") == 0 && word.find('=') == word.size() - 1) {
      throw CLI::ArgumentMismatch(word.substr(0, word.size() - 1) + ": no value");
    }
  }
}

/// Prints the script that completes the program's command line in `shell`. The build asks for it.
void PrintCompletion(const CLI::App& program, const std::string& shell) {
  if (shell != "bash" && shell != "zsh") {
    throw WrongUsage("--completion takes bash or zsh, not " + Quoted(shell));
  }
  Print(shell == "bash" ? BashCompletion(program) : ZshCompletion(program));
}

}  // namespace

bool Parse(CLI::App& program, int argc, const char* const* argv) {
  // Asked for by the parser, a missing command would hide a word that is none.
  program.require_subcommand(0, 1);
  if (argc > 1 && std::strcmp(argv[1], "--completion") == 0) {
    PrintCompletion(program, argc > 2 ? argv[2] : "");
    return false;
  }
  try {
    RefuseEmptyValues(argc, argv);
    program.parse(argc, argv);
    if (program.get_subcommands().empty()) {
      throw CLI::RequiredError("A command");
    }
    return true;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      throw WrongUsage(Problem(program, error, argc, argv) + "; see " +
                       TypedName(AskedFor(program)) + " --help");
    }
    std::ostringstream text;
    program.exit(error, text, text);
    Print(text.str());
    return false;
  }
}

}  // namespace vam
