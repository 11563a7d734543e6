#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "command_line/program.h"
#include "simulator/board/board.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/programs/board_commands.h"
#include "simulator/programs/board_files.h"
#include "simulator/programs/fault_words.h"
#include "simulator/run/board_status.h"
#include "simulator/state/chip_description.h"
#include "simulator/state/state_claim.h"
#include "simulator/state/state_folder.h"

namespace vam {

namespace {

std::string ProbeInWords(const ProbeSection& probe) {
  if (!probe.nodePresent) {
    return "missing";
  }
  if (!probe.ioctlAnswers) {
    return "present, its ioctl fails";
  }
  return probe.flag ? "present, answers " + std::to_string(*probe.flag)
                    : "present, answers without writing the flag";
}

std::string ImageInWords(const ImageSection& image) {
  if (!image.file.empty()) {
    return "the file " + image.file;
  }
  switch (image.state) {
    case ImageSection::State::kMissing:
      return "missing";
    case ImageSection::State::kDamaged:
      return "damaged";
    default:
      return "system " + image.systemVersion + ", app " + image.appVersion;
  }
}

std::string SecureWorldInWords(const SecureWorldSection& world) {
  if (!world.present) {
    return "absent";
  }
  return world.trustedApplication ? "present, with the trusted application"
                                  : "present, without the trusted application";
}

}  // namespace

void ShowBoard(const std::string& board, const std::string& state) {
  const BoardFile file = LoadBoardFile(board);
  const Board description = ReadBoardText(file.text, file.path);
  std::string text = "Board: " + description.title + "\n";
  if (!description.about.empty()) {
    text += "  " + description.about + "\n";
  }
  if (!description.outcome.empty()) {
    text += "  a run of the update tool: " + description.outcome + "\n";
  }
  text += "  device node: " + ProbeInWords(description.probe) + "\n";
  text += "  secure world: " + SecureWorldInWords(description.secureWorld) + "\n";
  text += "  image: " + ImageInWords(description.image) + "\n";
  for (const Fault& fault : description.faults) {
    text += "  fault " + std::to_string(fault.number) + ": " + fault.description + ": " +
            EffectInWords(fault) + "\n";
  }
  const TemporaryFolder folder(kRunFolders);
  std::string memory = ChipMemoryIn(state);
  std::error_code error;
  if (std::filesystem::exists(state, error) && !std::filesystem::is_directory(state, error)) {
    throw std::runtime_error(state + ": is no folder; give the state folder of a run");
  }
  // One that cannot be looked at is there, and its description tells why.
  if (state.empty() || (!std::filesystem::exists(memory, error) && !error)) {
    // The chip as a first run would find it.
    PrepareStateFolder(folder.Path(), description, file.Folder(), Keeping::kWhilePowered);
    memory = ChipMemoryIn(folder.Path());
  }
  text += DescribeChip(memory);
  if (!state.empty()) {
    const std::optional<std::string> owner = BoardOfState(state);
    if (owner && *owner != file.Identity()) {
      text += "  of another board: " + *owner + "; a run on this one needs --other-board\n";
    }
    text += BoardStatus(state).Describe();
  }
  Print(text);
}

}  // namespace vam
