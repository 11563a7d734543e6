#include "simulator/state/firmware_image_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/model/firmware_image.h"
#include "simulator/state/sha256_digest.h"
#include "tests/support/planned_calls.h"

namespace vam {
namespace {

using ::testing::ThrowsMessage;

static_assert(!std::is_copy_constructible_v<FirmwareImageFile>);
static_assert(!std::is_copy_assignable_v<FirmwareImageFile>);

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
  struct Text {
    std::string ImageContents::*text;
    const char* what;
  };
  const Text texts[] = {{&ImageContents::systemVersion, "system"},
                        {&ImageContents::appVersion, "app"},
                        {&ImageContents::runsSystemVersion, "system part's own"},
                        {&ImageContents::runsAppVersion, "app part's own"}};
  for (const auto& [text, what] : texts) {
    ImageContents contents;
    contents.*text = std::string(252, 'v');
    EXPECT_NO_THROW((void)MakeFirmwareImage(contents)) << what;
    contents.*text += 'v';
    EXPECT_THAT(
        [&] { (void)MakeFirmwareImage(contents); },
        ThrowsMessage<std::invalid_argument>(std::string("the ") + what +
                                             " version has 253 bytes; an image holds at most 252"));
  }
  struct Part {
    std::vector<std::uint8_t> ImageContents::*part;
    const char* what;
  };
  const Part parts[] = {{&ImageContents::systemPart, "system"}, {&ImageContents::appPart, "app"}};
  for (const auto& [part, what] : parts) {
    ImageContents contents;
    (contents.*part).resize(16777216);
    EXPECT_NO_THROW((void)MakeFirmwareImage(contents)) << what;
    (contents.*part).resize(16777217);
    EXPECT_THAT([&] { (void)MakeFirmwareImage(contents); },
                ThrowsMessage<std::invalid_argument>(
                    std::string("the ") + what +
                    " part has 16777217 bytes; an image holds at most 16777216"));
  }
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
  errno = EIO;
  EXPECT_FALSE(file.Read(3, bytes, 2));
  EXPECT_EQ(file.Obstacle(), "") << "the file ended, and nothing failed";
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

TEST_F(FirmwareImageFileTest, MissingFile_IsNoObstacle) {
  EXPECT_EQ(FirmwareImageFile(path).Obstacle(), "");
}

TEST_F(FirmwareImageFileTest, WhatIsNoReadableFile_IsAnObstacle) {
  const auto obstacle = [](const std::string& file) { return FirmwareImageFile(file).Obstacle(); };
  const std::string cause = ": the firmware image cannot be read: ";
  EXPECT_EQ(obstacle(folder.Path()), folder.Path() + cause + "Is a directory");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(obstacle(path), path + cause + "Not a regular file");
  EXPECT_EQ(obstacle(path + "/x"), path + "/x" + cause + "Not a directory");
  std::filesystem::remove(path);
  Write({1, 2, 3});
  PlannedCalls plans;
  plans.Fail("open", EACCES);
  EXPECT_EQ(obstacle(path), path + cause + "Permission denied");
}

TEST_F(FirmwareImageFileTest, FileThatIsReplacedByAFifoMeanwhile_IsNotWaitedFor) {
  Write({1, 2, 3});
  PlannedCalls plans;
  plans.Before("open", [this](int) {
    std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  });
  FirmwareImageFile file(path);
  std::uint32_t size = 0;
  EXPECT_FALSE(file.Size(&size));
}

TEST_F(FirmwareImageFileTest, InterruptedOrShortRead_GoesOn) {
  Write({10, 11, 12, 13});
  FirmwareImageFile file(path);
  std::uint8_t bytes[4] = {};
  PlannedCalls plans;
  plans.Fail("pread", EINTR);
  plans.Shorten("pread", 1);
  plans.Shorten("pread", 2);
  EXPECT_TRUE(file.Read(0, bytes, 4));
  EXPECT_THAT(bytes, testing::ElementsAre(10, 11, 12, 13));
  EXPECT_EQ(file.Obstacle(), "");
}

TEST_F(FirmwareImageFileTest, ReadThatFails_IsAnObstacle) {
  Write({10, 11, 12, 13});
  FirmwareImageFile file(path);
  std::uint8_t bytes[4] = {};
  PlannedCalls plans;
  plans.Shorten("pread", 1);
  plans.Fail("pread", EIO);
  EXPECT_FALSE(file.Read(0, bytes, 4));
  EXPECT_EQ(file.Obstacle(), path + ": the firmware image cannot be read: Input/output error");
}

TEST_F(FirmwareImageFileTest, ImageFile_IsOpenAsLongAsItLivesAndNoLonger) {
  Write({10, 11});
  const auto descriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = descriptors();
  {
    FirmwareImageFile file(path);
    EXPECT_EQ(descriptors(), before + 1);
    // What replaces it does not change what is read.
    Write({20, 21});
    std::uint8_t byte = 0;
    EXPECT_TRUE(file.Read(0, &byte, 1));
    EXPECT_EQ(byte, 10);
  }
  EXPECT_EQ(descriptors(), before);
}

TEST_F(FirmwareImageFileTest, ProgramWithoutStandardInput_ReadsTheImageToo) {
  Write({10, 11});
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  errno = 0;
  std::uint8_t byte = 0;
  {
    FirmwareImageFile file(path);
    EXPECT_TRUE(file.Read(1, &byte, 1));
    EXPECT_EQ(file.Obstacle(), "");
  }
  EXPECT_LT(fcntl(STDIN_FILENO, F_GETFD), 0) << "it is closed again";
  if (input >= 0) {
    dup2(input, STDIN_FILENO);
    close(input);
  }
  EXPECT_EQ(byte, 11);
}

}  // namespace
}  // namespace vam
