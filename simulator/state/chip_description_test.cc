#include "simulator/state/chip_description.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/model/chip_memory.h"
#include "simulator/state/chip_memory_file.h"
#include "simulator/state/sha256_digest.h"

namespace vam {
namespace {

using ::testing::ThrowsMessage;

class ChipDescriptionTest : public testing::Test {
 protected:
  void Store(StoredChipMemory& chip) const {
    ChipMemoryFile file(path);
    Sha256Digest digest;
    ASSERT_TRUE(SaveChipMemory(file, digest, chip));
  }

  const TemporaryFolder folder{"vam-chip-description-test"};
  const std::string path = folder.Path() + "/chip.memory";
};

TEST_F(ChipDescriptionTest, DamagedMemory_NeedsARecovery) {
  ASSERT_TRUE(ReplaceFile(path, "damaged", 7));
  EXPECT_EQ(DescribeChip(path), "Chip: its memory is damaged; it needs a recovery and an update\n");
}

TEST_F(ChipDescriptionTest, MemoryThatIsNotDamaged_NeedsNoRecovery) {
  EXPECT_THAT([&] { static_cast<void>(DescribeChip(path)); },
              ThrowsMessage<std::runtime_error>(
                  path + ": the chip's memory cannot be read: No such file or directory; make it "
                         "readable, or give another folder with --state"));
  ASSERT_TRUE(ReplaceFile(path, "VAMCHIP2 in a form to come", 26));
  EXPECT_THAT(
      [&] { static_cast<void>(DescribeChip(path)); },
      ThrowsMessage<std::runtime_error>(
          path +
          ": the chip's memory is of another format; use the vam-board that made it, or give "
          "another folder with --state"));
  ASSERT_TRUE(ReplaceFile(path, "VAMCHIP1 cut", 12));
  EXPECT_EQ(DescribeChip(path), "Chip: its memory is damaged; it needs a recovery and an update\n");
}

TEST_F(ChipDescriptionTest, EmptyChip_HasNothing) {
  StoredChipMemory chip{};
  Store(chip);
  EXPECT_EQ(DescribeChip(path),
            "Chip: whole\n"
            "  system part: none\n"
            "  app part: none\n"
            "  updates: not implemented\n"
            "  room for a part: none\n"
            "  self test: fails\n"
            "  AK record: none\n"
            "  AK record in RPMB: none\n"
            "  hack information: none\n"
            "  information words: 0\n");
}

TEST_F(ChipDescriptionTest, FullChip_IsToldLineByLine) {
  StoredChipMemory chip{};
  ChipMemory& memory = chip.memory;
  memory.state = kChipInterrupted;
  ASSERT_TRUE(SetVersion(memory.system.version, "1.1", 3));
  memory.system.size = 4096;
  ASSERT_TRUE(SetVersion(memory.app.version, "2.0", 3));
  memory.app.size = 17;
  memory.implementsUpdates = 1;
  memory.selfTestPasses = 1;
  memory.partCapacity = 1000;
  memory.akRecordSize = 3;
  memory.rpmbRecordSize = 4;
  memory.hackInformationSize = 5;
  memory.informationCount = 6;
  Store(chip);
  EXPECT_EQ(DescribeChip(path),
            "Chip: an update was interrupted; it needs a recovery and another update\n"
            "  system part: 1.1 (4096 bytes)\n"
            "  app part: 2.0 (17 bytes)\n"
            "  updates: implemented\n"
            "  room for a part: 1000 bytes\n"
            "  self test: passes\n"
            "  AK record: 3 bytes\n"
            "  AK record in RPMB: 4 bytes\n"
            "  hack information: 5 bytes\n"
            "  information words: 6\n");
}

TEST_F(ChipDescriptionTest, RecoveredChip_NeedsAnUpdate) {
  StoredChipMemory chip{};
  chip.memory.state = kChipRecovered;
  Store(chip);
  EXPECT_EQ(DescribeChip(path).substr(0, 38), "Chip: recovered; it needs an update\n  ");
}

}  // namespace
}  // namespace vam
