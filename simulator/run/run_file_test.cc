#include "simulator/run/run_file.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <stdexcept>
#include <string>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"

namespace vam {
namespace {

class RunFileTest : public ::testing::Test {
 protected:
  std::string Path() const { return folder.Path() + "/file"; }

  const TemporaryFolder folder{"vam-run-file-test"};
};

/// Returns what `use` throws.
template <typename Use>
std::string Thrown(Use use) {
  try {
    use();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "nothing";
}

TEST_F(RunFileTest, Mappings_ShareTheirBytes) {
  WriteRunFile(Path(), "ab");
  auto* one = static_cast<char*>(MapRunFile(Path(), 2));
  auto* other = static_cast<char*>(MapRunFile(Path(), 2));
  EXPECT_EQ(std::string(other, 2), "ab");
  one[1] = 'c';
  EXPECT_EQ(std::string(other, 2), "ac");
  EXPECT_EQ(ReadWholeFile(Path()), "ac");
  munmap(one, 2);
  munmap(other, 2);
}

TEST_F(RunFileTest, FileThatIsThere_IsWrittenAnew) {
  WriteRunFile(Path(), "longer");
  WriteRunFile(Path(), "x");
  EXPECT_EQ(ReadWholeFile(Path()), "x");
}

TEST_F(RunFileTest, FileThatCannotBeUsed_IsNamedWithTheReason) {
  const std::string missing = folder.Path() + "/missing/file";
  const std::string expected = missing + ": No such file or directory";
  EXPECT_EQ(Thrown([&] { WriteRunFile(missing, ""); }), expected);
  EXPECT_EQ(Thrown([&] { static_cast<void>(MapRunFile(missing, 1)); }), expected);
  WriteRunFile(Path(), "");
  EXPECT_EQ(Thrown([&] { static_cast<void>(MapRunFile(Path(), 0)); }),
            Path() + ": Invalid argument");
}

}  // namespace
}  // namespace vam
