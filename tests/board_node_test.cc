// The device node as programs on a board meet it, whichever way they ask for it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/journal_calls.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;
using ::testing::StartsWith;
using Words = std::vector<std::string>;

constexpr char kNode[] = "/dev/zelkshield";
constexpr char kDevice[] = "character device 600, 10:120, size 0";

class DeviceNodeTest : public ::testing::Test {
 protected:
  static std::string Path(const std::string& name) { return PrivateTmp::Folder() + "/" + name; }

  static std::string Write(const std::string& name, const std::string& text) {
    std::ofstream(Path(name)) << text;
    return Path(name);
  }

  /// Runs `program` on `board`, with the journal in JournalFile().
  static Output Run(const std::string& board, const Words& program) {
    return Capture(OnBoard(board, program, "", JournalFile()), BoardEnvironment());
  }
  static Output RunShell(const std::string& script) {
    return Run("update-needed", {"/bin/sh", "-c", script});
  }
  /// Lets the probe perform `steps` on the node, or all that need not be named.
  static std::string Probe(const Words& steps, const std::string& board = "update-needed",
                           const char* probe = VAM_NODE_PROBE) {
    Words program = {probe, kNode};
    program.insert(program.end(), steps.begin(), steps.end());
    const Output output = Run(board, program);
    EXPECT_EQ(output.status, 0);
    EXPECT_EQ(output.standardError, "");
    return output.standardOutput;
  }

  static std::string JournalFile() { return Path("journal"); }
  static std::string Journal() { return CallsIn(ReadFile(JournalFile()).value()); }

  const PrivateTmp tmp;
};

/// What the probe prints when each of its steps ends as the table says.
std::string ProbeLines(const std::vector<std::pair<const char*, const char*>>& outcomes) {
  std::string lines;
  for (const auto& [step, outcome] : outcomes) {
    lines += std::string(step) + ": " + outcome + "\n";
  }
  return lines;
}

const std::string& EveryCallOnTheNode() {
  static const std::string kLines = ProbeLines({
      {"open", "flag 1, closed"},
      {"open64", "flag 1, closed"},
      {"__open_2", "flag 1, closed"},
      {"__open64_2", "flag 1, closed"},
      {"openat", "flag 1, closed"},
      {"openat64", "flag 1, closed"},
      {"openat in the folder", "flag 1, closed"},
      {"openat64 in the folder", "flag 1, closed"},
      {"__openat_2 in the folder", "flag 1, closed"},
      {"__openat64_2 in the folder", "flag 1, closed"},
      {"creat", "flag 1, closed"},
      {"creat64", "flag 1, closed"},
      {"fopen", "flag 1, closed"},
      {"fopen64", "flag 1, closed"},
      {"freopen", "flag 1, closed"},
      {"freopen64", "flag 1, closed"},
      {"stat", kDevice},
      {"stat64", kDevice},
      {"lstat", kDevice},
      {"lstat64", kDevice},
      {"fstat", kDevice},
      {"fstat64", kDevice},
      {"fstatat in the folder", kDevice},
      {"fstatat64 of a descriptor", kDevice},
      {"statx in the folder", kDevice},
      {"statx of a descriptor", kDevice},
      {"__xstat", kDevice},
      {"__xstat64", kDevice},
      {"__lxstat", kDevice},
      {"__lxstat64", kDevice},
      {"__fxstat", kDevice},
      {"__fxstat64", kDevice},
      {"__fxstatat in the folder", kDevice},
      {"__fxstatat64 in the folder", kDevice},
      {"access", "allowed"},
      {"euidaccess", "allowed"},
      {"eaccess", "allowed"},
      {"faccessat in the folder", "allowed"},
      {"access to execute", "EACCES"},
      {"readlink", "EINVAL"},
      {"readlinkat in the folder", "EINVAL"},
      {"__readlink_chk", "EINVAL"},
      {"__readlinkat_chk in the folder", "EINVAL"},
      {"realpath", kNode},
      {"__realpath_chk", kNode},
      {"canonicalize_file_name", kNode},
      {"getxattr", "there"},
      {"lgetxattr", "there"},
      {"listxattr", "there"},
      {"llistxattr", "there"},
  });
  return kLines;
}

TEST_F(DeviceNodeTest, Present_EachCall_ShowsTheBoardsDevice) {
  EXPECT_EQ(Probe({}), EveryCallOnTheNode());
}

TEST_F(DeviceNodeTest, SanitizedProgram_EachCall_ShowsTheBoardsDevice) {
  EXPECT_EQ(Probe({}, "update-needed", VAM_SANITIZED_NODE_PROBE), EveryCallOnTheNode());
}

TEST_F(DeviceNodeTest, Missing_EachCall_FindsNothing) {
  const std::map<std::string, std::string> withoutDescriptor = {
      {"fstat", "EBADF"},
      {"fstat64", "EBADF"},
      {"fstatat64 of a descriptor", "EBADF"},
      {"statx of a descriptor", "EBADF"},
      {"__fxstat", "EBADF"},
      {"__fxstat64", "EBADF"},
  };
  std::istringstream lines(Probe({}, "no-device-node"));
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    const std::string step = line.substr(0, line.find(':'));
    const auto found = withoutDescriptor.find(step);
    EXPECT_EQ(line, step + ": " + (found == withoutDescriptor.end() ? "ENOENT" : found->second));
    ++count;
  }
  EXPECT_EQ(count, 50);
}

TEST_F(DeviceNodeTest, OtherSpellingsOfThePath_AreTheNode) {
  for (const char* path : {"//dev//zelkshield", "/dev/./zelkshield", "/dev/../dev/zelkshield"}) {
    EXPECT_EQ(
        Run("update-needed", {VAM_NODE_PROBE, path, "open", "stat", "realpath"}).standardOutput,
        ProbeLines({{"open", "flag 1, closed"}, {"stat", kDevice}, {"realpath", kNode}}))
        << path;
  }
  EXPECT_EQ(
      RunShell(std::string("cd /dev && '") + VAM_NODE_PROBE + "' zelkshield open").standardOutput,
      "open: flag 1, closed\n");
}

TEST_F(DeviceNodeTest, PathsOfTheSameName_AreOtherFiles) {
  Write("zelkshield", "");
  const Words steps = {VAM_NODE_PROBE, Path("zelkshield"), "open", "stat", "realpath"};
  const Output output = Run("update-needed", steps);
  EXPECT_EQ(output.standardOutput, Capture(steps).standardOutput);
  EXPECT_THAT(output.standardOutput, HasSubstr("\nrealpath: " + Path("zelkshield") + "\n"));
  EXPECT_EQ(Run("update-needed", {VAM_NODE_PROBE, "/dev/zelkshield2", "open"}).standardOutput,
            "open: ENOENT\n");
  EXPECT_EQ(Journal(), "");
}

TEST_F(DeviceNodeTest, OrdinaryFile_EachCall_DoesWhatItDoesOffTheBoard) {
  Write("file", "contents");
  const Words calls = {VAM_NODE_PROBE, Path("file")};
  const Output off = Capture(calls);
  EXPECT_EQ(off.status, 0);
  Write("file", "contents");
  EXPECT_EQ(Run("update-needed", calls).standardOutput, off.standardOutput);

  const Words makers = {VAM_NODE_PROBE,   Path("made"),      "made-by-open",
                        "made-by-open64", "made-by-openat",  "made-by-openat64",
                        "made-by-creat",  "made-by-creat64", "made-by-fopen"};
  EXPECT_EQ(Run("update-needed", makers).standardOutput, R"(made-by-open: file 641, 0:0, size 0
made-by-open64: file 642, 0:0, size 0
made-by-openat: file 643, 0:0, size 0
made-by-openat64: file 644, 0:0, size 0
made-by-creat: file 645, 0:0, size 0
made-by-creat64: file 646, 0:0, size 0
made-by-fopen: file 666, 0:0, size 0
)");
}

TEST_F(DeviceNodeTest, PathThatNoKernelTakes_IsTooLong) {
  // The folder's part takes 4096 bytes and more, as much as there is room for with its end.
  for (const int more : {0, 1, 100}) {
    std::string path = "/dev//";
    for (int i = 0; i < 2045 + more; ++i) {
      path += "./";
    }
    EXPECT_EQ(Run("update-needed", {VAM_NODE_PROBE, path + "zelkshield", "open"}).standardOutput,
              "open: errno " + std::to_string(ENAMETOOLONG) + "\n");
  }
}

TEST_F(DeviceNodeTest, RealPath_IntoABuffer_IsTheBoards) {
  EXPECT_EQ(
      Run("update-needed", {VAM_NODE_PROBE, "/dev/../dev/zelkshield", "realpath-into-a-buffer"})
          .standardOutput,
      "realpath-into-a-buffer: /dev/zelkshield\n");
  EXPECT_EQ(Run("update-needed", {VAM_NODE_PROBE, "/dev/./null", "realpath-into-a-buffer"})
                .standardOutput,
            "realpath-into-a-buffer: /dev/null\n");
}

TEST_F(DeviceNodeTest, WhatIsWrittenToTheNode_DoesNotShow) {
  EXPECT_EQ(Probe({"written"}), "written: size 0 0, blocks 0 0\n");
}

TEST_F(DeviceNodeTest, FileWithoutAName_HasItsMode) {
  EXPECT_EQ(Probe({"nameless"}), "nameless: 640\n");
}

TEST_F(DeviceNodeTest, StreamThatCannotBeReopened_IsClosedAllTheSame) {
  const std::string board =
      Write("faults.toml", "[[fault]]\ncall = \"open\"\nresult = \"EINTR\"\n");
  EXPECT_EQ(Probe({"reopened-in-vain"}, board), "reopened-in-vain: EINTR, closed\n");
  EXPECT_EQ(Probe({"reopened-in-vain"}, "no-device-node"), "reopened-in-vain: ENOENT, closed\n");
}

TEST_F(DeviceNodeTest, MissingNode_CannotBeMade) {
  EXPECT_EQ(Probe({"made-by-open", "made-by-creat"}, "no-device-node"),
            "made-by-open: ENOENT\nmade-by-creat: ENOENT\n");
}

TEST_F(DeviceNodeTest, Descriptor_Duplicated_KeepsTheOpening) {
  EXPECT_EQ(Probe({"duplicated"}),
            "duplicated: closed; flag 1, closed; flag 1, closed; flag 1, closed\n");
  EXPECT_EQ(Journal(), R"({"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":1}
{"call":"close","descriptor":1,"result":0}
{"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":1,"result":0}
{"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":1,"result":0}
{"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":1,"result":0}
)");
}

TEST_F(DeviceNodeTest, Descriptor_DuplicatedOtherwise_KeepsTheOpening) {
  EXPECT_EQ(Probe({"duplicated-otherwise"}),
            "duplicated-otherwise: ioctl ENOTTY, closed; flag 1, closed; flag 1, closed; closed\n");
  EXPECT_EQ(Journal(), R"({"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":1}
{"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":1,"result":0}
{"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":1,"result":0}
)");
}

TEST_F(DeviceNodeTest, Descriptor_ThatTheKernelClosed_IsTheNextFiles) {
  EXPECT_EQ(Probe({"closed-by-the-kernel"}), "closed-by-the-kernel: ioctl ENOTTY, closed\n");
  EXPECT_EQ(Journal(), R"({"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":1}
)");
}

TEST_F(DeviceNodeTest, Descriptor_InAChild_IsAnswered) {
  EXPECT_EQ(Probe({"in-child"}), "in-child: child 0, parent flag 1\n");
}

TEST_F(DeviceNodeTest, Descriptor_InAnExecutedProgram_IsAnsweredUnderItsNumber) {
  EXPECT_EQ(Probe({"open", "in-executed-program"}),
            "open: flag 1, closed\ninherited: flag 1\nin-executed-program: status 0\n");
  EXPECT_THAT(Journal(),
              HasSubstr(R"({"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":2}
{"call":"ioctl","descriptor":2,"request":1,"result":0,"flag":1}
)"));
}

TEST_F(DeviceNodeTest, Descriptor_HasTheFlagsOfItsOpening) {
  EXPECT_EQ(Probe({"closed-at-execution", "access-mode", "ready", "without-opening"}),
            "closed-at-execution: yes\naccess-mode: 1 flag 1; 1 flag 1; 1 flag 1; \nready: 1\n"
            "without-opening: ioctl EBADF\n");
}

TEST_F(DeviceNodeTest, Ioctl_PointerToNowhere_FailsAndTheProgramGoesOn) {
  EXPECT_EQ(Probe({"bad-pointers"}), "bad-pointers: EFAULT EFAULT EFAULT flag 1\n");
  EXPECT_THAT(
      Journal(),
      HasSubstr(
          R"({"call":"ioctl","descriptor":1,"request":1,"result":-1,"errno":{"number":14,"name":"EFAULT"}})"));
  // A driver that leaves the flag alone does not look at the pointer.
  EXPECT_EQ(Probe({"bad-pointers"}, "flag-untouched"), "bad-pointers: taken taken taken flag -7\n");
}

TEST_F(DeviceNodeTest, Ioctl_OtherRequest_IsNoneOfTheDrivers) {
  for (const char* board : {"update-needed", "ioctl-failing"}) {
    EXPECT_EQ(Probe({"other-request"}, board), "other-request: ENOTTY\n");
  }
}

TEST_F(DeviceNodeTest, Ioctl_ProgramThatClearedItsEnvironment_FindsNoDriver) {
  EXPECT_EQ(Probe({"without-environment"}), "without-environment: ioctl ENOTTY, closed\n");
}

TEST_F(DeviceNodeTest, Ioctl_Answers_AsTheBoardSays) {
  EXPECT_EQ(Probe({"open"}, "flag-two"), "open: flag 2, closed\n");
  EXPECT_EQ(Probe({"open"}, "flag-untouched"), "open: flag -7, closed\n");
  EXPECT_EQ(Probe({"open"}, "ioctl-failing"), "open: ioctl EIO, closed\n");
}

TEST_F(DeviceNodeTest, Threads_AtOnce_AreAllAnswered) {
  EXPECT_EQ(Probe({"in-threads"}), "in-threads: 800 right\n");
}

TEST_F(DeviceNodeTest, Faults_StrikeEveryWayToOpen) {
  const std::string board = Write("faults.toml", R"(title = "Faults"
[[fault]]
call = "open"
occurrence = 1
result = "EBUSY"
[[fault]]
call = "open"
occurrence = 3
result = "EINTR"
[[fault]]
call = "open"
occurrence = 4
result = "EIO"
[[fault]]
call = "ioctl"
occurrence = 2
result = "ENODEV"
)");
  EXPECT_EQ(Probe({"open", "fopen", "freopen", "openat in the folder", "open"}, board),
            "open: EBUSY\nfopen: flag 1, closed\nfreopen: EINTR\nopenat in the folder: EIO\n"
            "open: ioctl ENODEV, closed\n");
  EXPECT_EQ(
      Journal(),
      R"({"call":"open","path":"/dev/zelkshield","flags":2,"result":-1,"errno":{"number":16,"name":"EBUSY"},"fault":1}
{"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":1}
{"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":1,"result":0}
{"call":"open","path":"/dev/zelkshield","flags":2,"result":-1,"errno":{"number":4,"name":"EINTR"},"fault":2}
{"call":"open","path":"/dev/zelkshield","flags":2,"result":-1,"errno":{"number":5,"name":"EIO"},"fault":3}
{"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":2}
{"call":"ioctl","descriptor":2,"request":1,"result":-1,"errno":{"number":19,"name":"ENODEV"},"fault":4}
{"call":"close","descriptor":2,"result":0}
)");
}

TEST_F(DeviceNodeTest, Journal_EachWayToOpen_HasItsFlags) {
  Probe({"creat", "fopen"});
  EXPECT_EQ(Journal(), R"({"call":"open","path":"/dev/zelkshield","flags":577,"descriptor":1}
{"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":1,"result":0}
{"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":2}
{"call":"ioctl","descriptor":2,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":2,"result":0}
)");
}

TEST_F(DeviceNodeTest, CommonTools_ShowTheDevice) {
  const Output output = RunShell(
      "ls -l /dev/zelkshield && test -c /dev/zelkshield && stat -c '%F %t:%T' /dev/zelkshield && "
      "readlink -f /dev/zelkshield");
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError, "");
  EXPECT_THAT(output.standardOutput, StartsWith("crw------- 1 "));
  EXPECT_THAT(output.standardOutput, HasSubstr(" 10, 120 "));
  EXPECT_THAT(
      output.standardOutput,
      testing::EndsWith(" /dev/zelkshield\ncharacter special file a:78\n/dev/zelkshield\n"));
}

/// What a program sees beside the node is the machine's.
TEST_F(DeviceNodeTest, RestOfDevAndSys_AreTheMachines) {
  const std::string script = "ls -d /dev/* /sys/* /sys/class/* && ls -l /dev/null /dev/zero";
  const Output off = Capture({"/bin/sh", "-c", script});
  const Output on = RunShell(script);
  EXPECT_EQ(on.standardOutput, off.standardOutput);
  EXPECT_THAT(on.standardOutput, HasSubstr("/sys/kernel\n"));
  EXPECT_EQ(RunShell("echo text >/dev/null && head -c 3 /dev/zero | wc -c").standardOutput, "3\n");
}

TEST_F(DeviceNodeTest, ProgramsOwnPreload_IsKeptAndChildrenHaveBoth) {
  std::map<std::string, std::string> environment = BoardEnvironment();
  environment["LD_PRELOAD"] = "libdl.so.2";
  // For the launcher, where it is sanitized.
  environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
  const Output output = Capture(
      OnBoard("update-needed", {"/bin/sh", "-c", "/bin/sh -c 'echo $LD_PRELOAD'"}), environment);
  EXPECT_THAT(output.standardOutput, testing::EndsWith("libvam_device_node.so:libdl.so.2\n"));
}

/// Every combination of standard streams that a caller may have closed.
TEST_F(DeviceNodeTest, ClosedStandardStreams_ChangeNothing) {
  const Words tool = OnBoard("update-needed", {UpdateTool()}, Path("state"), JournalFile());
  const auto runWith = [&](const std::string& redirections) {
    std::string script = "exec \"$@\" " + redirections;
    Words command = {"/bin/sh", "-c", script, "sh"};
    command.insert(command.end(), tool.begin(), tool.end());
    return Capture(command, BoardEnvironment());
  };
  const Output whole = runWith("");
  const std::string journal = Journal();
  EXPECT_EQ(whole.status, 0);
  EXPECT_THAT(journal, StartsWith("{\"call\":\"open\""));
  for (const char* closed :
       {"<&-", ">&-", "2>&-", "<&- >&-", "<&- 2>&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
    fs::remove_all(Path("state"));
    const Output output = runWith(closed);
    EXPECT_EQ(output.status, 0) << closed;
    EXPECT_EQ(output.standardError, "") << closed;
    const bool shown = std::string(closed).find(">&-") == std::string::npos ||
                       std::string(closed) == "2>&-" || std::string(closed) == "<&- 2>&-";
    EXPECT_EQ(output.standardOutput, shown ? whole.standardOutput : "") << closed;
    EXPECT_EQ(Journal(), journal) << closed;
    EXPECT_EQ(ReadFile(Path("state/VAM_OK")), "Updated FW version: 1.1,04/7,3 \n") << closed;
  }
}

/// What the launcher prints there goes nowhere, and not into its own files.
TEST_F(DeviceNodeTest, ClosedStandardStreams_AreNoneOfTheLaunchersFiles) {
  const std::string look =
      "for i in 0 1 2; do readlink /proc/$PPID/fd/$i; done >" + Path("descriptors");
  Words command = {"/bin/sh", "-c", "exec \"$@\" <&- >&- 2>&-", "sh"};
  const Words launch = OnBoard("update-needed", {"/bin/sh", "-c", look});
  command.insert(command.end(), launch.begin(), launch.end());
  EXPECT_EQ(Capture(command, BoardEnvironment()).status, 0);
  EXPECT_EQ(ReadFile(Path("descriptors")), "/dev/null\n/dev/null\n/dev/null\n");
}

TEST_F(DeviceNodeTest, ClosedStandardOutput_TakesNothingIntoTheJournal) {
  const std::string probe = "'" + std::string(VAM_NODE_PROBE) + "' " + kNode + " open open";
  RunShell(probe);
  const std::string journal = Journal();
  RunShell("exec " + probe + " <&- >&- 2>&-");
  EXPECT_EQ(Journal(), journal);
  EXPECT_THAT(journal, HasSubstr("\"descriptor\":2"));
}

TEST_F(DeviceNodeTest, ProgramThatReusesEveryDescriptor_FindsTheJournalElsewhere) {
  EXPECT_EQ(Probe({"open", "reused-descriptors", "open"}),
            "open: flag 1, closed\nreused-descriptors: size 0\nopen: flag 1, closed\n");
  EXPECT_EQ(Journal(), R"({"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":1}
{"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":1,"result":0}
{"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":2}
{"call":"ioctl","descriptor":2,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":2,"result":0}
{"call":"open","path":"/dev/zelkshield","flags":2,"descriptor":3}
{"call":"ioctl","descriptor":3,"request":1,"result":0,"flag":1}
{"call":"close","descriptor":3,"result":0}
)");
}

TEST_F(DeviceNodeTest, LongFolderOfTemporaryFiles_ChangesNothing) {
  std::map<std::string, std::string> environment = BoardEnvironment();
  // Longer than a socket's name and as long as a path may be with room for what lies below.
  for (int i = 0; i < 15; ++i) {
    environment["TMPDIR"] += "/" + std::string(250, 'x');
  }
  fs::create_directories(environment["TMPDIR"]);
  const Output output =
      Capture(OnBoard("update-needed", {UpdateTool()}, Path("state")), environment);
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(ReadFile(Path("state/VAM_OK")), "Updated FW version: 1.1,04/7,3 \n");
}

/// An installation in another folder.
Words MovedLauncher(const std::string& prefix) {
  const fs::path build = fs::path(BoardLauncher()).parent_path().parent_path();
  fs::create_directories(prefix + "/bin");
  fs::create_directories(prefix + "/lib");
  fs::copy(BoardLauncher(), prefix + "/bin/vam-board");
  fs::copy(build / "lib/vam-simulator", prefix + "/lib/vam-simulator", fs::copy_options::recursive);
  return {prefix + "/bin/vam-board",
          "run",
          "--board",
          std::string(VAM_BOARDS) + "/update-needed.toml",
          "--",
          VAM_NODE_PROBE,
          kNode,
          "open"};
}

TEST_F(DeviceNodeTest, InstallationWithABlankInItsPath_Works) {
  const Output output = Capture(MovedLauncher(Path("with a blank")), BoardEnvironment());
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.standardOutput, "open: flag 1, closed\n");
}

TEST_F(DeviceNodeTest, InstallationWithAColonInItsPath_IsRefused) {
  const Output output = Capture(MovedLauncher(Path("with:colon")), BoardEnvironment());
  EXPECT_EQ(output.status, 125);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_EQ(output.standardError,
            "vam-board: " + Path("with:colon/lib/vam-simulator") +
                ": no library is found where a folder's name has a colon or a semicolon; move the "
                "installation to another folder\n");
}

}  // namespace
}  // namespace vam
