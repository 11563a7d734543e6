#include "simulator/files/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "tests/support/planned_calls.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

static_assert(!std::is_copy_constructible_v<TemporaryFolder>);
static_assert(!std::is_copy_assignable_v<TemporaryFolder>);

std::ptrdiff_t OpenDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), {});
}

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

TEST_F(TemporaryFolderTest, FolderInMemory_IsMadeWhereItMayBe) {
  unsetenv("TMPDIR");
  if (access("/dev/shm", W_OK | X_OK) != 0) {
    GTEST_SKIP() << "this machine has no place in memory";
  }
  EXPECT_THAT(TemporaryFolder("child", FolderPlace::kMemory).Path(), StartsWith("/dev/shm/child-"));
  for (const int right : {W_OK, X_OK}) {
    PlannedCalls plans;
    plans.Deny(right);
    EXPECT_THAT(TemporaryFolder("child", FolderPlace::kMemory).Path(), StartsWith("/tmp/child-"));
  }
}

TEST_F(TemporaryFolderTest, FolderInMemory_IsInTmpdirToo) {
  const TemporaryFolder parent("parent");
  setenv("TMPDIR", parent.Path().c_str(), 1);
  EXPECT_THAT(TemporaryFolder("child", FolderPlace::kMemory).Path(),
              StartsWith(parent.Path() + "/child-"));
}

TEST_F(TemporaryFolderTest, FolderThatCannotBeOpened_IsNamed) {
  PlannedCalls plans;
  plans.Fail("open", EMFILE);
  EXPECT_THAT([] { TemporaryFolder("child"); },
              ThrowsMessage<std::runtime_error>(AllOf(
                  HasSubstr("/child-"), EndsWith(": cannot be opened: Too many open files"))));
}

TEST_F(TemporaryFolderTest, FolderThatIsGoneBeforeItIsLocked_IsMadeAnew) {
  const TemporaryFolder parent("parent");
  setenv("TMPDIR", parent.Path().c_str(), 1);
  std::string first;
  PlannedCalls plans;
  plans.Before("flock", [&first](int descriptor) {
    first = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).string();
    fs::remove(first);
  });
  // And once between its making and its opening.
  plans.Before("open", [](int) {});
  plans.Fail("open", ENOENT);
  const auto open = OpenDescriptors();
  {
    const TemporaryFolder folder("child");
    EXPECT_NE(folder.Path(), first);
    EXPECT_TRUE(fs::is_directory(folder.Path()));
  }
  EXPECT_EQ(OpenDescriptors(), open);
}

TEST_F(TemporaryFolderTest, InterruptedLock_IsTakenAfterAll) {
  const TemporaryFolder parent("parent");
  setenv("TMPDIR", parent.Path().c_str(), 1);
  std::optional<TemporaryFolder> folder;
  {
    PlannedCalls plans;
    plans.Fail("flock", EINTR);
    plans.Fail("flock", EINTR);
    folder.emplace("child");
  }
  RemoveLeftOverFolders("child");
  EXPECT_TRUE(fs::exists(folder->Path()));
}

TEST_F(TemporaryFolderTest, FileSystemWithoutLocks_HasFoldersToo) {
  PlannedCalls plans;
  plans.Fail("flock", ENOLCK);
  EXPECT_TRUE(fs::is_directory(TemporaryFolder("child").Path()));
}

/// The test's own folder, for the folders that a killed process did not remove.
class LeftOverFoldersTest : public TemporaryFolderTest {
 protected:
  LeftOverFoldersTest() { setenv("TMPDIR", parent.Path().c_str(), 1); }

  std::string Path(const std::string& name) const { return parent.Path() + "/" + name; }
  std::string MakeFolder(const std::string& name) const {
    fs::create_directory(Path(name));
    std::ofstream(Path(name) + "/file") << "bytes";
    return Path(name);
  }

  const TemporaryFolder parent{"parent"};
};

TEST_F(LeftOverFoldersTest, FolderThatNobodyHolds_IsRemovedWithEverythingInIt) {
  const std::string one = MakeFolder("some-a1B2c3");
  const std::string other = MakeFolder("some-XXXXXX");
  const auto open = OpenDescriptors();
  RemoveLeftOverFolders("some");
  EXPECT_FALSE(fs::exists(one));
  EXPECT_FALSE(fs::exists(other));
  EXPECT_EQ(OpenDescriptors(), open);
}

TEST_F(LeftOverFoldersTest, FolderThatIsHeld_Stays) {
  const TemporaryFolder held("some");
  RemoveLeftOverFolders("some");
  EXPECT_TRUE(fs::exists(held.Path()));
}

TEST_F(LeftOverFoldersTest, WhatHasAnotherName_Stays) {
  for (const char* name : {"some-a1B2c", "some-a1B2c34", "some-a1B2c.", "some_a1B2c3",
                           "other-a1B2c3", "xsome-a1B2c3", "some-", "some"}) {
    const std::string path = MakeFolder(name);
    RemoveLeftOverFolders("some");
    EXPECT_TRUE(fs::exists(path)) << name;
  }
}

TEST_F(LeftOverFoldersTest, FileOrLinkOfSuchAName_Stays) {
  std::ofstream(Path("some-a1B2c3")) << "bytes";
  fs::create_directory_symlink(MakeFolder("stranger"), Path("some-d4E5f6"));
  RemoveLeftOverFolders("some");
  EXPECT_TRUE(fs::is_regular_file(Path("some-a1B2c3")));
  EXPECT_TRUE(fs::is_symlink(Path("some-d4E5f6")));
  EXPECT_TRUE(fs::exists(Path("stranger/file")));
}

TEST_F(LeftOverFoldersTest, AnotherUsersFolder_Stays) {
  const std::string foreign = MakeFolder("some-a1B2c3");
  if (chown(foreign.c_str(), 12, 34) != 0) {
    GTEST_SKIP() << "only root gives folders away";
  }
  RemoveLeftOverFolders("some");
  EXPECT_TRUE(fs::exists(foreign));
}

TEST_F(LeftOverFoldersTest, FolderInMemory_IsLookedForThere) {
  unsetenv("TMPDIR");
  if (access("/dev/shm", W_OK | X_OK) != 0) {
    GTEST_SKIP() << "this machine has no place in memory";
  }
  const std::string prefix = "vam-left-over-" + std::to_string(getpid());
  const std::string left = "/dev/shm/" + prefix + "-a1B2c3";
  fs::create_directory(left);
  RemoveLeftOverFolders(prefix);
  EXPECT_TRUE(fs::exists(left));
  RemoveLeftOverFolders(prefix, FolderPlace::kMemory);
  EXPECT_FALSE(fs::exists(left));
}

TEST_F(LeftOverFoldersTest, MissingParent_IsNoTrouble) {
  setenv("TMPDIR", Path("missing").c_str(), 1);
  RemoveLeftOverFolders("some");
}

}  // namespace
}  // namespace vam
