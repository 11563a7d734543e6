#include "simulator/recording/board_of_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/recording/journal_reader.h"

namespace vam {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// Reads the board of a run with these calls.
class BoardOfRunTest : public ::testing::Test {
 protected:
  void Add(const std::string& rest) {
    text += R"({"time":1,"pid":7,"tid":7,"call":)" + rest + "}\n";
  }

  void Connect() {
    Add(R"("TEEC_InitializeContext","name":null,"result":{"number":0,"name":"TEEC_SUCCESS"},)"
        R"("context":1)");
    Add(R"("TEEC_AllocateSharedMemory","context":1,"size":8192,"flags":3,)"
        R"("result":{"number":0,"name":"TEEC_SUCCESS"},"sharedMemory":1)");
  }

  void Invoke(const std::string& command) {
    Add(R"("TEEC_InvokeCommand","session":1,"command":)" + command +
        R"(,"result":{"number":0,"name":"TEEC_SUCCESS"},)"
        R"("origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})");
  }

  std::string Text() const {
    const RecordedRun run = ReadJournal(
        R"({"format":1,"program":"tool","arguments":null,"build":"vam-board 1.0","keys":false,)"
        R"("clock":{"bootId":"","bootTime":1,"realTime":2}})"
        "\n" +
            text,
        "journal");
    EXPECT_EQ(run.problem, "");
    return BoardOfRun(run);
  }

  /// Every board that comes of a run is one.
  Board Read() const { return ReadBoardText(Text(), "board.toml"); }

  std::string text;
};

TEST_F(BoardOfRunTest, RunWithoutCalls_IsAWholeBoard) {
  const Board board = Read();
  EXPECT_EQ(board.title, "As recorded");
  EXPECT_EQ(board.about, "A run of tool");
  EXPECT_TRUE(board.faults.empty());
}

TEST_F(BoardOfRunTest, Probe_IsThatOfTheRun) {
  Add(R"("open","path":"/dev/zelkshield","flags":2,"result":-1,)"
      R"("errno":{"number":2,"name":"ENOENT"})");
  EXPECT_FALSE(Read().probe.nodePresent);
  text.clear();
  Add(R"("open","path":"/dev/zelkshield","flags":2,"result":-1,)"
      R"("errno":{"number":13,"name":"EACCES"})");
  ASSERT_EQ(Read().faults.size(), 1U);
  EXPECT_EQ(Read().faults[0].call, PlatformCall::kOpen);
  EXPECT_EQ(Read().faults[0].occurrence, 0U);
  text.clear();
  Add(R"("ioctl","descriptor":1,"request":1,"result":0,"flag":-5)");
  EXPECT_EQ(Read().probe.flag, -5);
  text.clear();
  Add(R"("ioctl","descriptor":1,"request":1,"result":-1,"errno":{"number":5,"name":"EIO"})");
  EXPECT_FALSE(Read().probe.ioctlAnswers);
}

TEST_F(BoardOfRunTest, FailureOfOneCallAmongOthers_HasItsOccurrence) {
  Connect();
  Add(R"("TEEC_InitializeContext","name":null,"result":{"number":4294906420})");
  const Board board = Read();
  ASSERT_EQ(board.faults.size(), 1U);
  EXPECT_EQ(board.faults[0].call, PlatformCall::kInitializeContext);
  EXPECT_EQ(board.faults[0].occurrence, 2U);
  EXPECT_EQ(board.faults[0].result, 0xFFFF1234U);
}

TEST_F(BoardOfRunTest, MemoryThatIsRegistered_MakesAConnection) {
  Add(R"("TEEC_RegisterSharedMemory","context":1,"size":8192,"flags":3,)"
      R"("result":{"number":0,"name":"TEEC_SUCCESS"},"sharedMemory":1)");
  Add(R"("CNolvWsm::PutInt","marshaller":1,"value":7,"result":false)");
  Add(R"("TEEC_RegisterSharedMemory","context":1,"size":8192,"flags":3,)"
      R"("result":{"number":4294901772,"name":"TEEC_ERROR_OUT_OF_MEMORY"})");
  const Board board = Read();
  ASSERT_EQ(board.faults.size(), 2U);
  EXPECT_EQ(board.faults[0].call, PlatformCall::kPutInt);
  EXPECT_EQ(board.faults[1].call, PlatformCall::kRegisterSharedMemory);
  EXPECT_EQ(board.faults[1].occurrence, 2U);
  EXPECT_EQ(board.faults[1].result, 0xFFFF000CU);
}

TEST_F(BoardOfRunTest, Texts_AreQuotedOrNoted) {
  Add(R"("vconf_get_str","key":"a \u0022\u005c","value":"\u00c3\u00a9\u0001\u007f")");
  Add(R"("system_info_get_value_string","key":1,"result":0,"value":"r")");
  Add(R"("system_info_get_value_string","key":2,"result":-7)");
  Board board = Read();
  EXPECT_EQ(board.settings.at("a \"\\"), "\xc3\xa9\x01\x7f");
  EXPECT_EQ(board.systemInformation.at(1), "r");
  ASSERT_EQ(board.faults.size(), 1U);
  EXPECT_EQ(static_cast<std::int32_t>(board.faults[0].result), -7);

  text.clear();
  Add(R"("vconf_get_str","key":"k","value":"\u00ff")");
  EXPECT_TRUE(Read().settings.empty());
  EXPECT_THAT(Text(), testing::StartsWith(
                          "# Line 2 of the recording: a setting that is no UTF-8 is left out\n"));
}

TEST_F(BoardOfRunTest, KeyThatWasWithheld_LeavesARecordForTheCommandsThatNeedOne) {
  Connect();
  Invoke(R"({"number":26,"name":"vam_getPublicKeyStatus"})");
  EXPECT_EQ(Read().chip.akRecord.size(), 1U);
  text.clear();
  Connect();
  Add(R"("CNolvWsm::PutBlob","marshaller":1,"length":2,"bytes":"00ff","result":true)");
  Invoke(R"({"number":23,"name":"vam_checkVamAk"})");
  EXPECT_EQ(Read().chip.akRecord, (std::vector<std::uint8_t>{0x00, 0xFF}));
}

TEST_F(BoardOfRunTest, RecordingThatEndsInAnUpdate_LosesItsPowerThere) {
  Connect();
  Add(R"("CNolvWsm::PutInt","marshaller":1,"value":3,"result":true)");
  const Board board = Read();
  ASSERT_EQ(board.faults.size(), 1U);
  EXPECT_EQ(board.faults[0].kind, Fault::Kind::kPowerCut);
  EXPECT_NE(board.chip.systemVersion, board.image.systemVersion);
  Invoke(R"({"number":18,"name":"vm_updateFW"})");
  EXPECT_TRUE(Read().faults.empty());
}

TEST_F(BoardOfRunTest, VersionThatNoBoardCanHold_BecomesAFaultOrANote) {
  Connect();
  Add(R"("CNolvWsm::PutInt","marshaller":1,"value":7,"result":true)");
  Invoke(R"({"number":18,"name":"vm_updateFW"})");
  Add(R"("CNolvWsm::GetBlob","marshaller":1,"length":8,"bytes":"0000000000000000")");
  Add(R"("CNolvWsm::GetUint","marshaller":1,"value":2,"result":true)");
  Add(R"("CNolvWsm::GetBlob","marshaller":1,"length":2,"bytes":"3132")");
  Add(R"("CNolvWsm::GetUint","marshaller":1,"value":1,"result":true)");
  Add(R"("CNolvWsm::GetBlob","marshaller":1,"length":1,"bytes":"ff")");
  EXPECT_THAT(Text(), HasSubstr("item = 3\nvalue = \"12\"\n"));
  EXPECT_THAT(Text(), HasSubstr("a version that is too long or no UTF-8 is not repeated\n"));
  EXPECT_THAT(Text(), Not(HasSubstr("record = ")));
  EXPECT_EQ(Read().faults.size(), 2U);
}

}  // namespace
}  // namespace vam
