#include <CLI/CLI.hpp>
#include <cerrno>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "command_line/program.h"
#include "simulator/files/whole_file.h"
#include "simulator/programs/board_commands.h"
#include "simulator/recording/board_of_run.h"
#include "simulator/recording/journal_difference.h"
#include "simulator/recording/journal_reader.h"
#include "simulator/recording/journal_words.h"

namespace vam {

namespace {

/// Exit status of a comparison that finds a difference.
constexpr int kDiffer = 1;

RecordedRun LoadJournal(const std::string& path) {
  const std::optional<std::string> text = ReadWholeFile(path);
  if (!text) {
    throw std::runtime_error(path + ": the journal cannot be read: " + FileErrorInWords(errno));
  }
  return ReadJournal(*text, path);
}

void FailOnProblem(const RecordedRun& run) {
  if (!run.problem.empty()) {
    throw std::runtime_error(run.problem);
  }
}

void ShowJournal(const std::string& path, bool asJson) {
  const RecordedRun run = LoadJournal(path);
  // A wrong line does not hide what comes before it.
  Print(asJson ? RunAsJson(run) : RunInWords(run));
  FailOnProblem(run);
}

int CompareJournals(const std::string& one, const std::string& other) {
  const RecordedRun left = LoadJournal(one);
  FailOnProblem(left);
  const RecordedRun right = LoadJournal(other);
  FailOnProblem(right);
  const std::string difference = WhereRunsPart(left, one, right, other);
  Print(difference);
  return difference.empty() ? 0 : kDiffer;
}

void MakeBoard(const std::string& path) {
  const RecordedRun run = LoadJournal(path);
  FailOnProblem(run);
  Print(BoardOfRun(run));
}

}  // namespace

void AddJournalCommand(CLI::App& program, int& status) {
  struct Options {
    std::string file;
    std::string other;
    bool asJson = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* journal = program.add_subcommand("journal", "Read the journals of runs");
  journal->require_subcommand(1);

  CLI::App* show = journal->add_subcommand("show", "Show a run in words");
  show->add_option("FILE", options->file, "A journal")->required();
  show->add_flag("--json", options->asJson, "Print JSON instead of text");
  show->callback([options] { ShowJournal(options->file, options->asJson); });

  CLI::App* diff = journal->add_subcommand("diff", "Show where two runs part");
  diff->add_option("A", options->file, "A journal")->required();
  diff->add_option("B", options->other, "Another journal")->required();
  diff->callback([options, &status] { status = CompareJournals(options->file, options->other); });

  CLI::App* board = journal->add_subcommand("board", "Print a board that repeats a run");
  board->add_option("FILE", options->file, "A journal")->required();
  board->callback([options] { MakeBoard(options->file); });
}

}  // namespace vam
