// The whole tool in hostile surroundings: status files that are in the way, a /tmp that takes
// nothing, a console that is gone, power that fails.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/outcome.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

using ::testing::ElementsAreArray;
using ::testing::Optional;

constexpr char kVerified[] = "Updated FW version: 1.1,04/7,3 \n";
constexpr char kUpdateFailed[] = "vam_updateFW failed:  -65536 \nvam ret: 0 \nfw ret: 0 \n";

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text;
}

Output RunTool(const std::string& board, const std::string& state = "") {
  const std::vector<std::string> command = OnBoardWithMachineTmp(board, {UpdateTool()}, state);
  return Capture(state.empty() ? command : WithTheChipTakenOver(command), BoardEnvironment());
}

/// Runs the tool with `descriptor` as its standard output, or with none.
int RunToolInto(const std::string& board, std::optional<int> descriptor) {
  return RunProcess({OnBoardWithMachineTmp(board, {UpdateTool()}), BoardEnvironment(), descriptor,
                     STDERR_FILENO});
}

TEST(StatusFilesTest, OkFile_OfAnotherRun_IsRewritten) {
  const PrivateTmp tmp;
  WriteFile("/tmp/VAM_OK", "Updated FW version: 0.1 \nand more\n");
  EXPECT_EQ(RunTool("update-needed").status, 0);
  EXPECT_THAT(ReadFile("/tmp/VAM_OK"), Optional(std::string(kVerified)));
}

TEST(StatusFilesTest, ErrorFile_OfAnotherRun_IsAppendedTo) {
  const PrivateTmp tmp;
  WriteFile("/tmp/VAM_FAIL", "an older entry 1 \n");
  EXPECT_EQ(RunTool("mode-3-failing").status, 255);
  EXPECT_EQ(RunTool("no-vam").status, 0);
  EXPECT_THAT(ReadFile("/tmp/VAM_FAIL"),
              Optional("an older entry 1 \n" + std::string(kUpdateFailed) +
                       "VAM_RET_NOT_IMPLEMENTED 0 \n"));
}

TEST(StatusFilesTest, FailureAfterASuccess_LeavesBothFiles) {
  const PrivateTmp tmp;
  EXPECT_EQ(RunTool("update-needed").status, 0);
  EXPECT_EQ(RunTool("mode-3-failing").status, 255);
  EXPECT_THAT(ReadFile("/tmp/VAM_OK"), Optional(std::string(kVerified)));
  EXPECT_THAT(ReadFile("/tmp/VAM_FAIL"), Optional(std::string(kUpdateFailed)));
}

/// Each of these loses the verdict and changes nothing else.
class UnwritableStatusFiles : public ::testing::TestWithParam<const char*> {};

TEST_P(UnwritableStatusFiles, AnyRun_LosesNothingButItsVerdict) {
  const std::string hindrance = GetParam();
  for (const char* board : {"update-needed", "mode-3-failing"}) {
    const PrivateTmp tmp(hindrance == "full" ? "size=4k" : "");
    if (hindrance == "directories") {
      mkdir("/tmp/VAM_OK", 0777);
      mkdir("/tmp/VAM_FAIL", 0777);
    } else if (hindrance == "readOnly") {
      PrivateTmp::MakeReadOnly();
    } else {
      WriteFile("/tmp/filler", std::string(4096, 'x'));
      WriteFile("/tmp/VAM_OK", "");
    }
    const Output output = RunTool(board);
    const Outcome expected = ExpectedOutcome(board);
    EXPECT_EQ(output.standardOutput, expected.console);
    EXPECT_EQ(output.standardError, "");
    EXPECT_EQ(output.status, expected.status);
    // A full file system still has the empty file that was there, and room for nothing.
    EXPECT_EQ(ReadFile("/tmp/VAM_OK").value_or(""), "");
    EXPECT_EQ(ReadFile("/tmp/VAM_FAIL").value_or(""), "");
  }
}

INSTANTIATE_TEST_SUITE_P(Hindrances, UnwritableStatusFiles,
                         ::testing::Values("directories", "readOnly", "full"),
                         [](const auto& hindrance) { return std::string(hindrance.param); });

TEST(StatusFilesTest, ErrorFile_TmpFullWithinAnEntry_KeepsTheEntrysFirstBytes) {
  // One page, whatever its size.
  const PrivateTmp tmp("size=4k");
  constexpr std::size_t kRoom = 20;
  const std::string older(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) - kRoom, '\n');
  WriteFile("/tmp/VAM_FAIL", older);
  EXPECT_EQ(RunTool("mode-3-failing").status, 255);
  EXPECT_THAT(ReadFile("/tmp/VAM_FAIL"),
              Optional(older + std::string(kUpdateFailed).substr(0, kRoom)));
}

TEST(ConsoleTest, ClosedStandardOutput_LosesTheConsoleAlone) {
  const PrivateTmp tmp;
  EXPECT_EQ(RunToolInto("update-needed", std::nullopt), 0);
  EXPECT_THAT(ReadFile("/tmp/VAM_OK"), Optional(std::string(kVerified)));
  EXPECT_EQ(RunToolInto("ioctl-failing", std::nullopt), 0);
  EXPECT_THAT(ReadFile("/tmp/VAM_FAIL"),
              Optional(std::string("ioctl GET_VAM_SUPPORT failed with error: -1 \n")));
}

TEST(ConsoleTest, FullStandardOutput_LosesTheConsoleAlone) {
  const PrivateTmp tmp;
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  EXPECT_EQ(RunToolInto("update-needed", full), 0);
  EXPECT_EQ(RunToolInto("mode-3-failing", full), 255);
  close(full);
  EXPECT_THAT(ReadFile("/tmp/VAM_OK"), Optional(std::string(kVerified)));
  EXPECT_THAT(ReadFile("/tmp/VAM_FAIL"), Optional(std::string(kUpdateFailed)));
}

TEST(ConsoleTest, ReaderThatHasGone_DoesNotEndTheRun) {
  const PrivateTmp tmp;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  EXPECT_EQ(RunToolInto("update-needed", ends[1]), 0);
  close(ends[1]);
  EXPECT_THAT(ReadFile("/tmp/VAM_OK"), Optional(std::string(kVerified)));
}

TEST(ConsoleTest, EachLine_IsOneWrite) {
  const PrivateTmp tmp;
  // Keeps the boundaries of what was written.
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  std::vector<std::string> writes;
  std::thread reader([&] {
    char buffer[65536];
    ssize_t count = 0;
    while ((count = read(ends[0], buffer, sizeof buffer)) > 0) {
      writes.emplace_back(buffer, static_cast<std::size_t>(count));
    }
  });
  EXPECT_EQ(RunToolInto("update-needed", ends[1]), 0);
  close(ends[1]);
  reader.join();
  close(ends[0]);

  std::vector<std::string> lines;
  const std::string console = ExpectedOutcome("update-needed").console;
  for (std::size_t start = 0; start < console.size();) {
    const std::size_t end = console.find('\n', start) + 1;
    lines.push_back(console.substr(start, end - start));
    start = end;
  }
  EXPECT_THAT(writes, ElementsAreArray(lines));
}

TEST(ChipTest, SecondRun_WritesNothingToTheChip) {
  const PrivateTmp tmp;
  const std::string state = PrivateTmp::Folder() + "/state";
  EXPECT_EQ(RunTool("update-needed", state).status, 0);
  const std::optional<std::string> updated = ReadFile(state + "/chip.memory");
  struct stat before;
  ASSERT_EQ(stat((state + "/chip.memory").c_str(), &before), 0);

  EXPECT_EQ(RunTool("update-needed", state).standardOutput,
            ExpectedOutcome("update-needed").console);
  struct stat after;
  ASSERT_EQ(stat((state + "/chip.memory").c_str(), &after), 0);
  EXPECT_EQ(ReadFile(state + "/chip.memory"), updated);
  EXPECT_EQ(after.st_ino, before.st_ino) << "every write replaces the file";
}

/// Returns a board on which the power fails after `writes` writes of the chip's memory.
std::string BoardWithPowerCut(int writes) {
  std::string file = PrivateTmp::Folder() + "/cut.toml";
  WriteFile(file, ReadFile(std::string(VAM_BOARDS) + "/update-needed.toml").value() +
                      "\n[[fault]]\npower_cut_after_writes = " + std::to_string(writes) + "\n");
  return file;
}

TEST(ChipTest, PowerCut_LeavesNoVerdictAndIsToldByTheNextRun) {
  // Four writes make an update; after the last one the chip is whole.
  for (const int writes : {1, 2, 3, 4}) {
    const PrivateTmp tmp;
    const std::string state = PrivateTmp::Folder() + "/state";
    EXPECT_EQ(RunTool(BoardWithPowerCut(writes), state).status, 137) << "cut " << writes;
    EXPECT_EQ(ReadFile("/tmp/VAM_OK"), std::nullopt);
    EXPECT_EQ(ReadFile("/tmp/VAM_FAIL"), std::nullopt);

    const Outcome next = ExpectedOutcome(writes < 4 ? "chip-interrupted" : "update-needed");
    const Output output = RunTool("update-needed", state);
    EXPECT_EQ(output.standardOutput, next.console) << "cut " << writes;
    EXPECT_EQ(output.status, next.status);
    EXPECT_EQ(ReadFile("/tmp/VAM_OK"), next.okFile);
    EXPECT_EQ(ReadFile("/tmp/VAM_FAIL"), next.errorFile);
  }
}

TEST(ChipTest, OneUpdate_MakesFourWrites) {
  const PrivateTmp tmp;
  const Output output = RunTool(BoardWithPowerCut(5));
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError, "vam-board: fault 1 (power cut after write 5) never fired\n");
}

}  // namespace
}  // namespace vam
