#ifndef SIMULATOR_EXPLORING_EXPLORATION_H_
#define SIMULATOR_EXPLORING_EXPLORATION_H_

// Runs a program once for each fault at each of its moments, and holds every run against the rules.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "simulator/exploring/moments.h"

namespace vam {

/// The program and the board that are explored.
struct Scene {
  std::string boardText;
  /// Stands for the board in errors.
  std::string boardName;
  /// An image file of the board is looked up here.
  std::string boardFolder;
  /// The program and its arguments.
  std::vector<std::string> command;
  /// The folder of the stand-in libraries.
  std::string libraries;
};

/// A run with one or more faults.
struct ExploredRun {
  /// Places in Exploration::moments.
  std::vector<std::size_t> moments;
  /// How it ended, in a few words.
  std::string outcome;
  /// The rules that it broke, a line each.
  std::vector<std::string> broken;
};

struct Exploration {
  std::vector<Moment> moments;
  /// The runs in which every fault fired, in the order of their moments.
  std::vector<ExploredRun> runs;
  /// How many runs ended before one of their faults could fire.
  std::size_t withoutEffect = 0;
  /// How many runs there are, of which a sample may have been taken.
  std::size_t possibleRuns = 0;
};

struct ExplorationPlan {
  /// Every pair of faults instead of every single one.
  bool pairs;
  /// So many runs, chosen by the seed; 0: all.
  std::size_t sample;
  std::uint64_t seed;
  /// Is called with how many runs of how many have ended.
  std::function<void(std::size_t ended, std::size_t all)> progress;
};

/// Explores `scene` on all processors. Throws std::runtime_error, with a line for the user, when
/// the run without a fault breaks a rule, or a run has trouble of the rig's own. From then on this
/// process and those that it starts leave no core files.
[[nodiscard]] Exploration Explore(const Scene& scene, const ExplorationPlan& plan);

/// Returns the board of `scene` with the faults of `run`, as a board file.
[[nodiscard]] std::string BoardOf(const Scene& scene, const Exploration& exploration,
                                  const ExploredRun& run);

}  // namespace vam

#endif  // SIMULATOR_EXPLORING_EXPLORATION_H_
