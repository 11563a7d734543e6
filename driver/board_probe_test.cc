#include "driver/board_probe.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdarg>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>

#include "platform/device_node.h"
#include "report/status_files.h"
#include "util/console_line.h"

namespace {

using ::testing::_;
using ::testing::DoAll;
using ::testing::InSequence;
using ::testing::Pointee;
using ::testing::Return;
using ::testing::SetArgPointee;
using ::testing::StrEq;
using ::testing::StrictMock;

/// The kernel, the console and the status file as the probe sees them.
class Surroundings {
 public:
  MOCK_METHOD(int, Open, (const char* path, int flags, mode_t mode));
  MOCK_METHOD(int, Ioctl, (int descriptor, unsigned long request, std::int32_t* flag));
  MOCK_METHOD(int, Close, (int descriptor));
  MOCK_METHOD(void, Line, (const std::string& text));
  MOCK_METHOD(void, Entry, (const std::string& message, std::int32_t code));
};

/// Set while the probe runs. The linker redirects the probe's calls to it.
Surroundings* surroundings = nullptr;

constexpr int kDescriptor = 1000;

}  // namespace

void vam::PrintLine(std::initializer_list<std::string_view> pieces) {
  std::string line;
  for (const std::string_view piece : pieces) {
    line += piece;
  }
  surroundings->Line(line);
}
void WriteToErrorFile(std::string message, std::int32_t code) {
  surroundings->Entry(message, code);
}

extern "C" int RealOpen(const char* path, int flags, mode_t mode) __asm__("__real_open");
extern "C" int WrappedOpen(const char* path, int flags, ...) __asm__("__wrap_open");
extern "C" int WrappedOpen(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return surroundings == nullptr ? RealOpen(path, flags, mode)
                                 : surroundings->Open(path, flags, mode);
}

extern "C" int WrappedIoctl(int descriptor, unsigned long request, ...) __asm__("__wrap_ioctl");
extern "C" int WrappedIoctl(int descriptor, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  auto* flag = static_cast<std::int32_t*>(va_arg(arguments, void*));
  va_end(arguments);
  return surroundings->Ioctl(descriptor, request, flag);
}

extern "C" int RealClose(int descriptor) __asm__("__real_close");
extern "C" int WrappedClose(int descriptor) __asm__("__wrap_close");
extern "C" int WrappedClose(int descriptor) {
  return surroundings == nullptr ? RealClose(descriptor) : surroundings->Close(descriptor);
}

namespace {

class BoardProbeTest : public testing::Test {
 protected:
  void SetUp() override { surroundings = &board; }
  void TearDown() override { surroundings = nullptr; }

  void ExpectOpen(int result) {
    EXPECT_CALL(board, Open(StrEq("/dev/zelkshield"), O_RDWR, 0777)).WillOnce(Return(result));
  }
  /// The flag is -1 until the driver writes it; the request is the bare number 1.
  void ExpectIoctl(std::int32_t flag, int result = 0) {
    EXPECT_CALL(board, Ioctl(kDescriptor, 1, Pointee(-1)))
        .WillOnce(DoAll(SetArgPointee<2>(flag), Return(result)));
  }
  void ExpectClose() { EXPECT_CALL(board, Close(kDescriptor)).WillOnce(Return(0)); }
  void ExpectLine(const std::string& line) { EXPECT_CALL(board, Line(line)); }
  void ExpectEntry(const std::string& message, std::int32_t code) {
    EXPECT_CALL(board, Entry(message, code));
  }

  InSequence inSequence;
  StrictMock<Surroundings> board;
};

TEST_F(BoardProbeTest, FlagOfOne_MeansPresent) {
  ExpectOpen(kDescriptor);
  ExpectIoctl(1);
  ExpectClose();
  ExpectLine("isvam = 1");
  ExpectLine("Vam present on this board");
  EXPECT_EQ(IsVamSupported(), 1);
}

TEST_F(BoardProbeTest, IoctlAboveZero_FlagOfOneMeansPresent) {
  ExpectOpen(kDescriptor);
  ExpectIoctl(1, 7);
  ExpectClose();
  ExpectLine("isvam = 1");
  ExpectLine("Vam present on this board");
  EXPECT_EQ(IsVamSupported(), 1);
}

TEST_F(BoardProbeTest, DescriptorZero_CountsAsOpen) {
  ExpectOpen(0);
  EXPECT_CALL(board, Ioctl(0, 1, _)).WillOnce(DoAll(SetArgPointee<2>(1), Return(0)));
  EXPECT_CALL(board, Close(0)).WillOnce(Return(-1));
  ExpectLine("isvam = 1");
  ExpectLine("Vam present on this board");
  EXPECT_EQ(IsVamSupported(), 1);
}

TEST_F(BoardProbeTest, NodeDoesNotOpen_LeavesAnEntryAndAsksNothing) {
  ExpectOpen(-1);
  ExpectLine("Zelkshield open failed in function: IsVamSupported");
  ExpectEntry("Open /dev/zelkshield failed with error:", -1);
  EXPECT_EQ(IsVamSupported(), 0);
}

TEST_F(BoardProbeTest, IoctlFails_LeavesTheNodeOpen) {
  ExpectOpen(kDescriptor);
  ExpectIoctl(1, -1);
  ExpectLine("error ioctl -1");
  ExpectEntry("ioctl GET_VAM_SUPPORT failed with error:", -1);
  EXPECT_EQ(IsVamSupported(), 0);
}

TEST_F(BoardProbeTest, IoctlFails_ReportsItsResult) {
  ExpectOpen(kDescriptor);
  ExpectIoctl(1, -25);
  ExpectLine("error ioctl -25");
  ExpectEntry("ioctl GET_VAM_SUPPORT failed with error:", -25);
  EXPECT_EQ(IsVamSupported(), 0);
}

TEST_F(BoardProbeTest, FlagUntouched_MeansNotSupported) {
  ExpectOpen(kDescriptor);
  EXPECT_CALL(board, Ioctl(kDescriptor, 1, Pointee(-1))).WillOnce(Return(0));
  ExpectClose();
  ExpectLine("isvam = -1");
  ExpectEntry("VAM_RET_NOT_IMPLEMENTED", -1);
  ExpectLine("Vam not supported");
  EXPECT_EQ(IsVamSupported(), 0);
}

class BoardProbeFlagTest : public BoardProbeTest,
                           public testing::WithParamInterface<std::int32_t> {};

TEST_P(BoardProbeFlagTest, FlagOtherThanOne_MeansNotSupported) {
  ExpectOpen(kDescriptor);
  ExpectIoctl(GetParam());
  ExpectClose();
  ExpectLine("isvam = " + std::to_string(GetParam()));
  // The entry comes before the line.
  ExpectEntry("VAM_RET_NOT_IMPLEMENTED", GetParam());
  ExpectLine("Vam not supported");
  EXPECT_EQ(IsVamSupported(), 0);
}

INSTANTIATE_TEST_SUITE_P(Flags, BoardProbeFlagTest,
                         testing::Values(0, 2, -2, 256, std::numeric_limits<std::int32_t>::min(),
                                         std::numeric_limits<std::int32_t>::max()));

}  // namespace
