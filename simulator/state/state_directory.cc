#include "simulator/state/state_directory.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "simulator/model/chip_memory.h"
#include "simulator/model/firmware_image.h"
#include "simulator/state/file_replacement.h"
#include "simulator/state/firmware_image_file.h"
#include "simulator/state/pc_environment.h"

namespace vam {

namespace {

void Write(const std::string& path, const void* bytes, std::size_t size) {
  if (!ReplaceFile(path, bytes, size)) {
    throw std::runtime_error(path + ": cannot be written: " + std::strerror(errno) +
                             "; give a folder that you can write to with --state");
  }
}

std::vector<std::uint8_t> ReadImageFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file),
                                  std::istreambuf_iterator<char>()};
  if (!file.is_open() || file.bad()) {
    throw std::runtime_error(path + ": the board's image cannot be read; make it with vam-image");
  }
  return bytes;
}

std::vector<std::uint8_t> MakeImage(const ImageSection& section, const std::string& boardFolder) {
  if (!section.file.empty()) {
    return ReadImageFile((std::filesystem::path(boardFolder) / section.file).string());
  }
  ImageContents contents;
  contents.systemVersion = section.systemVersion;
  contents.appVersion = section.appVersion;
  contents.runsSystemVersion = section.runsSystemVersion;
  contents.runsAppVersion = section.runsAppVersion;
  contents.systemPart.assign(section.payloadSize, 's');
  contents.appPart.assign(section.payloadSize, 'a');
  std::vector<std::uint8_t> image = MakeFirmwareImage(contents);
  if (section.state == ImageSection::State::kDamaged) {
    image.back() = static_cast<std::uint8_t>(image.back() ^ 1);
  }
  return image;
}

void SetVersion(VersionText& version, const std::string& text) {
  if (!set_version(version, text.data(), static_cast<std::uint32_t>(text.size()))) {
    throw std::runtime_error("a version of the board is too long");
  }
}

template <std::size_t Capacity>
std::uint32_t CopyBytes(std::uint8_t (&place)[Capacity], const std::vector<std::uint8_t>& bytes) {
  std::copy(bytes.begin(), bytes.end(), place);
  return static_cast<std::uint32_t>(bytes.size());
}

/// Marks the chip as running the image when it runs the versions that the image's parts run as.
void MarkAsUpdated(ChipMemory& memory, const std::string& imageFile, Digest& digest) {
  FileImageSource source(imageFile);
  const auto image = std::make_unique<FirmwareImage>();
  if (ReadFirmwareImage(source, digest, *image) != ImageStatus::kWhole ||
      std::memcmp(&memory.system.version, &image->header.runsSystem, sizeof(VersionText)) != 0 ||
      std::memcmp(&memory.app.version, &image->header.runsApp, sizeof(VersionText)) != 0) {
    return;
  }
  memory.system.size = image->header.systemSize;
  memory.app.size = image->header.appSize;
  std::memcpy(memory.system.digest, image->systemDigest, kDigestSize);
  std::memcpy(memory.app.digest, image->appDigest, kDigestSize);
  std::memcpy(memory.imageDigest, image->digest, kDigestSize);
}

void MakeChip(const ChipSection& section, const std::string& memoryFile,
              const std::string& imageFile) {
  if (section.state == ChipSection::State::kDamaged) {
    Write(memoryFile, "damaged", 7);
    return;
  }
  Sha256Digest digest;
  const auto stored = std::make_unique<StoredChipMemory>();
  ChipMemory& memory = stored->memory;
  memory.implementsUpdates = section.implementsUpdates ? 1 : 0;
  memory.selfTestPasses = section.selfTestPasses ? 1 : 0;
  memory.partCapacity = section.state == ChipSection::State::kFull ? 0 : kPartSizeLimit;
  SetVersion(memory.system.version, section.systemVersion);
  SetVersion(memory.app.version, section.appVersion);
  memory.informationCount = static_cast<std::uint32_t>(section.information.size());
  std::copy(section.information.begin(), section.information.end(), memory.information);
  memory.hackInformationSize = CopyBytes(memory.hackInformation, section.hackInformation);
  memory.akRecordSize = CopyBytes(memory.akRecord, section.akRecord);
  memory.rpmbRecordSize = CopyBytes(memory.rpmbRecord, section.rpmbRecord);
  if (section.state == ChipSection::State::kInterrupted) {
    memory.state = kChipInterrupted;
  } else {
    MarkAsUpdated(memory, imageFile, digest);
  }
  FileChipMemoryStore store(memoryFile);
  if (!SaveChipMemory(store, digest, *stored)) {
    throw std::runtime_error(memoryFile + ": cannot be written: " + std::strerror(errno) +
                             "; give a folder that you can write to with --state");
  }
}

std::string Line(const std::string& label, const std::string& value) {
  return "  " + label + ": " + value + "\n";
}

std::string PartInWords(const FirmwarePart& part) {
  const std::string version(reinterpret_cast<const char*>(part.version.text), part.version.length);
  return version.empty() ? "none" : version + " (" + std::to_string(part.size) + " bytes)";
}

std::string SizeInWords(std::uint32_t size) {
  return size == 0 ? "none" : std::to_string(size) + " bytes";
}

std::string StateInWords(std::uint32_t state) {
  switch (state) {
    case kChipInterrupted:
      return "an update was interrupted; it needs a recovery and another update";
    case kChipRecovered:
      return "recovered; it needs an update";
    default:
      return "whole";
  }
}

}  // namespace

void PrepareStateDirectory(const std::string& directory, const Board& board,
                           const std::string& boardFolder) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) {
    throw std::runtime_error(directory + ": cannot be made: " + error.message() +
                             "; give a folder that you can write to with --state");
  }
  const std::string imageFile = directory + "/firmware.img";
  const std::string memoryFile = directory + "/chip.memory";
  if (board.image.state == ImageSection::State::kMissing) {
    std::filesystem::remove(imageFile, error);
  } else {
    const std::vector<std::uint8_t> image = MakeImage(board.image, boardFolder);
    Write(imageFile, image.data(), image.size());
  }
  if (!std::filesystem::exists(memoryFile, error)) {
    MakeChip(board.chip, memoryFile, imageFile);
  }
}

std::string DescribeChip(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) {
    return "Chip: as the board file has it; it was not run yet\n";
  }
  FileChipMemoryStore store(path);
  Sha256Digest digest;
  const auto stored = std::make_unique<StoredChipMemory>();
  if (!LoadChipMemory(store, digest, *stored)) {
    return "Chip: its memory is damaged; it needs a recovery and an update\n";
  }
  const ChipMemory& memory = stored->memory;
  std::string text = "Chip: " + StateInWords(memory.state) + "\n";
  text += Line("system part", PartInWords(memory.system));
  text += Line("app part", PartInWords(memory.app));
  text += Line("updates", memory.implementsUpdates != 0 ? "implemented" : "not implemented");
  text += Line("room for a part", SizeInWords(memory.partCapacity));
  text += Line("self test", memory.selfTestPasses != 0 ? "passes" : "fails");
  text += Line("AK record", SizeInWords(memory.akRecordSize));
  text += Line("AK record in RPMB", SizeInWords(memory.rpmbRecordSize));
  text += Line("hack information", SizeInWords(memory.hackInformationSize));
  text += Line("information words", std::to_string(memory.informationCount));
  return text;
}

}  // namespace vam
