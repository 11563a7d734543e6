// Trouble of the rig's own while a program runs on a board: vam-board tells it as the rig's, ends
// with a status of its own, and no answer of the board tells of it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int kRigFailed = 125;

class TroubleTest : public ::testing::Test {
 protected:
  static std::string State() { return PrivateTmp::Folder() + "/state"; }

  /// Runs a script of the shell, in which $0 is vam-update and $1 is vamctl.
  static Output RunShell(const std::string& script, const std::string& journal = "") {
    return Capture(OnBoard("update-needed", {"/bin/sh", "-c", script, UpdateTool(), Vamctl()},
                           State(), journal),
                   BoardEnvironment());
  }

  const PrivateTmp tmp;
};

struct TroubleCase {
  const char* name;
  /// What makes the trouble, in the state folder, before a command reaches the chip.
  const char* trouble;
  /// What the line tells after the path of the chip's memory or of its image.
  const char* cause;
};

class ChipTroubleTest : public TroubleTest, public ::testing::WithParamInterface<TroubleCase> {};

TEST_P(ChipTroubleTest, Command_StopsTheRunAndIsNoAnswer) {
  const Output output = RunShell("cd " + State() + "; " + GetParam().trouble +
                                 "; \"$0\" >/tmp/console 2>/tmp/errors; echo survived");
  EXPECT_EQ(output.status, kRigFailed);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_THAT(output.standardError, StartsWith("vam-board: " + State() + "/"));
  EXPECT_THAT(output.standardError, HasSubstr(GetParam().cause));
  EXPECT_EQ(output.standardError.find('\n'), output.standardError.size() - 1);
  EXPECT_EQ(ReadFile(State() + "/VAM_FAIL"), std::nullopt);
  EXPECT_EQ(ReadFile(State() + "/VAM_OK"), std::nullopt);
}

const TroubleCase kTroubles[] = {
    {"MemoryGone", "rm chip.memory",
     "chip.memory: the chip's memory cannot be read: No such file or directory; "},
    {"MemoryAFolder", "rm chip.memory; mkdir chip.memory",
     "chip.memory: the chip's memory cannot be read: Is a directory; "},
    {"MemoryAFifo", "rm chip.memory; mkfifo chip.memory",
     "chip.memory: the chip's memory cannot be read: Not a regular file; "},
    {"MemoryADevice", "rm chip.memory; ln -s /dev/zero chip.memory",
     "chip.memory: the chip's memory cannot be read: Not a regular file; "},
    {"MemoryOfANewerFormat", "printf VAMCHIP2 >chip.memory",
     "chip.memory: the chip's memory is of another format; "},
    {"ImageAFifo", "rm firmware.img; mkfifo firmware.img",
     "firmware.img: the firmware image cannot be read: Not a regular file"},
    {"LockAFolder", "rm -f chip.lock; mkdir chip.lock",
     "chip.lock: the chip cannot be locked: Is a directory; "},
    {"LargestFileTooSmall", "ulimit -f 1",
     "chip.memory: the chip's memory cannot be written: File too large; "},
};

INSTANTIATE_TEST_SUITE_P(Causes, ChipTroubleTest, ::testing::ValuesIn(kTroubles),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(TroubleTest, FullDisk_StopsTheRunAndKeepsTheChip) {
  // The chip's own file system, which is full once the run has begun.
  const PrivateTmp small("size=64k");
  const Output output =
      Capture(OnBoard("update-needed",
                      {"/bin/sh", "-c",
                       "cat /dev/zero >/tmp/ballast 2>/dev/null; \"$0\" >/dev/null", UpdateTool()},
                      "/tmp/state"),
              BoardEnvironment());
  EXPECT_EQ(output.status, kRigFailed);
  EXPECT_EQ(
      output.standardError,
      "vam-board: /tmp/state/chip.memory: the chip's memory cannot be written: No space left on "
      "device; give a folder with --state that you can write to and that has room\n");
  fs::remove("/tmp/ballast");
  for (const fs::directory_entry& entry : fs::directory_iterator("/tmp/state")) {
    EXPECT_THAT(entry.path().string(), Not(EndsWith(".new")));
  }
  EXPECT_EQ(
      Capture(OnBoard("update-needed", {UpdateTool()}, "/tmp/state"), BoardEnvironment()).status,
      0);
}

TEST_F(TroubleTest, FullDisk_UnderTheStatusFiles_IsTheRigsTrouble) {
  // Nothing is written to the chip of such a board.
  const PrivateTmp small("size=64k");
  const std::string script = "cat /dev/zero >/tmp/ballast 2>/dev/null; \"$0\" >/dev/null";
  Output output = Capture(OnBoard("no-vam", {"/bin/sh", "-c", script, UpdateTool()}, "/tmp/state"),
                          BoardEnvironment());
  EXPECT_EQ(output.status, kRigFailed);
  EXPECT_EQ(output.standardError,
            "vam-board: /tmp/state: its disk is full, and what the program wrote to /tmp/VAM_OK "
            "and /tmp/VAM_FAIL may be lost; make room, or give another folder with --state\n");
  fs::remove("/tmp/ballast");
  output = Capture(OnBoard("no-vam", {UpdateTool()}, "/tmp/state"), BoardEnvironment());
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError, "");
}

TEST_F(TroubleTest, JournalWhoseReaderHasGone_StopsNobody) {
  // timeout kills a program that ignores its first signal.
  constexpr char kScript[] =
      "mkfifo /tmp/journal; (exec 3<>/tmp/journal; : >/tmp/open; head -c 1 <&3 >/dev/null; "
      "exec 3<&-; : >/tmp/gone) & while [ ! -e /tmp/open ]; do sleep 0.02; done; "
      "exec timeout -k 5 30 \"$0\" run --board update-needed --journal /tmp/journal -- /bin/sh -c "
      "'while [ ! -e /tmp/gone ]; do sleep 0.02; done; \"$0\" >/tmp/console; echo $?' \"$1\"";
  const Output output =
      Capture({"/bin/sh", "-c", kScript, BoardLauncher(), UpdateTool()}, BoardEnvironment());
  EXPECT_EQ(output.status, kRigFailed);
  EXPECT_EQ(output.standardOutput, "0\n");
  EXPECT_THAT(output.standardError, StartsWith("vam-board: the journal cannot be written: "));
  EXPECT_EQ(output.standardError.find('\n'), output.standardError.size() - 1);
}

TEST_F(TroubleTest, ProgramThatUsesUpItsDescriptors_StopsTheRun) {
  if (VAM_IS_SANITIZED) {
    GTEST_SKIP() << "not run: the sanitizers need descriptors of their own";
  }
  const Output output = RunShell(
      "(exec 3>&- 4>&- 5>&- 6>&-; ulimit -n 4; exec \"$0\") >/tmp/console 2>/tmp/errors; echo "
      "survived");
  EXPECT_EQ(output.status, kRigFailed);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_THAT(output.standardError, StartsWith("vam-board: "));
  EXPECT_THAT(output.standardError, HasSubstr("Too many open files"));
  EXPECT_EQ(ReadFile(State() + "/VAM_FAIL"), std::nullopt);
}

TEST_F(TroubleTest, DescriptorsUsedUpBeforeTheFirstCall_StopTheRun) {
  if (VAM_IS_SANITIZED) {
    GTEST_SKIP() << "not run: the sanitizers need descriptors of their own";
  }
  const Output output =
      Capture(OnBoard("update-needed", {VAM_TEE_PROBE, "use-up-descriptors", "temporary"}, State()),
              BoardEnvironment());
  EXPECT_EQ(output.status, kRigFailed);
  EXPECT_THAT(output.standardError, StartsWith("vam-board: "));
  EXPECT_THAT(output.standardError, HasSubstr("Too many open files"));
}

TEST_F(TroubleTest, LauncherWithoutDescriptors_SaysWhatItLacks) {
  if (VAM_IS_SANITIZED) {
    GTEST_SKIP() << "not run: the sanitizers need descriptors of their own";
  }
  std::set<std::string> lacks;
  bool hasRun = false;
  for (int most = 5; !hasRun && most < 20; ++most) {
    std::vector<std::string> command = {
        "/bin/sh", "-c", "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n $0; exec \"$@\"",
        std::to_string(most)};
    for (const std::string& word : OnBoard("no-vam", {"/bin/echo", "ran"})) {
      command.push_back(word);
    }
    const Output output = Capture(command, BoardEnvironment());
    hasRun = output.status == 0;
    EXPECT_EQ(output.standardOutput, hasRun ? "ran\n" : "");
    if (!hasRun) {
      EXPECT_EQ(output.status, kRigFailed);
      lacks.insert(output.standardError);
    }
  }
  EXPECT_TRUE(hasRun);
  EXPECT_THAT(lacks, IsSupersetOf({"vam-board: no signals: Too many open files\n",
                                   "vam-board: no pair of sockets: Too many open files\n",
                                   "vam-board: no pipe: Too many open files\n"}));
}

TEST_F(TroubleTest, EveryProgramOfTheRun_EndsWithIt) {
  const Output output =
      RunShell("(setsid sh -c 'sleep 1000; echo apart' &); sleep 1000 & rm " + State() +
               "/chip.memory; \"$1\" get-info >/dev/null 2>&1; echo survived");
  EXPECT_EQ(output.status, kRigFailed);
  EXPECT_EQ(output.standardOutput, "");
}

TEST_F(TroubleTest, JournalWithoutRoomForItsHead_IsToldBeforeTheProgramStarts) {
  const Output output = RunShell("\"$0\" >/tmp/console; echo $?", "/dev/full");
  EXPECT_EQ(output.status, kRigFailed);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_EQ(output.standardError,
            "vam-board: /dev/full: the journal cannot be written: No space left on device; give "
            "another file with --journal\n");
}

TEST_F(TroubleTest, JournalThatFillsItsDisk_EndsWithAWholeLine) {
  const PrivateTmp small("size=4k");
  const Output output = Capture(OnBoard("update-needed", {UpdateTool()}, State(), "/tmp/journal"),
                                BoardEnvironment());
  EXPECT_EQ(output.status, kRigFailed);
  EXPECT_THAT(output.standardError, HasSubstr("the journal cannot be written: No space left"));
  const std::string journal = ReadFile("/tmp/journal").value_or("");
  ASSERT_NE(journal, "");
  EXPECT_EQ(journal.back(), '\n');
  // The program goes on without it.
  EXPECT_EQ(ReadFile(State() + "/VAM_OK"), "Updated FW version: 1.1,04/7,3 \n");
}

}  // namespace
}  // namespace vam
