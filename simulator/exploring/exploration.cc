#include "simulator/exploring/exploration.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/exploring/moments.h"
#include "simulator/exploring/rules.h"
#include "simulator/exploring/single_run.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/run/prepared_program.h"

namespace vam {

namespace {

namespace fs = std::filesystem;

constexpr char kFolders[] = "vam-explore";
constexpr char kUpdateTool[] = "vam-update";
/// A board on which nothing fails.
constexpr char kWholeBoard[] = R"([image]
system_version = "1.1"
app_version = "1.1"
[chip]
information = [1]
)";
/// Has the requests counted, and none refused.
constexpr char kMemoryThatLasts[] = "\n[[fault]]\nmemory_fails_at_request = 4294967295\n";
/// More than any report of a run takes.
constexpr std::size_t kReportLimit = 65536;

bool IsUpdateTool(const Scene& scene) {
  return fs::path(scene.command[0]).filename() == kUpdateTool;
}

std::string FaultsOf(const std::vector<Moment>& moments, const std::vector<std::size_t>& places) {
  std::string faults;
  for (const std::size_t place : places) {
    faults += moments[place].faults;
  }
  return faults;
}

/// Empties a folder that lives longer than one run.
void Empty(const std::string& folder) {
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    fs::remove_all(entry.path());
  }
}

/// Carries out runs, one after the other, in one process.
class Explorer {
 public:
  Explorer(const Scene& explored, const SingleRun& cleanRun, const SingleRun& wholeRun)
      : scene(explored),
        clean(cleanRun),
        whole(wholeRun),
        isUpdateTool(IsUpdateTool(explored)),
        mends(isUpdateTool && cleanRun.evidence.chipRunsImage &&
              ReadBoardText(explored.boardText, explored.boardName).faults.empty()),
        folder(kFolders, FolderPlace::kMemory) {}

  /// Returns whether all of `faults` fired, and then what came of the run.
  bool Explore(const std::string& faults, ExploredRun& explored) {
    Empty(folder.Path());
    const SingleRun run = RunOnce(scene, folder.Path(), faults, Prepared());
    explored.broken = BrokenByAnyProgram(run.evidence, clean.evidence, whole.evidence);
    if (isUpdateTool) {
      explored.outcome = OutcomeOf(run.evidence);
      Add(explored, BrokenByTheUpdateTool(run.evidence));
    }
    if (mends && mended.insert(ChipMemoryOf(folder.Path())).second) {
      const SingleRun next = RunAgain(scene, folder.Path(), Prepared());
      Add(explored, BrokenByTheNextRun(next.evidence, clean.evidence));
    }
    return run.allFired;
  }

 private:
  /// Returns the program as it was loaded, and loads it again after a loss of power took it along.
  PreparedProgram* Prepared() {
    if (!prepared || (canBePrepared && !prepared->IsReady())) {
      prepared.emplace(scene.command, scene.libraries);
      canBePrepared = prepared->IsReady();
    }
    return &*prepared;
  }

  static void Add(ExploredRun& explored, const std::vector<std::string>& broken) {
    explored.broken.insert(explored.broken.end(), broken.begin(), broken.end());
  }

  const Scene& scene;
  const SingleRun& clean;
  const SingleRun& whole;
  bool isUpdateTool;
  bool mends;
  TemporaryFolder folder;
  std::optional<PreparedProgram> prepared;
  bool canBePrepared = true;
  /// The chips that a next run was tried on.
  std::set<std::string> mended;
};

using Faults = std::vector<std::size_t>;

/// A socket on which each message arrives whole.
class Reports {
 public:
  Reports() {
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
      throw std::runtime_error(std::string("no socket: ") + std::strerror(errno));
    }
  }
  ~Reports() {
    CloseSender();
    close(ends[0]);
  }
  Reports(const Reports&) = delete;
  Reports& operator=(const Reports&) = delete;

  void Send(const std::string& report) const {
    const std::string text = report.substr(0, kReportLimit);
    static_cast<void>(send(ends[1], text.data(), text.size(), MSG_NOSIGNAL));
  }
  void CloseSender() {
    if (ends[1] >= 0) {
      close(ends[1]);
      ends[1] = -1;
    }
  }
  /// Returns an empty text once every sender is closed.
  [[nodiscard]] std::string Receive() const {
    std::string report(kReportLimit, '\0');
    const ssize_t size = recv(ends[0], report.data(), report.size(), 0);
    report.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return report;
  }

 private:
  int ends[2] = {-1, -1};
};

/// One process of the exploration: carries out every `step`th run from `first` on.
void Work(Explorer& explorer, const std::vector<Moment>& moments, const std::vector<Faults>& runs,
          std::size_t first, std::size_t step, const Reports& reports) {
  for (std::size_t i = first; i < runs.size(); i += step) {
    ExploredRun explored;
    const bool fired = explorer.Explore(FaultsOf(moments, runs[i]), explored);
    nlohmann::json report = {
        {"run", i}, {"fired", fired}, {"outcome", explored.outcome}, {"broken", explored.broken}};
    reports.Send(report.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace));
  }
}

/// Runs `work` in a process of its own.
pid_t StartWorker(Reports& reports, const std::function<void()>& work) {
  const pid_t parent = getpid();
  const pid_t worker = fork();
  if (worker != 0) {
    return worker;
  }
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  int status = getppid() == parent ? 0 : 1;
  try {
    if (status == 0) {
      work();
    }
  } catch (const std::exception& error) {
    reports.Send(nlohmann::json{{"trouble", error.what()}}.dump(
        -1, ' ', true, nlohmann::json::error_handler_t::replace));
    status = 1;
  }
  _exit(status);
}

/// Keeps the kernel from writing core files for this process and those that it starts.
void ForbidCoreFiles() {
  rlimit size;
  if (getrlimit(RLIMIT_CORE, &size) == 0) {
    size.rlim_cur = 0;
    setrlimit(RLIMIT_CORE, &size);
  }
}

/// Returns one moment of each kind at each place.
std::vector<std::size_t> OneOfEachKind(const std::vector<Moment>& moments) {
  std::set<std::pair<std::string, std::string>> seen;
  std::vector<std::size_t> chosen;
  for (const Moment& moment : moments) {
    if (seen.emplace(moment.kind, moment.place).second) {
      chosen.push_back(static_cast<std::size_t>(&moment - moments.data()));
    }
  }
  return chosen;
}

/// Returns the faults of each run that there is.
std::vector<Faults> AllRunsOf(const std::vector<Moment>& moments, const ExplorationPlan& plan) {
  std::vector<Faults> runs;
  if (plan.pairs) {
    const std::vector<std::size_t> chosen = OneOfEachKind(moments);
    for (std::size_t i = 0; i < chosen.size(); ++i) {
      for (std::size_t j = i + 1; j < chosen.size(); ++j) {
        runs.push_back({chosen[i], chosen[j]});
      }
    }
  } else {
    for (std::size_t i = 0; i < moments.size(); ++i) {
      runs.push_back({i});
    }
  }
  return runs;
}

/// Leaves of `runs` those that the plan asks for.
void Choose(std::vector<Faults>& runs, const ExplorationPlan& plan) {
  if (plan.sample != 0 && plan.sample < runs.size()) {
    // The same on every machine, which std::shuffle is not.
    std::mt19937_64 numbers(plan.seed);
    for (std::size_t i = 0; i < plan.sample; ++i) {
      std::swap(runs[i], runs[i + numbers() % (runs.size() - i)]);
    }
    runs.resize(plan.sample);
    std::sort(runs.begin(), runs.end());
  }
}

SingleRun RunInItsOwnFolder(const Scene& scene, const std::string& faults = "") {
  const TemporaryFolder folder(kFolders, FolderPlace::kMemory);
  return RunOnce(scene, folder.Path(), faults);
}

/// Returns how often the program asks for memory in a run without a fault.
std::uint32_t MemoryRequestsOf(const Scene& scene) {
  return RunInItsOwnFolder(scene, kMemoryThatLasts).counts.memoryRequests;
}

/// The run without a fault, which must break no rule.
SingleRun RunWithoutFault(const Scene& scene) {
  SingleRun clean = RunInItsOwnFolder(scene);
  std::vector<std::string> broken =
      BrokenByAnyProgram(clean.evidence, clean.evidence, clean.evidence);
  if (IsUpdateTool(scene)) {
    for (const std::string& line : BrokenByTheUpdateTool(clean.evidence)) {
      broken.push_back(line);
    }
  }
  if (!broken.empty()) {
    throw std::runtime_error("the run without a fault breaks a rule: " + broken.front());
  }
  return clean;
}

}  // namespace

Exploration Explore(const Scene& scene, const ExplorationPlan& plan) {
  RemoveLeftOverFolders(kFolders, FolderPlace::kMemory);
  // A core file of a run that a fault ended would pass for a file that the program touched.
  ForbidCoreFiles();
  const SingleRun clean = RunWithoutFault(scene);
  Scene wholeScene = scene;
  wholeScene.boardText = kWholeBoard;
  const SingleRun whole = RunInItsOwnFolder(wholeScene);
  Exploration exploration;
  MomentCounts counts = clean.counts;
  counts.memoryRequests = MemoryRequestsOf(scene);
  exploration.moments = MomentsOf(clean.evidence.journal, counts);
  std::vector<Faults> runs = AllRunsOf(exploration.moments, plan);
  exploration.possibleRuns = runs.size();
  Choose(runs, plan);

  Reports reports;
  const std::size_t workers = std::max(1U, std::thread::hardware_concurrency());
  for (std::size_t first = 0; first < workers; ++first) {
    const pid_t worker = StartWorker(reports, [&] {
      Explorer explorer(scene, clean, whole);
      Work(explorer, exploration.moments, runs, first, workers, reports);
    });
    if (worker < 0) {
      throw std::runtime_error(std::string("no process: ") + std::strerror(errno));
    }
  }
  reports.CloseSender();

  std::vector<ExploredRun> explored(runs.size());
  std::vector<bool> fired(runs.size(), false);
  std::size_t ended = 0;
  std::string trouble;
  for (std::string text = reports.Receive(); !text.empty(); text = reports.Receive()) {
    const nlohmann::json report = nlohmann::json::parse(text);
    if (report.contains("trouble")) {
      trouble = report["trouble"];
      continue;
    }
    const std::size_t run = report["run"];
    explored[run] = {runs[run], report["outcome"], report["broken"]};
    fired[run] = report["fired"];
    plan.progress(++ended, runs.size());
  }
  while (wait(nullptr) > 0) {
  }
  if (ended != runs.size()) {
    throw std::runtime_error(trouble.empty() ? "a process of the exploration was killed" : trouble);
  }
  for (std::size_t i = 0; i < runs.size(); ++i) {
    // A rule that was broken counts, whether or not the fault was part of it.
    if (fired[i] || !explored[i].broken.empty()) {
      exploration.runs.push_back(std::move(explored[i]));
    } else {
      ++exploration.withoutEffect;
    }
  }
  return exploration;
}

std::string BoardOf(const Scene& scene, const Exploration& exploration, const ExploredRun& run) {
  return scene.boardText + FaultsOf(exploration.moments, run.moments);
}

}  // namespace vam
