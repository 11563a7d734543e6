#include "simulator/board/board.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "simulator/board/board_faults.h"
#include "simulator/board/board_section.h"
#include "simulator/files/whole_file.h"
#include "simulator/model/chip_memory.h"
#include "simulator/model/firmware_image.h"

namespace vam {

namespace {

ProbeSection ReadProbe(const BoardSection& section) {
  section.Allow({"node", "ioctl", "flag"});
  ProbeSection probe;
  probe.nodePresent = section.Choice("node", {"present", "missing"}) == 0;
  probe.ioctlAnswers = section.Choice("ioctl", {"answers", "fails"}) == 0;
  if (section.Holds("flag", "untouched")) {
    probe.flag.reset();
  } else if (section.HoldsNumber("flag")) {
    probe.flag = static_cast<std::int32_t>(section.Number("flag", kSigned32));
  } else if (section.Has("flag")) {
    section.FailAt("flag", "\"flag\" must be a 32-bit signed number or \"untouched\"");
  }
  return probe;
}

SecureWorldSection ReadSecureWorld(const BoardSection& section) {
  section.Allow({"present", "trusted_application"});
  SecureWorldSection world;
  world.present = section.Truth("present", world.present);
  world.trustedApplication = section.Truth("trusted_application", world.trustedApplication);
  return world;
}

ImageSection ReadImage(const BoardSection& section) {
  section.Allow({"system_version", "app_version", "runs_system_version", "runs_app_version",
                 "payload_size", "state", "file"});
  ImageSection image;
  image.systemVersion = section.Text("system_version", "", kVersionCapacity);
  image.appVersion = section.Text("app_version", "", kVersionCapacity);
  image.runsSystemVersion =
      section.Text("runs_system_version", image.systemVersion, kVersionCapacity);
  image.runsAppVersion = section.Text("runs_app_version", image.appVersion, kVersionCapacity);
  if (section.Has("payload_size")) {
    image.payloadSize =
        static_cast<std::uint32_t>(section.Number("payload_size", {0, kPartSizeLimit}));
  }
  image.state =
      static_cast<ImageSection::State>(section.Choice("state", {"whole", "missing", "damaged"}));
  image.file = section.Text("file");
  if (!image.file.empty() && section.Keys().size() != 1) {
    section.FailAt("file", "\"file\" must be the only key of [image]");
  }
  return image;
}

ChipSection ReadChip(const BoardSection& section) {
  section.Allow({"system_version", "app_version", "state", "updates", "self_test", "information",
                 "hack_information", "ak_record", "rpmb_record"});
  ChipSection chip;
  chip.systemVersion = section.Text("system_version", "", kVersionCapacity);
  chip.appVersion = section.Text("app_version", "", kVersionCapacity);
  chip.state = static_cast<ChipSection::State>(
      section.Choice("state", {"whole", "interrupted", "damaged", "full"}));
  chip.implementsUpdates = section.Choice("updates", {"implemented", "not implemented"}) == 0;
  chip.selfTestPasses = section.Choice("self_test", {"passes", "fails"}) == 0;
  const NumberList words = {
      0, kInformationCapacity, kAny32,
      "a list of at most " + std::to_string(kInformationCapacity) + " numbers", "a word"};
  for (const std::int64_t word : section.Numbers("information", words)) {
    chip.information.push_back(static_cast<std::uint32_t>(word));
  }
  chip.hackInformation = section.Hex("hack_information", kHackInformationCapacity);
  chip.akRecord = section.Hex("ak_record", kAkRecordCapacity);
  chip.rpmbRecord = section.Hex("rpmb_record", kAkRecordCapacity);
  return chip;
}

std::map<std::string, std::string> ReadSettings(const BoardSection& section) {
  std::map<std::string, std::string> settings;
  for (const std::string& key : section.Keys()) {
    settings[key] = section.Text(key);
  }
  return settings;
}

std::map<std::int32_t, std::string> ReadSystemInformation(const BoardSection& section) {
  section.Allow({"model_name", "board_revision", "build_identifier"});
  std::map<std::int32_t, std::string> values;
  std::int32_t number = 0;
  // In the order of the keys' numbers in system_info.h.
  for (const char* key : {"model_name", "board_revision", "build_identifier"}) {
    if (section.Has(key)) {
      values[number] = section.Text(key);
    }
    ++number;
  }
  return values;
}

}  // namespace

Board ReadBoardText(const std::string& text, const std::string& name) {
  const BoardSection file = BoardSection::Parse(text, name);
  file.Allow({"title", "about", "outcome", "probe", "secure_world", "image", "chip", "settings",
              "system_information", "fault"});
  Board board;
  board.title = file.Text("title");
  if (board.title.empty()) {
    board.title = std::filesystem::path(name).stem().string();
  }
  board.about = file.Text("about");
  board.outcome = file.Text("outcome");
  board.probe = ReadProbe(file.Child("probe"));
  board.secureWorld = ReadSecureWorld(file.Child("secure_world"));
  board.image = ReadImage(file.Child("image"));
  board.chip = ReadChip(file.Child("chip"));
  board.settings = ReadSettings(file.Child("settings"));
  board.systemInformation = ReadSystemInformation(file.Child("system_information"));
  board.faults = ReadFaults(file);
  return board;
}

Board ReadBoardFile(const std::string& path) {
  const std::optional<std::string> text = ReadWholeFile(path, kBoardFileLimit);
  if (!text) {
    throw BoardError(path + ": cannot be read: " + FileErrorInWords(errno) +
                     "; give a board file, or a name that `vam-board list` shows");
  }
  return ReadBoardText(*text, path);
}

}  // namespace vam
