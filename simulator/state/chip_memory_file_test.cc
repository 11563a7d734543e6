#include "simulator/state/chip_memory_file.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"

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

}  // namespace
}  // namespace vam
