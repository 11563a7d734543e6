// vam-device-board: makes the virtual device the board that a board file describes. It hands the
// chip's memory, the firmware image and the faults to the trusted application's test build, and
// serves the device node.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/state/state_directory.h"
#include "virtual_device/device_board/ballast.h"
#include "virtual_device/device_board/node.h"
#include "virtual_device/device_board/test_session.h"

namespace {

/// A folder that lasts as long as this.
class TemporaryFolder {
 public:
  TemporaryFolder() : path((std::filesystem::temp_directory_path() / "boardXXXXXX").string()) {
    if (mkdtemp(path.data()) == nullptr) {
      throw std::runtime_error(path + ": cannot be made");
    }
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string File(const char* name) const { return path + "/" + name; }
  const std::string& Path() const { return path; }

 private:
  std::string path;
};

std::vector<std::uint8_t> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Returns the board's faults of the answers; a fault that the real libraries cannot be made to
/// show is an error.
std::vector<vam::AnswerFault> AnswerFaultsOf(const vam::Board& board) {
  std::vector<vam::AnswerFault> faults;
  for (const vam::Fault& fault : board.faults) {
    if (fault.kind == vam::Fault::Kind::kCall) {
      throw std::runtime_error("the fault on " + std::string(PlatformCallName(fault.call)) +
                               " needs the simulated libraries; use vam-board on a PC");
    }
    if (fault.kind == vam::Fault::Kind::kAnswer) {
      faults.push_back(fault.answer);
    }
  }
  return faults;
}

/// Prints what there is of the secure world: "absent", "bare" (no trusted application) or "whole".
void PrintWorld(const vam::Board& board) {
  const vam::SecureWorldSection& world = board.secureWorld;
  std::puts(!world.present ? "absent" : !world.trustedApplication ? "bare" : "whole");
}

void Load(const vam::Board& board, const std::string& boardFolder, bool keepChip) {
  const std::vector<vam::AnswerFault> faults = AnswerFaultsOf(board);
  const TemporaryFolder folder;
  PrepareStateDirectory(folder.Path(), board, boardFolder);
  vam::TestSession session;
  session.SetFaults(faults);
  if (!keepChip) {
    session.Replace(vam::kChipMemory, ReadFile(folder.File("chip.memory")));
  }
  if (std::filesystem::exists(folder.File("firmware.img"))) {
    session.Replace(vam::kFirmwareImage, ReadFile(folder.File("firmware.img")));
  } else {
    session.Remove(vam::kFirmwareImage);
  }
  for (const vam::Fault& fault : board.faults) {
    if (fault.kind == vam::Fault::Kind::kPowerCut) {
      session.StopAfterWrites(fault.writes, vam::kLosePower);
    }
  }
}

void RequireAllApplied(const vam::Board& board) {
  const std::size_t declared = AnswerFaultsOf(board).size();
  const std::vector<std::uint32_t> applied = vam::TestSession().Applied();
  if (applied.size() != declared) {
    throw std::runtime_error("the trusted application has " + std::to_string(applied.size()) +
                             " faults and the board " + std::to_string(declared));
  }
  for (std::size_t i = 0; i < declared; ++i) {
    if (applied[i] == 0) {
      throw std::runtime_error("fault " + std::to_string(i + 1) + " was never applied");
    }
  }
}

void PrintChip() {
  const TemporaryFolder folder;
  const std::string file = folder.File("chip.memory");
  const std::vector<std::uint8_t> memory = vam::TestSession().Read(vam::kChipMemory);
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(memory.data()),
             static_cast<std::streamsize>(memory.size()));
  std::fputs(vam::DescribeChip(file).c_str(), stdout);
}

void Occupy() {
  const vam::Ballast ballast;
  std::printf("%zu instances\n", ballast.Instances());
  std::fflush(stdout);
  pause();
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Makes the virtual device the board that a board file describes.");
  app.require_subcommand(1);
  std::string boardFile;
  bool keepChip = false;
  std::uint32_t writes = 0;
  vam::StopKind stopKind = vam::kPanic;

  const auto onBoard = [&](CLI::App* command) {
    command->add_option("BOARD", boardFile, "Board file")->required();
    return command;
  };
  onBoard(app.add_subcommand("world", "Prints what there is of the secure world"))->callback([&] {
    PrintWorld(vam::ReadBoardFile(boardFile));
  });
  onBoard(app.add_subcommand("node", "Serves /dev/zelkshield until it is terminated"))
      ->callback([&] { vam::ServeNode(vam::ReadBoardFile(boardFile).probe); });
  CLI::App* load =
      onBoard(app.add_subcommand("load", "Sets up the chip, the firmware image and the faults"));
  load->add_flag("--keep-chip", keepChip, "Leave the chip as it is");
  load->callback([&] {
    Load(vam::ReadBoardFile(boardFile), std::filesystem::path(boardFile).parent_path().string(),
         keepChip);
  });
  onBoard(app.add_subcommand("require-applied", "Fails when a fault of the board never struck"))
      ->callback([&] { RequireAllApplied(vam::ReadBoardFile(boardFile)); });
  CLI::App* stop = app.add_subcommand("stop", "Stops the trusted application at a chip write");
  stop->add_option("WRITES", writes, "Behind how many writes from now")->required();
  stop->add_option("KIND", stopKind, "power or panic")
      ->required()
      ->transform(CLI::CheckedTransformer(std::map<std::string, vam::StopKind>{
          {"power", vam::kLosePower}, {"panic", vam::kPanic}}));
  stop->callback([&] { vam::TestSession().StopAfterWrites(writes, stopKind); });
  app.add_subcommand(
         "occupy",
         "Occupies the secure world's memory until it is terminated; says when it is full")
      ->callback(Occupy);
  app.add_subcommand("chip", "Prints what the chip's memory holds")->callback(PrintChip);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vam-device-board: %s\n", error.what());
    return 1;
  }
  return 0;
}
