#include <cerrno>
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

}  // namespace

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

void PrintBoardOfJournal(const std::string& path) {
  const RecordedRun run = LoadJournal(path);
  FailOnProblem(run);
  Print(BoardOfRun(run));
}

}  // namespace vam
