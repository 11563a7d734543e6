// vam-image with standard input and output in the place of files.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

class ImageStreamsTest : public ::testing::Test {
 protected:
  /// Runs `script` where there are files ./part and ./image, the image of that part. $0 is
  /// vam-image.
  static Output Shell(const std::string& script) {
    const std::string image = std::filesystem::path(BoardLauncher()).parent_path() / "vam-image";
    return Capture({"/bin/sh", "-c",
                    "set -e; cd " + PrivateTmp::Folder() + "; printf 'one\\0two' >part; " + kMake +
                        "--system-part part -o image; " + script,
                    image});
  }

  static constexpr char kMake[] = "\"$0\" make --system-version 1.1 --app-version 2.0 ";

  const PrivateTmp tmp;
};

TEST_F(ImageStreamsTest, Image_ToStandardOutput_IsThatOfTheFile) {
  const Output output = Shell(std::string(kMake) + "--system-part part -o -");
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.standardOutput, ReadFile(PrivateTmp::Folder() + "/image"));
  EXPECT_FALSE(ReadFile(PrivateTmp::Folder() + "/-"));
}

TEST_F(ImageStreamsTest, Part_FromStandardInput_IsThatOfTheFile) {
  EXPECT_EQ(Shell(std::string(kMake) + "--system-part - -o new <part; cmp new image").status, 0);
  EXPECT_EQ(Shell("cat part | " + std::string(kMake) + "--system-part - -o - | cmp - image").status,
            0);
  EXPECT_EQ(Shell(std::string(kMake) + "--app-part part -o one; " + kMake +
                  "--app-part - -o two <part; cmp one two")
                .status,
            0);
}

TEST_F(ImageStreamsTest, Image_FromStandardInput_IsShown) {
  const Output output = Shell("cat image | \"$0\" show -");
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardOutput,
            "system version: 1.1\napp version: 2.0\nsystem part: 7 bytes, runs as 1.1\n"
            "app part: 0 bytes, runs as 2.0\n");
}

TEST_F(ImageStreamsTest, MemoryThatIsNotToBeHad_IsSaidInALine) {
  if (VAM_IS_SANITIZED) {
    GTEST_SKIP() << "not run: the sanitizers need memory of their own";
  }
  const Output output = Shell("ulimit -v 50000; exec \"$0\" show - </dev/zero");
  EXPECT_EQ(output.status, 1);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_EQ(output.standardError, "vam-image: there is not enough memory\n");
}

TEST_F(ImageStreamsTest, Image_IsShownWithEachOfItsVersionsAndParts) {
  const Output output = Shell(std::string(kMake) +
                              "--runs-app-version 2.5 --app-part part -o both; \"$0\" show both");
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.standardOutput,
            "system version: 1.1\napp version: 2.0\nsystem part: 0 bytes, runs as 1.1\n"
            "app part: 7 bytes, runs as 2.5\n");
}

TEST_F(ImageStreamsTest, LargestPart_IsTakenFromAFileAndFromStandardInput) {
  const Output output = Shell("truncate -s 16777216 large; " + std::string(kMake) +
                              "--system-part large -o one; cat large | " + kMake +
                              "--system-part - -o other; cmp one other; \"$0\" show one");
  EXPECT_EQ(output.status, 0);
  EXPECT_NE(output.standardOutput.find("\nsystem part: 16777216 bytes, runs as 1.1\n"),
            std::string::npos)
      << output.standardOutput;
}

TEST_F(ImageStreamsTest, ImageBesideItsParts_LeavesThemAsTheyAre) {
  const Output output = Shell(std::string(kMake) +
                              "--system-part part --app-part - -o - <part |"
                              " \"$0\" show -; printf 'one\\0two' | cmp part -");
  EXPECT_EQ(output.status, 0);
  EXPECT_NE(output.standardOutput.find("app part: 7 bytes, runs as 2.0\n"), std::string::npos);
}

}  // namespace
}  // namespace vam
