#include "driver/version_trimming.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

struct Trimming {
  const char* name;
  std::string updated;
  std::string chip;
  std::string fileSystem;
  std::string updatedAfter;
  std::string chipAfter;
  std::string fileSystemAfter;
};

void PrintTo(const Trimming& trimming, std::ostream* out) { *out << trimming.name; }

class VersionTrimmingTest : public testing::TestWithParam<Trimming> {};

TEST_P(VersionTrimmingTest, TrimVersions_ThreeVersions_LoseTheirLastBytesOrNone) {
  std::string updated = GetParam().updated;
  std::string chip = GetParam().chip;
  std::string fileSystem = GetParam().fileSystem;
  vam::TrimVersions(updated, chip, fileSystem);
  EXPECT_EQ(updated, GetParam().updatedAfter);
  EXPECT_EQ(chip, GetParam().chipAfter);
  EXPECT_EQ(fileSystem, GetParam().fileSystemAfter);
}

const std::string kZero(1, '\0');

INSTANTIATE_TEST_SUITE_P(
    Versions, VersionTrimmingTest,
    testing::Values(
        Trimming{"AllThree", "1.2" + kZero, "1.2.3" + kZero, "4" + kZero, "1.2", "1.2.3", "4"},
        // Whatever the last byte is.
        Trimming{"AnyLastByte", "12", "34", "56", "1", "3", "5"},
        Trimming{"OnlyTheLastOfTwoZeros", "1" + kZero + kZero, "2" + kZero, "3" + kZero,
                 "1" + kZero, "2", "3"},
        Trimming{"OneByteVersions", "1", "2", "3", "", "", ""},
        Trimming{"UpdatedEmpty", "", "1.2" + kZero, "1.3" + kZero, "", "1.2" + kZero,
                 "1.3" + kZero},
        Trimming{"ChipEmpty", "1.2" + kZero, "", "1.3" + kZero, "1.2" + kZero, "", "1.3" + kZero},
        Trimming{"UpdatedAndChipEmpty", "", "", "1.3" + kZero, "", "", "1.3" + kZero},
        Trimming{"FileSystemEmpty", "1.2" + kZero, "1.2" + kZero, "", "1.2", "1.2", ""},
        Trimming{"AllEmpty", "", "", "", "", "", ""}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
