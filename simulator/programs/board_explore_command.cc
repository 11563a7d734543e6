#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "command_line/program.h"
#include "command_line/words.h"
#include "simulator/exploring/exploration.h"
#include "simulator/files/whole_file.h"
#include "simulator/programs/board_commands.h"
#include "simulator/programs/board_files.h"
#include "simulator/run/board_program.h"

namespace vam {

namespace {

namespace fs = std::filesystem;

/// Exit status of an exploration that found a broken rule.
constexpr int kBroken = 1;

void ShowProgress(std::size_t ended, std::size_t all) {
  if (isatty(STDERR_FILENO) != 0 && (ended % 100 == 0 || ended == all)) {
    std::fprintf(stderr, "\r%zu of %zu runs%s", ended, all, ended == all ? "\n" : "");
  }
}

/// The runs of one kind of fault.
struct Row {
  /// The moments at which they came.
  std::set<std::string> places;
  std::size_t runs = 0;
  std::size_t broken = 0;
  std::map<std::string, std::size_t> outcomes;
};

std::string KindOf(const Exploration& exploration, const ExploredRun& run) {
  std::string kind;
  for (const std::size_t moment : run.moments) {
    kind += (kind.empty() ? "" : " and ") + exploration.moments[moment].kind;
  }
  return kind;
}

std::string PlaceOf(const Exploration& exploration, const ExploredRun& run) {
  std::string place;
  for (const std::size_t moment : run.moments) {
    place += exploration.moments[moment].place + "\n";
  }
  return place;
}

std::string NameOf(const Exploration& exploration, const ExploredRun& run) {
  std::string name;
  for (const std::size_t moment : run.moments) {
    const Moment& each = exploration.moments[moment];
    name += (name.empty() ? "" : "; ") + each.place + ": " + each.change;
  }
  return name;
}

std::map<std::string, Row> RowsOf(const Exploration& exploration) {
  std::map<std::string, Row> rows;
  for (const ExploredRun& run : exploration.runs) {
    Row& row = rows[KindOf(exploration, run)];
    ++row.runs;
    row.places.insert(PlaceOf(exploration, run));
    row.broken += run.broken.empty() ? 0 : 1;
    ++row.outcomes[run.outcome];
  }
  return rows;
}

std::size_t CountBroken(const Exploration& exploration) {
  return static_cast<std::size_t>(
      std::count_if(exploration.runs.begin(), exploration.runs.end(),
                    [](const ExploredRun& run) { return !run.broken.empty(); }));
}

std::string InWords(const Exploration& exploration) {
  std::string text;
  for (const auto& [kind, row] : RowsOf(exploration)) {
    text += kind + ": " + std::to_string(row.runs) + " runs, " + std::to_string(row.broken) +
            " break a rule\n";
    for (const auto& [outcome, count] : row.outcomes) {
      text += outcome.empty() ? "" : "  " + outcome + ": " + std::to_string(count) + "\n";
    }
  }
  for (const ExploredRun& run : exploration.runs) {
    for (const std::string& rule : run.broken) {
      text += NameOf(exploration, run) + "\n  broke: " + rule + "\n";
    }
  }
  return text + std::to_string(exploration.runs.size()) + " runs, " +
         std::to_string(CountBroken(exploration)) + " break a rule; " +
         std::to_string(exploration.withoutEffect) + " more in which a fault had no effect\n";
}

std::string AsJson(const Exploration& exploration) {
  nlohmann::ordered_json json = {
      {"runs", exploration.runs.size()},          {"possibleRuns", exploration.possibleRuns},
      {"broken", CountBroken(exploration)},       {"withoutEffect", exploration.withoutEffect},
      {"kinds", nlohmann::ordered_json::array()}, {"violations", nlohmann::ordered_json::array()}};
  for (const auto& [kind, row] : RowsOf(exploration)) {
    json["kinds"].push_back({{"kind", kind},
                             {"moments", row.places.size()},
                             {"runs", row.runs},
                             {"broken", row.broken},
                             {"outcomes", row.outcomes}});
  }
  for (const ExploredRun& run : exploration.runs) {
    if (!run.broken.empty()) {
      json["violations"].push_back({{"fault", NameOf(exploration, run)}, {"rules", run.broken}});
    }
  }
  return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

/// Writes each run that broke a rule as a board file, which says how to repeat it.
void Keep(const Scene& scene, const Exploration& exploration, const std::string& folder) {
  fs::create_directories(folder);
  std::size_t number = 0;
  for (const ExploredRun& run : exploration.runs) {
    if (run.broken.empty()) {
      continue;
    }
    const std::string path = folder + "/violation-" + std::to_string(++number) + ".toml";
    std::string text = "# " + NameOf(exploration, run) + "\n";
    for (const std::string& rule : run.broken) {
      text += "# broke: " + OneLine(rule) + "\n";
    }
    text += "# Repeat it: vam-board run --verdict --board " + path + " --";
    for (const std::string& word : scene.command) {
      text += " " + word;
    }
    text += "\n" + BoardOf(scene, exploration, run);
    if (!ReplaceFile(path, text.data(), text.size(), Keeping::kWhilePowered)) {
      throw std::runtime_error(path + ": cannot be written: " + std::strerror(errno) +
                               "; give another folder with --keep");
    }
  }
}

}  // namespace

int ExploreProgram(const ExploreOptions& options) {
  const BoardFile file = LoadBoardFile(options.board);
  std::vector<std::string> command = options.command;
  command[0] = fs::absolute(FindProgram(command[0])).string();
  const Scene scene = {file.text, file.path, fs::absolute(file.Folder()).string(), command,
                       (Prefix() / VAM_SIMULATOR_LIBRARIES).string()};
  const std::uint64_t seed = options.seed.value_or(std::random_device()() & INT32_MAX);
  if (options.sample != 0) {
    std::fprintf(stderr, "vam-board: the seed is %llu\n", static_cast<unsigned long long>(seed));
  }
  const Exploration exploration =
      Explore(scene, {options.pairs, static_cast<std::size_t>(options.sample), seed, ShowProgress});
  if (!options.keep.empty()) {
    Keep(scene, exploration, options.keep);
  }
  Print(options.asJson ? AsJson(exploration) : InWords(exploration));
  return CountBroken(exploration) == 0 ? 0 : kBroken;
}

}  // namespace vam
