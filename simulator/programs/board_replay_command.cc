#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/program.h"
#include "journal/journal.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/programs/board_commands.h"
#include "simulator/programs/board_files.h"
#include "simulator/programs/board_launch.h"
#include "simulator/programs/run_files.h"
#include "simulator/recording/calls_to_replay.h"
#include "simulator/recording/journal_reader.h"
#include "simulator/run/board_program.h"
#include "simulator/run/board_status.h"
#include "simulator/run/recorded_call.h"
#include "simulator/run/replay.h"
#include "simulator/run/run.h"
#include "simulator/state/state_claim.h"

namespace vam {

namespace {

namespace fs = std::filesystem;

/// Exit status of a replay whose program asks something else than the recorded one.
constexpr int kParts = 123;

RecordedRun LoadRecording(const ReplayOptions& options) {
  const std::optional<std::string> text = ReadWholeFile(options.recording);
  if (!text) {
    throw std::runtime_error(options.recording +
                             ": the journal cannot be read: " + FileErrorInWords(errno));
  }
  RecordedRun run = ReadJournal(*text, options.recording);
  // A device that lost its power may have written a part of the last line.
  if (!run.problem.empty() && !run.isCut) {
    throw std::runtime_error(run.problem);
  }
  if (options.firstCall > run.calls.size() && options.firstCall != 1) {
    throw std::runtime_error(options.recording + ": has " + std::to_string(run.calls.size()) +
                             " calls; give one of them with --from-call");
  }
  return run;
}

/// Returns the probe of a board that has a node unless the recorded one had none.
ProbeSection ProbeOf(const RecordedRun& run) {
  ProbeSection probe;
  for (const JournalCall& call : run.calls) {
    if (call.call == PlatformCall::kOpen) {
      probe.nodePresent =
          call.members.contains("descriptor") || call.members["errno"]["number"] != ENOENT;
    }
  }
  return probe;
}

/// Says how the replay ended where the program alone did not end it. Returns its exit status.
int Conclude(const Run& run, const Replay& replay, int status) {
  std::string told = run.TroubleInWords();
  switch (run.KindOfTrouble()) {
    case Trouble::kOfTheRig:
      throw std::runtime_error(told);
    case Trouble::kRecordingIsOver:
      break;
    case Trouble::kPartsFromRecording:
      status = kParts;
      break;
    case Trouble::kNone:
      told = replay.WhatIsLeft();
      status = told.empty() ? status : kParts;
      break;
  }
  if (!told.empty()) {
    std::fprintf(stderr, "vam-board: %s\n", told.c_str());
  }
  return status;
}

}  // namespace

int ReplayRecording(const ReplayOptions& options) {
  const RecordedRun recorded = LoadRecording(options);
  RemoveLeftOverFolders(kRunFolders);
  const TemporaryFolder folder(kRunFolders);
  const bool isKept = !options.state.empty();
  const std::string stateFolder =
      isKept ? fs::absolute(options.state).string() : Run::OwnStateFolder(folder.Path());
  RefuseToOverwrite({"", options.recording, "", FindProgram(options.command[0]),
                     isKept ? stateFolder : "", options.journal});
  std::optional<StateClaim> claim;
  if (isKept) {
    claim.emplace(stateFolder, fs::absolute(options.recording).string(), false);
    claim->Record();
  } else {
    fs::create_directory(stateFolder);
  }
  JournalSettings settings;
  settings.withKeys = options.withKeys;
  const std::string journal = StartRunJournal(options.journal, options.command, settings);
  Run::Prepare(folder.Path(), "", options.recording, isKept ? stateFolder : "", journal, settings);
  Replay::Prepare(folder.Path(), CallsToReplay(recorded, options.firstCall));
  if (!options.sharesMachinesTmp) {
    LeadToStatusFiles(folder.Path(), stateFolder);
  }
  const BoardStatus statusFiles(options.sharesMachinesTmp ? "/tmp" : stateFolder);

  const int status =
      RunOnBoard({options.command, folder.Path(), LibrariesFolder(), ProbeOf(recorded), {}});
  if (options.showsVerdict) {
    Print(statusFiles.DescribeChanges());
  }
  Run run(folder.Path());
  return Conclude(run, *run.Recording(), status);
}

}  // namespace vam
