#include "simulator/state/chip_memory_file.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "tests/support/planned_calls.h"

namespace vam {
namespace {

class ChipMemoryFileTest : public testing::Test {
 protected:
  const TemporaryFolder folder{"vam-chip-memory-test"};
  const std::string path = folder.Path() + "/some.memory";
  ChipMemoryFile file{path};
};

TEST_F(ChipMemoryFileTest, SavedMemory_IsLoadedAndReplacesTheOldOne) {
  ASSERT_TRUE(file.Save("old", 3));
  ASSERT_TRUE(file.Save("ab\0d", 4));
  EXPECT_EQ(ReadWholeFile(path), std::string("ab\0d", 4));
  std::array<char, 4> loaded{};
  EXPECT_TRUE(file.Load(loaded.data(), 4));
  EXPECT_EQ(std::string(loaded.data(), 4), std::string("ab\0d", 4));
}

TEST_F(ChipMemoryFileTest, MissingFileOrAnotherSize_LoadsNothing) {
  std::array<char, 5> loaded{};
  EXPECT_FALSE(file.Load(loaded.data(), 0));
  ASSERT_TRUE(file.Save("abcd", 4));
  EXPECT_FALSE(file.Load(loaded.data(), 3));
  EXPECT_FALSE(file.Load(loaded.data(), 5));
  EXPECT_EQ(loaded[0], 0);
}

TEST_F(ChipMemoryFileTest, PlaceWhereNoFileCanBe_IsNotSavedAndTellsWhy) {
  std::filesystem::create_directory(path);
  EXPECT_FALSE(file.Save("abcd", 4));
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(ChipMemoryFileTest, FileThatCannotBeRead_IsAnObstacleAndNoDamage) {
  std::array<char, 4> loaded{};
  EXPECT_FALSE(file.Load(loaded.data(), 4));
  EXPECT_EQ(file.Obstacle(),
            path +
                ": the chip's memory cannot be read: No such file or directory; make it "
                "readable, or give another folder with --state");
  ASSERT_TRUE(ReplaceFile(path, "abcd", 4));
  EXPECT_TRUE(file.Load(loaded.data(), 4));
  EXPECT_EQ(file.Obstacle(), "");
}

TEST_F(ChipMemoryFileTest, FileThatCannotBeWritten_IsAnObstacleUntilItCan) {
  std::filesystem::create_directory(path);
  EXPECT_FALSE(file.Save("abcd", 4));
  EXPECT_EQ(file.Obstacle(),
            path +
                ": the chip's memory cannot be written: Is a directory; give a folder with "
                "--state that you can write to and that has room");
  std::filesystem::remove(path);
  EXPECT_TRUE(file.Save("abcd", 4));
  EXPECT_EQ(file.Obstacle(), "");
}

TEST_F(ChipMemoryFileTest, MemoryOfAnotherFormat_IsAnObstacle) {
  std::array<char, 8> loaded{};
  // Also where it is as long as this version's.
  for (const char* other : {"VAMCHIP2", "VAMCHIP0", "VAMCHIP2 and more"}) {
    ASSERT_TRUE(ReplaceFile(path, other, std::strlen(other)));
    EXPECT_FALSE(file.Load(loaded.data(), 8)) << other;
    EXPECT_EQ(file.Obstacle(), path +
                                   ": the chip's memory is of another format; use the vam-board "
                                   "that made it, or give another folder with --state");
  }
  ASSERT_TRUE(ReplaceFile(path, "VAMCHIP1", 8));
  EXPECT_TRUE(file.Load(loaded.data(), 8));
}

TEST_F(ChipMemoryFileTest, DamagedMemory_IsNoObstacle) {
  std::array<char, 4> loaded{};
  for (const char* damaged : {"", "VAMCHIP", "VAMCHIP1 cut", "WAMCHIP2", "VAMCHIX2"}) {
    ASSERT_TRUE(ReplaceFile(path, damaged, std::strlen(damaged)));
    EXPECT_FALSE(file.Load(loaded.data(), 4)) << damaged;
    EXPECT_EQ(file.Obstacle(), "") << damaged;
  }
  std::filesystem::resize_file(path, std::uintmax_t{1} << 40);
  EXPECT_FALSE(file.Load(loaded.data(), 4));
  EXPECT_EQ(file.Obstacle(), "") << "no chip's memory is as large";
}

TEST_F(ChipMemoryFileTest, Memory_OutlastsAPowerFailureUnlessItNeedNot) {
  PlannedCalls plans;
  plans.Fail("fsync", EIO);
  EXPECT_FALSE(file.Save("abcd", 4));
  plans.Fail("fsync", EIO);
  EXPECT_TRUE(ChipMemoryFile(path, Keeping::kWhilePowered).Save("abcd", 4));
  EXPECT_FALSE(file.Save("efgh", 4));
  EXPECT_EQ(ReadWholeFile(path), "abcd");
}

}  // namespace
}  // namespace vam
