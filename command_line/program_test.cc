#include "command_line/program.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

namespace vam {
namespace {

TEST(ProgramTest, ExceptionsOfTheLibrary_AreSaidInWords) {
  const auto gone = std::make_error_code(std::errc::no_such_file_or_directory);
  EXPECT_EQ(ProblemInWords(std::filesystem::filesystem_error("cannot open", "a/b", gone)),
            "a/b: cannot be used: No such file or directory");
  EXPECT_EQ(ProblemInWords(std::filesystem::filesystem_error("cannot get", gone)),
            "the working folder: cannot be used: No such file or directory");
  EXPECT_EQ(ProblemInWords(std::bad_alloc()), "there is not enough memory");
  EXPECT_EQ(ProblemInWords(std::length_error("basic_string::append")),
            "there is not enough memory");
  EXPECT_EQ(ProblemInWords(std::runtime_error("part: too large")), "part: too large");
}

TEST(ProgramTest, Tell_IsOneLine) {
  testing::internal::CaptureStderr();
  Tell("probe", "a\nb");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "probe: a\\x0ab\n");
}

/// Has a file in the place of standard input.
class StandardInputTest : public ::testing::Test {
 protected:
  StandardInputTest() = default;
  ~StandardInputTest() override {
    dup2(before, STDIN_FILENO);
    close(before);
    close(file);
  }
  StandardInputTest(const StandardInputTest&) = delete;
  StandardInputTest& operator=(const StandardInputTest&) = delete;

  void Give(const std::string& bytes, off_t size) const {
    ASSERT_EQ(write(file, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ASSERT_EQ(ftruncate(file, size), 0);
    Open("/proc/self/fd/" + std::to_string(file));
  }

  static void Open(const std::string& path) {
    ASSERT_NE(std::freopen(path.c_str(), "r", stdin), nullptr);
  }

  const int before = dup(STDIN_FILENO);
  const int file = memfd_create("input", MFD_CLOEXEC);
};

TEST_F(StandardInputTest, Bytes_AreReadToTheLast) {
  const std::string bytes = std::string("a\0b\n", 4) + std::string(100000, 'x');
  Give(bytes, static_cast<off_t>(bytes.size()));
  EXPECT_EQ(ReadStandardInput(), bytes);
}

TEST_F(StandardInputTest, Nothing_IsNothing) {
  Give("", 0);
  EXPECT_EQ(ReadStandardInput(), "");
}

TEST_F(StandardInputTest, LargestInput_IsReadAndALargerOneIsRefused) {
  constexpr off_t kMost = 67108864;
  Give("first", kMost);
  EXPECT_EQ(ReadStandardInput().size(), std::size_t{kMost});
  Give("first", kMost + 1);
  EXPECT_THAT([] { static_cast<void>(ReadStandardInput()); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  "standard input brings more than 64 MiB; give less"));
}

TEST_F(StandardInputTest, InputThatCannotBeRead_IsToldWithItsCause) {
  Open("/");
  EXPECT_THAT([] { static_cast<void>(ReadStandardInput()); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  "standard input cannot be read: Is a directory"));
}

TEST(PrintTest, OutputThatIsLost_IsToldWithItsCause) {
  const int before = dup(STDOUT_FILENO);
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  std::fflush(stdout);
  dup2(full, STDOUT_FILENO);
  std::string told;
  try {
    Print("text");
  } catch (const OutputLost& lost) {
    told = lost.what();
  }
  dup2(before, STDOUT_FILENO);
  close(full);
  close(before);
  EXPECT_EQ(told,
            "standard output cannot be written: No space left on device; what it got is not "
            "complete");
}

TEST(PrintTest, Output_IsWritten) {
  testing::internal::CaptureStdout();
  Print("some\ntext");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "some\ntext");
}

}  // namespace
}  // namespace vam
