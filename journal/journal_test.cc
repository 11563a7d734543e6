#include "journal/journal.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <system_error>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"

namespace vam {
namespace {

class JournalTest : public ::testing::Test {
 protected:
  Journal::Failed Report() {
    return [this](const std::string& cause) { reported = cause; };
  }
  std::string Written() const { return ReadWholeFile(path).value_or("(no journal)"); }
  mode_t Mode() const {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & mode_t{0777};
  }

  const TemporaryFolder folder{"vam-journal-test"};
  const std::string path = folder.Path() + "/journal";
  std::string reported;
};

TEST_F(JournalTest, Start_WritesTheHeadIntoAPrivateFile) {
  JournalSettings settings;
  const std::uint64_t before = BootTime();
  ASSERT_TRUE(StartJournal(path, {"a \"b\"", {"--hex", "0123"}, "vam-board 1.0"}, settings));
  EXPECT_GE(settings.start, before);
  EXPECT_LE(settings.start, BootTime());
  EXPECT_EQ(Mode(), 0600U);
  const std::string start = std::to_string(settings.start);
  EXPECT_THAT(Written(),
              ::testing::StartsWith(R"({"format":1,"program":"a \u0022b\u0022","arguments":null,)"
                                    R"("build":"vam-board 1.0","keys":false,"clock":{"bootId":")"));
  EXPECT_TRUE(
      std::regex_search(Written(), std::regex(R"re("bootId":"[-0-9a-f]{36}","bootTime":)re" +
                                              start + R"re(,"realTime":[0-9]{19}\}\}\n$)re")))
      << Written();
}

TEST_F(JournalTest, Start_OnAFileThatIsThere_EmptiesItAndMakesItPrivate) {
  std::ofstream(path) << "a text longer than the head\n" << std::string(1000, 'x');
  chmod(path.c_str(), 0644);
  JournalSettings settings;
  settings.withKeys = true;
  ASSERT_TRUE(StartJournal(path, {"tool", {"-x", "y"}, "b"}, settings));
  EXPECT_THAT(Written(),
              ::testing::StartsWith(R"({"format":1,"program":"tool","arguments":["-x","y"],)"
                                    R"("build":"b","keys":true,)"));
  EXPECT_THAT(Written(), ::testing::EndsWith("}}\n"));
  EXPECT_EQ(Mode(), 0600U);
}

TEST_F(JournalTest, Start_WhereNothingCanBeWritten_TellsWhy) {
  JournalSettings settings;
  EXPECT_FALSE(StartJournal(folder.Path() + "/none/journal", {}, settings));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(StartJournal("/dev/full", {}, settings));
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(JournalTest, MissingFile_IsNoJournal) {
  EXPECT_FALSE(Journal(path, {}, Report()).IsKept());
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(JournalTest, Lines_AreAppendedToTheFile) {
  std::ofstream(path) << "before\n";
  Journal journal(path, {}, Report());
  Journal other(path, {}, Report());
  ASSERT_TRUE(journal.IsKept());
  journal.Append("one");
  other.Append("two");
  journal.Append("three");
  EXPECT_EQ(Written(), "before\none\ntwo\nthree\n");
  EXPECT_EQ(reported, "");
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
  Journal journal(path, {}, Report());
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

TEST_F(JournalTest, FileThatCannotBeOpened_IsNotKept) {
  std::filesystem::create_directory(path);
  EXPECT_FALSE(Journal(path, {}, Report()).IsKept());
}

TEST_F(JournalTest, LineThatCannotBeWritten_IsTold) {
  Journal journal("/dev/full", {}, Report());
  journal.Append("line");
  EXPECT_EQ(reported, "No space left on device");
}

TEST_F(JournalTest, LineBeyondTheLargestFile_IsToldAndNoPartOfItStays) {
  std::ofstream(path).close();
  Journal journal(path, {}, Report());
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
  EXPECT_NE(reported, "");
  EXPECT_EQ(Written(), "first\n");
}

TEST_F(JournalTest, PipeThatNobodyReads_IsToldWithoutASignal) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  Journal journal(path, {}, Report());
  close(reader);
  journal.Append("line");
  EXPECT_EQ(reported, "Broken pipe");
}

}  // namespace
}  // namespace vam
