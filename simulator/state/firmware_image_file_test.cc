#include "simulator/state/firmware_image_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/model/firmware_image.h"
#include "simulator/state/sha256_digest.h"

namespace vam {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

/// Returns the 32-bit little-endian number at `offset`.
std::uint32_t NumberAt(const std::string& bytes, std::size_t offset) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    number |= static_cast<std::uint32_t>(static_cast<std::uint8_t>(bytes[offset + i])) << (8 * i);
  }
  return number;
}

TEST(MakeFirmwareImageTest, Image_HasTheDocumentedLayout) {
  const std::vector<std::uint8_t> image =
      MakeFirmwareImage({"1.1,XX", "2.0", "1.1,04", "2.0.1", {1, 2, 3}, {4, 5}});
  const std::string bytes(image.begin(), image.end());
  ASSERT_EQ(bytes.size(), 1040 + 3 + 2 + 32U);
  EXPECT_EQ(bytes.substr(0, 8), "VAMIMG01");
  struct Version {
    std::size_t offset;
    std::string text;
  };
  for (const Version& version :
       {Version{8, "1.1,XX"}, {264, "2.0"}, {520, "1.1,04"}, {776, "2.0.1"}}) {
    EXPECT_EQ(NumberAt(bytes, version.offset), version.text.size());
    EXPECT_EQ(bytes.substr(version.offset + 4, 252),
              version.text + std::string(252 - version.text.size(), '\0'));
  }
  EXPECT_EQ(NumberAt(bytes, 1032), 3U);
  EXPECT_EQ(NumberAt(bytes, 1036), 2U);
  EXPECT_EQ(bytes.substr(1040, 5), "\x01\x02\x03\x04\x05");
  std::uint8_t digest[kDigestSize];
  SHA256(image.data(), image.size() - kDigestSize, digest);
  EXPECT_EQ(bytes.substr(1045), std::string(digest, digest + kDigestSize));
}

TEST(MakeFirmwareImageTest, WhatAnImageDoesNotHold_IsRefusedWithTheLimit) {
  ImageContents contents;
  contents.runsAppVersion = std::string(253, 'v');
  EXPECT_THAT([&] { (void)MakeFirmwareImage(contents); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("252")));
  contents = {};
  contents.appPart.resize(kPartSizeLimit + 1);
  EXPECT_THAT([&] { (void)MakeFirmwareImage(contents); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("16777216")));
}

class FirmwareImageFileTest : public testing::Test {
 protected:
  void Write(const std::vector<std::uint8_t>& bytes) const {
    ASSERT_TRUE(ReplaceFile(path, bytes.data(), bytes.size()));
  }

  const TemporaryFolder folder{"vam-image-test"};
  const std::string path = folder.Path() + "/some.img";
};

TEST_F(FirmwareImageFileTest, Image_IsReadFromItsFile) {
  Write(MakeFirmwareImage({"1.1,XX", "2.0", "1.1,04", "2.0", std::vector<std::uint8_t>(4096, 's'),
                           std::vector<std::uint8_t>(1000, 'a')}));
  FirmwareImageFile file(path);
  Sha256Digest digest;
  FirmwareImage image;
  EXPECT_EQ(ReadFirmwareImage(file, digest, image), ImageStatus::kWhole);
  EXPECT_EQ(image.header.systemSize, 4096U);
}

TEST_F(FirmwareImageFileTest, Bytes_AreReadOnlyWhereTheFileHasThem) {
  Write({10, 11, 12, 13});
  FirmwareImageFile file(path);
  std::uint32_t size = 0;
  EXPECT_TRUE(file.Size(&size));
  EXPECT_EQ(size, 4U);
  std::uint8_t bytes[2] = {};
  EXPECT_TRUE(file.Read(2, bytes, 2));
  EXPECT_EQ(bytes[0], 12);
  EXPECT_EQ(bytes[1], 13);
  EXPECT_FALSE(file.Read(3, bytes, 2));
  EXPECT_TRUE(file.Read(4, bytes, 0));
}

TEST_F(FirmwareImageFileTest, MissingFile_IsAMissingImage) {
  FirmwareImageFile file(path);
  std::uint32_t size = 0;
  EXPECT_FALSE(file.Size(&size));
  EXPECT_FALSE(file.Read(0, &size, sizeof size));
}

TEST_F(FirmwareImageFileTest, FileBeyond32Bits_HasTheLargestSize) {
  std::ofstream(path).seekp(0x100000001).put('x');
  FirmwareImageFile file(path);
  std::uint32_t size = 0;
  EXPECT_TRUE(file.Size(&size));
  EXPECT_EQ(size, 0xFFFFFFFF);
}

}  // namespace
}  // namespace vam
