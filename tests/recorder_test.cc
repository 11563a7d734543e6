// vam-record around whole programs: what it writes, what it withholds, and that the programs do not
// notice. On a simulated board its recording must be the board's own journal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/journal_calls.h"
#include "tests/support/outcome.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using Words = std::vector<std::string>;

Words Joined(Words first, const Words& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// The environment for a run without a board. A sanitized library takes what comes into a program
/// before it, as vam-board also asks for.
std::map<std::string, std::string> Environment() {
  return {{"ASAN_OPTIONS", "verify_asan_link_order=0"}};
}

class RecorderTest : public ::testing::Test {
 protected:
  static std::string JournalFile() { return PrivateTmp::Folder() + "/board.journal"; }
  static std::string File() { return PrivateTmp::Folder() + "/run.journal"; }
  static std::string Recording() { return ReadFile(File()).value_or("none"); }

  static Words Recorded(const Words& program, const Words& options = {}) {
    return Joined(Joined({VAM_RECORD_PROGRAM, "-o", File()}, options), Joined({"--"}, program));
  }

  /// Records `program` on a board that keeps its journal too.
  static Output RecordOnBoard(const std::string& board, const Words& program,
                              const Words& options = {}) {
    Words command = OnBoard(board, Recorded(program, options), "", JournalFile());
    if (!options.empty()) {
      command.insert(command.begin() + 2, "--with-keys");
    }
    return Capture(command, BoardEnvironment());
  }

  /// Records without a board.
  static Output Record(const Words& program, const Words& options = {}) {
    return Capture(Recorded(program, options), Environment());
  }

  /// Returns the board's own journal without what a device cannot know.
  static std::string BoardsCalls() {
    static const std::regex kFault(R"re(,"fault":\d+)re");
    return std::regex_replace(CallsIn(ReadFile(JournalFile()).value()), kFault, "");
  }

  const PrivateTmp tmp;
};

/// Returns the numbers under `key` in the lines of `journal` in their order, each once.
std::vector<std::string> NumbersOf(const std::string& key, const std::string& journal) {
  const std::regex member("\"" + key + "\":(\\d+)");
  std::vector<std::string> numbers;
  for (std::sregex_iterator found(journal.begin(), journal.end(), member), end; found != end;
       ++found) {
    if (std::find(numbers.begin(), numbers.end(), found->str(1)) == numbers.end()) {
      numbers.push_back(found->str(1));
    }
  }
  return numbers;
}

/// Returns the lines of `journal` that have `part`.
std::string LinesWith(const std::string& part, const std::string& journal) {
  std::istringstream lines(journal);
  std::string found;
  for (std::string line; std::getline(lines, line);) {
    found += line.find(part) == std::string::npos ? "" : line + "\n";
  }
  return found;
}

/// Returns `calls` without the bytes of a memory: a board need not write them.
std::string WithoutBytes(const std::string& calls) {
  static const std::regex kBytes(R"re(,"(before|after)":"[0-9a-f]*")re");
  return std::regex_replace(calls, kBytes, "");
}

TEST_F(RecorderTest, EveryBoard_IsRecordedAsItRecordsItself) {
  std::vector<std::string> names;
  for (const fs::directory_entry& file : fs::directory_iterator(VAM_BOARDS)) {
    names.push_back(file.path().stem());
  }
  std::sort(names.begin(), names.end());
  ASSERT_GT(names.size(), 30U);
  // A few, unless all are asked for.
  const std::size_t step = std::getenv("VAM_ALL_BOARDS") != nullptr ? 1 : 6;
  for (std::size_t i = 0; i < names.size(); i += step) {
    const std::string& board = names[i];
    SCOPED_TRACE(board);
    const Outcome expected = ExpectedOutcome(board);
    const Output recorded = RecordOnBoard(board, {UpdateTool()});
    EXPECT_EQ(recorded.status, expected.status);
    EXPECT_EQ(recorded.standardOutput, expected.console);
    EXPECT_EQ(recorded.standardError, "");
    EXPECT_EQ(CallsIn(Recording()), BoardsCalls());
  }
}

TEST_F(RecorderTest, EveryKindOfCall_IsRecordedAsTheBoardDoes) {
  const std::vector<Words> programs = {
      {Vamctl(), "get-info"},
      {Vamctl(), "get-hack-info", "--size", "8"},
      {Vamctl(), "ak-provision", "--yes", "--hex", "00ff"},
      {Vamctl(), "update-fw", "--", "-1"},
      {VAM_SERVICES_PROBE},
      {VAM_NODE_PROBE,
       "/dev/zelkshield",
       "open",
       "open64",
       "__open_2",
       "__open64_2",
       "openat",
       "openat64",
       "openat in the folder",
       "openat64 in the folder",
       "__openat_2 in the folder",
       "__openat64_2 in the folder",
       "creat",
       "creat64",
       "bad-pointers",
       "other-request",
       "duplicated",
       "in-child",
       "fopen",
       "fopen64",
       "freopen",
       "freopen64",
       "in-executed-program",
       "closed-at-execution",
       "duplicated-otherwise",
       "closed-by-the-kernel"},
      {"/bin/sh", "-c", R"(cd /dev && exec "$0" zelkshield open fopen)", VAM_NODE_PROBE},
      {"/bin/sh", "-c", R"(cd / && exec "$0" dev/zelkshield open)", VAM_NODE_PROBE},
      {VAM_TEE_PROBE, "null-arguments", "odd-parameters"},
      {"/bin/sh", "-c", R"(exec "$0" /dev/zelkshield open use-3 3<>/dev/zelkshield)",
       VAM_NODE_PROBE},
      {VAM_NODE_PROBE, "/dev/../dev//zelkshield", "open", "creat"},
  };
  for (const Words& program : programs) {
    SCOPED_TRACE(testing::PrintToString(program));
    const Output plain = Capture(OnBoard("update-needed", program), BoardEnvironment());
    const Output recorded = RecordOnBoard("update-needed", program);
    EXPECT_EQ(recorded.status, plain.status);
    EXPECT_EQ(recorded.standardOutput, plain.standardOutput);
    EXPECT_EQ(recorded.standardError, plain.standardError);
    EXPECT_EQ(CallsIn(Recording()), BoardsCalls());
    EXPECT_NE(BoardsCalls(), "");
  }
}

TEST_F(RecorderTest, OpeningThatFails_IsRecordedWithItsError) {
  const Words program = {VAM_NODE_PROBE, "/dev/zelkshield", "open"};
  const Output plain = Capture(OnBoard("no-device-node", program), BoardEnvironment());
  EXPECT_EQ(RecordOnBoard("no-device-node", program).standardOutput, plain.standardOutput);
  EXPECT_EQ(CallsIn(Recording()), R"({"call":"open","path":"/dev/zelkshield","flags":2,)"
                                  R"("result":-1,"errno":{"number":2,"name":"ENOENT"}})"
                                  "\n");
  EXPECT_EQ(CallsIn(Recording()), BoardsCalls());
}

/// A /dev that has /dev/null and, on the same file system, a folder.
class PrivateDev {
 public:
  PrivateDev() {
    const std::string dev = PrivateTmp::Folder() + "/dev";
    fs::create_directories(dev);
    const bool isMade =
        mount("none", dev.c_str(), "tmpfs", 0, "mode=755") == 0 &&
        mkdir((dev + "/folder").c_str(), 0755) == 0 &&
        mknod((dev + "/null").c_str(), S_IFREG | 0644, 0) == 0 &&
        mount("/dev/null", (dev + "/null").c_str(), nullptr, MS_BIND, nullptr) == 0 &&
        mount(dev.c_str(), "/dev", nullptr, MS_BIND | MS_REC, nullptr) == 0;
    if (!isMade) {
      throw std::runtime_error(std::string("no /dev: ") + std::strerror(errno));
    }
  }
  ~PrivateDev() { umount2("/dev", MNT_DETACH); }
  PrivateDev(const PrivateDev&) = delete;
  PrivateDev& operator=(const PrivateDev&) = delete;
};

TEST_F(RecorderTest, OtherFileThanTheNode_IsNotRecorded) {
  const std::string same = PrivateTmp::Folder() + "/zelkshield";
  WriteFile(same, "");
  const std::string deep = "/dev/" + std::string(4096, '.') + "/zelkshield";
  const PrivateDev dev;
  for (const Words& program : {Words{VAM_NODE_PROBE, same, "open", "fopen"},
                               {VAM_NODE_PROBE, "/dev/xzelkshield", "open", "fopen"},
                               {VAM_NODE_PROBE, "/dev/zelkshield2", "open", "fopen"},
                               {VAM_NODE_PROBE, "/dev/folder/zelkshield", "open", "fopen"},
                               {VAM_NODE_PROBE, "zelkshield", "open", "fopen"},
                               {VAM_NODE_PROBE, "kshield", "open"},
                               {VAM_NODE_PROBE, "", "open"},
                               {VAM_NODE_PROBE, deep, "open"}}) {
    const Output plain = Capture(OnBoard("update-needed", program), BoardEnvironment());
    const Output recorded = RecordOnBoard("update-needed", program);
    EXPECT_EQ(recorded.standardOutput, plain.standardOutput);
    EXPECT_EQ(recorded.standardError, plain.standardError);
    EXPECT_EQ(CallsIn(Recording()), "") << program[1];
    EXPECT_EQ(BoardsCalls(), "") << program[1];
  }
}

TEST_F(RecorderTest, ReplayedRecording_IsTheSameRun) {
  const std::vector<Words> programs = {
      {UpdateTool()},
      {Vamctl(), "get-info"},
      {Vamctl(), "get-hack-info", "--size", "8"},
      {Vamctl(), "ak-provision", "--yes", "--hex", "00ff"},
      {VAM_SERVICES_PROBE},
      {VAM_NODE_PROBE, "/dev/zelkshield", "open", "fopen", "freopen64", "in-executed-program"},
      {"/bin/sh", "-c", R"(exec "$0" /dev/zelkshield use-3 3<>/dev/zelkshield)", VAM_NODE_PROBE},
      {VAM_TEE_PROBE, "temporary", "part", "whole", "values", "keys", "own-memory"},
      {VAM_TEE_PROBE, "cancelled"},
      {VAM_TEE_PROBE, "session-with-parameters"},
      {VAM_TEE_PROBE, "fork"},
      {VAM_TEE_PROBE, "threads"},
  };
  for (const Words& program : programs) {
    SCOPED_TRACE(testing::PrintToString(program));
    const Output recorded = RecordOnBoard("update-needed", program, {"--with-keys"});
    const Output replayed =
        Capture(Joined({BoardLauncher(), "replay", File(), "--"}, program), BoardEnvironment());
    EXPECT_EQ(replayed.status, recorded.status);
    EXPECT_EQ(replayed.standardOutput, recorded.standardOutput);
    EXPECT_EQ(replayed.standardError, recorded.standardError);
  }
}

TEST_F(RecorderTest, EveryCommandOfVamctl_IsRecordedAndReplayed) {
  const std::vector<Words> commands = {
      {"get-info"},
      {"get-app-info"},
      {"self-test-all"},
      {"get-public-key-status"},
      {"ak-provision-rpmb", "--yes"},
      {"remove-ak-keys", "--yes"},
      {"force-recovery", "--yes"},
      {"force-recovery-sp", "--yes"},
      {"ak-provision", "--yes", "--hex", "00ff"},
      {"check-vam-ak", "--hex", "00ff"},
      {"get-hack-info", "--size", "8"},
      {"update-fw", "--yes", "3"},
      {"older-update-fw", "--yes", "3"},
      {"get-fw-info"},
      {"older-get-fw-info"},
  };
  const std::string help = Capture({Vamctl(), "--help"}).standardOutput;
  const std::regex subcommand("\n  ([a-z][-a-z]+) ");
  const auto listed = std::distance(std::sregex_iterator(help.begin(), help.end(), subcommand),
                                    std::sregex_iterator());
  // One reads the status files and asks nothing of the platform.
  ASSERT_EQ(static_cast<std::size_t>(listed), commands.size() + 1) << help;
  // A few, unless all are asked for.
  const std::size_t step = std::getenv("VAM_ALL_BOARDS") != nullptr ? 1 : 4;
  for (std::size_t i = 0; i < commands.size(); i += step) {
    const Words program = Joined({Vamctl()}, commands[i]);
    SCOPED_TRACE(commands[i][0]);
    EXPECT_THAT(help, HasSubstr("\n  " + commands[i][0] + " "));
    const Output plain = Capture(OnBoard("update-needed", program), BoardEnvironment());
    const Output recorded = RecordOnBoard("update-needed", program);
    EXPECT_EQ(recorded.status, plain.status);
    EXPECT_EQ(recorded.standardOutput, plain.standardOutput);
    EXPECT_EQ(recorded.standardError, plain.standardError);
    EXPECT_THAT(Recording(), HasSubstr("TEEC_InvokeCommand"));
    EXPECT_EQ(CallsIn(Recording()), BoardsCalls());
    const Output replayed =
        Capture(Joined({BoardLauncher(), "replay", File(), "--"}, program), BoardEnvironment());
    EXPECT_EQ(replayed.status, plain.status);
    EXPECT_EQ(replayed.standardOutput, plain.standardOutput);
    EXPECT_EQ(replayed.standardError, plain.standardError);
  }
}

TEST_F(RecorderTest, Head_TellsProgramBuildAndClock) {
  Record({"/bin/sh", "-c", "true"});
  const std::regex head(R"re(\{"format":1,"program":"/bin/sh","arguments":null,)re"
                        R"re("build":"vam-record [0-9.]+","keys":false,)re"
                        R"re("clock":\{"bootId":"[-0-9a-f]{36}","bootTime":\d+,)re"
                        R"re("realTime":\d{19}\}\}\n)re");
  EXPECT_TRUE(std::regex_match(Recording(), head)) << Recording();
  Record({"/bin/sh", "-c", "true"}, {"--with-keys"});
  EXPECT_THAT(Recording(), HasSubstr(R"("arguments":["-c","true"],)"));
}

TEST_F(RecorderTest, KeyRecord_IsWithheldUnlessAskedFor) {
  const Words provision = {Vamctl(), "ak-provision", "--yes", "--hex", "00a0ff11"};
  RecordOnBoard("update-needed", provision);
  EXPECT_THAT(Recording(), Not(HasSubstr("00a0ff11")));
  EXPECT_THAT(
      Recording(),
      HasSubstr(
          R"("length":4,"bytes":{"length":4,"sha256":)"
          R"("ddd6410ff2e4d4ea8fc7868e8e60f9e5e793e7c78fca730a3666689fe490f541"},"result":true)"));
  RecordOnBoard("update-needed", provision, {"--with-keys"});
  EXPECT_THAT(Recording(), HasSubstr(R"("length":4,"bytes":"00a0ff11","result":true)"));
}

TEST_F(RecorderTest, ProgramWithoutMarshaller_HasItsMemoryRecorded) {
  for (const char* action : {"temporary", "part", "whole"}) {
    SCOPED_TRACE(action);
    const Output output = RecordOnBoard("update-needed", {VAM_TEE_PROBE, action});
    ASSERT_EQ(output.status, 0);
    const std::string line = LinesWith("TEEC_InvokeCommand", Recording());
    const std::regex bytes(R"re("before":"([0-9a-f]*)","after":"([0-9a-f]*)")re");
    std::smatch found;
    ASSERT_TRUE(std::regex_search(line, found, bytes)) << line;
    std::smatch printed;
    ASSERT_TRUE(std::regex_search(output.standardOutput, printed, std::regex("0 4 ([0-9a-f]*)\n")))
        << output.standardOutput;
    const bool isPart = std::string(action) == "part";
    EXPECT_EQ(found.str(2), printed.str(1).substr(isPart ? 8 : 0));
    const std::string given =
        std::string(action) == "temporary"
            ? "010203" + std::string(122, '0')
            : std::regex_replace(std::string(isPart ? 60 : 64, 'x'), std::regex("x"), "07");
    EXPECT_EQ(found.str(1), given);
    EXPECT_NE(found.str(1), found.str(2)) << "the trusted application answers";
  }
}

TEST_F(RecorderTest, MemoryOfTheProgramsOwn_IsRecordedWhereItIsRegistered) {
  const Output output = RecordOnBoard("update-needed", {VAM_TEE_PROBE, "own-memory"});
  EXPECT_THAT(output.standardOutput, StartsWith("0 0 4 "));
  EXPECT_THAT(output.standardOutput, Not(HasSubstr("gone")));
  EXPECT_EQ(WithoutBytes(CallsIn(Recording())), WithoutBytes(BoardsCalls()));
  EXPECT_THAT(LinesWith("TEEC_RegisterSharedMemory", Recording()),
              EndsWith(R"("context":1,"size":64,"flags":3,)"
                       R"("result":{"number":0,"name":"TEEC_SUCCESS"},"sharedMemory":1})"
                       "\n"));
  const std::string after = output.standardOutput.substr(6, 128);
  EXPECT_THAT(LinesWith("TEEC_InvokeCommand", Recording()),
              HasSubstr(R"("params":[{"sharedMemory":1,"before":"0809)" + std::string(124, '0') +
                        R"(","after":")" + after));
  EXPECT_THAT(LinesWith("TEEC_ReleaseSharedMemory", Recording()), HasSubstr("\"sharedMemory\":1}"));
}

TEST_F(RecorderTest, SessionThatIsOpenedWithParameters_HasThemRecorded) {
  const Output output = RecordOnBoard("update-needed", {VAM_TEE_PROBE, "session-with-parameters"});
  // The trusted application takes none.
  EXPECT_EQ(output.standardOutput, "ffff0006 1\n");
  EXPECT_EQ(WithoutBytes(CallsIn(Recording())), WithoutBytes(BoardsCalls()));
  EXPECT_THAT(LinesWith("TEEC_OpenSession", Recording()),
              HasSubstr(R"("connectionMethod":0,"connectionData":"given",)"
                        R"("operation":"given","paramTypes":81,"params":[{"a":1,"b":2},)"
                        R"({"size":4,"before":"09080706"}],"result":{"number":4294901766,)"));
}

TEST_F(RecorderTest, Cancellation_IsRecordedInItsThread) {
  const Output output = RecordOnBoard("update-needed", {VAM_TEE_PROBE, "cancelled"});
  EXPECT_EQ(output.standardOutput, "0 4\n");
  EXPECT_EQ(WithoutBytes(CallsIn(Recording())), WithoutBytes(BoardsCalls()));
  const std::string lines = LinesWith("TEEC_RequestCancellation", Recording());
  EXPECT_THAT(lines, EndsWith("\"call\":\"TEEC_RequestCancellation\",\"operation\":\"given\"}\n"));
  EXPECT_EQ(NumbersOf("tid", lines).size(), 2U);
  const Output shown = Capture({BoardLauncher(), "journal", "show", File()}, BoardEnvironment());
  EXPECT_THAT(shown.standardOutput, HasSubstr("    cancellation   asked for\n"));
  EXPECT_TRUE(std::regex_search(shown.standardOutput, std::regex("s  a cancellation  \\[process")))
      << shown.standardOutput;
}

TEST_F(RecorderTest, MemoryForInput_IsRecordedOnlyBeforeTheCall) {
  for (const char* action : {"input-part", "input-whole"}) {
    RecordOnBoard("update-needed", {VAM_TEE_PROBE, action});
    const std::string line = LinesWith("TEEC_InvokeCommand", Recording());
    EXPECT_THAT(line, AllOf(HasSubstr(R"("before":"0707)"), Not(HasSubstr("after")))) << action;
  }
}

TEST_F(RecorderTest, MemoryOfAKeyCommand_IsWithheldUnlessAskedFor) {
  RecordOnBoard("update-needed", {VAM_TEE_PROBE, "keys"});
  const std::regex withheld(
      R"re("before":\{"length":64,"sha256":"[0-9a-f]{64}"\},"after":\{"length":64,)re");
  EXPECT_TRUE(std::regex_search(Recording(), withheld)) << Recording();
  EXPECT_THAT(Recording(), Not(HasSubstr("010203")));
  RecordOnBoard("update-needed", {VAM_TEE_PROBE, "keys"}, {"--with-keys"});
  EXPECT_THAT(Recording(), HasSubstr(R"("before":"010203)"));
}

TEST_F(RecorderTest, AnswersInParameters_AreRecordedBesideWhatWasGiven) {
  const Output output = Capture(
      OnBoard("update-needed", {"/bin/sh", "-c", kPreloading, VAM_ANSWERING_TEE, VAM_RECORD_PROGRAM,
                                "-o", File(), "--", VAM_TEE_PROBE, "values", "temporary"}),
      BoardEnvironment());
  EXPECT_THAT(output.standardOutput, StartsWith("ffff0010 4 103 105\nffff0010 4 616263\n"));
  const std::string lines = LinesWith("TEEC_InvokeCommand", Recording());
  EXPECT_THAT(lines, HasSubstr(R"("paramTypes":801,"params":[{"a":1,"b":2},)"
                               R"({"newA":103,"newB":200},)"
                               R"({"a":5,"b":4294967295,"newA":105,"newB":200}],"result":)"
                               R"({"number":4294901776,"name":"TEEC_ERROR_SHORT_BUFFER"})"));
  EXPECT_THAT(lines, HasSubstr(R"("params":[{"size":64,"newSize":3,"before":"01020300)"));
  EXPECT_THAT(lines, HasSubstr(R"("after":"61626300)"));

  const std::string journal = PrivateTmp::Folder() + "/journal-of-replay";
  const Output replayed = Capture({BoardLauncher(), "replay", "--journal", journal, File(), "--",
                                   VAM_TEE_PROBE, "values", "temporary"},
                                  BoardEnvironment());
  EXPECT_EQ(replayed.standardOutput, output.standardOutput);
  EXPECT_EQ(CallsIn(ReadFile(journal).value()), CallsIn(Recording()));
}

TEST_F(RecorderTest, MemoryThatIsNotThere_IsNull) {
  const Output plain =
      Capture(OnBoard("update-needed", {VAM_TEE_PROBE, "bad-memory"}), BoardEnvironment());
  const Output output = RecordOnBoard("update-needed", {VAM_TEE_PROBE, "bad-memory"});
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardOutput, plain.standardOutput);
  EXPECT_EQ(output.standardError, plain.standardError);
  EXPECT_THAT(Recording(), HasSubstr(R"("before":null,"after":null},{"sharedMemory":0,"size":0,)"));
}

TEST_F(RecorderTest, TwoThreads_AreKeptApart) {
  ASSERT_EQ(RecordOnBoard("update-needed", {VAM_TEE_PROBE, "threads"}).status, 0);
  EXPECT_EQ(NumbersOf("pid", Recording()).size(), 1U);
  const std::vector<std::string> threads = NumbersOf("tid", Recording());
  ASSERT_EQ(threads.size(), 2U);
  for (const std::string& thread : threads) {
    const std::string lines = LinesWith("\"tid\":" + thread, Recording());
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 20 * 4);
  }
  EXPECT_EQ(NumbersOf("context", Recording()).size(), 40U) << "no number is given twice";
}

TEST_F(RecorderTest, ChildrenAfterForkAndExec_GoIntoTheSameRecording) {
  ASSERT_EQ(RecordOnBoard("update-needed",
                          {"/bin/sh", "-c", "\"$0\" fork; \"$0\" temporary", VAM_TEE_PROBE})
                .status,
            0);
  const std::vector<std::string> processes = NumbersOf("pid", Recording());
  ASSERT_EQ(processes.size(), 3U);
  EXPECT_THAT(LinesWith("\"pid\":" + processes[1], Recording()),
              HasSubstr(R"("call":"TEEC_OpenSession","context":2,)"))
      << "a child counts on from its parent";
  EXPECT_THAT(LinesWith("\"pid\":" + processes[2], Recording()),
              HasSubstr(R"("call":"TEEC_OpenSession","context":1,)"));
  EXPECT_EQ(WithoutBytes(CallsIn(Recording())), WithoutBytes(BoardsCalls()));
}

TEST_F(RecorderTest, NodeFromBeforeTheRecording_IsRecordedFromThereOn) {
  const Output output =
      Capture(OnBoard("update-needed",
                      {"/bin/bash", "-c",
                       R"(exec "$0" -o "$1" -- "$2" /dev/zelkshield use-12 12<>/dev/zelkshield)",
                       VAM_RECORD_PROGRAM, File(), VAM_NODE_PROBE}),
              BoardEnvironment());
  EXPECT_EQ(output.standardOutput, "inherited: flag 1\n");
  EXPECT_EQ(CallsIn(Recording()),
            R"({"call":"ioctl","descriptor":1,"request":1,"result":0,"flag":1})"
            "\n");
}

TEST_F(RecorderTest, KilledProgram_LeavesAllThatItDid) {
  const Output output = RecordOnBoard("update-needed", {VAM_TEE_PROBE, "temporary", "killed"});
  EXPECT_EQ(output.status, 128 + SIGKILL);
  EXPECT_EQ(WithoutBytes(CallsIn(Recording())), WithoutBytes(BoardsCalls()));
  EXPECT_THAT(Recording(), EndsWith("\"session\":2}\n"));
}

TEST_F(RecorderTest, LibraryOfAPlugIn_IsRecordedToo) {
  const Output output = RecordOnBoard("update-needed", {VAM_PLUG_IN_HOST, VAM_TEE_PLUG_IN});
  EXPECT_EQ(output.standardOutput, "0\n");
  EXPECT_EQ(CallsIn(Recording()), BoardsCalls());
  EXPECT_THAT(Recording(), HasSubstr("TEEC_FinalizeContext"));
}

TEST_F(RecorderTest, FunctionThatNoLibraryOfTheProgramHas_EndsItWithItsName) {
  const Output output = Capture(Recorded({VAM_PLUG_IN_HOST}), Environment());
  EXPECT_EQ(output.status, 127);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_EQ(output.standardError, "vam-record: no library has TEEC_InitializeContext\n");
}

TEST_F(RecorderTest, ExceptionOfTheVendor_PassesThrough) {
  const Output output =
      Capture(OnBoard("update-needed", {"/bin/sh", "-c", kPreloading, VAM_THROWING_MARSHALLER,
                                        VAM_RECORD_PROGRAM, "-o", File(), "--", UpdateTool()}),
              BoardEnvironment());
  EXPECT_EQ(output.status, 128 + SIGABRT);
  EXPECT_THAT(output.standardError, HasSubstr("the marshaller throws"));
}

TEST_F(RecorderTest, InstallationWhosePathHasABlank_Records) {
  const std::string folder = PrivateTmp::Folder() + "/two words";
  fs::create_directory(folder);
  fs::copy_file(VAM_RECORD_PROGRAM, folder + "/vam-record");
  fs::copy_file(VAM_RECORD_LIBRARY, folder + "/libvam_record.so");
  std::map<std::string, std::string> environment = BoardEnvironment();
  environment["LD_LIBRARY_PATH"] = folder;
  const Output output =
      Capture(OnBoard("update-needed", {folder + "/vam-record", "-o", File(), "--", UpdateTool()},
                      "", JournalFile()),
              environment);
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(CallsIn(Recording()), BoardsCalls());
}

TEST_F(RecorderTest, InstallationInAFolderThatNoLibraryIsLoadedFrom_IsRefused) {
  for (const std::string name : {"a\tb", "a;b", "a\nb"}) {
    const std::string folder = PrivateTmp::Folder() + "/" + name;
    fs::create_directory(folder);
    fs::copy_file(VAM_RECORD_PROGRAM, folder + "/vam-record");
    fs::copy_file(VAM_RECORD_LIBRARY, folder + "/libvam_record.so");
    // The loader takes apart what is in the variable, and the link has none of it.
    const std::string link = PrivateTmp::Folder() + "/link";
    fs::remove(link);
    fs::create_symlink(folder, link);
    std::map<std::string, std::string> environment = Environment();
    environment["LD_LIBRARY_PATH"] = link;
    const Output output =
        Capture({folder + "/vam-record", "-o", File(), "--", "true"}, environment);
    EXPECT_EQ(output.status, 125);
    EXPECT_EQ(output.standardError,
              "vam-record: " + folder +
                  "/libvam_record.so: no library is loaded from where a name has a tabulator, a "
                  "colon or a semicolon; move the installation\n");
    EXPECT_FALSE(fs::exists(File()));
  }
}

TEST_F(RecorderTest, Program_KeepsArgumentsEnvironmentAndDescriptors) {
  const Words program = {
      "/bin/sh",     "-c", "printf '<%s>' \"$@\"; env | sort; \"$0\" descriptors; pwd; ulimit -n",
      VAM_TEE_PROBE, "",   "a b",
      "--help",      "\n"};
  const auto environment = [](const Words& command) {
    std::map<std::string, std::string> variables = Environment();
    variables["LD_PRELOAD"] = VAM_ANSWERING_TEE;
    return Capture(command, variables).standardOutput;
  };
  const std::string plain = environment(program);
  const std::string recorded = environment(Recorded(program));
  const std::regex added("\nVAM_RECORDING=[^\n]*");
  const std::regex library("LD_PRELOAD=([^:\n]*/)?libvam_record.so:");
  const std::regex folderWithBlank("LD_LIBRARY_PATH=[^\n]* [^\n]*/vam-recorder\n");
  EXPECT_TRUE(std::regex_search(recorded, added)) << recorded;
  EXPECT_TRUE(std::regex_search(recorded, library)) << recorded;
  std::string same = std::regex_replace(recorded, added, "");
  same = std::regex_replace(same, folderWithBlank, "");
  EXPECT_EQ(std::regex_replace(same, library, "LD_PRELOAD="), plain);
}

TEST_F(RecorderTest, ExitStatus_IsTheProgramsOwn) {
  EXPECT_EQ(Record({"/bin/sh", "-c", "exit 3"}).status, 3);
  EXPECT_EQ(Record({"/bin/sh", "-c", "kill -TERM $$"}).status, 128 + SIGTERM);
  EXPECT_EQ(Record({"true"}).status, 0) << "found in PATH";
}

TEST_F(RecorderTest, ProgramThatCannotBeRun_IsToldBeforeAFileIsMade) {
  const Output missing = Record({"/nowhere/program"});
  EXPECT_EQ(missing.status, 127);
  EXPECT_EQ(missing.standardError,
            "vam-record: /nowhere/program: cannot be run: No such file or directory\n");
  const Output folder = Record({"/mnt"});
  EXPECT_EQ(folder.status, 126);
  EXPECT_EQ(folder.standardError, "vam-record: /mnt: cannot be run: Permission denied\n");
  EXPECT_EQ(Record({"no-such-program"}).status, 127);
  EXPECT_EQ(Record({""}).status, 127);
  EXPECT_FALSE(fs::exists(File()));
}

TEST_F(RecorderTest, WrongCommandLine_IsTold) {
  const auto say = [](const Words& words) {
    const Output output = Capture(Joined({VAM_RECORD_PROGRAM}, words));
    EXPECT_EQ(output.status, 125);
    EXPECT_EQ(output.standardOutput, "");
    return output.standardError;
  };
  EXPECT_EQ(say({}),
            "vam-record: 'vam-record' needs '--' and then a program; see vam-record --help\n");
  EXPECT_EQ(say({"--"}),
            "vam-record: 'vam-record' needs '--' and then a program; see vam-record --help\n");
  EXPECT_EQ(say({"true"}), "vam-record: 'true' stands before '--'; see vam-record --help\n");
  EXPECT_EQ(say({"--keys", "--", "true"}),
            "vam-record: '--keys' is no option; see vam-record --help\n");
  EXPECT_EQ(say({"-o"}), "vam-record: '-o' needs a file; see vam-record --help\n");
  EXPECT_EQ(say({"-o", "--", "true"}), "vam-record: '-o' needs a file; see vam-record --help\n");
}

TEST_F(RecorderTest, HelpAndVersion_ArePrinted) {
  const Output help = Capture({VAM_RECORD_PROGRAM, "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.standardOutput,
            "Usage: vam-record [-o FILE] [--with-keys] -- PROGRAM [ARGUMENT...]\n\n"
            "Runs PROGRAM and writes its platform calls to a file, a line each, as they end.\n"
            "  -o FILE      the file, else PROGRAM.journal in the working folder\n"
            "  --with-keys  write key material too, and PROGRAM's arguments\n"
            "  --help, --version\n"
            "Status: the program's, or 128 and its signal; 125 trouble before the start, 126 "
            "PROGRAM\ncannot be executed, 127 there is no such program.\n");
  const Output full = Capture({"/bin/sh", "-c", "\"$0\" --help >/dev/full", VAM_RECORD_PROGRAM});
  EXPECT_EQ(full.status, 125);
  EXPECT_EQ(full.standardError,
            "vam-record: standard output cannot be written: No space left on device\n");
  EXPECT_EQ(Capture({VAM_RECORD_PROGRAM, "--version"}).standardOutput,
            "vam-record " VAM_VERSION "\n");
}

TEST_F(RecorderTest, ProgramIntoWhichNoLibraryComes_IsRefused) {
  const Output isStatic = Record({VAM_STATIC_PROBE});
  EXPECT_EQ(isStatic.status, 125);
  EXPECT_EQ(isStatic.standardError, std::string("vam-record: ") + VAM_STATIC_PROBE +
                                        ": cannot be recorded: it is static\n");
  const std::string script = PrivateTmp::Folder() + "/script";
  const std::string interpreter = PrivateTmp::Folder() + "/static";
  fs::copy_file(VAM_STATIC_PROBE, interpreter);
  WriteFile(script, "#! " + interpreter + " argument\n");
  fs::permissions(script, fs::perms::all);
  EXPECT_EQ(Record({script}).standardError,
            "vam-record: " + script + ": cannot be recorded: it is static\n");
  const std::string foreign = PrivateTmp::Folder() + "/foreign";
  std::string bytes = ReadFile("/bin/true").value();
  bytes[18] = static_cast<char>(bytes[18] ^ 1);  // the processor
  WriteFile(foreign, bytes);
  fs::permissions(foreign, fs::perms::all);
  EXPECT_EQ(Record({foreign}).standardError,
            "vam-record: " + foreign +
                ": cannot be recorded: it is for another processor than "
                "vam-record\n");
  EXPECT_FALSE(fs::exists(File()));
}

TEST_F(RecorderTest, ProgramWithTheRightsOfAnother_IsRefused) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "files cannot be given to other users";
  }
  const std::string program = PrivateTmp::Folder() + "/program";
  fs::copy_file("/bin/true", program);
  EXPECT_EQ(Record({program}).status, 0);
  for (const mode_t mode : {04755U, 02755U}) {
    ASSERT_EQ(chown(program.c_str(), 4711, 4711), 0);
    ASSERT_EQ(chmod(program.c_str(), mode), 0);
    const Output output = Record({program});
    EXPECT_EQ(output.status, 125);
    EXPECT_EQ(output.standardError,
              "vam-record: " + program +
                  ": cannot be recorded: it runs with the rights of another user or group\n");
  }
  // One that gives no rights that the caller does not have.
  ASSERT_EQ(chown(program.c_str(), getuid(), getgid()), 0);
  ASSERT_EQ(chmod(program.c_str(), 06755), 0);
  EXPECT_EQ(Record({program}).status, 0);
}

TEST_F(RecorderTest, File_IsPrivateAlsoWhereItWasNot) {
  WriteFile(File(),
            "something longer than the head of a recording can be " + std::string(4000, 'x'));
  fs::permissions(File(), fs::perms::all);
  ASSERT_EQ(Record({"true"}).status, 0);
  struct stat status = {};
  ASSERT_EQ(stat(File().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_EQ(CallsIn(Recording()), "");
}

TEST_F(RecorderTest, FileThatIsNotTheCallersOwn_IsRefused) {
  const std::string other = PrivateTmp::Folder() + "/other";
  const auto refusal = [] {
    const Output output = Record({"/bin/echo", "ran"});
    EXPECT_EQ(output.status, 125);
    EXPECT_EQ(output.standardOutput, "");
    return output.standardError;
  };
  const std::string beginning = "vam-record: " + File() + ": cannot take the recording: ";
  const std::string end = "; give another file with -o\n";
  WriteFile(other, "kept");
  fs::create_symlink(other, File());
  EXPECT_EQ(refusal(), beginning + "is a symbolic link" + end);
  fs::remove(File());
  fs::create_hard_link(other, File());
  EXPECT_EQ(refusal(), beginning + "has another name too" + end);
  fs::remove(File());
  ASSERT_EQ(mkfifo(File().c_str(), 0600), 0);
  EXPECT_EQ(refusal(), beginning + "is no regular file" + end);
  fs::remove(File());
  fs::create_directory(File());
  EXPECT_EQ(refusal(), beginning + "is no regular file" + end);
  fs::remove(File());
  if (PrivateTmp::HasOtherUsers()) {
    WriteFile(File(), "kept");
    ASSERT_EQ(chown(File().c_str(), 4711, 4711), 0);
    EXPECT_EQ(refusal(), beginning + "belongs to another user" + end);
    EXPECT_EQ(ReadFile(File()), "kept");
  }
  EXPECT_EQ(ReadFile(other), "kept");
}

TEST_F(RecorderTest, WithoutAFile_ANewOneIsMadeAndNamed) {
  const std::string folder = PrivateTmp::Folder() + "/here";
  fs::create_directory(folder);
  const Words command = {"/bin/sh", "-c", "cd \"$1\" && exec \"$0\" -- /bin/true",
                         VAM_RECORD_PROGRAM, folder};
  EXPECT_EQ(Capture(command, Environment()).standardError,
            "vam-record: the recording is " + folder + "/true.journal\n");
  WriteFile(folder + "/true.journal", "the first run");
  EXPECT_EQ(Capture(command, Environment()).standardError,
            "vam-record: the recording is " + folder + "/true.2.journal\n");
  EXPECT_EQ(ReadFile(folder + "/true.journal"), "the first run");
  EXPECT_EQ(CallsIn(ReadFile(folder + "/true.2.journal").value()), "");
}

TEST_F(RecorderTest, ThousandRecordings_AreTheMostOfAFolder) {
  const std::string folder = PrivateTmp::Folder() + "/here";
  fs::create_directory(folder);
  for (int i = 1; i < 1000; ++i) {
    WriteFile(folder + (i == 1 ? "/true.journal" : "/true." + std::to_string(i) + ".journal"), "");
  }
  const Words command = {"/bin/sh", "-c", "cd \"$1\" && exec \"$0\" -- true", VAM_RECORD_PROGRAM,
                         folder};
  EXPECT_EQ(Capture(command, Environment()).standardError,
            "vam-record: the recording is " + folder + "/true.1000.journal\n");
  const Output output = Capture(command, Environment());
  EXPECT_EQ(output.status, 125);
  EXPECT_EQ(output.standardError,
            "vam-record: the working folder has a thousand recordings; give a file with -o\n");
}

TEST_F(RecorderTest, WorkingFolderThatTakesNoFile_IsToldWithTheFile) {
  const Output output = Capture(
      {"/bin/sh", "-c", "cd /proc && exec \"$0\" -- true", VAM_RECORD_PROGRAM}, Environment());
  EXPECT_EQ(output.status, 125);
  EXPECT_EQ(output.standardError,
            "vam-record: /proc/true.journal: cannot take the recording: No such file or directory; "
            "give another file with -o\n");
}

TEST_F(RecorderTest, RelativeFile_IsTheSameForAProgramThatGoesElsewhere) {
  const Output output = Capture(
      OnBoard("update-needed",
              {"/bin/sh", "-c",
               "cd /mnt && exec \"$0\" -o run.journal -- sh -c 'cd /; exec \"$0\" get-info' \"$1\"",
               VAM_RECORD_PROGRAM, Vamctl()},
              "", JournalFile()),
      BoardEnvironment());
  EXPECT_EQ(output.status, 0) << output.standardError;
  EXPECT_EQ(CallsIn(Recording()), BoardsCalls());
}

TEST_F(RecorderTest, ProgramThatClosesAllDescriptors_IsRecordedOn) {
  RecordOnBoard("update-needed", {VAM_TEE_PROBE, "close-all", "temporary"});
  EXPECT_EQ(WithoutBytes(CallsIn(Recording())), WithoutBytes(BoardsCalls()));
  EXPECT_THAT(Recording(), HasSubstr("TEEC_InvokeCommand"));
}

/// /tmp takes a page: the head, and some calls.
class FullDiskTest : public ::testing::Test {
 protected:
  const PrivateTmp tmp{"size=4k"};
};

TEST_F(FullDiskTest, DiskThatIsFullMeanwhile_IsToldAndChangesNothing) {
  const Output plain = Capture(OnBoard("update-needed", {UpdateTool()}), BoardEnvironment());
  const Output output = Capture(
      OnBoard("update-needed", {VAM_RECORD_PROGRAM, "-o", "/tmp/run.journal", "--", UpdateTool()},
              "", "/mnt/board.journal"),
      BoardEnvironment());
  EXPECT_EQ(output.status, plain.status);
  EXPECT_EQ(output.standardOutput, plain.standardOutput);
  EXPECT_EQ(output.standardError,
            "vam-record: /tmp/run.journal: the recording is not complete: No space left on "
            "device\n");
  const std::string calls = CallsIn(ReadFile("/tmp/run.journal").value());
  const std::string all = CallsIn(ReadFile("/mnt/board.journal").value());
  EXPECT_THAT(calls, EndsWith("}\n"));
  EXPECT_THAT(all, StartsWith(calls)) << "what follows a gap would mislead";
  EXPECT_LT(calls.size(), all.size());
}

/// /tmp takes three pages.
class FullDiskWithRoomTest : public ::testing::Test {
 protected:
  const PrivateTmp tmp{"size=12k"};
};

TEST_F(FullDiskWithRoomTest, DiskThatHasRoomAgain_GetsNothingAfterTheGap) {
  WriteFile("/tmp/room", std::string(8192, 'x'));
  const Output output = Capture(OnBoard("update-needed",
                                        {VAM_RECORD_PROGRAM, "-o", "/tmp/run.journal", "--",
                                         VAM_TEE_PROBE, "threads", "make-room", "killed"},
                                        "", "/mnt/board.journal"),
                                BoardEnvironment());
  EXPECT_EQ(output.status, 128 + SIGKILL);
  EXPECT_THAT(output.standardError, HasSubstr("the recording is not complete"));
  EXPECT_EQ(CallsIn(ReadFile("/tmp/run.journal").value()).find("\"context\":41"),
            std::string::npos);
  EXPECT_THAT(ReadFile("/mnt/board.journal").value(), HasSubstr("\"context\":41"));
}

TEST_F(FullDiskTest, DiskThatIsFullAtTheStart_EndsWithAStatusOfItsOwn) {
  WriteFile("/tmp/all", std::string(4096, 'x'));
  const Output output =
      Capture({VAM_RECORD_PROGRAM, "-o", "/tmp/run.journal", "--", "/bin/echo", "ran"});
  EXPECT_EQ(output.status, 125);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_EQ(output.standardError,
            "vam-record: /tmp/run.journal: cannot take the recording: No space left on device; "
            "give another file with -o\n");
}

TEST_F(RecorderTest, FileThatGoesOutOfReach_IsToldAndChangesNothing) {
  const Output output = RecordOnBoard(
      "update-needed", {"/bin/sh", "-c", "rm -r /mnt/run.journal; exec \"$0\" get-info", Vamctl()});
  EXPECT_EQ(output.status, 0);
  EXPECT_THAT(output.standardOutput, HasSubstr("vam_getInfo"));
  EXPECT_EQ(output.standardError,
            "vam-record: /mnt/run.journal: the recording is not complete: No such file or "
            "directory\n");
}

}  // namespace
}  // namespace vam
