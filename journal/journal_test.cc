#include "journal/journal.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>

#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "tests/support/planned_calls.h"

namespace vam {
namespace {

static_assert(!std::is_copy_constructible_v<Journal>);
static_assert(!std::is_copy_assignable_v<Journal>);

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

/// Nanoseconds of a clock, read in another way than the journal does.
std::uint64_t NanosecondsOf(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<std::uint64_t>(
      (std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec)).count());
}

TEST_F(JournalTest, BootTime_IsThatOfTheBootClock) {
  const std::uint64_t before = NanosecondsOf(CLOCK_BOOTTIME);
  const std::uint64_t now = BootTime();
  const std::uint64_t after = NanosecondsOf(CLOCK_BOOTTIME);
  EXPECT_LE(before, now);
  EXPECT_LE(now, after);
}

TEST_F(JournalTest, Head_TellsWhatTimeItIs) {
  const std::uint64_t before = NanosecondsOf(CLOCK_REALTIME);
  JournalSettings settings;
  ASSERT_TRUE(StartJournal(path, {}, settings));
  const std::uint64_t after = NanosecondsOf(CLOCK_REALTIME);
  const std::string head = Written();
  std::smatch found;
  ASSERT_TRUE(std::regex_search(head, found, std::regex(R"re("realTime":([0-9]+)\}\}\n$)re")));
  EXPECT_LE(before, std::stoull(found.str(1)));
  EXPECT_LE(std::stoull(found.str(1)), after);
}

TEST_F(JournalTest, Head_WhereTheKernelTellsNoBoot_HasAnEmptyOne) {
  for (const char* function : {"open", "read"}) {
    PlannedCalls plans;
    if (std::string(function) == "open") {
      // The first one is the journal's own.
      plans.Before("open", [](int) {});
      plans.Fail("open", EACCES);
    } else {
      plans.Shorten("read", 35);
    }
    JournalSettings settings;
    ASSERT_TRUE(StartJournal(path, {}, settings));
    EXPECT_THAT(Written(), ::testing::HasSubstr(R"("clock":{"bootId":"","bootTime":)")) << function;
  }
}

class JournalFileTest : public JournalTest {
 protected:
  /// Returns 0 where a journal of this kind is started at `file`, or why it is not.
  static int ErrorOf(JournalFile kind, const std::string& file) {
    JournalSettings settings;
    return StartJournal(file, {}, settings, kind) ? 0 : errno;
  }
  static std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }
};

TEST_F(JournalFileTest, NewFile_IsOfEveryKind) {
  for (const JournalFile kind : {JournalFile::kAny, JournalFile::kOwn, JournalFile::kNew}) {
    EXPECT_EQ(ErrorOf(kind, path), 0);
    EXPECT_EQ(Mode(), 0600U);
    std::filesystem::remove(path);
  }
}

TEST_F(JournalFileTest, FileThatIsThere_IsNotNew) {
  std::ofstream(path) << "kept\n";
  EXPECT_EQ(ErrorOf(JournalFile::kNew, path), EEXIST);
  EXPECT_EQ(Written(), "kept\n");
  EXPECT_EQ(ErrorOf(JournalFile::kOwn, path), 0);
  EXPECT_THAT(Written(), ::testing::StartsWith("{\"format\":1,"));
}

TEST_F(JournalFileTest, SymbolicLink_IsFollowedOnlyToAnyFile) {
  const std::string target = folder.Path() + "/target";
  std::ofstream(target) << "kept\n";
  std::filesystem::create_symlink(target, path);
  EXPECT_EQ(ErrorOf(JournalFile::kOwn, path), ELOOP);
  EXPECT_EQ(ErrorOf(JournalFile::kNew, path), EEXIST);
  EXPECT_EQ(ReadWholeFile(target), "kept\n");
  EXPECT_EQ(ErrorOf(JournalFile::kAny, path), 0);
  EXPECT_THAT(Written(), ::testing::StartsWith("{\"format\":1,"));
}

TEST_F(JournalFileTest, FileOfAnotherName_IsNotOnesOwn) {
  std::ofstream(path) << "kept\n";
  chmod(path.c_str(), 0644);
  std::filesystem::create_hard_link(path, folder.Path() + "/other");
  EXPECT_EQ(ErrorOf(JournalFile::kOwn, path), EPERM);
  EXPECT_EQ(Written(), "kept\n");
  EXPECT_EQ(Mode(), 0644U);
}

TEST_F(JournalFileTest, FileOfAnotherUser_IsNotOnesOwn) {
  std::ofstream(path) << "kept\n";
  if (chown(path.c_str(), 12, 34) != 0) {
    GTEST_SKIP() << "only root gives files away";
  }
  EXPECT_EQ(ErrorOf(JournalFile::kOwn, path), EPERM);
  EXPECT_EQ(Written(), "kept\n");
}

TEST_F(JournalFileTest, Fifo_IsAnyFileAndNotOnesOwn) {
  ASSERT_EQ(mkfifo(path.c_str(), 0640), 0);
  EXPECT_EQ(ErrorOf(JournalFile::kAny, path), ENXIO) << "nobody reads";
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_EQ(ErrorOf(JournalFile::kOwn, path), EPERM);
  EXPECT_EQ(ErrorOf(JournalFile::kAny, path), 0);
  EXPECT_EQ(Mode(), 0640U);
  char head[12] = {};
  EXPECT_EQ(read(reader, head, 11), 11);
  EXPECT_STREQ(head, "{\"format\":1");
  close(reader);
}

TEST_F(JournalFileTest, NewFile_IsPrivateFromTheFirstMoment) {
  const mode_t mask = umask(0);
  PlannedCalls plans;
  mode_t atFirst = 0;
  plans.Before("fchmod", [&](int descriptor) {
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    atFirst = Mode();
  });
  EXPECT_EQ(ErrorOf(JournalFile::kAny, path), 0);
  umask(mask);
  EXPECT_EQ(atFirst, 0600U);
}

TEST_F(JournalFileTest, FileThatCannotBeMadePrivate_TellsWhyAndLeavesNothingOpen) {
  const auto before = OpenDescriptors();
  PlannedCalls plans;
  plans.Fail("fchmod", EROFS);
  EXPECT_EQ(ErrorOf(JournalFile::kAny, path), EROFS);
  plans.Fail("write", EIO);
  EXPECT_EQ(ErrorOf(JournalFile::kAny, path), EIO);
  EXPECT_EQ(ErrorOf(JournalFile::kAny, path), 0);
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(JournalFileTest, FailureToClose_DoesNotHideWhatFailed) {
  PlannedCalls plans;
  plans.Fail("write", ENOSPC);
  // The first one closes the file of the kernel's boot.
  plans.Before("close", [](int) {});
  plans.Fail("close", EIO);
  EXPECT_EQ(ErrorOf(JournalFile::kAny, path), ENOSPC);
}

TEST_F(JournalFileTest, ProgramWithoutStandardInput_HasAJournalToo) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const int error = ErrorOf(JournalFile::kAny, path);
  int descriptor = -1;
  {
    Journal journal(path, {}, Report());
    EXPECT_TRUE(journal.IsKept());
    descriptor = DescriptorOf(path);
    journal.Append("line");
    EXPECT_LT(fcntl(STDIN_FILENO, F_GETFD), 0) << "it stays closed";
  }
  if (input >= 0) {
    dup2(input, STDIN_FILENO);
    close(input);
  }
  EXPECT_EQ(error, 0);
  EXPECT_GT(descriptor, STDERR_FILENO);
  EXPECT_THAT(Written(), ::testing::EndsWith("}}\nline\n"));
}

TEST_F(JournalFileTest, Journal_KeepsAwayFromAProgramsDescriptors) {
  std::ofstream(path).close();
  const auto before = OpenDescriptors();
  {
    const Journal journal(path, {}, Report());
    EXPECT_GE(DescriptorOf(path), 512);
    EXPECT_NE(fcntl(DescriptorOf(path), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(OpenDescriptors(), before + 1);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(JournalFileTest, ProgramWithFewDescriptors_HasItsJournalAmongThem) {
  std::ofstream(path).close();
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  rlimit small = limit;
  small.rlim_cur = 128;
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  setrlimit(RLIMIT_NOFILE, &small);
  {
    Journal journal(path, {}, Report());
    EXPECT_TRUE(journal.IsKept());
    EXPECT_GT(DescriptorOf(path), STDERR_FILENO);
    journal.Append("line");
  }
  setrlimit(RLIMIT_NOFILE, &limit);
  if (input >= 0) {
    dup2(input, STDIN_FILENO);
    close(input);
  }
  EXPECT_EQ(Written(), "line\n");
}

TEST_F(JournalTest, DescriptorThatTheProgramClosed_IsOpenedAnew) {
  std::ofstream(path).close();
  Journal journal(path, {}, Report());
  close(DescriptorOf(path));
  journal.Append("one");
  journal.Append("two");
  EXPECT_EQ(Written(), "one\ntwo\n");
  EXPECT_EQ(reported, "");
}

TEST_F(JournalTest, JournalThatIsGone_IsTold) {
  std::ofstream(path).close();
  Journal journal(path, {}, Report());
  close(DescriptorOf(path));
  std::filesystem::remove(path);
  journal.Append("line");
  EXPECT_EQ(reported, "No such file or directory");
}

TEST_F(JournalTest, InterruptedWrite_IsMadeAgain) {
  std::ofstream(path).close();
  Journal journal(path, {}, Report());
  PlannedCalls plans;
  plans.Fail("write", EINTR);
  plans.Fail("write", EINTR);
  journal.Append("line");
  EXPECT_EQ(Written(), "line\n");
  EXPECT_EQ(reported, "");
}

TEST_F(JournalTest, WriteThatTakesAPart_IsToldAsAFullDisk) {
  std::ofstream(path).close();
  Journal journal(path, {}, Report());
  journal.Append("first");
  PlannedCalls plans;
  plans.Shorten("write", 6);
  journal.Append("second");
  EXPECT_EQ(reported, "No space left on device");
  EXPECT_EQ(Written(), "first\n");
}

TEST_F(JournalTest, FullPipe_WaitsForItsReader) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const std::string line(1000, 'x');
  std::size_t count = 0;
  std::thread slow;
  {
    Journal journal(path, {}, Report());
    ASSERT_EQ(fcntl(reader, F_SETFL, 0), 0);
    slow = std::thread([&] {
      char piece[500];
      for (ssize_t got = 1; got > 0; count += static_cast<std::size_t>(got)) {
        got = read(reader, piece, sizeof piece);
      }
    });
    // More than a pipe holds.
    for (int i = 0; i < 300; ++i) {
      journal.Append(line);
    }
  }
  slow.join();
  EXPECT_EQ(reported, "");
  EXPECT_EQ(count, 300 * (line.size() + 1));
  close(reader);
}

}  // namespace
}  // namespace vam
