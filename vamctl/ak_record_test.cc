#include "vamctl/ak_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <ios>
#include <stdexcept>
#include <string>
#include <vector>

namespace vam {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// A file of the test's own with `bytes` in it.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& bytes)
      : path(::testing::TempDir() + "ak_record_" + std::to_string(getpid())) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  ~TemporaryFile() { unlink(path.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string path;
};

template <typename Action>
std::string ErrorOf(Action action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no error";
}

std::string ReadError(const std::string& path) {
  return ErrorOf([&] { static_cast<void>(ReadAkRecord(path)); });
}

std::string DecodeError(const std::string& digits) {
  return ErrorOf([&] { static_cast<void>(DecodeAkRecord(digits)); });
}

TEST(ReadAkRecord, AnyBytes_AreReturned) {
  const TemporaryFile file(std::string("\0\n\r\xff a", 6));
  EXPECT_THAT(ReadAkRecord(file.path), ElementsAre(0x00, 0x0a, 0x0d, 0xff, 0x20, 0x61));
}

TEST(ReadAkRecord, EmptyFile_IsAnEmptyRecord) {
  const TemporaryFile file("");
  EXPECT_THAT(ReadAkRecord(file.path), IsEmpty());
}

TEST(ReadAkRecord, MoreThanTheBlock_IsRefused) {
  EXPECT_THAT(ReadAkRecord(TemporaryFile(std::string(8192, 'r')).path), SizeIs(8192));
  const TemporaryFile larger(std::string(8193, 'r'));
  EXPECT_EQ(ReadError(larger.path),
            larger.path + ": more than 8192 bytes, which the block to the chip cannot carry");
  EXPECT_EQ(ReadError("/dev/zero"),
            "/dev/zero: more than 8192 bytes, which the block to the chip cannot carry");
}

TEST(ReadAkRecord, UnreadableFile_IsNamed) {
  EXPECT_EQ(ReadError("/nowhere/record"),
            "/nowhere/record: cannot be read: No such file or directory");
  EXPECT_EQ(ReadError("/"), "/: cannot be read: Is a directory");
  EXPECT_EQ(ReadError("/proc/self/mem"), "/proc/self/mem: cannot be read: Input/output error");
}

TEST(DecodeAkRecord, DigitsOfEitherCase_AreBytes) {
  EXPECT_THAT(DecodeAkRecord("00a0Ff9B"), ElementsAre(0x00, 0xa0, 0xff, 0x9b));
  EXPECT_THAT(DecodeAkRecord(""), IsEmpty());
}

TEST(DecodeAkRecord, MoreThanTheBlock_IsRefused) {
  EXPECT_EQ(DecodeAkRecord(std::string(16384, 'a')), std::vector<std::uint8_t>(8192, 0xaa));
  EXPECT_EQ(DecodeError(std::string(16386, 'a')),
            "--hex: more than 8192 bytes, which the block to the chip cannot carry");
}

TEST(DecodeAkRecord, OtherText_IsRefused) {
  for (const char* text : {"a", "a0a", "0g", "g0", "0x00", "a0 a1", " a0", "a0:a1", "-1"}) {
    EXPECT_EQ(DecodeError(text), "--hex: give two hexadecimal digits a byte and nothing else")
        << text;
  }
}

}  // namespace
}  // namespace vam
