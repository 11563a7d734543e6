#include "simulator/run/journal.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
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

using ::testing::StartsWith;

class JournalTest : public ::testing::Test {
 protected:
  Journal::Trouble Report() {
    return [this](const std::string& trouble) { reported = trouble; };
  }
  std::string Written() const { return ReadWholeFile(path).value_or("(no journal)"); }

  const TemporaryFolder folder{"vam-journal-test"};
  const std::string path = folder.Path() + "/journal";
  std::string reported;
};

TEST_F(JournalTest, MissingFile_IsNoJournal) {
  EXPECT_FALSE(Journal(path, Report()).IsKept());
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(JournalTest, Lines_AreAppendedToTheFile) {
  std::ofstream(path) << "before\n";
  Journal journal(path, Report());
  Journal other(path, Report());
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
  Journal journal(path, Report());
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
  EXPECT_THROW(Journal(path, Report()), std::runtime_error);
}

TEST_F(JournalTest, LineThatCannotBeWritten_IsReported) {
  Journal journal("/dev/full", Report());
  journal.Append("line");
  EXPECT_EQ(reported,
            "the journal cannot be written: No space left on device; make room, or give another "
            "file with --journal");
}

TEST_F(JournalTest, LineBeyondTheLargestFile_IsReportedAndNoPartOfItStays) {
  std::ofstream(path).close();
  Journal journal(path, Report());
  journal.Append("first");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit small = before;
  small.rlim_cur = 12;
  setrlimit(RLIMIT_FSIZE, &small);
  // Neither a part of the second line nor the signal reaches anybody.
  journal.Append("second line");
  journal.Append("third line");
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_THAT(reported, StartsWith("the journal cannot be written: "));
  EXPECT_EQ(Written(), "first\n");
}

TEST_F(JournalTest, PipeThatNobodyReads_IsReportedWithoutASignal) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  Journal journal(path, Report());
  close(reader);
  journal.Append("line");
  EXPECT_THAT(reported, StartsWith("the journal cannot be written: Broken pipe"));
}

}  // namespace
}  // namespace vam
