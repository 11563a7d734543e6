#include "simulator/board/board_faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <map>
#include <string>

#include "report/tee_codes.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/board/wrong_board_test.h"
#include "simulator/model/answer_fault.h"

namespace vam {
namespace {

/// A board with one fault of these keys.
std::string WithFault(const std::string& keys) { return "[[fault]]\n" + keys; }

Fault ReadOneFault(const std::string& keys) {
  const Board board = ReadBoardText(WithFault(keys), "some.toml");
  EXPECT_EQ(board.faults.size(), 1U);
  return board.faults.at(0);
}

TEST(BoardFaultsTest, FaultOfACall_IsReadWithItsResult) {
  const Fault named = ReadOneFault(
      "call = \"TEEC_OpenSession\"\noccurrence = 2\nresult = \"TEEC_ERROR_BUSY\"\norigin = 2");
  EXPECT_EQ(named.kind, Fault::Kind::kCall);
  EXPECT_EQ(named.call, PlatformCall::kOpenSession);
  EXPECT_EQ(named.occurrence, 2U);
  EXPECT_EQ(named.result, 0xFFFF000DU);
  EXPECT_EQ(named.origin, 2U);

  const Fault numbered =
      ReadOneFault("call = \"TEEC_AllocateSharedMemory\"\noccurrence = \"always\"\nresult = 7");
  EXPECT_EQ(numbered.occurrence, 0U);
  EXPECT_EQ(numbered.result, 7U);

  const Fault registration =
      ReadOneFault("call = \"TEEC_RegisterSharedMemory\"\nresult = \"TEEC_ERROR_OUT_OF_MEMORY\"");
  EXPECT_EQ(registration.call, PlatformCall::kRegisterSharedMemory);
  EXPECT_EQ(registration.result, 0xFFFF000CU);

  const Fault node = ReadOneFault("call = \"ioctl\"\nresult = \"ENODEV\"");
  EXPECT_EQ(node.occurrence, 0U);
  EXPECT_EQ(node.errorNumber, ENODEV);

  EXPECT_EQ(ReadOneFault("call = \"CNolvWsm::GetBlob\"\noccurrence = 4294967295").occurrence,
            0xFFFFFFFFU);
  EXPECT_EQ(ReadOneFault("call = \"system_info_get_value_string\"\nresult = -5").result,
            static_cast<std::uint32_t>(-5));
}

TEST(BoardFaultsTest, FaultWithAnyNamedResult_HasItsValue) {
  for (const TeeCode& code : kTeeCodes) {
    const std::string name = code.name;
    EXPECT_EQ(ReadOneFault("call = \"TEEC_InitializeContext\"\nresult = \"" + name + "\"").result,
              code.value)
        << name;
  }
}

TEST(BoardFaultsTest, FaultOfACommand_IsReadWithItsChange) {
  const AnswerFault failed =
      ReadOneFault("command = \"vm_updateFW\"\nmode = 3\noccurrence = 2\nresult = 4294901760")
          .answer;
  EXPECT_EQ(failed.kind, kFailCommand);
  EXPECT_EQ(failed.command, 18U);
  EXPECT_EQ(failed.hasMode, 1U);
  EXPECT_EQ(failed.mode, 3);
  EXPECT_EQ(failed.occurrence, 2U);
  EXPECT_EQ(failed.result, 0xFFFF0000U);

  const AnswerFault record = ReadOneFault("command = 18\nrecord = [13, -2147483648]").answer;
  EXPECT_EQ(record.kind, kReplaceRecord);
  EXPECT_EQ(record.hasMode, 0U);
  EXPECT_EQ(record.vamCode, 13);
  EXPECT_EQ(record.fwCode, INT32_MIN);

  const AnswerFault missing =
      ReadOneFault("command = \"vam_getFWInfo\"\nitem = 1\nmissing = true").answer;
  EXPECT_EQ(missing.kind, kOmitItem);
  EXPECT_EQ(missing.command, 40U);
  EXPECT_EQ(missing.item, 1U);

  EXPECT_EQ(ReadOneFault("command = 18\nitem = 5\ncut = true").answer.kind, kCutItem);
  EXPECT_EQ(ReadOneFault("command = 18\nitem = 5\ncut = true").answer.number, 0U);
  EXPECT_EQ(ReadOneFault("command = 18\nitem = 5\ncut = 3").answer.number, 3U);

  const AnswerFault number = ReadOneFault("command = 18\nitem = 2\nvalue = -1").answer;
  EXPECT_EQ(number.kind, kReplaceByNumber);
  EXPECT_EQ(number.number, 0xFFFFFFFFU);

  const AnswerFault text = ReadOneFault("command = 18\nitem = 3\nvalue = \"a\\u0000b\"").answer;
  EXPECT_EQ(text.kind, kReplaceByBytes);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(text.bytes), text.byteCount),
            std::string("a\0b", 3));
}

TEST(BoardFaultsTest, PowerCut_IsReadWithItsWrite) {
  const Fault fault = ReadOneFault("power_cut_after_writes = 2");
  EXPECT_EQ(fault.kind, Fault::Kind::kPowerCut);
  EXPECT_EQ(fault.writes, 2U);
}

TEST(BoardFaultsTest, BytesOfAnItem_AreReadInHexadecimal) {
  const AnswerFault answer = ReadOneFault("command = 18\nitem = 3\nbytes = \"00fF0a\"").answer;
  EXPECT_EQ(answer.kind, kReplaceByBytes);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(answer.bytes), answer.byteCount),
            std::string("\0\xFF\n", 3));
  EXPECT_EQ(ReadOneFault("command = 18\nitem = 3\nbytes = \"" + std::string(16200, 'f') + "\"")
                .answer.byteCount,
            8100U);
}

TEST(BoardFaultsTest, FaultOfTheSurroundings_IsReadWithItsChange) {
  const Fault killed = ReadOneFault("signal = \"SIGKILL\"\nafter_calls = 7");
  EXPECT_EQ(killed.kind, Fault::Kind::kSignal);
  EXPECT_EQ(killed.signal, SIGKILL);
  EXPECT_EQ(killed.calls, 7U);
  EXPECT_EQ(killed.lines, 0U);
  const Fault ended = ReadOneFault("signal = \"SIGTERM\"\nafter_lines = 2");
  EXPECT_EQ(ended.signal, SIGTERM);
  EXPECT_EQ(ended.calls, 0U);
  EXPECT_EQ(ended.lines, 2U);

  EXPECT_EQ(ReadOneFault("console = \"closed\"").console, Fault::Console::kClosed);
  EXPECT_EQ(ReadOneFault("console = \"full\"").console, Fault::Console::kFull);
  EXPECT_EQ(ReadOneFault("console = \"without reader\"").console, Fault::Console::kWithoutReader);
  EXPECT_EQ(ReadOneFault("console = \"slow\"").console, Fault::Console::kSlow);

  const Fault refused = ReadOneFault("status_file = \"both\"\nresult = \"EROFS\"");
  EXPECT_EQ(refused.kind, Fault::Kind::kStatusFile);
  EXPECT_EQ(refused.statusFile, Fault::StatusFile::kRefused);
  EXPECT_EQ(refused.errorNumber, EROFS);
  EXPECT_TRUE(refused.changesOkFile && refused.changesFailFile);
  const Fault folder = ReadOneFault("status_file = \"VAM_OK\"\nis = \"folder\"");
  EXPECT_EQ(folder.statusFile, Fault::StatusFile::kIsFolder);
  EXPECT_TRUE(folder.changesOkFile && !folder.changesFailFile);
  const Fault link = ReadOneFault("status_file = \"VAM_FAIL\"\nis = \"link\"");
  EXPECT_EQ(link.statusFile, Fault::StatusFile::kIsLink);
  EXPECT_TRUE(!link.changesOkFile && link.changesFailFile);

  const Fault room = ReadOneFault("status_room = 0");
  EXPECT_EQ(room.kind, Fault::Kind::kStatusRoom);
  EXPECT_EQ(room.room, 0U);
  const Fault memory = ReadOneFault("memory_fails_at_request = 9");
  EXPECT_EQ(memory.kind, Fault::Kind::kMemory);
  EXPECT_EQ(memory.request, 9U);
}

TEST(BoardFaultsTest, Fault_IsDescribedForReports) {
  EXPECT_EQ(ReadOneFault("call = \"open\"\nresult = \"EIO\"").description, "open, always");
  EXPECT_EQ(
      ReadOneFault("command = \"vm_updateFW\"\nmode = 7\noccurrence = 3\nresult = 1").description,
      "vm_updateFW in mode 7, occurrence 3");
  EXPECT_EQ(ReadOneFault("power_cut_after_writes = 2").description, "power cut after write 2");
  EXPECT_EQ(ReadOneFault("signal = \"SIGTERM\"\nafter_lines = 2").description,
            "SIGTERM after line 2");
  EXPECT_EQ(ReadOneFault("signal = \"SIGKILL\"\nafter_calls = 3").description,
            "SIGKILL after call 3");
  EXPECT_EQ(ReadOneFault("console = \"slow\"").description, "console slow");
  EXPECT_EQ(ReadOneFault("status_file = \"VAM_OK\"\nis = \"link\"").description, "VAM_OK link");
  EXPECT_EQ(ReadOneFault("status_file = \"both\"\nresult = \"EROFS\"").description, "both EROFS");
  EXPECT_EQ(ReadOneFault("status_room = 5").description, "room for 5 bytes of status files");
  EXPECT_EQ(ReadOneFault("memory_fails_at_request = 9").description, "no memory at request 9");
}

bool IsTaken(const std::string& keys) {
  try {
    static_cast<void>(ReadOneFault(keys));
    return true;
  } catch (const BoardError&) {
    return false;
  }
}

TEST(BoardFaultsTest, FaultOfACommand_FitsItsRequestAndItsReply) {
  // The commands of the interface, with what the reply of each has: vm_updateFW's are its record,
  // and two versions with their sizes.
  const std::map<int, int> itemsOfReplies = {{18, 5}, {19, 2}, {23, 0}, {24, 0}, {25, 0},
                                             {26, 0}, {28, 0}, {29, 0}, {30, 0}, {32, 0},
                                             {39, 2}, {40, 2}, {42, 0}, {43, 0}, {44, 0}};
  for (const auto& [identifier, items] : itemsOfReplies) {
    const std::string command = "command = " + std::to_string(identifier);
    SCOPED_TRACE(command);
    EXPECT_TRUE(IsTaken(command + "\nresult = 1"));
    EXPECT_EQ(IsTaken(command + "\nmode = 3\nresult = 1"), identifier == 18 || identifier == 30);
    EXPECT_EQ(IsTaken(command + "\nrecord = [0, 0]"), identifier == 18);
    for (int item = 1; item <= 6; ++item) {
      EXPECT_EQ(IsTaken(command + "\nmissing = true\nitem = " + std::to_string(item)),
                item <= items)
          << item;
    }
  }
}

TEST(BoardFaultsTest, Faults_AreNumberedInTheirOrder) {
  const Board board = ReadBoardText(
      WithFault("call = \"vconf_get_str\"\n") + WithFault("power_cut_after_writes = 1\n"),
      "some.toml");
  ASSERT_EQ(board.faults.size(), 2U);
  EXPECT_EQ(board.faults[0].number, 1U);
  EXPECT_EQ(board.faults[1].number, 2U);
}

TEST(BoardFaultsTest, ValueAtItsLimit_IsTaken) {
  for (const char* origin : {"1", "4"}) {
    EXPECT_EQ(
        ReadOneFault(std::string("call = \"TEEC_InvokeCommand\"\nresult = 1\norigin = ") + origin)
            .origin,
        static_cast<std::uint32_t>(*origin - '0'));
  }
  const std::string longest(8100, 'a');
  EXPECT_EQ(ReadOneFault("command = 18\nitem = 3\nvalue = \"" + longest + "\"").answer.byteCount,
            8100U);
  EXPECT_EQ(ReadOneFault("command = 18\nitem = 3\nvalue = \"\"").answer.byteCount, 0U);
  EXPECT_EQ(ReadOneFault("command = 18\nrecord = [2147483647, -2147483648]").answer.vamCode,
            INT32_MAX);
  EXPECT_EQ(ReadOneFault("call = \"open\"\nresult = \"EIO\"\noccurrence = 1").occurrence, 1U);
}

TEST(BoardFaultsTest, FaultOfACommand_IsOfEveryInvocationUnlessItSays) {
  const AnswerFault every = ReadOneFault("command = 28\nresult = 1").answer;
  EXPECT_EQ(every.occurrence, 0U);
  EXPECT_EQ(every.hasMode, 0U);
  EXPECT_EQ(every.command, 28U);
  EXPECT_EQ(ReadOneFault("command = 28\nresult = 1\noccurrence = \"always\"").answer.occurrence,
            0U);
}

/// What a fault of a kind does not say is 0 or not so.
TEST(BoardFaultsTest, FaultOfOneKind_HasNothingOfTheOthers) {
  for (const char* keys : {"call = \"CNolvWsm::PutInt\"", "command = 19\nitem = 1\nmissing = true",
                           "power_cut_after_writes = 1", "signal = \"SIGTERM\"\nafter_calls = 1",
                           "console = \"closed\"", "status_file = \"both\"\nis = \"link\"",
                           "status_room = 7", "memory_fails_at_request = 1"}) {
    SCOPED_TRACE(keys);
    const Fault fault = ReadOneFault(keys);
    EXPECT_EQ(fault.occurrence, 0U);
    EXPECT_EQ(fault.result, 0U);
    EXPECT_EQ(fault.origin, 0U);
    EXPECT_EQ(fault.errorNumber, 0);
    EXPECT_EQ(fault.writes != 0, fault.kind == Fault::Kind::kPowerCut);
    EXPECT_EQ(fault.signal != 0, fault.kind == Fault::Kind::kSignal);
    EXPECT_EQ(fault.calls != 0, fault.kind == Fault::Kind::kSignal);
    EXPECT_EQ(fault.lines, 0U);
    EXPECT_EQ(fault.changesOkFile, fault.kind == Fault::Kind::kStatusFile);
    EXPECT_EQ(fault.changesFailFile, fault.kind == Fault::Kind::kStatusFile);
    EXPECT_EQ(fault.room != 0, fault.kind == Fault::Kind::kStatusRoom);
    EXPECT_EQ(fault.request != 0, fault.kind == Fault::Kind::kMemory);
  }
}

TEST(BoardFaultsTest, ConsoleAndShapeOfAStatusFile_AreThereFromTheStart) {
  const auto fromTheStart = [](const char* keys) {
    return ReadOneFault(keys).IsThereFromTheStart();
  };
  EXPECT_TRUE(fromTheStart("console = \"closed\""));
  EXPECT_TRUE(fromTheStart("status_file = \"both\"\nis = \"link\""));
  EXPECT_TRUE(fromTheStart("status_file = \"VAM_OK\"\nis = \"folder\""));
  EXPECT_FALSE(fromTheStart("status_file = \"VAM_OK\"\nresult = \"EROFS\""));
  EXPECT_FALSE(fromTheStart("call = \"CNolvWsm::PutInt\""));
  EXPECT_FALSE(fromTheStart("command = 28\nresult = 1"));
  EXPECT_FALSE(fromTheStart("power_cut_after_writes = 1"));
  EXPECT_FALSE(fromTheStart("signal = \"SIGTERM\"\nafter_calls = 1"));
  EXPECT_FALSE(fromTheStart("status_room = 7"));
  EXPECT_FALSE(fromTheStart("memory_fails_at_request = 1"));
}

TEST(BoardFaultsTest, CallThatNoFaultCanChange_IsRefusedWithThoseThatOneCan) {
  ExpectRefused({"", WithFault("call = \"close\""),
                 "2: \"call\" must be one of TEEC_InitializeContext, TEEC_OpenSession, "
                 "TEEC_RegisterSharedMemory, TEEC_AllocateSharedMemory, TEEC_InvokeCommand, "
                 "CNolvWsm::PutInt, CNolvWsm::PutUint, CNolvWsm::PutBlob, CNolvWsm::GetInt, "
                 "CNolvWsm::GetUint, CNolvWsm::GetBlob, open, ioctl, vconf_get_str, "
                 "system_info_get_value_string"});
  ExpectRefused({"", WithFault("command = 20\nresult = 1"),
                 "2: no command has the identifier 20; there are 18 vm_updateFW, 19 vm_getFWInfo, "
                 "23 vam_checkVamAk, 24 vam_akProvision, 25 vam_akProvisionRPMB, "
                 "26 vam_getPublicKeyStatus, 28 vam_getInfo, 29 vam_getAppInfo, 30 vam_updateFW, "
                 "32 vam_selfTestAll, 39 vam_getHackInfo, 40 vam_getFWInfo, 42 vam_forceRecovery, "
                 "43 vam_forceRecoverySP, 44 vam_removeAkKeys"});
}

class WrongFaultTest : public ::testing::TestWithParam<WrongBoard> {};

TEST_P(WrongFaultTest, WrongFault_IsRefusedWithOneLineThatNamesThePlace) {
  ExpectRefused(GetParam());
}

const WrongBoard kWrongFaults[] = {
    {"fault_of_nothing", WithFault("occurrence = 1"),
     "1: a fault starts with call, command, power_cut_after_writes, signal, console, status_file, "
     "status_room or memory_fails_at_request"},
    {"unknown_call", WithFault("call = \"TEEC_CloseSession\""),
     "2: \"call\" must be one of TEEC_InitializeContext, "},
    {"call_with_command_key", WithFault("call = \"open\"\nmode = 3"),
     "3: unknown key \"mode\" in [[fault]]"},
    {"call_without_result", WithFault("call = \"TEEC_InitializeContext\""),
     "1: \"result\" is missing: a TEEC_ name or a number"},
    {"unknown_result", WithFault("call = \"TEEC_InitializeContext\"\nresult = \"TEEC_ERROR_BIZY\""),
     "3: \"result\" must be a number or a name of the TEE Client API"},
    {"result_too_large", WithFault("call = \"TEEC_InitializeContext\"\nresult = 4294967296"),
     "3: \"result\" must be a whole number from 0 to 4294967295"},
    {"origin_missing", WithFault("call = \"TEEC_OpenSession\"\nresult = 1"),
     "1: \"origin\" is missing: a number from 1 to 4"},
    {"origin_too_large", WithFault("call = \"TEEC_OpenSession\"\nresult = 1\norigin = 5"),
     "4: \"origin\" must be a whole number from 1 to 4"},
    {"origin_of_no_origin", WithFault("call = \"open\"\nresult = \"EIO\"\norigin = 1"),
     "4: open has no origin"},
    {"unknown_error_name", WithFault("call = \"open\"\nresult = \"EOOPS\""),
     "3: \"result\" of open must be the name of an error"},
    {"result_of_plain_failure", WithFault("call = \"vconf_get_str\"\nresult = 1"),
     "3: vconf_get_str just fails: leave \"result\" out"},
    {"system_information_success", WithFault("call = \"system_info_get_value_string\"\nresult = 0"),
     "3: \"result\" must be a whole number from -2147483648 to -1"},
    {"system_information_no_result", WithFault("call = \"system_info_get_value_string\""),
     "1: \"result\" is missing: a number"},
    {"occurrence_zero", WithFault("call = \"open\"\nresult = \"EIO\"\noccurrence = 0"),
     "4: \"occurrence\" must be a whole number from 1"},
    {"occurrence_other_word",
     WithFault("call = \"open\"\nresult = \"EIO\"\noccurrence = \"never\""),
     "4: \"occurrence\" must be a number from 1, or \"always\""},
    {"unknown_command", WithFault("command = \"vm_updateFw\"\nresult = 1"),
     "2: \"command\" must be a number or a method of the command interface"},
    {"command_negative", WithFault("command = -1\nresult = 1"),
     "2: \"command\" must be a whole number from 0"},
    {"mode_not_number", WithFault("command = 18\nmode = \"3\"\nresult = 1"),
     "3: \"mode\" must be a whole number"},
    {"command_without_change", WithFault("command = 18"),
     "1: a command's fault takes one of result, record, item"},
    {"command_with_two_changes", WithFault("command = 18\nresult = 1\nrecord = [1, 2]"),
     "1: a command's fault takes one of result, record, item"},
    {"record_of_one", WithFault("command = 18\nrecord = [1]"),
     "3: \"record\" must be two numbers: [vamCode, fwCode]"},
    {"record_code_too_large", WithFault("command = 18\nrecord = [0, 2147483648]"),
     "3: a code of \"record\" must be a whole number"},
    {"item_zero", WithFault("command = 18\nitem = 0\ncut = true"),
     "3: \"item\" must be a whole number from 1 to 4294967295"},
    {"item_after_the_last", WithFault("command = \"vm_updateFW\"\nitem = 6\ncut = true"),
     "3: the reply of vm_updateFW has 5 items; \"item\" is 6"},
    {"item_after_the_last_by_number", WithFault("command = 39\nitem = 40\nvalue = 1"),
     "3: the reply of vam_getHackInfo has 2 items; \"item\" is 40"},
    {"item_of_no_reply", WithFault("command = \"vam_updateFW\"\nitem = 1\nmissing = true"),
     "3: the reply of vam_updateFW has no items; give \"result\" instead"},
    {"record_of_no_record", WithFault("command = \"vm_getFWInfo\"\nrecord = [0, 0]"),
     "3: the reply of vm_getFWInfo has no result record; that of vm_updateFW has"},
    {"mode_of_no_mode", WithFault("command = 28\nmode = 3\nresult = 1"),
     "3: vam_getInfo carries no mode: leave \"mode\" out"},
    {"unknown_identifier", WithFault("command = 9999\nresult = 1"),
     "2: no command has the identifier 9999; there are 18 vm_updateFW, 19 vm_getFWInfo, 23 "},
    {"item_unchanged", WithFault("command = 18\nitem = 1\ncut = false"),
     "1: a reply item takes one of missing = true, cut = true, value = ..., bytes = ..."},
    {"item_changed_twice", WithFault("command = 18\nitem = 1\ncut = true\nvalue = 1"),
     "1: a reply item takes one of"},
    {"item_value_too_long",
     WithFault("command = 18\nitem = 1\nvalue = \"" + std::string(8101, 'a') + "\""),
     "4: \"value\" must be a number or a text of at most 8100 bytes"},
    {"item_value_of_truth", WithFault("command = 18\nitem = 1\nvalue = true"),
     "4: \"value\" must be a number or a text"},
    {"power_cut_zero", WithFault("power_cut_after_writes = 0"),
     "2: \"power_cut_after_writes\" must be a whole number from 1"},
    {"power_cut_with_result", WithFault("power_cut_after_writes = 1\nresult = 1"),
     "3: unknown key \"result\" in [[fault]]"},
    {"item_bytes_not_hexadecimal", WithFault("command = 18\nitem = 1\nbytes = \"f\""),
     "4: \"bytes\" must be at most 8100 bytes in hexadecimal"},
    {"signal_unknown", WithFault("signal = \"SIGHUP\"\nafter_calls = 1"),
     "2: \"signal\" must be one of \"SIGKILL\", \"SIGTERM\""},
    {"signal_at_no_moment", WithFault("signal = \"SIGKILL\""),
     "1: a signal takes one of after_calls, after_lines"},
    {"signal_at_two_moments", WithFault("signal = \"SIGKILL\"\nafter_calls = 1\nafter_lines = 1"),
     "1: a signal takes one of after_calls, after_lines"},
    {"signal_before_the_first_call", WithFault("signal = \"SIGKILL\"\nafter_calls = 0"),
     "3: \"after_calls\" must be a whole number from 1"},
    {"console_unknown", WithFault("console = \"open\""),
     "2: \"console\" must be one of \"closed\", \"full\", \"without reader\", \"slow\""},
    {"status_file_unknown", WithFault("status_file = \"VAM\"\nis = \"folder\""),
     "2: \"status_file\" must be one of \"VAM_OK\", \"VAM_FAIL\", \"both\""},
    {"status_file_unchanged", WithFault("status_file = \"VAM_OK\""),
     "1: a status file takes one of is, result"},
    {"status_file_with_two_changes",
     WithFault("status_file = \"VAM_OK\"\nis = \"link\"\nresult = \"EROFS\""),
     "1: a status file takes one of is, result"},
    {"status_file_of_another_shape", WithFault("status_file = \"VAM_OK\"\nis = \"device\""),
     "3: \"is\" must be one of \"folder\", \"link\""},
    {"status_file_result_unknown", WithFault("status_file = \"both\"\nresult = \"EOOPS\""),
     "3: \"result\" of status_file must be the name of an error"},
    {"status_room_negative", WithFault("status_room = -1"),
     "2: \"status_room\" must be a whole number from 0"},
    {"memory_before_the_first_request", WithFault("memory_fails_at_request = 0"),
     "2: \"memory_fails_at_request\" must be a whole number from 1"},
};

INSTANTIATE_TEST_SUITE_P(Faults, WrongFaultTest, ::testing::ValuesIn(kWrongFaults), NameOf);

}  // namespace
}  // namespace vam
