// vam-board: puts programs on a simulated board.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/run/board_program.h"
#include "simulator/run/run.h"
#include "simulator/state/chip_description.h"
#include "simulator/state/state_folder.h"

namespace {

namespace fs = std::filesystem;

/// Exit status of vam-board's own failures; a program's status passes through.
constexpr int kFailed = 125;

/// How the names of the folders of runs begin.
constexpr char kRunFolders[] = "vam-board";

/// Build tree and installation are laid out alike below the folder above the executable's.
fs::path Prefix() { return fs::read_symlink("/proc/self/exe").parent_path().parent_path(); }

fs::path BoardsFolder() { return Prefix() / VAM_BOARDS_FOLDER; }

std::string LibrariesFolder() { return (Prefix() / VAM_SIMULATOR_LIBRARIES).string(); }

/// Keeps the descriptors of standard streams that the caller closed from going to other files. They
/// are as useless as closed ones, and the program on the board finds them closed.
void HoldClosedStandardStreams() {
  int descriptor = -1;
  do {
    descriptor = open("/dev/null", O_PATH | O_CLOEXEC);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  close(descriptor);
}

/// A board file's place and contents.
struct BoardFile {
  std::string path;
  std::string text;
};

BoardFile LoadBoardFile(const std::string& board) {
  const bool isPath =
      board.find('/') != std::string::npos || fs::path(board).extension() == ".toml";
  BoardFile file;
  file.path = isPath ? board : (BoardsFolder() / (board + ".toml")).string();
  const std::optional<std::string> text = vam::ReadWholeFile(file.path);
  if (!text) {
    throw std::runtime_error(
        isPath
            ? board + ": cannot be read; give a board file, or a name that `vam-board list` shows"
            : "no board is named \"" + board + "\"; `vam-board list` shows those that there are");
  }
  file.text = *text;
  return file;
}

std::string FolderOf(const BoardFile& file) { return fs::path(file.path).parent_path().string(); }

/// Makes `path` an empty file and returns where it lies.
std::string StartJournal(const std::string& path) {
  std::ofstream journal(path, std::ios::trunc);
  if (!journal) {
    throw std::runtime_error(path + ": the journal cannot be written: " + std::strerror(errno));
  }
  return fs::absolute(path).string();
}

void ReportFaultsThatNeverFired(const vam::Run& run) {
  for (const vam::Fault* fault : run.FaultsThatNeverFired()) {
    std::fprintf(stderr, "vam-board: fault %u (%s) never fired\n", fault->number,
                 fault->description.c_str());
  }
}

int RunProgram(const std::string& board, const std::string& state, const std::string& journal,
               const std::vector<std::string>& command) {
  const BoardFile file = LoadBoardFile(board);
  const vam::Board description = vam::ReadBoardText(file.text, file.path);
  vam::RemoveLeftOverFolders(kRunFolders);
  const vam::TemporaryFolder folder(kRunFolders);
  const std::string stateFolder =
      state.empty() ? folder.Path() + "/chip" : fs::absolute(state).string();
  vam::PrepareStateFolder(
      stateFolder, description, FolderOf(file),
      state.empty() ? vam::Keeping::kWhilePowered : vam::Keeping::kThroughPowerFailure);
  const std::string journalFile = journal.empty() ? "" : StartJournal(journal);
  vam::Run::Prepare(folder.Path(), file.text, file.path, stateFolder, journalFile);

  const int status =
      vam::RunOnBoard({command, folder.Path(), LibrariesFolder(), description.probe});
  ReportFaultsThatNeverFired(vam::Run(folder.Path()));
  return status;
}

std::string ProbeInWords(const vam::ProbeSection& probe) {
  if (!probe.nodePresent) {
    return "missing";
  }
  if (!probe.ioctlAnswers) {
    return "present, its ioctl fails";
  }
  return probe.flag ? "present, answers " + std::to_string(*probe.flag)
                    : "present, answers without writing the flag";
}

std::string ImageInWords(const vam::ImageSection& image) {
  if (!image.file.empty()) {
    return "the file " + image.file;
  }
  switch (image.state) {
    case vam::ImageSection::State::kMissing:
      return "missing";
    case vam::ImageSection::State::kDamaged:
      return "damaged";
    default:
      return "system " + image.systemVersion + ", app " + image.appVersion;
  }
}

std::string SecureWorldInWords(const vam::SecureWorldSection& world) {
  if (!world.present) {
    return "absent";
  }
  return world.trustedApplication ? "present, with the trusted application"
                                  : "present, without the trusted application";
}

void ShowBoard(const std::string& board, const std::string& state) {
  const BoardFile file = LoadBoardFile(board);
  const vam::Board description = vam::ReadBoardText(file.text, file.path);
  std::string text = "Board: " + description.title + "\n";
  if (!description.about.empty()) {
    text += "  " + description.about + "\n";
  }
  text += "  device node: " + ProbeInWords(description.probe) + "\n";
  text += "  secure world: " + SecureWorldInWords(description.secureWorld) + "\n";
  text += "  image: " + ImageInWords(description.image) + "\n";
  for (const vam::Fault& fault : description.faults) {
    text += "  fault " + std::to_string(fault.number) + ": " + fault.description + "\n";
  }
  const vam::TemporaryFolder folder(kRunFolders);
  std::string memory = vam::ChipMemoryIn(state);
  if (state.empty() || !fs::exists(memory)) {
    // The chip as a first run would find it.
    vam::PrepareStateFolder(folder.Path(), description, FolderOf(file),
                            vam::Keeping::kWhilePowered);
    memory = vam::ChipMemoryIn(folder.Path());
  }
  text += vam::DescribeChip(memory);
  std::fputs(text.c_str(), stdout);
}

void ListBoards() {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(BoardsFolder())) {
    if (entry.path().extension() == ".toml") {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) {
    std::printf("%-32s %s\n", file.stem().c_str(), vam::ReadBoardFile(file.string()).title.c_str());
  }
}

int Perform(int argc, char** argv) {
  CLI::App app("Puts programs on a simulated board.");
  app.set_version_flag("--version", VAM_VERSION);
  app.require_subcommand(1);

  std::string board;
  std::string state;
  std::string journal;
  std::vector<std::string> command;
  CLI::App* run = app.add_subcommand("run", "Run a program on a board");
  run->add_option("--board", board, "A board file, or the name of a board that ships")->required();
  run->add_option("--state", state,
                  "Folder that keeps the chip's memory from run to run; a new chip by default");
  run->add_option("--journal", journal, "File for a line on every platform call");
  run->add_option("PROGRAM", command, "The program and its arguments, after --")->required();

  CLI::App* show = app.add_subcommand("show", "Show a board and its chip in words");
  show->add_option("--board", board, "A board file, or the name of a board that ships")->required();
  show->add_option("--state", state, "Folder that keeps the chip's memory");

  CLI::App* list = app.add_subcommand("list", "List the boards that ship");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      return app.exit(error);
    }
    std::fprintf(stderr, "vam-board: %s; see vam-board --help\n", error.what());
    return kFailed;
  }
  if (*list) {
    ListBoards();
  } else if (*show) {
    ShowBoard(board, state);
  } else {
    return RunProgram(board, state, journal, command);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  HoldClosedStandardStreams();
  try {
    return Perform(argc, argv);
  } catch (const vam::NotStarted& error) {
    std::fprintf(stderr, "vam-board: %s\n", error.what());
    return error.status;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vam-board: %s\n", error.what());
    return kFailed;
  }
}
