// vam-device-board: makes the virtual device the board that a board file describes. It hands the
// chip's memory, the firmware image and the faults to the trusted application's test build, and
// serves the device node.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/state/chip_description.h"
#include "simulator/state/state_folder.h"
#include "virtual_device/device_board/ballast.h"
#include "virtual_device/device_board/node.h"
#include "virtual_device/device_board/test_session.h"

namespace {

std::vector<std::uint8_t> ReadFile(const std::string& path) {
  const std::optional<std::string> bytes = vam::ReadWholeFile(path);
  if (!bytes) {
    throw std::runtime_error(path + ": cannot be read");
  }
  return {bytes->begin(), bytes->end()};
}

/// Refuses a board with a fault that this device cannot be made to show: one of a platform call or
/// of the program's surroundings, or a power cut, which only the host can make.
void RequireRealParts(const vam::Board& board) {
  for (const vam::Fault& fault : board.faults) {
    if (fault.kind == vam::Fault::Kind::kCall) {
      throw std::runtime_error("the fault on " + std::string(PlatformCallName(fault.call)) +
                               " needs the simulated libraries; use vam-board on a PC");
    }
    if (fault.kind != vam::Fault::Kind::kAnswer) {
      const bool isPowerCut = fault.kind == vam::Fault::Kind::kPowerCut;
      throw std::runtime_error((isPowerCut ? "the power cut" : "the fault " + fault.description) +
                               " needs a simulated board; use vam-board on a PC");
    }
  }
}

std::vector<vam::AnswerFault> AnswerFaultsOf(const vam::Board& board) {
  std::vector<vam::AnswerFault> faults;
  for (const vam::Fault& fault : board.faults) {
    if (fault.kind == vam::Fault::Kind::kAnswer) {
      faults.push_back(fault.answer);
    }
  }
  return faults;
}

/// Prints how much of the secure world the board has: "absent", "bare" (without the trusted
/// application) or "whole".
void PrintWorld(const vam::Board& board) {
  RequireRealParts(board);
  const vam::SecureWorldSection& world = board.secureWorld;
  std::puts(!world.present ? "absent" : !world.trustedApplication ? "bare" : "whole");
}

void Load(const vam::Board& board, const std::string& boardFolder, bool keepChip) {
  RequireRealParts(board);
  const vam::TemporaryFolder folder("vam-device-board");
  PrepareStateFolder(folder.Path(), board, boardFolder);
  vam::TestSession session;
  session.SetFaults(AnswerFaultsOf(board));
  if (!keepChip) {
    session.Replace(vam::kChipMemory, ReadFile(vam::ChipMemoryIn(folder.Path())));
  }
  const std::string image = vam::FirmwareImageIn(folder.Path());
  if (std::filesystem::exists(image)) {
    session.Replace(vam::kFirmwareImage, ReadFile(image));
  } else {
    session.Remove(vam::kFirmwareImage);
  }
}

void RequireAllApplied(const vam::Board& board) {
  const std::size_t declared = AnswerFaultsOf(board).size();
  const std::vector<std::uint32_t> applied = vam::TestSession().Applied();
  if (applied.size() != declared) {
    throw std::runtime_error("the trusted application has " + std::to_string(applied.size()) +
                             " faults, the board has " + std::to_string(declared));
  }
  for (std::size_t i = 0; i < declared; ++i) {
    if (applied[i] == 0) {
      throw std::runtime_error("fault " + std::to_string(i + 1) + " was never applied");
    }
  }
}

void PrintChip() {
  const vam::TemporaryFolder folder("vam-device-board");
  const std::string file = vam::ChipMemoryIn(folder.Path());
  const std::vector<std::uint8_t> memory = vam::TestSession().Read(vam::kChipMemory);
  if (!vam::ReplaceFile(file, memory.data(), memory.size())) {
    throw std::runtime_error(file + ": cannot be written");
  }
  std::fputs(vam::DescribeChip(file).c_str(), stdout);
}

void Occupy() {
  vam::OccupySecureMemory();
  std::puts("occupied");
  std::fflush(stdout);
  pause();
}

int Perform(int argc, char** argv) {
  CLI::App app("Makes the virtual device the board that a board file describes.");
  app.require_subcommand(1);
  std::string boardFile;
  bool keepChip = false;
  std::uint32_t writes{};
  vam::StopKind stopKind = vam::kPanic;

  const auto onBoard = [&](CLI::App* command) {
    command->add_option("BOARD", boardFile, "Board file")->required();
    return command;
  };
  onBoard(app.add_subcommand("world", "Prints how much of the secure world the board has"))
      ->callback([&] { PrintWorld(vam::ReadBoardFile(boardFile)); });
  onBoard(app.add_subcommand("node", "Serves /dev/zelkshield until it is terminated"))
      ->callback([&] { vam::ServeNode(vam::ReadBoardFile(boardFile).probe); });
  CLI::App* load =
      onBoard(app.add_subcommand("load", "Sets up the chip, the firmware image and the faults"));
  load->add_flag("--keep-chip", keepChip, "Leave the chip as it is");
  load->callback([&] {
    Load(vam::ReadBoardFile(boardFile), std::filesystem::path(boardFile).parent_path().string(),
         keepChip);
  });
  onBoard(
      app.add_subcommand("require-applied", "Fails when a fault of the board was never applied"))
      ->callback([&] { RequireAllApplied(vam::ReadBoardFile(boardFile)); });
  CLI::App* stop = app.add_subcommand("stop", "Stops the trusted application at a chip write");
  stop->add_option("WRITES", writes, "After how many writes, counted from now")->required();
  stop->add_option("KIND", stopKind, "power or panic")
      ->required()
      ->transform(CLI::CheckedTransformer(std::map<std::string, vam::StopKind>{
          {"power", vam::kLosePower}, {"panic", vam::kPanic}}));
  stop->callback([&] { vam::TestSession().StopAfterWrites(writes, stopKind); });
  app.add_subcommand(
         "occupy",
         "Occupies the secure world's memory until it is terminated, and prints once it is full")
      ->callback(Occupy);
  app.add_subcommand("chip", "Prints what the chip's memory holds")->callback(PrintChip);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Perform(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vam-device-board: %s\n", error.what());
    return 1;
  }
}
