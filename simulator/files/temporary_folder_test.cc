#include "simulator/files/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

/// Puts TMPDIR back at the end.
class TemporaryFolderTest : public ::testing::Test {
 protected:
  void TearDown() override {
    if (before) {
      setenv("TMPDIR", before->c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }

  const std::optional<std::string> before =
      getenv("TMPDIR") == nullptr ? std::nullopt : std::optional<std::string>(getenv("TMPDIR"));
};

TEST_F(TemporaryFolderTest, Folder_GoesWithEverythingInIt) {
  std::string path;
  {
    const TemporaryFolder folder("some");
    path = folder.Path();
    fs::create_directory(path + "/below");
    std::ofstream(path + "/below/file") << "bytes";
    EXPECT_TRUE(fs::exists(path + "/below/file"));
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(TemporaryFolderTest, TwoFoldersOfOnePrefix_Differ) {
  const TemporaryFolder one("same");
  const TemporaryFolder other("same");
  EXPECT_NE(one.Path(), other.Path());
}

TEST_F(TemporaryFolderTest, Tmpdir_HoldsTheFolder) {
  const TemporaryFolder parent("parent");
  setenv("TMPDIR", parent.Path().c_str(), 1);
  EXPECT_THAT(TemporaryFolder("child").Path(), StartsWith(parent.Path() + "/child-"));
}

TEST_F(TemporaryFolderTest, RelativeTmpdir_GivesAnAbsolutePath) {
  setenv("TMPDIR", ".", 1);
  EXPECT_TRUE(fs::path(TemporaryFolder("child").Path()).is_absolute());
}

TEST_F(TemporaryFolderTest, NoTmpdirOrAnEmptyOne_LeadsToTmp) {
  unsetenv("TMPDIR");
  EXPECT_THAT(TemporaryFolder("child").Path(), StartsWith("/tmp/child-"));
  setenv("TMPDIR", "", 1);
  EXPECT_THAT(TemporaryFolder("child").Path(), StartsWith("/tmp/child-"));
}

TEST_F(TemporaryFolderTest, MissingTmpdir_IsNamedWithWhatToDo) {
  const TemporaryFolder parent("parent");
  setenv("TMPDIR", (parent.Path() + "/missing").c_str(), 1);
  EXPECT_THAT([] { TemporaryFolder("child"); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr(parent.Path() + "/missing/child-"),
                        HasSubstr("No such file or directory; point TMPDIR to a folder"))));
}

}  // namespace
}  // namespace vam
