#include "simulator/model/chip_memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "simulator/model/environment_test.h"

namespace vam {
namespace {

/// A chip's memory that was stored once.
class ChipMemoryTest : public testing::Test {
 protected:
  ChipMemoryTest() {
    chip.memory.state = kChipRecovered;
    chip.memory.informationCount = 1;
    chip.memory.information[0] = 0x01020304;
    chip.memory.system.version = Version("1.0");
    EXPECT_TRUE(SaveChipMemory(store, digest, chip));
  }

  bool Loads() {
    StoredChipMemory loaded;
    return LoadChipMemory(store, digest, loaded);
  }
  /// Stores a memory whose digest is right and of which one thing is changed.
  template <typename Change>
  bool LoadsWith(Change change) {
    StoredChipMemory changed = chip;
    change(changed.memory);
    return SaveChipMemory(store, digest, changed) && Loads();
  }

  MemoryStore store;
  Sha256 digest;
  StoredChipMemory chip{};
};

TEST_F(ChipMemoryTest, StoredMemory_ComesBackAsItWas) {
  StoredChipMemory loaded;
  ASSERT_TRUE(LoadChipMemory(store, digest, loaded));
  EXPECT_EQ(std::memcmp(&loaded.memory, &chip.memory, sizeof loaded.memory), 0);
}

TEST_F(ChipMemoryTest, StoredForm_IsMagicMemoryAndDigest) {
  ASSERT_EQ(store.stored.size(), 8 + sizeof(ChipMemory) + 32);
  EXPECT_EQ(std::string(store.stored.begin(), store.stored.begin() + 8), "VAMCHIP1");
  // The state, as a little-endian number.
  EXPECT_EQ(std::string(store.stored.begin() + 8, store.stored.begin() + 12),
            std::string("\x02\0\0\0", 4));
}

TEST_F(ChipMemoryTest, AnyChangedByte_IsDamage) {
  for (std::uint8_t& byte : store.stored) {
    byte ^= 0x10;
    EXPECT_FALSE(Loads()) << "byte " << &byte - store.stored.data();
    byte ^= 0x10;
  }
}

TEST_F(ChipMemoryTest, AnotherMagic_IsDamageThoughTheDigestIsRight) {
  store.stored[7] = '2';
  store.stored.resize(store.stored.size() - kDigestSize);
  store.stored = Sealed(store.stored);
  EXPECT_FALSE(Loads());
}

TEST_F(ChipMemoryTest, AnotherLength_IsDamage) {
  const std::vector<std::uint8_t> whole = store.stored;
  for (const std::size_t length :
       {whole.size() + 1, whole.size() - 1, std::size_t{8}, std::size_t{0}}) {
    store.stored = whole;
    store.stored.resize(length);
    EXPECT_FALSE(Loads()) << length;
  }
}

TEST_F(ChipMemoryTest, NumberBeyondItsBounds_IsDamageThoughTheDigestIsRight) {
  EXPECT_TRUE(LoadsWith([](ChipMemory&) {}));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.state = 3; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.system.version.length = 253; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.app.version.length = 253; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.informationCount = 65; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.hackInformationSize = 1025; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.akRecordSize = 2049; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.rpmbRecordSize = 2049; }));
}

TEST_F(ChipMemoryTest, NumbersAtTheirBounds_AreTaken) {
  EXPECT_TRUE(LoadsWith([](ChipMemory& memory) { memory.state = 2; }));
  EXPECT_TRUE(LoadsWith([](ChipMemory& memory) { memory.system.version.length = 252; }));
  EXPECT_TRUE(LoadsWith([](ChipMemory& memory) { memory.app.version.length = 252; }));
  EXPECT_TRUE(LoadsWith([](ChipMemory& memory) { memory.informationCount = 64; }));
  EXPECT_TRUE(LoadsWith([](ChipMemory& memory) { memory.hackInformationSize = 1024; }));
  EXPECT_TRUE(LoadsWith([](ChipMemory& memory) { memory.akRecordSize = 2048; }));
  EXPECT_TRUE(LoadsWith([](ChipMemory& memory) { memory.rpmbRecordSize = 2048; }));
}

TEST(SetVersionTest, TextThatFits_ReplacesTheVersion) {
  VersionText version;
  std::memset(&version, 0xA5, sizeof version);
  const std::string longest(kVersionCapacity, 'v');
  EXPECT_TRUE(SetVersion(version, longest.data(), kVersionCapacity));
  EXPECT_EQ(version.length, kVersionCapacity);
  EXPECT_EQ(std::string(version.text, version.text + version.length), longest);
  EXPECT_TRUE(SetVersion(version, "1", 1));
  EXPECT_EQ(version.length, 1U);
  EXPECT_EQ(version.text[0], '1');
  EXPECT_TRUE(SetVersion(version, nullptr, 0));
  EXPECT_EQ(version.length, 0U);
  for (const std::uint8_t byte : version.text) {
    EXPECT_EQ(byte, 0);
  }
}

TEST(SetVersionTest, TextThatIsTooLong_LeavesTheVersion) {
  VersionText version = Version("1.0");
  const std::string tooLong(kVersionCapacity + 1, 'v');
  EXPECT_FALSE(SetVersion(version, tooLong.data(), kVersionCapacity + 1));
  EXPECT_EQ(version.length, 3U);
  EXPECT_EQ(std::memcmp(version.text, "1.0", 4), 0);
}

}  // namespace
}  // namespace vam
