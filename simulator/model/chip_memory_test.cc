#include "simulator/model/chip_memory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "simulator/state/pc_environment.h"

namespace vam {
namespace {

/// Holds whatever a test puts there.
class HeldMemory final : public ChipMemoryStore {
 public:
  explicit HeldMemory(const std::vector<char>& held) : bytes(held) {}
  bool Load(void* to, std::uint32_t size) override {
    if (size != bytes.size()) {
      return false;
    }
    std::memcpy(to, bytes.data(), size);
    return true;
  }
  bool Save(const void*, std::uint32_t) override { return false; }

 private:
  std::vector<char> bytes;
};

/// The chip's memory in a file of this test's own.
class ChipMemoryTest : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove(path);
    chip.memory.state = kChipRecovered;
    chip.memory.informationCount = 1;
    chip.memory.information[0] = 0x01020304;
    EXPECT_TRUE(set_version(chip.memory.system.version, "1.0", 3));
    EXPECT_TRUE(SaveChipMemory(store, digest, chip));
  }
  void TearDown() override { std::filesystem::remove(path); }

  std::vector<char> Bytes() {
    std::vector<char> bytes(std::filesystem::file_size(path));
    std::ifstream(path, std::ios::binary)
        .read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
  }
  void Write(const std::vector<char>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  bool Loads() {
    StoredChipMemory loaded;
    return LoadChipMemory(store, digest, loaded);
  }
  /// Stores a memory whose digest is right and of which one thing is beyond its bounds.
  template <typename Change>
  bool LoadsWith(Change change) {
    StoredChipMemory changed = chip;
    change(changed.memory);
    return SaveChipMemory(store, digest, changed) && Loads();
  }

  const std::string path = testing::TempDir() + "vam_chip_memory_test." + std::to_string(getpid());
  FileChipMemoryStore store = FileChipMemoryStore(path);
  Sha256Digest digest;
  StoredChipMemory chip{};
};

TEST_F(ChipMemoryTest, ComesBackAsItWasStored) {
  StoredChipMemory loaded;
  ASSERT_TRUE(LoadChipMemory(store, digest, loaded));
  EXPECT_EQ(std::memcmp(&loaded.memory, &chip.memory, sizeof loaded.memory), 0);
}

TEST_F(ChipMemoryTest, HasItsFormInTheFile) {
  const std::vector<char> bytes = Bytes();
  ASSERT_EQ(bytes.size(), 8 + sizeof(ChipMemory) + 32);
  EXPECT_EQ(std::string(bytes.data(), 8), "VAMCHIP1");
  // The state, as a little-endian number.
  EXPECT_EQ(std::string(bytes.data() + 8, 4), std::string("\x02\0\0\0", 4));
}

TEST_F(ChipMemoryTest, EveryChangedByteIsDamage) {
  const std::vector<char> whole = Bytes();
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::vector<char> damaged = whole;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
    HeldMemory held(damaged);
    StoredChipMemory loaded;
    EXPECT_FALSE(LoadChipMemory(held, digest, loaded)) << "byte " << i;
  }
}

TEST_F(ChipMemoryTest, AnotherMagicIsDamageThoughTheDigestIsRight) {
  std::vector<char> bytes = Bytes();
  bytes[7] = '2';
  auto* sealed = reinterpret_cast<std::uint8_t*>(bytes.data());
  digest.Begin();
  digest.Update(sealed, static_cast<std::uint32_t>(bytes.size() - kDigestSize));
  digest.End(sealed + bytes.size() - kDigestSize);
  Write(bytes);
  EXPECT_FALSE(Loads());
}

TEST_F(ChipMemoryTest, EveryOtherLengthIsDamage) {
  std::vector<char> bytes = Bytes();
  bytes.push_back(0);
  Write(bytes);
  EXPECT_FALSE(Loads());
  for (std::size_t length : {bytes.size() - 2, std::size_t{8}, std::size_t{0}}) {
    bytes.resize(length);
    Write(bytes);
    EXPECT_FALSE(Loads()) << length;
  }
  std::filesystem::remove(path);
  EXPECT_FALSE(Loads());
}

TEST_F(ChipMemoryTest, NumbersBeyondTheirBoundsAreDamage) {
  EXPECT_TRUE(LoadsWith([](ChipMemory&) {}));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.state = 3; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.system.version.length = 253; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.app.version.length = 253; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.informationCount = 65; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.hackInformationSize = 1025; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.akRecordSize = 2049; }));
  EXPECT_FALSE(LoadsWith([](ChipMemory& memory) { memory.rpmbRecordSize = 2049; }));
}

TEST(SetVersionTest, TakesWhatFits) {
  VersionText version;
  std::memset(&version, 0xA5, sizeof version);
  const std::string longest(kVersionCapacity, 'v');
  EXPECT_TRUE(set_version(version, longest.data(), kVersionCapacity));
  EXPECT_EQ(version.length, kVersionCapacity);
  EXPECT_TRUE(set_version(version, nullptr, 0));
  EXPECT_EQ(version.length, 0U);
  for (const std::uint8_t byte : version.text) {
    EXPECT_EQ(byte, 0);
  }
}

TEST(SetVersionTest, LeavesTheVersionWhenTheTextIsTooLong) {
  VersionText version;
  EXPECT_TRUE(set_version(version, "1.0", 3));
  const std::string tooLong(kVersionCapacity + 1, 'v');
  EXPECT_FALSE(set_version(version, tooLong.data(), kVersionCapacity + 1));
  EXPECT_EQ(version.length, 3U);
  EXPECT_EQ(std::memcmp(version.text, "1.0", 4), 0);
}

}  // namespace
}  // namespace vam
