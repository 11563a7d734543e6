#include "simulator/run/journal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"

namespace vam {
namespace {

class JournalTest : public ::testing::Test {
 protected:
  std::string Written() const { return ReadWholeFile(path).value_or("(no journal)"); }

  const TemporaryFolder folder{"vam-journal-test"};
  const std::string path = folder.Path() + "/journal";
};

TEST_F(JournalTest, MissingFile_IsNoJournal) {
  EXPECT_FALSE(Journal(path).IsKept());
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(JournalTest, Lines_AreAppendedToTheFile) {
  std::ofstream(path) << "before\n";
  Journal journal(path);
  Journal other(path);
  ASSERT_TRUE(journal.IsKept());
  journal.Append("one");
  other.Append("two");
  journal.Append("three");
  EXPECT_EQ(Written(), "before\none\ntwo\nthree\n");
}

/// Returns this process's descriptor of the file at `path`.
int DescriptorOf(const std::string& path) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry.path(), ignored) == path) {
      return std::stoi(entry.path().filename().string());
    }
  }
  return -1;
}

TEST_F(JournalTest, DescriptorThatTheProgramTook_IsNotWrittenTo) {
  std::ofstream(path).close();
  Journal journal(path);
  const std::string stranger = folder.Path() + "/stranger";
  const int file = open(stranger.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const int taken = DescriptorOf(path);
  ASSERT_EQ(dup3(file, taken, O_CLOEXEC), taken);
  journal.Append("line");
  EXPECT_EQ(Written(), "line\n");
  EXPECT_EQ(ReadWholeFile(stranger), "");
  close(taken);
  close(file);
}

TEST_F(JournalTest, FileThatCannotBeOpened_IsNamed) {
  std::filesystem::create_directory(path);
  EXPECT_THROW(Journal{path}, std::runtime_error);
}

TEST_F(JournalTest, LineThatCannotBeWritten_EndsTheProcess) {
  Journal journal("/dev/full");
  EXPECT_EXIT(journal.Append("line"), ::testing::ExitedWithCode(125),
              "the journal cannot be written: No space left on device");
}

}  // namespace
}  // namespace vam
