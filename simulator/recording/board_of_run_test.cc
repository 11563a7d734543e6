#include "simulator/recording/board_of_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/recording/recorded_calls_test.h"

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

  std::string Text() const { return BoardOfRun(ReadCalls(text)); }

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

/// Returns what a text has from `start` on, up to `end`.
std::string Between(const std::string& text, const std::string& start, const std::string& end) {
  const std::size_t first = text.find(start);
  return first == std::string::npos
             ? ""
             : text.substr(first, end.empty() ? std::string::npos : text.find(end, first) - first);
}

std::string FaultsIn(const std::string& board) { return Between(board, "\n[[fault]]\n", ""); }

/// What the section of a chip without versions has besides.
std::string ChipBesideItsVersions(const std::string& board) {
  const std::string versions = "[chip]\nsystem_version = \"\"\napp_version = \"\"\n";
  const std::string section = Between(board, "[chip]", "\n[settings]");
  EXPECT_THAT(section, ::testing::StartsWith(versions));
  return section.substr(std::min(section.size(), versions.size()));
}

std::string NotesIn(const std::string& board) { return board.substr(0, board.find("title = ")); }

TEST_F(BoardOfRunTest, RunWithoutCalls_HasEverySection) {
  EXPECT_EQ(Text(), R"(title = "As recorded"
about = "A run of tool"

[probe]

[image]
system_version = ""
app_version = ""

[chip]
system_version = ""
app_version = ""

[settings]

[system_information]
)");
}

constexpr char kNoEntry[] = R"("open","path":"/dev/zelkshield","flags":2,"result":-1,)"
                            R"("errno":{"number":2,"name":"ENOENT"})";
constexpr char kOpened[] = R"("open","path":"/dev/zelkshield","flags":2,"descriptor":1)";
constexpr char kIoctlFailed[] =
    R"("ioctl","descriptor":1,"request":1,"result":-1,"errno":{"number":5,"name":"EIO"})";

TEST_F(BoardOfRunTest, Node_ThatWasMissingAtTimes_IsAFault) {
  Add(kNoEntry);
  Add(kNoEntry);
  EXPECT_EQ(Between(Text(), "[probe]", "\n[image]"), "[probe]\nnode = \"missing\"\n");
  EXPECT_EQ(FaultsIn(Text()), "");
  Add(kOpened);
  EXPECT_EQ(FaultsIn(Text()),
            "\n[[fault]]\ncall = \"open\"\noccurrence = 1\nresult = \"ENOENT\"\n"
            "\n[[fault]]\ncall = \"open\"\noccurrence = 2\nresult = \"ENOENT\"\n");
  EXPECT_EQ(Between(Text(), "[probe]", "\n[image]"), "[probe]\n");
}

TEST_F(BoardOfRunTest, Ioctl_ThatFailedAtTimes_IsAFault) {
  Add(kIoctlFailed);
  EXPECT_EQ(Between(Text(), "[probe]", "\n[image]"), "[probe]\nioctl = \"fails\"\n");
  EXPECT_EQ(FaultsIn(Text()), "");
  Add(R"("ioctl","descriptor":1,"request":1,"result":0,"flag":1)");
  EXPECT_EQ(FaultsIn(Text()), "\n[[fault]]\ncall = \"ioctl\"\noccurrence = 1\nresult = \"EIO\"\n");
  EXPECT_EQ(Between(Text(), "[probe]", "\n[image]"), "[probe]\nflag = 1\n");
}

TEST_F(BoardOfRunTest, Failure_OfAnotherErrorThanTheProbes_IsAFaultForAll) {
  // What a missing node and a failing driver give to the other call.
  Add(R"("ioctl","descriptor":1,"request":1,"result":-1,"errno":{"number":2,"name":"ENOENT"})");
  Add(R"("open","path":"/dev/zelkshield","flags":2,"result":-1,"errno":{"number":5,"name":"EIO"})");
  EXPECT_EQ(FaultsIn(Text()),
            "\n[[fault]]\ncall = \"ioctl\"\nresult = \"ENOENT\"\n"
            "\n[[fault]]\ncall = \"open\"\nresult = \"EIO\"\n");
  EXPECT_EQ(Between(Text(), "[probe]", "\n[image]"), "[probe]\n");
}

TEST_F(BoardOfRunTest, RequestThatIsNotTheDrivers_FailsOnAnyBoard) {
  Add(R"("ioctl","descriptor":1,"request":2,"result":-1,"errno":{"number":25,"name":"ENOTTY"})");
  Add(R"("ioctl","descriptor":1,"request":2,"result":0,"flag":9)");
  EXPECT_EQ(FaultsIn(Text()), "");
  EXPECT_EQ(Between(Text(), "[probe]", "\n[image]"), "[probe]\n");
}

TEST_F(BoardOfRunTest, SecondFlag_IsNoted) {
  Add(R"("ioctl","descriptor":1,"request":1,"result":0,"flag":1)");
  Add(R"("ioctl","descriptor":1,"request":1,"result":0,"flag":1)");
  EXPECT_EQ(NotesIn(Text()), "");
  Add(R"("ioctl","descriptor":1,"request":1,"result":0,"flag":2)");
  EXPECT_EQ(NotesIn(Text()),
            "# Line 4 of the recording: another flag than before is not repeated\n");
  EXPECT_EQ(Read().probe.flag, 1);
}

TEST_F(BoardOfRunTest, NumbersThatNoBoardKnows_AreNoted) {
  Add(R"("open","path":"/dev/zelkshield","flags":2,"result":-1,"errno":{"number":4095})");
  Add(R"("TEEC_OpenSession","context":1,"destination":null,"connectionMethod":0,)"
      R"("connectionData":null,"operation":null,"result":{"number":4294906420},)"
      R"("origin":{"number":9})");
  EXPECT_EQ(NotesIn(Text()),
            "# Line 2 of the recording: the error number 4095 became EIO\n"
            "# Line 3 of the recording: the origin 9 became 3\n");
  EXPECT_EQ(FaultsIn(Text()),
            "\n[[fault]]\ncall = \"open\"\nresult = \"EIO\"\n"
            "\n[[fault]]\ncall = \"TEEC_OpenSession\"\nresult = 4294906420\norigin = 3\n");
}

TEST_F(BoardOfRunTest, CallsThatEndInTwoWays_HaveAFaultEach) {
  const auto session = [this](const std::string& origin) {
    Add(R"("TEEC_OpenSession","context":1,"destination":null,"connectionMethod":0,)"
        R"("connectionData":null,"operation":null,)"
        R"("result":{"number":4294901773,"name":"TEEC_ERROR_BUSY"},"origin":)" +
        origin);
  };
  session(R"({"number":3,"name":"TEEC_ORIGIN_TEE"})");
  session(R"({"number":3,"name":"TEEC_ORIGIN_TEE"})");
  EXPECT_EQ(FaultsIn(Text()),
            "\n[[fault]]\ncall = \"TEEC_OpenSession\"\nresult = \"TEEC_ERROR_BUSY\"\norigin = 3\n");
  session(R"({"number":2,"name":"TEEC_ORIGIN_COMMS"})");
  std::string expected;
  for (const char* end : {"1\nresult = \"TEEC_ERROR_BUSY\"\norigin = 3\n",
                          "2\nresult = \"TEEC_ERROR_BUSY\"\norigin = 3\n",
                          "3\nresult = \"TEEC_ERROR_BUSY\"\norigin = 2\n"}) {
    expected += std::string("\n[[fault]]\ncall = \"TEEC_OpenSession\"\noccurrence = ") + end;
  }
  EXPECT_EQ(FaultsIn(Text()), expected);
}

TEST_F(BoardOfRunTest, SettingThatWasGoneLater_IsAFault) {
  Add(R"("vconf_get_str","key":"other","value":null)");
  Add(R"("vconf_get_str","key":"k","value":"v")");
  Add(R"("vconf_get_str","key":"k","value":"v")");
  EXPECT_EQ(NotesIn(Text()) + FaultsIn(Text()), "");
  Add(R"("vconf_get_str","key":"k","value":null)");
  Add(R"("vconf_get_str","key":"k","value":"w")");
  EXPECT_EQ(FaultsIn(Text()), "\n[[fault]]\ncall = \"vconf_get_str\"\n");
  EXPECT_EQ(NotesIn(Text()),
            "# Line 6 of the recording: another text of the same setting is not repeated\n");
  EXPECT_EQ(Between(Text(), "[settings]", "\n[system_information]"), "[settings]\n\"k\" = \"v\"\n");
  text.clear();
  Add(R"("vconf_get_str","key":"\u00ff","value":"v")");
  EXPECT_EQ(NotesIn(Text()), "# Line 2 of the recording: a setting that is no UTF-8 is left out\n");
}

TEST_F(BoardOfRunTest, SystemInformation_StandsUnderItsName) {
  Add(R"("system_info_get_value_string","key":0,"result":0,"value":"a")");
  Add(R"("system_info_get_value_string","key":1,"result":0,"value":"b")");
  Add(R"("system_info_get_value_string","key":2,"result":0,"value":"c")");
  Add(R"("system_info_get_value_string","key":2,"result":-1)");
  EXPECT_EQ(Between(Text(), "[system_information]", ""),
            "[system_information]\nmodel_name = \"a\"\nboard_revision = \"b\"\n"
            "build_identifier = \"c\"\n");
  EXPECT_EQ(NotesIn(Text()), "");
  Add(R"("system_info_get_value_string","key":3,"result":0,"value":"d")");
  Add(R"("system_info_get_value_string","key":-1,"result":0,"value":"d")");
  Add(R"("system_info_get_value_string","key":1,"result":1,"value":"d")");
  Add(R"("system_info_get_value_string","key":1,"result":0)");
  Add(R"("system_info_get_value_string","key":1,"result":0,"value":"\u00ff")");
  std::string notes;
  for (int line = 6; line <= 10; ++line) {
    notes += "# Line " + std::to_string(line) +
             " of the recording: this system information is left out\n";
  }
  EXPECT_EQ(NotesIn(Text()), notes);
  EXPECT_EQ(FaultsIn(Text()), "");
  Add(R"("system_info_get_value_string","key":1,"result":-2)");
  EXPECT_EQ(FaultsIn(Text()),
            "\n[[fault]]\ncall = \"system_info_get_value_string\"\noccurrence = 10\nresult = -2\n");
  text.clear();
  Add(R"("system_info_get_value_string","key":1,"result":-2)");
  Add(R"("system_info_get_value_string","key":1,"result":-2)");
  EXPECT_EQ(FaultsIn(Text()),
            "\n[[fault]]\ncall = \"system_info_get_value_string\"\nresult = -2\n");
}

std::string FailedInvocation(const std::string& result, const std::string& origin) {
  return R"("TEEC_InvokeCommand","session":0,"command":{"number":28,"name":"vam_getInfo"},)"
         R"("result":)" +
         result + ",\"origin\":" + origin;
}

TEST_F(BoardOfRunTest, InvocationWithoutAConnection_IsRefusedOnAnyBoard) {
  const std::string refused = R"({"number":4294901766,"name":"TEEC_ERROR_BAD_PARAMETERS"})";
  const std::string api = R"({"number":1,"name":"TEEC_ORIGIN_API"})";
  const std::string comms = R"({"number":2,"name":"TEEC_ORIGIN_COMMS"})";
  const auto faults = [this](bool isConnected, const std::string& call) {
    text.clear();
    if (isConnected) {
      Connect();
    }
    Add(call);
    return FaultsIn(Text());
  };
  const std::string fault = "\n[[fault]]\ncall = \"TEEC_InvokeCommand\"\nresult = ";
  EXPECT_EQ(faults(false, FailedInvocation(refused, api)), "");
  EXPECT_EQ(faults(true, FailedInvocation(refused, api)),
            fault + "\"TEEC_ERROR_BAD_PARAMETERS\"\norigin = 1\n");
  EXPECT_EQ(faults(false, FailedInvocation(refused, comms)),
            fault + "\"TEEC_ERROR_BAD_PARAMETERS\"\norigin = 2\n");
  EXPECT_EQ(faults(false, FailedInvocation(
                              R"({"number":4294901765,"name":"TEEC_ERROR_BAD_FORMAT"})", api)),
            fault + "\"TEEC_ERROR_BAD_FORMAT\"\norigin = 1\n");
}

TEST_F(BoardOfRunTest, MarshallerWithoutAConnection_RefusesOnAnyBoard) {
  for (const char* refused :
       {R"("CNolvWsm::PutInt","marshaller":1,"value":7,"result":false)",
        R"("CNolvWsm::PutUint","marshaller":1,"value":7,"result":false)",
        R"("CNolvWsm::PutBlob","marshaller":1,"length":2,"bytes":null,"result":false)"}) {
    text.clear();
    Add(refused);
    EXPECT_EQ(FaultsIn(Text()), "") << refused;
    text.clear();
    Connect();
    Add(refused);
    const std::string call = std::string(refused).substr(1, std::string(refused).find(',') - 2);
    EXPECT_EQ(FaultsIn(Text()), "\n[[fault]]\ncall = \"" + call + "\"\n");
    // The next connection fails.
    Add(R"("TEEC_InitializeContext","name":null,)"
        R"("result":{"number":4294901764,"name":"TEEC_ERROR_EXCESS_DATA"})");
    Add(refused);
    EXPECT_EQ(FaultsIn(Text()),
              "\n[[fault]]\ncall = \"" + call + "\"\n" +
                  "\n[[fault]]\ncall = \"TEEC_InitializeContext\"\noccurrence = 2\n"
                  "result = \"TEEC_ERROR_EXCESS_DATA\"\n");
  }
}

TEST_F(BoardOfRunTest, OnlyAnUpdateWithoutAnAnswer_LosesItsPower) {
  const auto isCut = [this](const std::vector<std::string>& calls, bool isConnected = true) {
    text.clear();
    if (isConnected) {
      Connect();
    }
    for (const std::string& call : calls) {
      Add(call);
    }
    const std::string board = Text();
    const bool hasFault = FaultsIn(board) == "\n[[fault]]\npower_cut_after_writes = 1\n";
    EXPECT_EQ(hasFault, Between(board, "[chip]", "app_version") ==
                            "[chip]\nsystem_version = \"before the cut\"\n");
    return hasFault;
  };
  const std::string put = R"("CNolvWsm::PutInt","marshaller":1,"value":3,"result":true)";
  EXPECT_TRUE(isCut({put}));
  EXPECT_FALSE(isCut({put}, false)) << "without a connection";
  EXPECT_FALSE(isCut({R"("CNolvWsm::PutInt","marshaller":1,"value":4,"result":true)"}));
  EXPECT_FALSE(isCut({R"("CNolvWsm::PutInt","marshaller":1,"value":3,"result":false)"}));
  EXPECT_FALSE(isCut({put, R"("CNolvWsm::~CNolvWsm","marshaller":1)"}));
  EXPECT_FALSE(isCut({put, R"("TEEC_FinalizeContext","context":1)"}));
  EXPECT_TRUE(isCut({put, R"("CNolvWsm::PrepareReset","marshaller":1,"mode":1)"}));
  EXPECT_FALSE(isCut(
      {put, R"("TEEC_InvokeCommand","session":1,"command":{"number":18,"name":"vm_updateFW"},)"
            R"("result":{"number":0,"name":"TEEC_SUCCESS"},)"
            R"("origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})"}));
}

TEST_F(BoardOfRunTest, ChipHoldsTheRecordThatACommandNeeds) {
  const std::string check = R"({"number":23,"name":"vam_checkVamAk"})";
  const auto chip = [this](const std::vector<std::string>& commands, const std::string& put = "") {
    text.clear();
    Connect();
    if (!put.empty()) {
      Add(put);
    }
    for (const std::string& command : commands) {
      Invoke(command);
    }
    return ChipBesideItsVersions(Text());
  };
  const std::string provision = R"({"number":24,"name":"vam_akProvision"})";
  const std::string status = R"({"number":26,"name":"vam_getPublicKeyStatus"})";
  const std::string remove = R"({"number":44,"name":"vam_removeAkKeys"})";
  const std::string fromRpmb = R"({"number":25,"name":"vam_akProvisionRPMB"})";
  EXPECT_EQ(chip({check}), "ak_record = \"00\"\n");
  EXPECT_EQ(chip({remove}), "ak_record = \"00\"\n");
  EXPECT_EQ(chip({status}), "ak_record = \"00\"\n");
  EXPECT_EQ(chip({fromRpmb}), "rpmb_record = \"00\"\n");
  EXPECT_EQ(chip({R"({"number":28,"name":"vam_getInfo"})"}), "");
  EXPECT_EQ(chip({provision, check, remove, status}), "") << "the run brings its own";
  const auto blob = [](std::size_t size) {
    return R"("CNolvWsm::PutBlob","marshaller":1,"length":)" + std::to_string(size) +
           R"(,"bytes":")" + std::string(2 * size, 'a') + R"(","result":true)";
  };
  EXPECT_EQ(chip({check}, blob(2048)), "ak_record = \"" + std::string(4096, 'a') + "\"\n");
  EXPECT_EQ(chip({check}, blob(2049)), "ak_record = \"00\"\n");
  EXPECT_EQ(chip({status, check}, blob(1)), "ak_record = \"aa\"\n") << "the record is known later";
  EXPECT_EQ(chip({check, status}, blob(1)), "ak_record = \"aa\"\n") << "and stays known";
  EXPECT_EQ(chip({status}, blob(1)), "ak_record = \"00\"\n");
}

/// The calls with which the update command's reply is read.
std::string Digits(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  for (const char byte : bytes) {
    digits += kDigits[static_cast<unsigned char>(byte) / 16];
    digits += kDigits[static_cast<unsigned char>(byte) % 16];
  }
  return digits;
}

class BoardOfAnswersTest : public BoardOfRunTest {
 protected:
  void Update(int mode) {
    Add(R"("CNolvWsm::PutInt","marshaller":1,"value":)" + std::to_string(mode) +
        R"(,"result":true)");
    Invoke(R"({"number":18,"name":"vm_updateFW"})");
  }
  void Record(int vamCode = 0, int fwCode = 0) {
    Blob({static_cast<char>(vamCode), 0, 0, 0, static_cast<char>(fwCode), 0, 0, 0});
  }
  void Blob(const std::string& bytes) {
    Add(R"("CNolvWsm::GetBlob","marshaller":1,"length":)" + std::to_string(bytes.size()) +
        R"(,"bytes":")" + Digits(bytes) + "\"");
  }
  void NoBlob() { Add(R"("CNolvWsm::GetBlob","marshaller":1,"length":8,"bytes":null)"); }
  void Size(std::size_t size) {
    Add(R"("CNolvWsm::GetUint","marshaller":1,"value":)" + std::to_string(size) +
        R"(,"result":true)");
  }
  void NoSize() { Add(R"("CNolvWsm::GetUint","marshaller":1,"result":false)"); }
  void Version(const std::string& bytes) {
    Size(bytes.size());
    Blob(bytes);
  }
  /// A whole reply with these versions.
  void Report(int mode, const std::string& system, const std::string& app) {
    Update(mode);
    Record();
    Version(system + '\0');
    Version(app + '\0');
  }

  std::string Image() const { return Between(Text(), "[image]", "\n[chip]"); }
  static std::string Fault(int mode, int occurrence, const std::string& rest) {
    return "\n[[fault]]\ncommand = \"vm_updateFW\"\nmode = " + std::to_string(mode) +
           "\noccurrence = " + std::to_string(occurrence) + "\n" + rest;
  }
};

TEST_F(BoardOfAnswersTest, Versions_AreThoseOfTheImagesReport) {
  Connect();
  Report(11, "1.0", "2.0");
  EXPECT_EQ(Image(), "[image]\nsystem_version = \"1.0\"\napp_version = \"2.0\"\n");
  EXPECT_EQ(FaultsIn(Text()), "");
  Report(7, "1.1", "2.1");
  EXPECT_EQ(Image(), "[image]\nsystem_version = \"1.1\"\napp_version = \"2.1\"\n");
  EXPECT_EQ(Between(Text(), "[chip]", "\n[settings]"),
            "[chip]\nsystem_version = \"1.1\"\napp_version = \"2.1\"\n");
  EXPECT_EQ(FaultsIn(Text()), Fault(11, 1, "item = 3\nvalue = \"1.0\\u0000\"\n") +
                                  Fault(11, 1, "item = 5\nvalue = \"2.0\\u0000\"\n"));
  Report(7, "1.2", "2.1");
  EXPECT_EQ(Image(), "[image]\nsystem_version = \"1.1\"\napp_version = \"2.1\"\n");
  EXPECT_EQ(FaultsIn(Text()), Fault(11, 1, "item = 3\nvalue = \"1.0\\u0000\"\n") +
                                  Fault(11, 1, "item = 5\nvalue = \"2.0\\u0000\"\n") +
                                  Fault(7, 2, "item = 3\nvalue = \"1.2\\u0000\"\n"));
}

TEST_F(BoardOfAnswersTest, VersionsThatNoBoardHolds_AreNotChosen) {
  const std::string longest(252, 'v');
  for (const std::string& version :
       {std::string(), std::string("1\0002", 3), std::string("\xff"), longest + "v"}) {
    text.clear();
    Connect();
    Report(7, version, "2.0");
    EXPECT_EQ(Image(), version.empty() ? "[image]\nsystem_version = \"\"\napp_version = \"2.0\"\n"
                                       : "[image]\nsystem_version = \"\"\napp_version = \"\"\n");
    text.clear();
    Connect();
    Report(7, "1.0", version);
    EXPECT_EQ(Image(), version.empty() ? "[image]\nsystem_version = \"1.0\"\napp_version = \"\"\n"
                                       : "[image]\nsystem_version = \"\"\napp_version = \"\"\n");
  }
  text.clear();
  Connect();
  Report(7, longest, longest);
  EXPECT_EQ(Image(),
            "[image]\nsystem_version = \"" + longest + "\"\napp_version = \"" + longest + "\"\n");
  // Without its zero byte, or without any.
  for (const char* bytes : {"1", ""}) {
    text.clear();
    Connect();
    Update(7);
    Record();
    Version(bytes);
    Version(std::string("2\0", 2));
    EXPECT_EQ(Image(), "[image]\nsystem_version = \"\"\napp_version = \"\"\n");
  }
}

TEST_F(BoardOfAnswersTest, ReplyThatEnded_IsAFaultOnTheItem) {
  const auto faults = [this](int items) {
    text.clear();
    Connect();
    Report(7, "1.0", "2.0");
    Update(11);
    items > 0 ? Record() : NoBlob();
    if (items > 0) {
      items > 1 ? Size(4) : NoSize();
    }
    if (items > 1) {
      items > 2 ? Blob(std::string("1.0\0", 4)) : NoBlob();
    }
    if (items > 2) {
      items > 3 ? Size(4) : NoSize();
    }
    if (items > 3) {
      NoBlob();
    }
    return FaultsIn(Text());
  };
  for (int items = 0; items < 5; ++items) {
    EXPECT_EQ(faults(items),
              Fault(11, 1, "item = " + std::to_string(items + 1) + "\nmissing = true\n"));
  }
}

TEST_F(BoardOfAnswersTest, ProgramThatReadNoFurther_LeavesNoFault) {
  Connect();
  Report(7, "1.0", "2.0");
  Update(11);
  EXPECT_EQ(FaultsIn(Text()), "");
  Record();
  EXPECT_EQ(FaultsIn(Text()), "");
  Size(4);
  EXPECT_EQ(FaultsIn(Text()), "");
  Blob(std::string("1.0\0", 4));
  EXPECT_EQ(FaultsIn(Text()), "");
  Size(4);
  EXPECT_EQ(FaultsIn(Text()), "");
}

TEST_F(BoardOfAnswersTest, RecordOrSizeOfAnotherValue_IsAFaultOnIt) {
  Connect();
  Report(7, "1.0", "2.0");
  Update(11);
  Record(4, 0);
  Update(11);
  Record(0, 5);
  Update(11);
  Record();
  Size(0);
  Update(11);
  Blob("abc");
  Size(4);
  EXPECT_EQ(FaultsIn(Text()), Fault(11, 1, "record = [4, 0]\n") +
                                  Fault(11, 2, "record = [0, 5]\n") +
                                  Fault(11, 3, "item = 2\nvalue = 0\n"));
}

TEST_F(BoardOfAnswersTest, VersionAsLongAsAFaultMayBe_IsRepeated) {
  for (const std::size_t size : {std::size_t{8100}, std::size_t{8101}}) {
    text.clear();
    Connect();
    Report(7, "1.0", "2.0");
    Update(11);
    Record();
    Size(4);
    Blob(std::string(size, 'v'));
    const bool fits = size == 8100;
    EXPECT_EQ(FaultsIn(Text()),
              fits ? Fault(11, 1, "item = 3\nvalue = \"" + std::string(size, 'v') + "\"\n") : "");
    EXPECT_EQ(NotesIn(Text()), fits ? ""
                                    : "# Line 12 of the recording: a version that is too long or "
                                      "no UTF-8 is not repeated\n");
  }
}

TEST_F(BoardOfAnswersTest, Lists_AreTheChips) {
  Connect();
  Invoke(R"({"number":19,"name":"vm_getFWInfo"})");
  Size(2);
  Blob(std::string("\1\0\0\0\xff\xff\xff\xff", 8));
  Invoke(R"({"number":39,"name":"vam_getHackInfo"})");
  Add(R"("CNolvWsm::GetInt","marshaller":1,"value":2,"result":true)");
  Blob("\x1f\xe0");
  EXPECT_EQ(ChipBesideItsVersions(Text()),
            "hack_information = \"1fe0\"\ninformation = [1, 4294967295]\n");
  EXPECT_EQ(NotesIn(Text()) + FaultsIn(Text()), "");
  // The same again, and another.
  Invoke(R"({"number":40,"name":"vam_getFWInfo"})");
  Size(2);
  Blob(std::string("\1\0\0\0\xff\xff\xff\xff", 8));
  EXPECT_EQ(NotesIn(Text()), "");
  Invoke(R"({"number":40,"name":"vam_getFWInfo"})");
  Size(1);
  Blob(std::string("\1\0\0\0", 4));
  EXPECT_EQ(NotesIn(Text()),
            "# Line 13 of the recording: other information than before is not repeated\n");
}

TEST_F(BoardOfAnswersTest, ListThatEnded_IsAFaultOnItsItem) {
  Connect();
  Invoke(R"({"number":19,"name":"vm_getFWInfo"})");
  Invoke(R"({"number":19,"name":"vm_getFWInfo"})");
  NoSize();
  Invoke(R"({"number":19,"name":"vm_getFWInfo"})");
  Size(2);
  Invoke(R"({"number":19,"name":"vm_getFWInfo"})");
  Size(3);
  NoBlob();
  const auto fault = [](int occurrence, const std::string& rest) {
    return "\n[[fault]]\ncommand = \"vm_getFWInfo\"\noccurrence = " + std::to_string(occurrence) +
           "\n" + rest;
  };
  EXPECT_EQ(FaultsIn(Text()), fault(2, "item = 1\nmissing = true\n") +
                                  fault(4, "item = 1\nvalue = 3\n") +
                                  fault(4, "item = 2\nmissing = true\n"));
  // Where the chip has a list, a count alone is another one.
  Invoke(R"({"number":19,"name":"vm_getFWInfo"})");
  Size(1);
  Blob(std::string("\1\0\0\0", 4));
  Invoke(R"({"number":19,"name":"vm_getFWInfo"})");
  Size(0);
  EXPECT_THAT(FaultsIn(Text()), ::testing::EndsWith(fault(6, "item = 1\nvalue = 0\n")));
}

TEST_F(BoardOfAnswersTest, ListAsLongAsAChipHolds_IsRepeated) {
  struct Limit {
    const char* command;
    std::size_t bytes;
    const char* key;
  };
  for (const Limit& limit :
       {Limit{R"({"number":40,"name":"vam_getFWInfo"})", 256, "\ninformation = ["},
        Limit{R"({"number":39,"name":"vam_getHackInfo"})", 1024, "\nhack_information = \""}}) {
    for (const std::size_t more : {std::size_t{0}, std::size_t{1}}) {
      text.clear();
      Connect();
      Invoke(limit.command);
      Size(1);
      Blob(std::string(limit.bytes + more, 'i'));
      EXPECT_EQ(Text().find(limit.key) != std::string::npos, more == 0);
      EXPECT_EQ(NotesIn(Text()), more == 0 ? ""
                                           : "# Line 4 of the recording: more information than a "
                                             "board holds is left out\n");
    }
  }
}

TEST_F(BoardOfAnswersTest, WhatWasReadWithoutAnAnswer_IsNoItem) {
  Connect();
  Report(7, "1.0", "2.0");
  Add(FailedInvocation(R"({"number":4294901773,"name":"TEEC_ERROR_BUSY"})",
                       R"({"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})"));
  NoBlob();
  EXPECT_EQ(FaultsIn(Text()),
            "\n[[fault]]\ncall = \"TEEC_InvokeCommand\"\noccurrence = 2\n"
            "result = \"TEEC_ERROR_BUSY\"\norigin = 4\n");
}

TEST_F(BoardOfAnswersTest, OnlyUpdatesHaveAMode) {
  Connect();
  Add(R"("CNolvWsm::PutInt","marshaller":1,"value":7,"result":true)");
  Invoke(R"({"number":19,"name":"vm_getFWInfo"})");
  NoSize();
  // An update whose mode was no number.
  Add(R"("CNolvWsm::PutBlob","marshaller":1,"length":1,"bytes":"00","result":true)");
  Invoke(R"({"number":18,"name":"vm_updateFW"})");
  NoBlob();
  EXPECT_EQ(FaultsIn(Text()),
            "\n[[fault]]\ncommand = \"vm_getFWInfo\"\noccurrence = 1\nitem = 1\nmissing = true\n" +
                Fault(0, 1, "item = 1\nmissing = true\n"));
}

}  // namespace
}  // namespace vam
