#include "simulator/model/firmware_image.h"

#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "simulator/model/environment_test.h"

namespace vam {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Offset of the parts' sizes in an image.
constexpr std::ptrdiff_t kSizes = 1032;

class FirmwareImageTest : public testing::Test {
 protected:
  ImageStatus Read(const Bytes& bytes) {
    source.bytes = bytes;
    return ReadFirmwareImage(source, digest, image);
  }
  /// Returns `changed` with a digest that is right, so that only the change is wrong.
  static Bytes Resealed(Bytes changed) {
    changed.resize(changed.size() - kDigestSize);
    return Sealed(std::move(changed));
  }

  const Bytes systemPart = {1, 2, 3};
  const Bytes appPart = {4, 5};
  const Bytes whole = Image(systemPart, appPart);
  MemoryImage source;
  Sha256 digest;
  FirmwareImage image;
};

TEST_F(FirmwareImageTest, WholeImage_IsReadWithItsDigests) {
  ASSERT_EQ(Read(whole), ImageStatus::kWhole);
  EXPECT_EQ(image.header.system.length, 6U);
  EXPECT_EQ(std::memcmp(image.header.runsSystem.text, "1.1,04", 7), 0);
  EXPECT_EQ(image.header.systemSize, 3U);
  EXPECT_EQ(image.header.appSize, 2U);
  std::uint8_t expected[kDigestSize];
  SHA256(systemPart.data(), systemPart.size(), expected);
  EXPECT_EQ(std::memcmp(image.systemDigest, expected, kDigestSize), 0);
  SHA256(appPart.data(), appPart.size(), expected);
  EXPECT_EQ(std::memcmp(image.appDigest, expected, kDigestSize), 0);
  EXPECT_EQ(std::memcmp(image.digest, whole.data() + whole.size() - kDigestSize, kDigestSize), 0);
}

TEST_F(FirmwareImageTest, PartsOfAnySize_AreDigestedWhole) {
  for (const std::size_t size : {0U, 1U, 511U, 512U, 513U, 1024U, 1025U}) {
    Bytes part(size);
    std::iota(part.begin(), part.end(), std::uint8_t{1});
    ASSERT_EQ(Read(Image(part, part)), ImageStatus::kWhole) << size;
    std::uint8_t expected[kDigestSize];
    SHA256(part.data(), part.size(), expected);
    EXPECT_EQ(std::memcmp(image.systemDigest, expected, kDigestSize), 0) << size;
    EXPECT_EQ(std::memcmp(image.appDigest, expected, kDigestSize), 0) << size;
  }
}

TEST_F(FirmwareImageTest, LongestVersions_AreRead) {
  const std::string longest(kVersionCapacity, 'v');
  ASSERT_EQ(Read(Image({1}, {2}, {longest, longest, longest, longest})), ImageStatus::kWhole);
  for (const VersionText* version :
       {&image.header.system, &image.header.app, &image.header.runsSystem, &image.header.runsApp}) {
    EXPECT_EQ(std::string(version->text, version->text + version->length), longest);
  }
}

TEST_F(FirmwareImageTest, ImageThatCannotBeRead_IsDamage) {
  ASSERT_EQ(Read(whole), ImageStatus::kWhole);
  const int needed = source.reads;
  for (int reads = 0; reads < needed; ++reads) {
    source.reads = 0;
    source.readsTaken = reads;
    EXPECT_EQ(Read(whole), ImageStatus::kDamaged) << "after " << reads << " reads";
  }
}

TEST_F(FirmwareImageTest, EmptyParts_AreWhole) {
  EXPECT_EQ(Read(Image({}, {})), ImageStatus::kWhole);
}

TEST_F(FirmwareImageTest, NoImage_IsMissing) {
  source.present = false;
  EXPECT_EQ(Read(whole), ImageStatus::kMissing);
}

TEST_F(FirmwareImageTest, AnyChangedByte_IsDamage) {
  for (std::size_t i = 0; i < whole.size(); ++i) {
    Bytes damaged = whole;
    damaged[i] ^= 0x20;
    EXPECT_EQ(Read(damaged), ImageStatus::kDamaged) << "byte " << i;
  }
}

TEST_F(FirmwareImageTest, AnyOtherLength_IsDamage) {
  for (std::size_t length = 0; length <= whole.size() + 1; ++length) {
    Bytes other = whole;
    other.resize(length);
    EXPECT_EQ(Read(other), length == whole.size() ? ImageStatus::kWhole : ImageStatus::kDamaged)
        << length << " bytes";
  }
}

TEST_F(FirmwareImageTest, WrongField_IsDamageThoughTheDigestIsRight) {
  Bytes wrong = whole;
  wrong[7] = '2';
  EXPECT_EQ(Read(Resealed(wrong)), ImageStatus::kDamaged) << "another magic";
  for (std::size_t version = 0; version < 4; ++version) {
    wrong = whole;
    wrong[8 + 256 * version] = 253;
    EXPECT_EQ(Read(Resealed(wrong)), ImageStatus::kDamaged) << "version " << version;
  }
  // Sizes that the image does not have, among them two whose sum wraps around.
  for (const std::uint8_t size : {std::uint8_t{2}, std::uint8_t{4}}) {
    wrong = whole;
    wrong[kSizes] = size;
    EXPECT_EQ(Read(Resealed(wrong)), ImageStatus::kDamaged);
  }
  wrong = whole;
  std::fill_n(wrong.begin() + kSizes, 4, 0xFF);
  wrong[kSizes + 4] = 6;
  EXPECT_EQ(Read(Resealed(wrong)), ImageStatus::kDamaged);
}

TEST_F(FirmwareImageTest, PartBeyondTheLimit_IsDamage) {
  const Bytes largest(kPartSizeLimit);
  const Bytes tooLarge(kPartSizeLimit + 1);
  EXPECT_EQ(Read(Image(largest, {})), ImageStatus::kWhole);
  EXPECT_EQ(Read(Image({}, largest)), ImageStatus::kWhole);
  EXPECT_EQ(Read(Image(tooLarge, {})), ImageStatus::kDamaged);
  EXPECT_EQ(Read(Image({}, tooLarge)), ImageStatus::kDamaged);
}

}  // namespace
}  // namespace vam
