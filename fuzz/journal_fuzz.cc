// Reads arbitrary journals, shows what was read, and makes boards of it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_target.h"
#include "simulator/board/board.h"
#include "simulator/recording/board_of_run.h"
#include "simulator/recording/calls_to_replay.h"
#include "simulator/recording/journal_difference.h"
#include "simulator/recording/journal_reader.h"
#include "simulator/recording/journal_words.h"
#include "simulator/run/recorded_call.h"

namespace {

bool IsShown(char byte) { return (byte >= ' ' && byte <= '~') || byte == '\n'; }

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const vam::RecordedRun run = vam::ReadJournal(text, "journal");
  // Each line is read, or the first that is not is named.
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  vam::Require(run.problem.empty() ? run.calls.size() + 1 == lines : run.calls.size() <= lines);
  vam::Require(run.problem.find('\n') == std::string::npos);
  const std::string words = vam::RunInWords(run) + run.problem;
  vam::Require(std::all_of(words.begin(), words.end(), IsShown));
  const vam::Json json = vam::Json::parse(vam::RunAsJson(run));
  vam::Require(json["steps"].size() == vam::StepsOf(run).size());
  for (const vam::JournalCall& call : run.calls) {
    const std::string line = vam::CallInWords(call);
    vam::Require(std::all_of(line.begin(), line.end(), IsShown));
  }
  vam::Require(vam::WhereRunsPart(run, "a", run, "b").empty());
  const std::string replayed = vam::TextOfRecordedThreads(vam::CallsToReplay(run, 1));
  vam::Require(vam::TextOfRecordedThreads(vam::ReadRecordedThreads(replayed)) == replayed);
  if (run.problem.empty()) {
    // Every run is one of some board.
    static_cast<void>(vam::ReadBoardText(vam::BoardOfRun(run), "board.toml"));
  }
  return 0;
}
