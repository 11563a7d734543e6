#include "simulator/state/state_folder.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "simulator/files/whole_file.h"
#include "simulator/model/chip_memory.h"
#include "simulator/model/firmware_image.h"
#include "simulator/state/chip_memory_file.h"
#include "simulator/state/firmware_image_file.h"
#include "simulator/state/sha256_digest.h"

namespace vam {

namespace {

void Write(const std::string& path, const void* bytes, std::size_t size, Keeping keeping) {
  if (!ReplaceFile(path, bytes, size, keeping)) {
    throw std::runtime_error(path + ": cannot be written: " + FileErrorInWords(errno) +
                             "; give a folder that you can write to with --state");
  }
}

std::vector<std::uint8_t> ReadImageFile(const std::string& path) {
  const std::optional<std::string> bytes = ReadWholeFile(path);
  if (!bytes) {
    throw std::runtime_error(path + ": the board's image cannot be read: " +
                             FileErrorInWords(errno) + "; make it with vam-image");
  }
  return {bytes->begin(), bytes->end()};
}

std::vector<std::uint8_t> MakeImage(const ImageSection& section) {
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

VersionText MakeVersion(const std::string& text) {
  VersionText version;
  if (!SetVersion(version, text.data(), static_cast<std::uint32_t>(text.size()))) {
    throw std::runtime_error("a version of the board is too long");
  }
  return version;
}

template <std::size_t Capacity>
std::uint32_t CopyBytes(std::uint8_t (&place)[Capacity], const std::vector<std::uint8_t>& bytes) {
  std::copy(bytes.begin(), bytes.end(), place);
  return static_cast<std::uint32_t>(bytes.size());
}

/// Marks a chip as running the image when its versions are those that the image runs as.
void MarkAsUpdated(ChipMemory& memory, const std::string& imageFile, Digest& digest) {
  FirmwareImageFile source(imageFile);
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
              const std::string& imageFile, Keeping keeping) {
  if (section.state == ChipSection::State::kDamaged) {
    Write(memoryFile, "damaged", 7, keeping);
    return;
  }
  Sha256Digest digest;
  const auto stored = std::make_unique<StoredChipMemory>();
  ChipMemory& memory = stored->memory;
  memory.implementsUpdates = section.implementsUpdates ? 1 : 0;
  memory.selfTestPasses = section.selfTestPasses ? 1 : 0;
  memory.partCapacity = section.state == ChipSection::State::kFull ? 0 : kPartSizeLimit;
  memory.system.version = MakeVersion(section.systemVersion);
  memory.app.version = MakeVersion(section.appVersion);
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
  ChipMemoryFile store(memoryFile, keeping);
  if (!SaveChipMemory(store, digest, *stored)) {
    throw std::runtime_error(store.Obstacle());
  }
}

/// Returns whether there is a chip, whole or damaged, in the file. Throws std::runtime_error when
/// it cannot be used.
bool HasChip(const std::string& memoryFile) {
  std::error_code error;
  if (!std::filesystem::exists(memoryFile, error) && !error) {
    return false;
  }
  ChipMemoryFile store(memoryFile);
  StoredChipMemory stored;
  if (!store.Load(&stored, sizeof stored) && !store.Obstacle().empty()) {
    throw std::runtime_error(store.Obstacle());
  }
  return true;
}

}  // namespace

std::string ChipMemoryIn(const std::string& folder) { return folder + "/chip.memory"; }

std::string FirmwareImageIn(const std::string& folder) { return folder + "/firmware.img"; }

std::string ChipLockIn(const std::string& folder) { return folder + "/chip.lock"; }

std::string RunLockIn(const std::string& folder) { return folder + "/run.lock"; }

std::string BoardRecordIn(const std::string& folder) { return folder + "/board.record"; }

std::string ImageFileOf(const Board& board, const std::string& boardFolder) {
  return board.image.file.empty()
             ? ""
             : (std::filesystem::path(boardFolder) / board.image.file).string();
}

void PrepareStateFolder(const std::string& folder, const Board& board,
                        const std::string& boardFolder, Keeping keeping) {
  const std::string boardsImage = ImageFileOf(board, boardFolder);
  // Before anything is changed.
  std::vector<std::uint8_t> image;
  if (board.image.state != ImageSection::State::kMissing) {
    image = boardsImage.empty() ? MakeImage(board.image) : ReadImageFile(boardsImage);
  }
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw std::runtime_error(folder + ": cannot be made: " + error.message() +
                             "; give a folder that you can write to with --state");
  }
  const std::string imageFile = FirmwareImageIn(folder);
  const std::string memoryFile = ChipMemoryIn(folder);
  const bool hasChip = HasChip(memoryFile);
  if (keeping == Keeping::kThroughPowerFailure) {
    RemoveDrafts(imageFile);
    RemoveDrafts(memoryFile);
  }
  if (board.image.state == ImageSection::State::kMissing) {
    if (!std::filesystem::remove(imageFile, error) && error) {
      throw std::runtime_error(imageFile + ": cannot be removed: " + error.message() +
                               "; give a folder that you can write to with --state");
    }
  } else {
    // Every run makes it anew.
    Write(imageFile, image.data(), image.size(), Keeping::kWhilePowered);
  }
  if (!hasChip) {
    MakeChip(board.chip, memoryFile, imageFile, keeping);
  }
}

}  // namespace vam
