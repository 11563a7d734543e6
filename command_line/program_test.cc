#include "command_line/program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <stdexcept>
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

}  // namespace
}  // namespace vam
