// vam-board and vam-image as their users meet them: what they print, how they exit, what they leave
// behind.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/journal_calls.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class BoardLauncherTest : public ::testing::Test {
 protected:
  static std::string Path(const std::string& name) { return PrivateTmp::Folder() + "/" + name; }

  static std::string Write(const std::string& name, const std::string& text) {
    std::ofstream(Path(name)) << text;
    return Path(name);
  }

  static Output Launch(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {BoardLauncher()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return Capture(command, BoardEnvironment());
  }
  static Output RunShell(const std::string& script, const std::string& board = "update-needed") {
    return Capture(OnBoard(board, {"/bin/sh", "-c", script}), BoardEnvironment());
  }
  /// Runs vam-image, which lies beside vam-board.
  static Output Image(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {fs::path(BoardLauncher()).parent_path() / "vam-image"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return Capture(command);
  }

  /// One line on standard error and nothing else.
  static void ExpectRefused(const Output& output, int status, const std::string& line) {
    EXPECT_EQ(output.status, status);
    EXPECT_EQ(output.standardOutput, "");
    EXPECT_EQ(output.standardError, line + "\n");
  }

  /// Nothing of a run is left in the folder of temporary files.
  static void ExpectNothingLeft() {
    for (const fs::directory_entry& entry : fs::directory_iterator(PrivateTmp::Folder())) {
      EXPECT_THAT(entry.path().filename().string(), testing::Not(StartsWith("vam-board-")));
    }
  }

  const PrivateTmp tmp;
};

TEST_F(BoardLauncherTest, PassesTheProgramsStatusAndOutputsThrough) {
  const Output output = RunShell("echo out; echo err >&2; exit 42");
  EXPECT_EQ(output.status, 42);
  EXPECT_EQ(output.standardOutput, "out\n");
  EXPECT_EQ(output.standardError, "err\n");
  ExpectNothingLeft();
}

TEST_F(BoardLauncherTest, PassesArgumentsThroughAsTheyAre) {
  const Output output = Capture(
      OnBoard("update-needed", {"/usr/bin/printf", "%s|", "--state", "a b", "", "[x,y]", "--"}),
      BoardEnvironment());
  EXPECT_EQ(output.standardOutput, "--state|a b||[x,y]|--|");
}

TEST_F(BoardLauncherTest, SignalOfTheProgramShowsInTheStatus) {
  EXPECT_EQ(RunShell("kill -TERM $$").status, 128 + SIGTERM);
  EXPECT_EQ(RunShell("kill -KILL $$").status, 128 + SIGKILL);
  ExpectNothingLeft();
}

TEST_F(BoardLauncherTest, SignalToTheLauncherReachesTheProgram) {
  // The shell is the launcher's child, so its parent is the launcher.
  const Output output =
      RunShell("trap 'echo told; exit 7' TERM; kill -TERM $PPID; while :; do sleep 0.01; done");
  EXPECT_EQ(output.status, 7);
  EXPECT_EQ(output.standardOutput, "told\n");
  ExpectNothingLeft();
}

TEST_F(BoardLauncherTest, WaitsForWhatTheProgramLeftRunning) {
  const Output output = RunShell("(sleep 0.2; echo late) & echo early");
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardOutput, "early\nlate\n");
}

TEST_F(BoardLauncherTest, ProgramThatCannotBeStarted) {
  ExpectRefused(Launch({"run", "--board", "no-vam", "--", "no-such-program"}), 127,
                "vam-board: no-such-program: cannot be run: No such file or directory");
  const std::string file = Write("data", "");
  ExpectRefused(Launch({"run", "--board", "no-vam", "--", file}), 126,
                "vam-board: " + file + ": cannot be run: Permission denied");
  ExpectNothingLeft();
}

TEST_F(BoardLauncherTest, ProgramThatTheKernelRefuses) {
  const std::string interpreter = Write("interpreter", "#!/nowhere/interpreter\n");
  const std::string script = Write("script", "#!" + interpreter + "\n");
  for (const std::string& file : {interpreter, script}) {
    fs::permissions(file, fs::perms::owner_all);
  }
  ExpectRefused(Launch({"run", "--board", "no-vam", "--", script}), 127,
                "vam-board: " + script + ": cannot be run: No such file or directory");
  ExpectNothingLeft();
}

TEST_F(BoardLauncherTest, ProgramThatIsNotInPath) {
  fs::create_directories(Path("folder/program"));
  fs::create_directory(Path("other"));
  std::map<std::string, std::string> environment = BoardEnvironment();
  environment["PATH"] = Path("folder") + ":" + Path("other");
  ExpectRefused(Capture(OnBoard("no-vam", {"program"}), environment), 127,
                "vam-board: program: cannot be run: No such file or directory");
  Write("other/program", "");
  ExpectRefused(Capture(OnBoard("no-vam", {"program"}), environment), 126,
                "vam-board: program: cannot be run: Permission denied");
}

TEST_F(BoardLauncherTest, WrongUsageIsOneLineThatLeadsToTheHelp) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"fly"},
                                                    {"run"},
                                                    {"run", "--board", "no-vam"},
                                                    {"run", "--", "true"},
                                                    {"show"},
                                                    {"list", "more"}}) {
    const Output output = Launch(arguments);
    EXPECT_EQ(output.status, 125);
    EXPECT_EQ(output.standardOutput, "");
    EXPECT_THAT(output.standardError, StartsWith("vam-board: "));
    EXPECT_THAT(output.standardError, EndsWith(" --help\n"));
    EXPECT_EQ(output.standardError.find('\n'), output.standardError.size() - 1);
  }
}

TEST_F(BoardLauncherTest, HelpAndVersionGoToStandardOutput) {
  EXPECT_THAT(Launch({"--help"}).standardOutput, HasSubstr("SUBCOMMAND"));
  EXPECT_EQ(Launch({"--help"}).status, 0);
  EXPECT_THAT(Launch({"--version"}).standardOutput, StartsWith("vam-board "));
  EXPECT_THAT(Image({"--version"}).standardOutput, StartsWith("vam-image "));
}

TEST_F(BoardLauncherTest, UnknownBoards) {
  ExpectRefused(Launch({"show", "--board", "none"}), 125,
                "vam-board: no board is named 'none'; `vam-board list` shows those that there are");
  ExpectRefused(Launch({"show", "--board", "update-neded"}), 125,
                "vam-board: no board is named 'update-neded'; did you mean update-needed?; "
                "`vam-board list` shows those that there are");
  ExpectRefused(
      Launch({"run", "--board", Path("none.toml"), "--", "true"}), 125,
      "vam-board: " + Path("none.toml") +
          ": cannot be read: No such file or directory; give a board file, or a name that "
          "`vam-board list` shows");
}

TEST_F(BoardLauncherTest, WrongBoardFilesAreRefusedWithFileAndLine) {
  const std::string broken = Write("broken.toml", "title = \"Broken\"\n[chip\n");
  const Output syntax = Launch({"run", "--board", broken, "--state", Path("state"), "--", "true"});
  EXPECT_EQ(syntax.status, 125);
  EXPECT_THAT(syntax.standardError, StartsWith("vam-board: " + broken + ":2: "));
  const std::string unknown = Write("unknown.toml", "title = \"Unknown\"\n\n[probe]\nflags = 1\n");
  ExpectRefused(Launch({"run", "--board", unknown, "--state", Path("state"), "--", "true"}), 125,
                "vam-board: " + unknown +
                    ":4: unknown key \"flags\" in [probe]; known there: node, ioctl, flag");
  EXPECT_FALSE(fs::exists(Path("state"))) << "nothing is half written";
}

TEST_F(BoardLauncherTest, StateFolderThatCannotBeMade) {
  Write("file", "");
  const Output output = Launch({"run", "--board", "no-vam", "--state", Path("file"), "--", "true"});
  EXPECT_EQ(output.status, 125);
  EXPECT_THAT(output.standardError, StartsWith("vam-board: " + Path("file") + ": "));
  ExpectNothingLeft();
}

TEST_F(BoardLauncherTest, JournalThatCannotBeWritten) {
  ExpectRefused(
      Launch({"run", "--board", "no-vam", "--journal", Path("none/journal"), "--", "true"}), 125,
      "vam-board: " + Path("none/journal") +
          ": the journal cannot be written: No such file or directory; give another file with "
          "--journal");
  ExpectNothingLeft();
}

TEST_F(BoardLauncherTest, FolderOfTemporaryFilesThatCannotBeUsed) {
  std::map<std::string, std::string> environment = BoardEnvironment();
  environment["TMPDIR"] = Path("none");
  const Output output = Capture(OnBoard("no-vam", {"true"}), environment);
  EXPECT_EQ(output.status, 125);
  EXPECT_THAT(output.standardError, EndsWith("; point TMPDIR to a folder that you can write to\n"));
}

TEST_F(BoardLauncherTest, FaultThatNeverFiredIsTold) {
  const std::string board = Write("fault.toml",
                                  "title = \"Fault\"\n[[fault]]\ncall = \"TEEC_OpenSession\"\n"
                                  "occurrence = 9\nresult = \"TEEC_ERROR_BUSY\"\norigin = 3\n");
  const Output output = Capture(OnBoard(board, {"/bin/sh", "-c", "exit 3"}), BoardEnvironment());
  EXPECT_EQ(output.status, 3);
  EXPECT_EQ(output.standardError,
            "vam-board: fault 1 (TEEC_OpenSession, occurrence 9) never fired\n");
  // Whatever the status: these are also what a shell gives for a program that it does not find.
  for (const char* end : {"exit 126", "exit 127"}) {
    EXPECT_EQ(Capture(OnBoard(board, {"/bin/sh", "-c", end}), BoardEnvironment()).standardError,
              output.standardError);
  }
}

TEST_F(BoardLauncherTest, ChipIsKeptInTheStateFolderAndNewWithoutOne) {
  const std::string state = Path("chip");
  EXPECT_EQ(Capture(OnBoard("update-needed", {UpdateTool()}, state), BoardEnvironment()).status, 0);
  EXPECT_THAT(Launch({"show", "--board", "update-needed", "--state", state}).standardOutput,
              HasSubstr("  system part: 1.1,04/7,3 (4096 bytes)\n"));
  EXPECT_THAT(Launch({"show", "--board", "update-needed"}).standardOutput,
              HasSubstr("  system part: 1.0,17/7,3 (0 bytes)\n"));
}

TEST_F(BoardLauncherTest, ShowsBoardAndChipInWords) {
  EXPECT_EQ(Launch({"show", "--board", "mode-3-failing"}).standardOutput, R"(Board: Mode 3 failing
  The update itself fails: the trusted application refuses mode 3.
  a run of the update tool: update failed
  device node: present, answers 1
  secure world: present, with the trusted application
  image: system 1.1,04/7,3, app 2.0,11
  fault 1: vm_updateFW in mode 3, always: is not carried out and returns 0xFFFF0000 TEEC_ERROR_GENERIC, origin 4
Chip: whole
  system part: 1.0,17/7,3 (0 bytes)
  app part: 2.0,10 (0 bytes)
  updates: implemented
  room for a part: 16777216 bytes
  self test: passes
  AK record: none
  AK record in RPMB: none
  hack information: none
  information words: 10
)");
}

TEST_F(BoardLauncherTest, ListsTheBoardsThatShipByName) {
  const Output output = Launch({"list"});
  EXPECT_EQ(output.status, 0);
  std::string expected;
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(VAM_BOARDS)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::size_t start = 0;
  for (const fs::path& file : files) {
    const std::size_t end = output.standardOutput.find('\n', start);
    ASSERT_NE(end, std::string::npos);
    EXPECT_THAT(output.standardOutput.substr(start, end - start),
                StartsWith(file.stem().string() + " "));
    start = end + 1;
  }
  EXPECT_EQ(start, output.standardOutput.size());
}

TEST_F(BoardLauncherTest, ServesTheSettingsAndTheSystemInformation) {
  const std::string board =
      Write("services.toml",
            "title = \"Services\"\n[settings]\n\"db/comss/serialnumber\" = \"SN-7\"\n"
            "[system_information]\nmodel_name = \"Model\"\n");
  const Output output = Capture(OnBoard(board, {VAM_SERVICES_PROBE}), BoardEnvironment());
  EXPECT_EQ(output.standardOutput,
            "serial number: SN-7\nother setting: none\nmodel: 0 Model\nrevision: -1\n");
  EXPECT_EQ(Capture({VAM_SERVICES_PROBE}).standardOutput,
            "serial number: none\nother setting: none\nmodel: -1\nrevision: -1\n");
}

TEST_F(BoardLauncherTest, FaultsOfTheServices_AreAnsweredAndTold) {
  const std::string board =
      Write("services.toml",
            "[settings]\n\"db/comss/serialnumber\" = \"SN-7\"\n\"db/other\" = \"x\"\n"
            "[system_information]\nmodel_name = \"Model\"\nboard_revision = \"R\"\n"
            "[[fault]]\ncall = \"vconf_get_str\"\noccurrence = 1\n"
            "[[fault]]\ncall = \"system_info_get_value_string\"\noccurrence = 1\nresult = -7\n");
  const Output output =
      Capture(OnBoard(board, {VAM_SERVICES_PROBE}, "", Path("journal")), BoardEnvironment());
  EXPECT_EQ(output.standardOutput,
            "serial number: none\nother setting: x\nmodel: -7\nrevision: 0 R\n");
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(CallsIn(ReadFile(Path("journal")).value()),
            R"({"call":"vconf_get_str","key":"db/comss/serialnumber","value":null,"fault":1}
{"call":"vconf_get_str","key":"db/other","value":"x"}
{"call":"system_info_get_value_string","key":0,"result":-7,"fault":2}
{"call":"system_info_get_value_string","key":1,"result":0,"value":"R"}
)");
  EXPECT_EQ(Capture(OnBoard("no-vam", {VAM_SERVICES_PROBE}), BoardEnvironment()).standardOutput,
            "serial number: none\nother setting: none\nmodel: -1\nrevision: -1\n");
}

TEST_F(BoardLauncherTest, WhatAProgramDoesNotGiveBack_IsToldAtItsEnd) {
  const Output output =
      Capture(OnBoard("update-needed", {VAM_TEE_PROBE, "kept"}), BoardEnvironment());
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError,
            "simulated board: 1 context not given back at the end of the process\n"
            "simulated board: 2 session not given back at the end of the process\n"
            "simulated board: 3 shared memory not given back at the end of the process\n");
}

TEST_F(BoardLauncherTest, ImageProgramMakesAndShowsImages) {
  const std::string image = Path("made.img");
  const std::string part = Write("part", "firmware");
  EXPECT_EQ(Image({"make", "--system-version", "1,X", "--app-version", "2", "--runs-system-version",
                   "1,0", "--system-part", part, "-o", image})
                .status,
            0);
  const Output shown = Image({"show", image});
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.standardOutput, HasSubstr("system part: 8 bytes, runs as 1,0\n"));
  EXPECT_THAT(shown.standardOutput, HasSubstr("app part: 0 bytes, runs as 2\n"));

  const std::string board =
      Write("image.toml", "title = \"Image\"\n[image]\nfile = \"made.img\"\n[chip]\n");
  const Output run = Capture(OnBoard(board, {UpdateTool()}, Path("state")), BoardEnvironment());
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.standardOutput, HasSubstr("systemVersionIC: 1,0\n"));
  EXPECT_EQ(ReadFile(Path("state/VAM_OK")), "Updated FW version: 1,0 \n");
}

TEST_F(BoardLauncherTest, ImageProgramRefusesInOneLineAndWritesNothing) {
  const std::vector<std::string> make = {"make", "--system-version", "1", "--app-version", "2"};
  const auto with = [&](std::vector<std::string> more) {
    std::vector<std::string> arguments = make;
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Image(arguments);
  };
  const std::string image = Path("refused.img");
  for (const Output& output :
       {with({"-o", Path("none/x.img")}), with({"--app-part", Path("none"), "-o", image}),
        with({"--runs-app-version", std::string(253, '1'), "-o", image}), Image({"show", image}),
        Image({"show", Write("no.img", "not an image")})}) {
    EXPECT_EQ(output.status, 1);
    EXPECT_EQ(output.standardOutput, "");
    EXPECT_THAT(output.standardError, StartsWith("vam-image: "));
    EXPECT_EQ(output.standardError.find('\n'), output.standardError.size() - 1);
  }
  EXPECT_FALSE(fs::exists(image));
  const Output usage = Image({"make"});
  EXPECT_EQ(usage.status, 2);
  EXPECT_EQ(usage.standardError,
            "vam-image: --system-version is required; see vam-image make --help\n");
}

}  // namespace
}  // namespace vam
