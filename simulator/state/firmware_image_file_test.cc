// Images as they are made and as the trusted application reads them.

#include "simulator/state/firmware_image_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/model/firmware_image.h"
#include "simulator/state/pc_environment.h"

namespace vam {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

/// Where in an image the versions stand that the chip reports, and the sizes of the parts.
constexpr std::ptrdiff_t kRunsSystem = 520;
constexpr std::ptrdiff_t kSizes = 1032;

class ImageInMemory final : public ImageSource {
 public:
  explicit ImageInMemory(std::vector<std::uint8_t> image) : bytes(std::move(image)) {}
  bool Size(std::uint32_t* size) override {
    *size = static_cast<std::uint32_t>(bytes.size());
    return true;
  }
  bool Read(std::uint32_t offset, void* to, std::uint32_t count) override {
    if (offset > bytes.size() || count > bytes.size() - offset) {
      return false;
    }
    std::copy_n(bytes.begin() + offset, count, static_cast<std::uint8_t*>(to));
    return true;
  }

 private:
  std::vector<std::uint8_t> bytes;
};

class FirmwareImageTest : public testing::Test {
 protected:
  ImageStatus Read(const std::vector<std::uint8_t>& bytes) {
    ImageInMemory source(bytes);
    return ReadFirmwareImage(source, digest, image);
  }
  /// Makes the digest right again, so that only what was changed is wrong.
  static std::vector<std::uint8_t> Sealed(std::vector<std::uint8_t> bytes) {
    SHA256(bytes.data(), bytes.size() - kDigestSize, bytes.data() + bytes.size() - kDigestSize);
    return bytes;
  }

  const ImageContents contents = {"1.1,XX", "2.0", "1.1,04", "2.0", {1, 2, 3}, {4, 5}};
  const std::vector<std::uint8_t> whole = MakeFirmwareImage(contents);
  Sha256Digest digest;
  FirmwareImage image;
};

TEST_F(FirmwareImageTest, HasItsFormInTheFile) {
  ASSERT_EQ(whole.size(), 8 + 4 * 256 + 8 + 5 + 32U);
  EXPECT_EQ(std::string(whole.begin(), whole.begin() + 8), "VAMIMG01");
  // A version is its length and its text.
  EXPECT_EQ(std::string(whole.begin() + 8, whole.begin() + 8 + 11),
            std::string("\x06\0\0\0", 4) + "1.1,XX" + '\0');
  EXPECT_EQ(std::string(whole.begin() + kRunsSystem + 4, whole.begin() + kRunsSystem + 10),
            "1.1,04");
  EXPECT_EQ(whole[kSizes], 3);
  EXPECT_EQ(whole[kSizes + 4], 2);
  EXPECT_EQ(whole[kSizes + 8], 1);
  EXPECT_EQ(whole, Sealed(whole));
}

TEST_F(FirmwareImageTest, IsReadBack) {
  ASSERT_EQ(Read(whole), ImageStatus::kWhole);
  EXPECT_EQ(image.header.system.length, 6U);
  EXPECT_EQ(std::memcmp(image.header.runsSystem.text, "1.1,04", 7), 0);
  EXPECT_EQ(image.header.systemSize, 3U);
  EXPECT_EQ(image.header.appSize, 2U);
  std::uint8_t expected[kDigestSize];
  SHA256(contents.systemPart.data(), contents.systemPart.size(), expected);
  EXPECT_EQ(std::memcmp(image.systemDigest, expected, kDigestSize), 0);
  SHA256(contents.appPart.data(), contents.appPart.size(), expected);
  EXPECT_EQ(std::memcmp(image.appDigest, expected, kDigestSize), 0);
  EXPECT_EQ(std::memcmp(image.digest, whole.data() + whole.size() - kDigestSize, kDigestSize), 0);
}

TEST_F(FirmwareImageTest, MayHaveEmptyPartsAndVersions) {
  EXPECT_EQ(Read(MakeFirmwareImage({})), ImageStatus::kWhole);
}

TEST_F(FirmwareImageTest, EveryChangedByteIsDamage) {
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::vector<std::uint8_t> damaged = whole;
    damaged[i] ^= 0x20;
    EXPECT_EQ(Read(damaged), ImageStatus::kDamaged) << "byte " << i;
  }
}

TEST_F(FirmwareImageTest, EveryCutIsDamage) {
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(Read({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)}),
              ImageStatus::kDamaged)
        << length << " bytes";
  }
}

TEST_F(FirmwareImageTest, BytesBehindTheDigestAreDamage) {
  std::vector<std::uint8_t> longer = whole;
  longer.push_back(0);
  EXPECT_EQ(Read(longer), ImageStatus::kDamaged);
}

TEST_F(FirmwareImageTest, WrongFieldsAreDamageThoughTheDigestIsRight) {
  std::vector<std::uint8_t> wrong = whole;
  wrong[7] = '2';
  EXPECT_EQ(Read(Sealed(wrong)), ImageStatus::kDamaged) << "another magic";
  for (std::size_t version = 0; version < 4; ++version) {
    wrong = whole;
    wrong[8 + 256 * version] = 253;
    EXPECT_EQ(Read(Sealed(wrong)), ImageStatus::kDamaged) << "version " << version;
  }
  // Sizes that the file does not have, among them two whose sum wraps around.
  for (const std::uint8_t size : {std::uint8_t{2}, std::uint8_t{4}}) {
    wrong = whole;
    wrong[kSizes] = size;
    EXPECT_EQ(Read(Sealed(wrong)), ImageStatus::kDamaged);
  }
  wrong = whole;
  std::fill_n(wrong.begin() + kSizes, 4, 0xFF);
  wrong[kSizes + 4] = 6;
  EXPECT_EQ(Read(Sealed(wrong)), ImageStatus::kDamaged);
}

TEST_F(FirmwareImageTest, PartBeyondTheLimitIsDamage) {
  for (std::uint32_t ImageHeader::*part : {&ImageHeader::systemSize, &ImageHeader::appSize}) {
    for (const std::uint32_t beyond : {0U, 1U}) {
      ImageHeader header{};
      std::memcpy(header.magic, kImageMagic, sizeof kImageMagic);
      header.*part = kPartSizeLimit + beyond;
      std::vector<std::uint8_t> bytes(sizeof header + header.*part + kDigestSize);
      std::memcpy(bytes.data(), &header, sizeof header);
      EXPECT_EQ(Read(Sealed(bytes)), beyond == 0 ? ImageStatus::kWhole : ImageStatus::kDamaged);
    }
  }
}

TEST_F(FirmwareImageTest, MissingFileIsMissing) {
  FileImageSource source(testing::TempDir() + "vam_no_such_image");
  EXPECT_EQ(ReadFirmwareImage(source, digest, image), ImageStatus::kMissing);
}

TEST(MakeFirmwareImageTest, RefusesWhatAnImageDoesNotHold) {
  ImageContents contents;
  contents.runsAppVersion = std::string(253, 'v');
  EXPECT_THAT([&] { (void)MakeFirmwareImage(contents); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("252")));
  contents = {};
  contents.appPart.resize(kPartSizeLimit + 1);
  EXPECT_THAT([&] { (void)MakeFirmwareImage(contents); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("16777216")));
}

}  // namespace
}  // namespace vam
