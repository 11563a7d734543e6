#include "command_line/completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "command_line/values.h"

namespace vam {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// A program with each kind of option, argument and command.
class CompletionTest : public ::testing::Test {
 protected:
  CompletionTest() {
    program.add_flag("--loud", "Say more");
    CLI::App* bake = program.add_subcommand("bake", "Bake: [it]");
    bake->add_option("-o,--output", text, "Where to")->type_name(kFileType);
    bake->add_option("--tin", text, "What \\ in")->type_name(kFolderType);
    bake->add_option("--board", text, "Upon")->type_name(kBoardType);
    bake->add_option("--heat", text, "How hot")->type_name("low|high|very-high|NUMBER");
    bake->add_option("--note", text, "What it's for")->type_name("TEXT");
    bake->add_flag("--hidden", "Nobody sees it")->group("");
    bake->add_option("CAKE", text, "Which one")->type_name("plum|lemon");
    bake->add_option("BOARDS", texts, "Upon these")->type_name(kBoardType);
    CLI::App* shop = program.add_subcommand("go-shop", "Shop");
    shop->require_subcommand(1);
    CLI::App* run = shop->add_subcommand("run", "Run there");
    run->add_option("PROGRAM", texts, "What to run")->type_name(kCommandType);
  }

  /// Returns the lines of a shell function of the bash script.
  std::string BashFunction(const std::string& name) const {
    const std::string script = BashCompletion(program);
    const std::string::size_type start = script.find("\n" + name + "() {\n");
    EXPECT_NE(start, script.npos);
    return script.substr(start + 1, script.find("\n}\n", start) + 2 - start);
  }

  CLI::App program{"A program.", "a-probe"};
  std::string text;
  std::vector<std::string> texts;
};

TEST_F(CompletionTest, BashScript_KnowsTheCommands) {
  EXPECT_EQ(BashFunction("_a_probe_commands"), R"(_a_probe_commands() {
  case $1 in
    '') echo 'bake go-shop' ;;
    'go-shop') echo 'run' ;;
  esac
}
)");
}

TEST_F(CompletionTest, BashScript_KnowsTheOptionsThatTheHelpShows) {
  EXPECT_EQ(BashFunction("_a_probe_options"), R"(_a_probe_options() {
  case $1 in
    '') echo '--help -h --loud' ;;
    'bake') echo '--help -h --output -o --tin --board --heat --note' ;;
    'go-shop') echo '--help -h' ;;
    'go-shop run') echo '--help -h' ;;
  esac
}
)");
}

TEST_F(CompletionTest, BashScript_KnowsWhatTheValuesAre) {
  EXPECT_EQ(BashFunction("_a_probe_value"), R"(_a_probe_value() {
  case "$1 $2" in
    'bake --output') echo 'file' ;;
    'bake -o') echo 'file' ;;
    'bake --tin') echo 'folder' ;;
    'bake --board') echo 'board' ;;
    'bake --heat') echo 'words low high very-high' ;;
    'bake --note') echo 'other' ;;
  esac
}
)");
}

TEST_F(CompletionTest, BashScript_KnowsWhatTheArgumentsAre) {
  EXPECT_EQ(BashFunction("_a_probe_argument"), R"(_a_probe_argument() {
  case "$1 $2" in
    'bake 0') echo 'words plum lemon' ;;
    'bake 1') echo 'board' ;;
    'bake '*) echo 'board' ;;
    'go-shop run 0') echo 'command' ;;
    'go-shop run '*) echo 'file' ;;
  esac
}
)");
}

TEST_F(CompletionTest, BashScript_IsOfTheProgram) {
  const std::string script = BashCompletion(program);
  EXPECT_EQ(script.find("# Completes the command line of a-probe in bash. Made from its parser.\n"),
            0U);
  EXPECT_THAT(script, HasSubstr("\ncomplete -F _a_probe a-probe\n"));
  EXPECT_THAT(script, HasSubstr("\n_a_probe() {\n"));
  for (const char* place : {"FUNCTION", "PROGRAM", "COMMANDS", "OPTIONS", "VALUES", "ARGUMENTS"}) {
    EXPECT_THAT(script, Not(HasSubstr(place)));
  }
}

TEST_F(CompletionTest, ZshScript_HasAFunctionForEachCommand) {
  const std::string script = ZshCompletion(program);
  EXPECT_EQ(script.substr(script.find("_a_probe() {\n")), R"zsh(_a_probe() {
  _arguments -C \
    '--help[Print this help message and exit]' \
    '-h[Print this help message and exit]' \
    '--loud[Say more]' \
    '1:command:->command' '*::argument:->argument' && return
  case $state in
    command)
      local -a commands=(
        'bake:Bake\: \[it\]'
        'go-shop:Shop')
      _describe command commands
      ;;
    argument)
      case $line[1] in
        bake) _a_probe__bake ;;
        go-shop) _a_probe__go_shop ;;
      esac
      ;;
  esac
}

_a_probe__bake() {
  _arguments -S \
    '--help[Print this help message and exit]' \
    '-h[Print this help message and exit]' \
    '--output=[Where to]:FILE:_files' \
    '-o+[Where to]:FILE:_files' \
    '--tin=[What \\ in]:FOLDER:_files -/' \
    '--board=[Upon]:BOARD:_vam_boards' \
    '--heat=[How hot]:low|high|very-high|NUMBER:(low high very-high)' \
    '--note=[What it'\''s for]:TEXT: ' \
    ':plum|lemon:(plum lemon)' \
    '*:BOARD:_vam_boards'
}

_a_probe__go_shop() {
  _arguments -C \
    '--help[Print this help message and exit]' \
    '-h[Print this help message and exit]' \
    '1:command:->command' '*::argument:->argument' && return
  case $state in
    command)
      local -a commands=(
        'run:Run there')
      _describe command commands
      ;;
    argument)
      case $line[1] in
        run) _a_probe__go_shop_run ;;
      esac
      ;;
  esac
}

_a_probe__go_shop_run() {
  _arguments -S \
    '--help[Print this help message and exit]' \
    '-h[Print this help message and exit]' \
    '*::program:_vam_program'
}

_a_probe "$@"
)zsh");
}

TEST_F(CompletionTest, ZshScript_BringsTheFunctionsThatItCallsAndNoOthers) {
  EXPECT_EQ(
      ZshCompletion(program).find("#compdef a-probe\n# Completes the command line of a-probe in "
                                  "zsh. Made from its parser.\n\n"),
      0U);
  const auto brings = [](const CLI::App& app, const char* function) {
    return ZshCompletion(app).find(std::string("\n") + function + "() {\n") != std::string::npos;
  };
  EXPECT_TRUE(brings(program, "_vam_boards"));
  EXPECT_TRUE(brings(program, "_vam_program"));
  const CLI::App bare("Bare.", "bare");
  EXPECT_FALSE(brings(bare, "_vam_boards"));
  EXPECT_FALSE(brings(bare, "_vam_program"));
}

}  // namespace
}  // namespace vam
