#include "command_line/completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "command_line/values.h"

namespace vam {

namespace {

/// Visits `command` and everything below it, with the words that name it after the program.
void ForEachCommand(const CLI::App& command, const std::string& words,
                    const std::function<void(const CLI::App&, const std::string&)>& visit) {
  visit(command, words);
  for (const CLI::App* each : command.get_subcommands(nullptr)) {
    ForEachCommand(*each, words + (words.empty() ? "" : " ") + each->get_name(), visit);
  }
}

/// Returns the options that the help of `command` shows.
std::vector<const CLI::Option*> ShownOptions(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) {
    return option->nonpositional() && !option->get_group().empty();
  });
}

std::vector<const CLI::Option*> Positionals(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

/// Returns the names of `option`, dashes included.
std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_lnames()) {
    names.push_back("--" + name);
  }
  for (const std::string& name : option.get_snames()) {
    names.push_back("-" + name);
  }
  return names;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

/// Returns whether the option's value may be followed by more of its kind.
bool TakesMany(const CLI::Option& option) { return option.get_items_expected_max() > 1; }

/// Returns the words among the alternatives of a type: those in small letters.
std::string WordsOf(const std::string& type) {
  std::string words;
  std::istringstream alternatives(type);
  std::string word;
  while (std::getline(alternatives, word, '|')) {
    if (std::all_of(word.begin(), word.end(), [](char letter) {
          return letter == '-' || (letter >= 'a' && letter <= 'z');
        })) {
      words += (words.empty() ? "" : " ") + word;
    }
  }
  return words;
}

/// Returns what completes a value of `option`: one of the kinds of the script, or "words" and the
/// words.
std::string KindOf(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  if (type == kFileType || type == kFolderType || type == kBoardType || type == kCommandType) {
    std::string kind = type;
    std::transform(kind.begin(), kind.end(), kind.begin(),
                   [](char letter) { return static_cast<char>(letter + ('a' - 'A')); });
    return kind;
  }
  const std::string words = WordsOf(type);
  return words.empty() ? "other" : "words " + words;
}

/// Returns a shell function's name that starts with `program`'s.
std::string FunctionName(const std::string& program, const std::string& words = "") {
  std::string name = "_" + program + (words.empty() ? "" : "__" + words);
  std::replace(name.begin(), name.end(), '-', '_');
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::string::size_type at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

/// Returns `text` within single quotation marks of a shell.
std::string ShellQuoted(std::string text) {
  ReplaceAll(text, "'", "'\\''");
  return "'" + text + "'";
}

/// Returns a line of a shell's case statement. `ending` is a pattern for what may follow `words`.
std::string CaseLine(const std::string& words, const std::string& text, const char* ending = "") {
  return "    " + ShellQuoted(words) + ending + ") echo " + ShellQuoted(text) + " ;;\n";
}

constexpr char kBash[] =
    R"bash(# Completes the command line of PROGRAM in bash. Made from its parser.

# Each prints what the parser knows of the command $1: its words after the program's name.
FUNCTION_commands() {
  case $1 in
COMMANDS  esac
}
FUNCTION_options() {
  case $1 in
OPTIONS  esac
}
# What an option's value is.
FUNCTION_value() {
  case "$1 $2" in
VALUES  esac
}
# What an argument is, by its place from 0.
FUNCTION_argument() {
  case "$1 $2" in
ARGUMENTS  esac
}

FUNCTION() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local command='' place=0 kind='' dashes=0 given i
  # bash takes --option=value for three words.
  if [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  elif [[ $word == = ]]; then
    word=''
  fi
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    given=${COMP_WORDS[i]}
    if [[ $given == -- ]]; then
      dashes=$i
      break
    elif [[ $given == -* ]]; then
      [[ ${COMP_WORDS[i + 1]} != = ]] || ((++i))
      [[ -z $(FUNCTION_value "$command" "$given") ]] || ((++i))
    elif [[ " $(FUNCTION_commands "$command") " == *" $given "* ]]; then
      command+=${command:+ }$given
    else
      ((++place))
    fi
  done
  ((dashes != 0)) || kind=$(FUNCTION_value "$command" "$before")
  if ((dashes != 0)); then
    kind=$(FUNCTION_argument "$command" $((COMP_CWORD - dashes - 1)))
  elif [[ -z $kind && $word == -* ]]; then
    kind="words $(FUNCTION_options "$command")"
  elif [[ -z $kind ]]; then
    kind=$(FUNCTION_argument "$command" "$place")
    [[ -n $kind ]] || kind="words $(FUNCTION_commands "$command")"
  fi
  case $kind in
    file)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      ;;
    folder)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      ;;
    board)
      mapfile -t COMPREPLY < <(compgen -W "$(vam-board list 2>/dev/null | cut -d ' ' -f 1)" -- "$word")
      if ((${#COMPREPLY[@]} == 0)); then
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$word"; compgen -f -X '!*.toml' -- "$word")
      fi
      ;;
    command)
      compopt -o filenames
      mapfile -t COMPREPLY < <({ compgen -c -- "$word"; compgen -f -- "$word"; } | sort -u)
      ;;
    words\ *)
      mapfile -t COMPREPLY < <(compgen -W "${kind#words }" -- "$word")
      ;;
  esac
}
complete -F FUNCTION PROGRAM
)bash";

/// Returns what zsh's _arguments says of an option or argument, within single quotation marks.
std::string ZshAction(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const std::string kind = KindOf(option);
  std::string action = " ";
  if (kind == "command") {
    return "*::program:_vam_program";
  }
  if (kind == "file") {
    action = "_files";
  } else if (kind == "folder") {
    action = "_files -/";
  } else if (kind == "board") {
    action = "_vam_boards";
  } else if (kind != "other") {
    action = "(" + kind.substr(kind.find(' ') + 1) + ")";
  }
  std::string message = type;
  std::replace(message.begin(), message.end(), ':', ' ');
  return (TakesMany(option) ? "*:" : ":") + message + ":" + action;
}

/// Returns a description as _arguments and _describe take it.
std::string ZshText(std::string text) {
  for (const char* special : {"\\", "[", "]", ":"}) {
    ReplaceAll(text, special, std::string("\\") + special);
  }
  return text;
}

std::string ZshFunction(const CLI::App& command, const std::string& program,
                        const std::string& words) {
  std::string text = FunctionName(program, words) + "() {\n  _arguments";
  const std::vector<const CLI::App*> commands = command.get_subcommands(nullptr);
  // Of the program itself, the words after "--" are its command's.
  text += commands.empty() ? " -S" : " -C";
  for (const CLI::Option* option : ShownOptions(command)) {
    for (const std::string& name : NamesOf(*option)) {
      const char* valueMark = !TakesValue(*option) ? "" : name.size() == 2 ? "+" : "=";
      text +=
          " \\\n    " + ShellQuoted(name + valueMark + "[" + ZshText(option->get_description()) +
                                    "]" + (TakesValue(*option) ? ZshAction(*option) : ""));
    }
  }
  if (!commands.empty()) {
    text += " \\\n    '1:command:->command' '*::argument:->argument' && return\n";
    text += "  case $state in\n    command)\n      local -a commands=(";
    for (const CLI::App* each : commands) {
      text += "\n        " + ShellQuoted(each->get_name() + ":" + ZshText(each->get_description()));
    }
    text +=
        ")\n      _describe command commands\n      ;;\n    argument)\n      case $line[1] in\n";
    for (const CLI::App* each : commands) {
      const std::string below = words + (words.empty() ? "" : " ") + each->get_name();
      text += "        " + each->get_name() + ") " + FunctionName(program, below) + " ;;\n";
    }
    return text + "      esac\n      ;;\n  esac\n}\n\n";
  }
  for (const CLI::Option* argument : Positionals(command)) {
    text += " \\\n    " + ShellQuoted(ZshAction(*argument));
  }
  return text + "\n}\n\n";
}

constexpr char kZshBoards[] = R"zsh(_vam_boards() {
  local -a boards=(${(f)"$(_call_program boards vam-board list 2>/dev/null | cut -d ' ' -f 1)"})
  compadd -a boards || _files -g '*.toml'
}

)zsh";

constexpr char kZshProgram[] = R"zsh(_vam_program() {
  # _arguments leaves the dashes where no option stands before them.
  if [[ $words[1] == -- ]]; then
    shift words
    ((--CURRENT))
  fi
  _normal
}

)zsh";

}  // namespace

std::string BashCompletion(const CLI::App& program) {
  std::string commands;
  std::string options;
  std::string values;
  std::string arguments;
  ForEachCommand(program, "", [&](const CLI::App& command, const std::string& words) {
    std::string names;
    for (const CLI::App* each : command.get_subcommands(nullptr)) {
      names += (names.empty() ? "" : " ") + each->get_name();
    }
    if (!names.empty()) {
      commands += CaseLine(words, names);
    }
    std::string shown;
    for (const CLI::Option* option : ShownOptions(command)) {
      for (const std::string& name : NamesOf(*option)) {
        shown += (shown.empty() ? "" : " ") + name;
        if (TakesValue(*option)) {
          values += CaseLine(std::string(words).append(" ").append(name), KindOf(*option));
        }
      }
    }
    options += CaseLine(words, shown);
    int place = 0;
    for (const CLI::Option* argument : Positionals(command)) {
      const std::string kind = KindOf(*argument);
      arguments += CaseLine(words + " " + std::to_string(place), kind);
      if (TakesMany(*argument)) {
        // What follows a program are its own arguments, and most of those are files.
        arguments += CaseLine(words + " ", kind == "command" ? "file" : kind, "*");
      }
      ++place;
    }
  });
  std::string script = kBash;
  ReplaceAll(script, "COMMANDS", commands);
  ReplaceAll(script, "OPTIONS", options);
  ReplaceAll(script, "VALUES", values);
  ReplaceAll(script, "ARGUMENTS", arguments);
  ReplaceAll(script, "FUNCTION", FunctionName(program.get_name()));
  ReplaceAll(script, "PROGRAM", program.get_name());
  return script;
}

std::string ZshCompletion(const CLI::App& program) {
  std::string functions;
  ForEachCommand(program, "", [&](const CLI::App& command, const std::string& words) {
    functions += ZshFunction(command, program.get_name(), words);
  });
  for (const auto& [name, function] :
       {std::pair("_vam_boards", kZshBoards), std::pair("_vam_program", kZshProgram)}) {
    if (functions.find(name) != std::string::npos) {
      functions.insert(0, function);
    }
  }
  return "#compdef " + program.get_name() + "\n# Completes the command line of " +
         program.get_name() + " in zsh. Made from its parser.\n\n" + functions +
         FunctionName(program.get_name()) + " \"$@\"\n";
}

}  // namespace vam
