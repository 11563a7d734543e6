// The replay of a recorded run: what a program gets that asks the same, and what vam-board says
// of one that does not. board_recordings_test.cc has every board.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/journal_calls.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class BoardReplayTest : public ::testing::Test {
 protected:
  static std::string Recording() { return PrivateTmp::Folder() + "/recording"; }
  static std::string Journal() { return PrivateTmp::Folder() + "/journal"; }

  /// Records `program` on a board, and returns what it said.
  static Output Record(const std::vector<std::string>& program,
                       const std::vector<std::string>& options = {}) {
    std::vector<std::string> command = OnBoard("update-needed", program, "", Recording());
    command.insert(command.begin() + 2, options.begin(), options.end());
    return Capture(command, BoardEnvironment());
  }

  /// Replays the recording with `program`, and returns what it said.
  static Output Replay(const std::vector<std::string>& program,
                       const std::vector<std::string>& options = {}) {
    std::vector<std::string> command = {BoardLauncher(), "replay"};
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), {"--journal", Journal(), Recording(), "--"});
    command.insert(command.end(), program.begin(), program.end());
    return Capture(command, BoardEnvironment());
  }

  /// Expects that the recording is replayed with `program` like the run that said `recorded`.
  static void ExpectSameRun(const std::vector<std::string>& program, const Output& recorded) {
    const Output replayed = Replay(program);
    EXPECT_EQ(replayed.standardOutput, recorded.standardOutput);
    EXPECT_EQ(replayed.standardError, recorded.standardError);
    EXPECT_EQ(replayed.status, recorded.status);
    const Output compared = Capture({BoardLauncher(), "journal", "diff", Recording(), Journal()});
    EXPECT_EQ(compared.standardOutput + compared.standardError, "");
  }

  static std::string Shell(const std::string& first, const std::string& second) {
    return Vamctl() + " " + first + second + Vamctl() + " ";
  }

  const PrivateTmp tmp;
};

TEST_F(BoardReplayTest, AnotherCall_IsToldAndEndsTheProgram) {
  (void)Record({Vamctl(), "update-fw", "7"});
  const Output replayed = Replay({Vamctl(), "update-fw", "11"});
  EXPECT_EQ(replayed.standardOutput, "CA InterfaceSP: vm_updateFW\nTEE connection has been set\n");
  EXPECT_EQ(replayed.standardError,
            "vam-board: the program parts from the recording at call 5\n"
            "  recorded: CNolvWsm::PutInt marshaller=1 value=7 result=true\n"
            "  came:     CNolvWsm::PutInt marshaller=1 value=11\n");
  EXPECT_EQ(replayed.status, 123);
}

TEST_F(BoardReplayTest, ProgramThatEndsEarlier_IsTold) {
  (void)Record({UpdateTool()});
  const Output replayed = Replay({"/bin/true"});
  EXPECT_EQ(replayed.standardError,
            "vam-board: the program ended before call 1 of the recording\n"
            "  recorded: open path=\"/dev/zelkshield\" flags=2 descriptor=1\n");
  EXPECT_EQ(replayed.status, 123);
}

TEST_F(BoardReplayTest, RecordingCutAtALine_IsReplayedUpToTheCut) {
  const Output recorded = Record({UpdateTool()});
  const std::string whole = ReadFile(Recording()).value();
  // Every line where there is time, or every seventh.
  const std::size_t step = std::getenv("VAM_ROUNDS") == nullptr ? 7 : 1;
  std::size_t call = 0;
  for (std::size_t end = whole.find('\n'); whole.find('\n', end + 1) != std::string::npos;
       end = whole.find('\n', end + 1), ++call) {
    if (call % step != 0) {
      continue;
    }
    // A half line counts for nothing.
    WriteFile(Recording(), whole.substr(0, end + 1 + call % 2));
    const Output replayed = Replay({UpdateTool()});
    EXPECT_THAT(recorded.standardOutput, StartsWith(replayed.standardOutput)) << call;
    EXPECT_THAT(replayed.standardError,
                StartsWith(call == 0 ? "vam-board: the recording ends before the first call of "
                                       "this thread\n  came:     open "
                                     : "vam-board: the recording ends after call " +
                                           std::to_string(call) + "\n  came:     "));
    EXPECT_EQ(replayed.status, 137);
    const std::string journal = ReadFile(Journal()).value();
    EXPECT_EQ(static_cast<std::size_t>(std::count(journal.begin(), journal.end(), '\n')), call + 1);
  }
  EXPECT_EQ(call, 63U);
}

TEST_F(BoardReplayTest, FromCall_LeavesOutWhatCameBefore) {
  (void)Record({UpdateTool()});
  // The tool's second exchange with the trusted application begins there.
  const Output replayed = Replay({Vamctl(), "update-fw", "3", "--yes"}, {"--from-call", "20"});
  EXPECT_THAT(replayed.standardOutput, HasSubstr("result: 0x00000000 TEEC_SUCCESS\n"));
  EXPECT_THAT(replayed.standardError,
              StartsWith("vam-board: the program ended before call 36 of the recording\n"));
  const Output beyond = Replay({UpdateTool()}, {"--from-call", "100"});
  EXPECT_EQ(beyond.standardError,
            "vam-board: " + Recording() + ": has 63 calls; give one of them with --from-call\n");
  EXPECT_EQ(beyond.status, 125);
  EXPECT_EQ(Replay({UpdateTool()}, {"--from-call", "0"}).status, 125);
}

TEST_F(BoardReplayTest, FromCall_LetsTheBeginningBeAnother) {
  const auto tool = [](const std::string& beginning) {
    return std::vector<std::string>{"/bin/sh", "-c", beginning + "exec \"$0\"", UpdateTool()};
  };
  const Output recorded = Record(tool(": </dev/zelkshield; "));
  const std::string journal = ReadFile(Recording()).value();
  const std::string before = journal.substr(0, journal.find("\"flags\":2,"));
  const std::string call = std::to_string(std::count(before.begin(), before.end(), '\n'));
  ASSERT_GT(call, "1");
  for (const char* beginning :
       {"", ": </dev/zelkshield; ", ": </dev/zelkshield; : <//dev/zelkshield; "}) {
    SCOPED_TRACE(beginning);
    const Output replayed = Replay(tool(beginning), {"--from-call", call});
    EXPECT_EQ(replayed.standardOutput, recorded.standardOutput);
    EXPECT_EQ(replayed.standardError, "");
    EXPECT_EQ(replayed.status, 0);
  }
  EXPECT_EQ(Replay(tool("")).status, 123) << "no call was left out without the option";
  const Output other = Replay(tool(": >/dev/zelkshield; "), {"--from-call", call});
  EXPECT_THAT(other.standardError,
              StartsWith("vam-board: the program parts from the recording at call " + call +
                         "\n  recorded: open "));
  EXPECT_THAT(other.standardError,
              HasSubstr("\n  came:     open path=\"/dev/zelkshield\" flags=577"));
  EXPECT_EQ(other.status, 123);
}

TEST_F(BoardReplayTest, WithheldKey_IsKnownByItsDigest) {
  const std::vector<std::string> provision = {Vamctl(), "ak-provision", "--yes", "--hex",
                                              "00ff11ee"};
  const Output recorded = Record(provision);
  EXPECT_THAT(ReadFile(Recording()).value(), Not(HasSubstr("00ff11ee")));
  ExpectSameRun(provision, recorded);
  EXPECT_EQ(Replay({Vamctl(), "ak-provision", "--yes", "--hex", "00ff11ef"}).status, 123);
  (void)Record(provision, {"--with-keys"});
  EXPECT_EQ(Replay(provision).status, recorded.status);
  EXPECT_EQ(Replay({Vamctl(), "ak-provision", "--yes", "--hex", "00ff11ef"}).status, 123);
}

/// A fault on an operation of the marshaller, a command of vamctl that it meets, and what the
/// marshaller is asked and answers then.
struct Refusal {
  const char* operation;
  std::vector<std::string> command;
  std::string calls;
};

std::string MarshallerCall(const std::string& call) {
  return "{\"call\":\"CNolvWsm::" + call + "}\n";
}

const std::string& Made() {
  static const std::string kCall = MarshallerCall(R"(CNolvWsm","sharedMemory":1,"marshaller":1)");
  return kCall;
}

const std::string& MadeAndReset() {
  static const std::string kCalls =
      Made() + MarshallerCall(R"(PrepareReset","marshaller":1,"mode":1)");
  return kCalls;
}

const std::string& Destroyed() {
  static const std::string kCall = MarshallerCall(R"(~CNolvWsm","marshaller":1)");
  return kCall;
}

std::vector<Refusal> Refusals() {
  const std::vector<std::string> provision = {"ak-provision", "--yes", "--hex", "00ff"};
  return {
      {"PutUint", provision,
       Made() + MarshallerCall(R"(PutUint","marshaller":1,"value":2,"result":false,"fault":1)") +
           MarshallerCall(
               R"(PutBlob","marshaller":1,"length":2,"bytes":{"length":2,"sha256":)"
               R"("06eb7d6a69ee19e5fbdf749018d3d2abfa04bcbd1365db312eb86dc7169389b8"},"result":true)") +
           Destroyed()},
      {"PutBlob", provision,
       Made() + MarshallerCall(R"(PutUint","marshaller":1,"value":2,"result":true)") +
           MarshallerCall(
               R"(PutBlob","marshaller":1,"length":2,"bytes":null,"result":false,"fault":1)") +
           Destroyed()},
      {"GetInt",
       {"get-hack-info", "--size", "8"},
       MadeAndReset() + MarshallerCall(R"(GetInt","marshaller":1,"result":false,"fault":1)") +
           Destroyed()},
      {"GetBlob",
       {"get-hack-info", "--size", "8"},
       MadeAndReset() + MarshallerCall(R"(GetInt","marshaller":1,"value":8,"result":true)") +
           MarshallerCall(R"(GetBlob","marshaller":1,"length":8,"bytes":null,"fault":1)") +
           Destroyed()},
      {"GetUint",
       {"get-fw-info"},
       MadeAndReset() + MarshallerCall(R"(GetUint","marshaller":1,"result":false,"fault":1)") +
           Destroyed()},
  };
}

/// Returns the lines of a journal that tell the marshaller's calls.
std::string MarshallerCallsIn(const std::string& journal) {
  std::istringstream lines(CallsIn(journal));
  std::string calls;
  for (std::string line; std::getline(lines, line);) {
    calls += line.find("CNolvWsm::") == std::string::npos ? "" : line + "\n";
  }
  return calls;
}

TEST_F(BoardReplayTest, RefusalByTheMarshaller_IsRecordedWholeAndReplayed) {
  const std::string board = PrivateTmp::Folder() + "/refusing.toml";
  for (const Refusal& refusal : Refusals()) {
    SCOPED_TRACE(refusal.operation);
    WriteFile(board, std::string("[chip]\nhack_information = \"48414b4901020304\"\n") +
                         "[[fault]]\ncall = \"CNolvWsm::" + refusal.operation + "\"\n");
    std::vector<std::string> program = {Vamctl()};
    program.insert(program.end(), refusal.command.begin(), refusal.command.end());
    const Output recorded = Capture(OnBoard(board, program, "", Recording()), BoardEnvironment());
    EXPECT_EQ(recorded.standardError, "") << "the fault has fired";
    EXPECT_EQ(recorded.status, 1);
    EXPECT_EQ(MarshallerCallsIn(ReadFile(Recording()).value()), refusal.calls);
    ExpectSameRun(program, recorded);
  }
}

TEST_F(BoardReplayTest, BlobThatWasWithheld_IsAskedForInWords) {
  (void)Record({Vamctl(), "update-fw", "7"});
  std::string recording = ReadFile(Recording()).value();
  const std::string bytes = R"("length":8,"bytes":"0000000000000000")";
  ASSERT_THAT(recording, HasSubstr(bytes));
  recording.replace(recording.find(bytes), bytes.size(),
                    R"("length":8,"bytes":{"length":8,"sha256":")" + std::string(64, 'a') + "\"}");
  WriteFile(Recording(), recording);
  const Output replayed = Replay({Vamctl(), "update-fw", "7"});
  EXPECT_EQ(replayed.status, 125);
  EXPECT_EQ(
      replayed.standardError,
      "vam-board: call 8 of the recording answers with key material that was withheld; record "
      "it with --with-keys\n");
}

TEST_F(BoardReplayTest, ProcessesOfAShell_EachGetTheirOwnAnswers) {
  const std::vector<std::string> program = {
      "/bin/sh", "-c", Shell("get-info", "; ") + "get-fw-info; " + Vamctl() + " self-test-all"};
  ExpectSameRun(program, Record(program));
}

TEST_F(BoardReplayTest, ThreadsWithoutAMarshaller_EachGetTheirOwnAnswers) {
  const std::vector<std::string> program = {VAM_TEE_THREADS_PROBE, "19", "18", "29", "99"};
  const Output recorded = Record(program);
  // The information words lie in the memory, and each other command has another result.
  EXPECT_THAT(recorded.standardOutput, ContainsRegex("19: 00000000 4 [0-9a-f]*0300000001000000"));
  EXPECT_THAT(recorded.standardOutput, HasSubstr("\n18: ffff0005 4 "));
  EXPECT_THAT(recorded.standardOutput, HasSubstr("\n29: 00000000 4 "));
  EXPECT_THAT(recorded.standardOutput, HasSubstr("\n99: ffff000a 4 "));
  EXPECT_THAT(ReadFile(Recording()).value(), HasSubstr(R"("params":[{"size":64,"before":")" +
                                                       std::string(128, '0') + R"(","after":")"));
  for (int round = 0; round < 10; ++round) {
    SCOPED_TRACE(round);
    ExpectSameRun(program, recorded);
  }
}

TEST_F(BoardReplayTest, MemoryOfAKeyCommand_IsWithheldAndKnownWhereItStaysAsItWas) {
  const std::vector<std::string> program = {VAM_TEE_THREADS_PROBE, "26"};
  const Output recorded = Record(program);
  EXPECT_THAT(ReadFile(Recording()).value(),
              HasSubstr(R"("params":[{"size":64,"before":{"length":64,"sha256":")"));
  ExpectSameRun(program, recorded);
}

TEST_F(BoardReplayTest, CallsWithoutTheirArguments_AreAnsweredAsTheyWere) {
  const std::vector<std::string> program = {VAM_TEE_PROBE, "null-arguments"};
  const Output recorded = Record(program);
  ExpectSameRun(program, recorded);
  // The program has no place for the context that another TEE gave.
  const std::string refused = R"(,"name":null,"result":{"number":4294901766,)"
                              R"("name":"TEEC_ERROR_BAD_PARAMETERS"})";
  std::string recording = ReadFile(Recording()).value_or("");
  const std::size_t place = recording.find(refused);
  ASSERT_NE(place, std::string::npos);
  recording.replace(place, refused.size(),
                    R"(,"name":null,"result":{"number":0,"name":"TEEC_SUCCESS"},"context":1)");
  WriteFile(Recording(), recording);
  const Output replayed = Replay(program);
  EXPECT_EQ(replayed.status, 0);
  EXPECT_EQ(replayed.standardError, recorded.standardError);
}

TEST_F(BoardReplayTest, StatusFiles_AreTheBoardsOwn) {
  (void)Record({UpdateTool()});
  const std::string state = PrivateTmp::Folder() + "/state";
  EXPECT_THAT(Replay({UpdateTool()}, {"--state", state, "--verdict"}).standardOutput,
              HasSubstr("  /tmp/VAM_OK\n    Updated FW version: "));
  EXPECT_TRUE(ReadFile(state + "/VAM_OK"));
  EXPECT_FALSE(ReadFile("/tmp/VAM_OK"));
  EXPECT_EQ(Replay({UpdateTool()}, {"--machine-tmp"}).status, 0);
  EXPECT_TRUE(ReadFile("/tmp/VAM_OK"));
}

TEST_F(BoardReplayTest, FileThatIsNoJournal_IsRefusedBeforeAnythingRuns) {
  const std::vector<std::string> touch = {"/bin/touch", PrivateTmp::Folder() + "/touched"};
  WriteFile(Recording(), "{}\n");
  const Output replayed = Replay(touch);
  EXPECT_EQ(replayed.standardError,
            "vam-board: " + Recording() + ":1: is no journal's head: it has no \"format\"\n");
  EXPECT_EQ(replayed.status, 125);
  EXPECT_FALSE(ReadFile(touch[1]));
  (void)Record({UpdateTool()});
  EXPECT_EQ(Capture({BoardLauncher(), "replay", "--journal", Recording(), Recording(), "--",
                     UpdateTool()})
                .status,
            125);
}

TEST_F(BoardReplayTest, RecordingThatCannotBeRead_IsNamed) {
  EXPECT_EQ(
      Replay({UpdateTool()}).standardError,
      "vam-board: " + Recording() + ": the journal cannot be read: No such file or directory\n");
}

TEST_F(BoardReplayTest, FromCall_TakesTheLastCallAndNoneAfterIt) {
  (void)Record({UpdateTool()});
  const Output last = Replay({"/bin/true"}, {"--from-call", "63"});
  EXPECT_EQ(last.status, 123);
  EXPECT_THAT(last.standardError,
              StartsWith("vam-board: the program ended before call 63 of the recording\n"));
  EXPECT_EQ(Replay({"/bin/true"}, {"--from-call", "64"}).standardError,
            "vam-board: " + Recording() + ": has 63 calls; give one of them with --from-call\n");
}

TEST_F(BoardReplayTest, Node_IsThereUnlessTheRecordingMissedIt) {
  const std::vector<std::string> looking = {
      "/bin/sh", "-c", "test -e /dev/zelkshield; echo $?; \"$0\"; echo $?", UpdateTool()};
  for (const char* board : {"no-device-node", "no-vam"}) {
    SCOPED_TRACE(board);
    const Output recorded = Capture(OnBoard(board, looking, "", Recording()), BoardEnvironment());
    ExpectSameRun(looking, recorded);
  }
  // Nothing in this recording tells of the node.
  const std::vector<std::string> asking = {
      "/bin/sh", "-c", "test -e /dev/zelkshield && exec \"$0\" get-info", Vamctl()};
  ExpectSameRun(asking, Record(asking));
}

TEST_F(BoardReplayTest, StateFolder_IsTheRecordings) {
  (void)Record({UpdateTool()});
  const std::string state = PrivateTmp::Folder() + "/state";
  EXPECT_EQ(Replay({UpdateTool()}, {"--state", state}).status, 0);
  EXPECT_EQ(ReadFile(state + "/board.record"), "vam-board state, format 1\n" + Recording() + "\n");
}

TEST_F(BoardReplayTest, JournalThatIsTheRecording_IsRefused) {
  (void)Record({UpdateTool()});
  const std::optional<std::string> before = ReadFile(Recording());
  const Output refused = Capture(
      {BoardLauncher(), "replay", "--journal", Recording(), Recording(), "--", UpdateTool()},
      BoardEnvironment());
  EXPECT_EQ(refused.status, 125);
  EXPECT_EQ(refused.standardError,
            "vam-board: " + Recording() +
                ": is the recording of this run; give another file with --journal\n");
  EXPECT_EQ(ReadFile(Recording()), before);
}

TEST_F(BoardReplayTest, FolderOfAKilledRun_IsRemoved) {
  (void)Record({UpdateTool()});
  const std::string folder = PrivateTmp::Folder() + "/vam-board-abcdef";
  std::filesystem::create_directory(folder);
  EXPECT_EQ(Replay({UpdateTool()}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(folder));
}

}  // namespace
}  // namespace vam
