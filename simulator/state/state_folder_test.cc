#include "simulator/state/state_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/model/chip_memory.h"
#include "simulator/model/firmware_image.h"
#include "simulator/state/chip_memory_file.h"
#include "simulator/state/firmware_image_file.h"
#include "simulator/state/sha256_digest.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class StateFolderTest : public testing::Test {
 protected:
  void Prepare(const Board& board) const { PrepareStateFolder(state, board, folder.Path()); }

  ImageStatus Image() const {
    FirmwareImageFile file(FirmwareImageIn(state));
    Sha256Digest digest;
    const auto image = std::make_unique<FirmwareImage>();
    return ReadFirmwareImage(file, digest, *image);
  }
  /// Returns the stored chip; a chip of no state where it is damaged.
  ChipMemory Chip() const {
    ChipMemoryFile file(ChipMemoryIn(state));
    Sha256Digest digest;
    const auto stored = std::make_unique<StoredChipMemory>();
    if (!LoadChipMemory(file, digest, *stored)) {
      stored->memory.state = 0xFFFFFFFF;
    }
    return stored->memory;
  }
  static std::string Text(const VersionText& version) {
    return std::string(version.text, version.text + version.length);
  }

  const TemporaryFolder folder{"vam-state-test"};
  const std::string state = folder.Path() + "/below/state";
};

TEST_F(StateFolderTest, Files_HaveTheirDocumentedNames) {
  EXPECT_EQ(ChipMemoryIn("some/folder"), "some/folder/chip.memory");
  EXPECT_EQ(FirmwareImageIn("some/folder"), "some/folder/firmware.img");
}

TEST_F(StateFolderTest, MissingFolder_IsMadeWithImageAndChip) {
  Board board;
  board.image.systemVersion = board.image.runsSystemVersion = "1.1";
  board.chip.systemVersion = "1.0";
  board.chip.information = {7, 8};
  board.chip.akRecord = {0xA1};
  Prepare(board);
  EXPECT_EQ(Image(), ImageStatus::kWhole);
  const ChipMemory chip = Chip();
  EXPECT_EQ(chip.state, kChipWhole);
  EXPECT_EQ(Text(chip.system.version), "1.0");
  EXPECT_EQ(chip.partCapacity, kPartSizeLimit);
  EXPECT_EQ(chip.informationCount, 2U);
  EXPECT_EQ(chip.information[1], 8U);
  EXPECT_EQ(chip.akRecordSize, 1U);
  EXPECT_EQ(chip.akRecord[0], 0xA1);
  EXPECT_EQ(chip.system.size, 0U) << "it does not run the image";
}

TEST_F(StateFolderTest, ChipOfTheImagesVersions_RunsTheImage) {
  Board board;
  board.image.payloadSize = 100;
  Prepare(board);
  EXPECT_EQ(Chip().system.size, 100U);
  EXPECT_EQ(Chip().app.size, 100U);
}

TEST_F(StateFolderTest, SecondRun_KeepsTheChipAndMakesTheImageAnew) {
  Board board;
  board.chip.systemVersion = "1.0";
  Prepare(board);
  board.chip.systemVersion = "2.0";
  board.image.state = ImageSection::State::kDamaged;
  Prepare(board);
  EXPECT_EQ(Text(Chip().system.version), "1.0");
  EXPECT_EQ(Image(), ImageStatus::kDamaged);
}

TEST_F(StateFolderTest, BoardWithoutAnImage_RemovesTheOneThatIsThere) {
  Prepare(Board());
  Board board;
  board.image.state = ImageSection::State::kMissing;
  Prepare(board);
  EXPECT_FALSE(fs::exists(FirmwareImageIn(state)));
}

TEST_F(StateFolderTest, ImageFile_IsLookedUpBesideTheBoardFile) {
  const std::vector<std::uint8_t> image = MakeFirmwareImage({"9", "9", "9", "9", {1}, {2}});
  ASSERT_TRUE(ReplaceFile(folder.Path() + "/own.img", image.data(), image.size()));
  Board board;
  board.image.file = "own.img";
  Prepare(board);
  EXPECT_EQ(ReadWholeFile(FirmwareImageIn(state)), std::string(image.begin(), image.end()));
}

TEST_F(StateFolderTest, MissingImageFile_IsNamedWithWhatToDo) {
  Board board;
  board.image.file = "missing.img";
  EXPECT_THAT([&] { Prepare(board); },
              ThrowsMessage<std::runtime_error>(
                  HasSubstr("missing.img: the board's image cannot be read: No such file or "
                            "directory; make it with vam-image")));
  EXPECT_FALSE(fs::exists(state)) << "nothing is half made";
}

struct ChipCase {
  const char* name;
  ChipSection::State given;
  std::uint32_t state;
  std::uint32_t partCapacity;
};

class StateOfChipTest : public StateFolderTest, public testing::WithParamInterface<ChipCase> {};

TEST_P(StateOfChipTest, ChipSection_IsStored) {
  Board board;
  board.chip.state = GetParam().given;
  Prepare(board);
  EXPECT_EQ(Chip().state, GetParam().state);
  EXPECT_EQ(Chip().partCapacity, GetParam().partCapacity);
}

const ChipCase kChips[] = {
    {"whole", ChipSection::State::kWhole, kChipWhole, kPartSizeLimit},
    {"interrupted", ChipSection::State::kInterrupted, kChipInterrupted, kPartSizeLimit},
    {"full", ChipSection::State::kFull, kChipWhole, 0},
};

INSTANTIATE_TEST_SUITE_P(States, StateOfChipTest, testing::ValuesIn(kChips),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(StateFolderTest, DamagedChip_HasAMemoryThatCannotBeLoaded) {
  Board board;
  board.chip.state = ChipSection::State::kDamaged;
  Prepare(board);
  EXPECT_EQ(Chip().state, 0xFFFFFFFF);
}

TEST_F(StateFolderTest, FolderThatCannotBeMade_IsNamedWithWhatToDo) {
  ASSERT_TRUE(ReplaceFile(folder.Path() + "/below", "", 0));
  EXPECT_THAT([&] { Prepare(Board()); },
              ThrowsMessage<std::runtime_error>(HasSubstr(
                  "/below/state: cannot be made: Not a directory; give a folder that you can "
                  "write to with --state")));
}

}  // namespace
}  // namespace vam
