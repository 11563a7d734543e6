#include "simulator/state/state_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
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
#include "tests/support/planned_calls.h"

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

TEST_F(StateFolderTest, LocksAndRecord_HaveTheirDocumentedNames) {
  EXPECT_EQ(ChipLockIn("some/folder"), "some/folder/chip.lock");
  EXPECT_EQ(RunLockIn("some/folder"), "some/folder/run.lock");
  EXPECT_EQ(BoardRecordIn("some/folder"), "some/folder/board.record");
}

TEST_F(StateFolderTest, ImageFile_IsThatOfTheBoardOrNone) {
  Board board;
  EXPECT_EQ(ImageFileOf(board, "some/folder"), "");
  board.image.file = "own.img";
  EXPECT_EQ(ImageFileOf(board, "some/folder"), "some/folder/own.img");
  board.image.file = "/elsewhere/own.img";
  EXPECT_EQ(ImageFileOf(board, "some/folder"), "/elsewhere/own.img");
}

TEST_F(StateFolderTest, NewChip_HasEveryKeyOfItsBoard) {
  Board board;
  board.chip.appVersion = "2.0";
  board.chip.hackInformation = {1, 2, 3};
  board.chip.akRecord = {4, 5};
  board.chip.rpmbRecord = {6};
  Prepare(board);
  const ChipMemory chip = Chip();
  EXPECT_EQ(chip.implementsUpdates, 1U);
  EXPECT_EQ(chip.selfTestPasses, 1U);
  EXPECT_EQ(Text(chip.app.version), "2.0");
  EXPECT_EQ(chip.informationCount, 0U);
  EXPECT_EQ(chip.hackInformationSize, 3U);
  EXPECT_EQ(chip.hackInformation[2], 3);
  EXPECT_EQ(chip.akRecordSize, 2U);
  EXPECT_EQ(chip.akRecord[1], 5);
  EXPECT_EQ(chip.rpmbRecordSize, 1U);
  EXPECT_EQ(chip.rpmbRecord[0], 6);
  fs::remove(ChipMemoryIn(state));
  board.chip.implementsUpdates = false;
  board.chip.selfTestPasses = false;
  Prepare(board);
  EXPECT_EQ(Chip().implementsUpdates, 0U);
  EXPECT_EQ(Chip().selfTestPasses, 0U);
}

TEST_F(StateFolderTest, ImageOfTheBoard_HasItsVersionsAndParts) {
  Board board;
  board.image.systemVersion = "1,X";
  board.image.appVersion = "2,X";
  board.image.runsSystemVersion = "1,0";
  board.image.runsAppVersion = "2,0";
  board.image.payloadSize = 3;
  Prepare(board);
  const std::vector<std::uint8_t> image =
      MakeFirmwareImage({"1,X", "2,X", "1,0", "2,0", {'s', 's', 's'}, {'a', 'a', 'a'}});
  EXPECT_EQ(ReadWholeFile(FirmwareImageIn(state)), std::string(image.begin(), image.end()));
}

TEST_F(StateFolderTest, ChipThatRunsTheImage_HasItsDigests) {
  Board board;
  board.image.payloadSize = 100;
  Prepare(board);
  FirmwareImageFile file(FirmwareImageIn(state));
  Sha256Digest digest;
  const auto image = std::make_unique<FirmwareImage>();
  ASSERT_EQ(ReadFirmwareImage(file, digest, *image), ImageStatus::kWhole);
  const ChipMemory chip = Chip();
  EXPECT_EQ(std::memcmp(chip.system.digest, image->systemDigest, kDigestSize), 0);
  EXPECT_EQ(std::memcmp(chip.app.digest, image->appDigest, kDigestSize), 0);
  EXPECT_EQ(std::memcmp(chip.imageDigest, image->digest, kDigestSize), 0);
}

TEST_F(StateFolderTest, ChipOfOneVersionOfTheImage_DoesNotRunIt) {
  Board board;
  board.image.runsSystemVersion = board.chip.systemVersion = "1";
  board.image.runsAppVersion = "2";
  Prepare(board);
  EXPECT_EQ(Chip().system.size, 0U);
  fs::remove(ChipMemoryIn(state));
  board.chip.systemVersion = "0";
  board.chip.appVersion = "2";
  Prepare(board);
  EXPECT_EQ(Chip().system.size, 0U);
}

TEST_F(StateFolderTest, ChipBesideADamagedImage_DoesNotRunIt) {
  Board board;
  board.image.state = ImageSection::State::kDamaged;
  Prepare(board);
  EXPECT_EQ(Chip().system.size, 0U);
}

/// Returns the line that preparing `state` for `board` fails with.
std::string ProblemOf(const std::string& state, const Board& board) {
  try {
    PrepareStateFolder(state, board, ".");
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no problem";
}

TEST_F(StateFolderTest, ImageThatCannotBeReplacedOrRemoved_IsNamedWithWhatToDo) {
  Prepare(Board());
  const std::string image = FirmwareImageIn(state);
  fs::remove(image);
  fs::create_directories(image + "/folder");
  const std::string end = "; give a folder that you can write to with --state";
  EXPECT_EQ(ProblemOf(state, Board()), image + ": cannot be written: Is a directory" + end);
  Board board;
  board.image.state = ImageSection::State::kMissing;
  EXPECT_EQ(ProblemOf(state, board), image + ": cannot be removed: Directory not empty" + end);
  fs::remove_all(image);
  EXPECT_EQ(ProblemOf(state, board), "no problem") << "there is nothing to remove";
}

TEST_F(StateFolderTest, ChipThatCannotBeWritten_IsNamedWithWhatToDo) {
  PlannedCalls plans;
  plans.Fail("fsync", EIO);
  EXPECT_EQ(ProblemOf(state, Board()),
            ChipMemoryIn(state) +
                ": the chip's memory cannot be written: Input/output error; give "
                "a folder with --state that you can write to and that has room");
  Board board;
  board.chip.state = ChipSection::State::kDamaged;
  plans.Fail("fsync", EIO);
  EXPECT_EQ(ProblemOf(state, board),
            ChipMemoryIn(state) +
                ": cannot be written: Input/output error; give a folder that you "
                "can write to with --state");
}

TEST_F(StateFolderTest, ChipOfARunAlone_IsNotKeptThroughAPowerFailure) {
  PlannedCalls plans;
  plans.Fail("fsync", EIO);
  PrepareStateFolder(state, Board(), ".", Keeping::kWhilePowered);
  EXPECT_EQ(Chip().state, kChipWhole);
  fs::remove(ChipMemoryIn(state));
  EXPECT_NE(ProblemOf(state, Board()), "no problem");
}

TEST_F(StateFolderTest, ChipThatCannotBeRead_IsNamedAndNothingIsChanged) {
  Prepare(Board());
  fs::remove(FirmwareImageIn(state));
  fs::remove(ChipMemoryIn(state));
  fs::create_symlink("chip.memory", ChipMemoryIn(state));
  EXPECT_EQ(ProblemOf(state, Board()),
            ChipMemoryIn(state) +
                ": the chip's memory cannot be read: Too many levels of symbolic "
                "links; make it readable, or give another folder with --state");
  fs::remove(ChipMemoryIn(state));
  ASSERT_TRUE(ReplaceFile(ChipMemoryIn(state), "VAMCHIP2", 8));
  EXPECT_EQ(ProblemOf(state, Board()),
            ChipMemoryIn(state) +
                ": the chip's memory is of another format; use the vam-board "
                "that made it, or give another folder with --state");
  EXPECT_FALSE(fs::exists(FirmwareImageIn(state)));
}

TEST_F(StateFolderTest, DamagedChipOfAnEarlierRun_IsKept) {
  Prepare(Board());
  ASSERT_TRUE(ReplaceFile(ChipMemoryIn(state), "cut", 3));
  Prepare(Board());
  EXPECT_EQ(ReadWholeFile(ChipMemoryIn(state)), "cut");
}

TEST_F(StateFolderTest, DraftsOfKilledRuns_AreRemoved) {
  Prepare(Board());
  for (const std::string& file : {FirmwareImageIn(state), ChipMemoryIn(state)}) {
    ASSERT_TRUE(ReplaceFile(file + ".12345678.new", "", 0));
    Prepare(Board());
    EXPECT_FALSE(fs::exists(file + ".12345678.new")) << file;
  }
}

TEST_F(StateFolderTest, VersionThatAChipDoesNotHold_IsRefused) {
  Board board;
  board.chip.systemVersion = std::string(253, '1');
  EXPECT_EQ(ProblemOf(state, board), "a version of the board is too long");
}

}  // namespace
}  // namespace vam
