#include "simulator/board/board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "report/tee_codes.h"

namespace vam {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;

Board Read(const std::string& text) { return ReadBoardText(text, "some.toml"); }

TEST(BoardTest, NeedsNothingButATitle) {
  const Board board = Read("title = \"Bare\"");
  EXPECT_EQ(board.title, "Bare");
  EXPECT_TRUE(board.probe.nodePresent);
  EXPECT_TRUE(board.probe.ioctlAnswers);
  EXPECT_EQ(board.probe.flag, std::optional<std::int32_t>(1));
  EXPECT_TRUE(board.secureWorld.present);
  EXPECT_TRUE(board.secureWorld.trustedApplication);
  EXPECT_EQ(board.image.state, ImageSection::State::kWhole);
  EXPECT_EQ(board.image.payloadSize, 4096U);
  EXPECT_EQ(board.chip.state, ChipSection::State::kWhole);
  EXPECT_TRUE(board.chip.implementsUpdates);
  EXPECT_TRUE(board.chip.selfTestPasses);
  EXPECT_TRUE(board.chip.information.empty());
  EXPECT_TRUE(board.settings.empty());
  EXPECT_TRUE(board.systemInformation.empty());
  EXPECT_TRUE(board.faults.empty());
}

TEST(BoardTest, ReadsEveryKey) {
  const Board board = Read(R"(
title = "Full"
about = "Everything at once."
[probe]
node = "missing"
ioctl = "fails"
flag = -2147483648
[secure_world]
present = false
trusted_application = false
[image]
system_version = "1.1"
app_version = "2.0"
runs_system_version = "1.2"
runs_app_version = "2.1"
payload_size = 0
state = "damaged"
[chip]
system_version = "1.0"
app_version = "1.9"
state = "full"
updates = "not implemented"
self_test = "fails"
information = [4294967295, -1, 0]
hack_information = "00fF"
ak_record = "a1"
rpmb_record = "b2c3"
[settings]
"db/comss/serialnumber" = "SN-1"
[system_information]
model_name = "M"
build_identifier = "B"
)");
  EXPECT_EQ(board.about, "Everything at once.");
  EXPECT_FALSE(board.probe.nodePresent);
  EXPECT_FALSE(board.probe.ioctlAnswers);
  EXPECT_EQ(board.probe.flag, std::optional<std::int32_t>(INT32_MIN));
  EXPECT_FALSE(board.secureWorld.present);
  EXPECT_FALSE(board.secureWorld.trustedApplication);
  EXPECT_EQ(board.image.systemVersion, "1.1");
  EXPECT_EQ(board.image.appVersion, "2.0");
  EXPECT_EQ(board.image.runsSystemVersion, "1.2");
  EXPECT_EQ(board.image.runsAppVersion, "2.1");
  EXPECT_EQ(board.image.payloadSize, 0U);
  EXPECT_EQ(board.image.state, ImageSection::State::kDamaged);
  EXPECT_EQ(board.chip.systemVersion, "1.0");
  EXPECT_EQ(board.chip.appVersion, "1.9");
  EXPECT_EQ(board.chip.state, ChipSection::State::kFull);
  EXPECT_FALSE(board.chip.implementsUpdates);
  EXPECT_FALSE(board.chip.selfTestPasses);
  EXPECT_THAT(board.chip.information, ElementsAre(0xFFFFFFFF, 0xFFFFFFFF, 0));
  EXPECT_THAT(board.chip.hackInformation, ElementsAre(0x00, 0xFF));
  EXPECT_THAT(board.chip.akRecord, ElementsAre(0xA1));
  EXPECT_THAT(board.chip.rpmbRecord, ElementsAre(0xB2, 0xC3));
  EXPECT_THAT(board.settings, ElementsAre(Pair("db/comss/serialnumber", "SN-1")));
  EXPECT_THAT(board.systemInformation, ElementsAre(Pair(0, "M"), Pair(2, "B")));
}

TEST(BoardTest, AnImageRunsAsTheVersionsThatItReports) {
  const Board board = Read("title = \"T\"\n[image]\nsystem_version = \"1\"\napp_version = \"2\"");
  EXPECT_EQ(board.image.runsSystemVersion, "1");
  EXPECT_EQ(board.image.runsAppVersion, "2");
}

TEST(BoardTest, TakesAnImageFile) {
  EXPECT_EQ(Read("title = \"T\"\n[image]\nfile = \"a.img\"").image.file, "a.img");
}

TEST(BoardTest, TheFlagCanBeLeftUntouched) {
  EXPECT_EQ(Read("title = \"T\"\n[probe]\nflag = \"untouched\"").probe.flag, std::nullopt);
}

Fault ReadOneFault(const std::string& keys) {
  const Board board = Read("title = \"T\"\n[[fault]]\n" + keys);
  EXPECT_EQ(board.faults.size(), 1U);
  return board.faults.at(0);
}

TEST(BoardTest, ReadsFaultsOfCalls) {
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

  const Fault node = ReadOneFault("call = \"ioctl\"\nresult = \"ENODEV\"");
  EXPECT_EQ(node.occurrence, 0U);
  EXPECT_EQ(node.errorNumber, ENODEV);

  EXPECT_EQ(ReadOneFault("call = \"CNolvWsm::GetBlob\"\noccurrence = 4294967295").occurrence,
            0xFFFFFFFFU);
  EXPECT_EQ(ReadOneFault("call = \"system_info_get_value_string\"\nresult = -5").result,
            static_cast<std::uint32_t>(-5));
}

TEST(BoardTest, FaultWithAnyNamedResult_HasItsValue) {
  for (const TeeCode& code : kTeeCodes) {
    const std::string name = code.name;
    EXPECT_EQ(ReadOneFault("call = \"TEEC_InitializeContext\"\nresult = \"" + name + "\"").result,
              code.value)
        << name;
  }
}

TEST(BoardTest, ReadsFaultsOfAnswers) {
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

  const AnswerFault number = ReadOneFault("command = 18\nitem = 2\nvalue = -1").answer;
  EXPECT_EQ(number.kind, kReplaceByNumber);
  EXPECT_EQ(number.number, 0xFFFFFFFFU);

  const AnswerFault text = ReadOneFault("command = 18\nitem = 3\nvalue = \"a\\u0000b\"").answer;
  EXPECT_EQ(text.kind, kReplaceByBytes);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(text.bytes), text.byteCount),
            std::string("a\0b", 3));
}

TEST(BoardTest, ReadsPowerCuts) {
  const Fault fault = ReadOneFault("power_cut_after_writes = 2");
  EXPECT_EQ(fault.kind, Fault::Kind::kPowerCut);
  EXPECT_EQ(fault.writes, 2U);
}

TEST(BoardTest, DescribesFaultsForReports) {
  EXPECT_EQ(ReadOneFault("call = \"open\"\nresult = \"EIO\"").description, "open, always");
  EXPECT_EQ(
      ReadOneFault("command = \"vm_updateFW\"\nmode = 7\noccurrence = 3\nresult = 1").description,
      "vm_updateFW in mode 7, occurrence 3");
  EXPECT_EQ(ReadOneFault("power_cut_after_writes = 2").description, "power cut after write 2");
}

struct WrongBoard {
  const char* name;
  std::string text;
  /// What the error says behind "some.toml:".
  const char* error;
};

class WrongBoardTest : public ::testing::TestWithParam<WrongBoard> {};

TEST_P(WrongBoardTest, IsRefusedWithOneLineThatNamesThePlace) {
  try {
    Read(GetParam().text);
    FAIL() << "the board was taken";
  } catch (const BoardError& error) {
    const std::string line = error.what();
    EXPECT_EQ(line.find(std::string("some.toml:") + GetParam().error), 0U) << line;
    EXPECT_EQ(line.find('\n'), line.npos) << line;
  }
}

std::string In(const char* section, const std::string& keys) {
  return std::string("title = \"T\"\n[") + section + "]\n" + keys;
}

std::string InFault(const std::string& keys) { return "title = \"T\"\n[[fault]]\n" + keys; }

const WrongBoard kWrongBoards[] = {
    {"not_toml", "title = \"T\"\n\nnode =", "3: not a TOML file: "},
    {"key_twice", "title = \"T\"\ntitle = \"U\"", "2: not a TOML file: "},
    {"empty", "", "1: \"title\" is missing"},
    {"empty_title", "title = \"\"", "1: \"title\" is missing"},
    {"title_not_text", "title = 4", "1: \"title\" must be a text in quotes"},
    {"unknown_key", "title = \"T\"\ncolour = 1",
     "2: unknown key \"colour\" in the file; known there: title, about"},
    {"section_not_table", "title = \"T\"\nprobe = 1", "2: \"probe\" must be a section: [probe]"},
    {"unknown_key_in_section", In("probe", "nod = \"present\""),
     "3: unknown key \"nod\" in [probe]; known there: node, ioctl, flag"},
    {"unknown_word", In("probe", "node = \"absent\""),
     "3: \"node\" must be one of \"present\", \"missing\""},
    {"word_not_text", In("probe", "ioctl = true"), "3: \"ioctl\" must be a text in quotes"},
    {"flag_too_large", In("probe", "flag = 2147483648"),
     "3: \"flag\" must be a whole number from -2147483648 to 2147483647"},
    {"flag_too_small", In("probe", "flag = -2147483649"), "3: \"flag\" must be a whole number"},
    {"flag_other_word", In("probe", "flag = \"none\""),
     "3: \"flag\" must be a 32-bit signed number or \"untouched\""},
    {"truth_not_truth", In("secure_world", "present = \"yes\""),
     "3: \"present\" must be true or false"},
    {"unknown_key_secure_world", In("secure_world", "ta = true"), "3: unknown key \"ta\""},
    {"version_too_long", In("image", "app_version = \"" + std::string(253, '1') + "\""),
     "3: \"app_version\" must be at most 252 bytes long"},
    {"payload_not_whole", In("image", "payload_size = 1.5"),
     "3: \"payload_size\" must be a whole number from 0"},
    {"payload_negative", In("image", "payload_size = -1"), "3: \"payload_size\" must be a whole"},
    {"file_and_versions", In("image", "system_version = \"1\"\nfile = \"a.img\""),
     "4: \"file\" must be the only key of [image]"},
    {"unknown_chip_state", In("chip", "state = \"missing\""),
     "3: \"state\" must be one of \"whole\", \"interrupted\", \"damaged\", \"full\""},
    {"unknown_image_state", In("image", "state = \"full\""),
     "3: \"state\" must be one of \"whole\", \"missing\", \"damaged\""},
    {"information_not_list", In("chip", "information = 3"),
     "3: \"information\" must be a list of at most 64 numbers"},
    {"information_word_not_number", In("chip", "information = [1,\n\"2\"]"),
     "4: a word of \"information\" must be a whole number"},
    {"information_word_too_large", In("chip", "information = [4294967296]"),
     "3: a word of \"information\" must be a whole number"},
    {"hex_odd", In("chip", "ak_record = \"abc\""),
     "3: \"ak_record\" must be at most 2048 bytes in hexadecimal, two digits each"},
    {"hex_other_letter", In("chip", "hack_information = \"0g\""),
     "3: \"hack_information\" must be at most 1024 bytes in hexadecimal"},
    {"hex_too_long", In("chip", "hack_information = \"" + std::string(2050, '0') + "\""),
     "3: \"hack_information\" must be at most 1024 bytes"},
    {"setting_not_text", In("settings", "\"a/b\" = 1"), "3: \"a/b\" must be a text in quotes"},
    {"unknown_system_information", In("system_information", "serial = \"1\""),
     "3: unknown key \"serial\" in [system_information]"},
    {"fault_single_brackets", In("fault", "call = \"open\""),
     "2: faults must be written as [[fault]]"},
    {"fault_of_nothing", InFault("occurrence = 1"),
     "2: a fault starts with call, command or power_cut_after_writes"},
    {"unknown_call", InFault("call = \"TEEC_CloseSession\""),
     "3: \"call\" must be one of TEEC_InitializeContext, "},
    {"call_with_command_key", InFault("call = \"open\"\nmode = 3"),
     "4: unknown key \"mode\" in [[fault]]"},
    {"call_without_result", InFault("call = \"TEEC_InitializeContext\""),
     "2: \"result\" is missing: a TEEC_ name or a number"},
    {"unknown_result", InFault("call = \"TEEC_InitializeContext\"\nresult = \"TEEC_ERROR_BIZY\""),
     "4: \"result\" must be a number or a name of the TEE Client API"},
    {"result_too_large", InFault("call = \"TEEC_InitializeContext\"\nresult = 4294967296"),
     "4: \"result\" must be a whole number from 0 to 4294967295"},
    {"origin_missing", InFault("call = \"TEEC_OpenSession\"\nresult = 1"),
     "2: \"origin\" is missing: a number from 1 to 4"},
    {"origin_too_large", InFault("call = \"TEEC_OpenSession\"\nresult = 1\norigin = 5"),
     "5: \"origin\" must be a whole number from 1 to 4"},
    {"origin_of_no_origin", InFault("call = \"open\"\nresult = \"EIO\"\norigin = 1"),
     "5: open has no origin"},
    {"unknown_error_name", InFault("call = \"open\"\nresult = \"EOOPS\""),
     "4: \"result\" of open must be the name of an error"},
    {"result_of_plain_failure", InFault("call = \"vconf_get_str\"\nresult = 1"),
     "4: vconf_get_str just fails: leave \"result\" out"},
    {"system_information_success", InFault("call = \"system_info_get_value_string\"\nresult = 0"),
     "4: \"result\" must be a whole number from -2147483648 to -1"},
    {"system_information_no_result", InFault("call = \"system_info_get_value_string\""),
     "2: \"result\" is missing: a number"},
    {"occurrence_zero", InFault("call = \"open\"\nresult = \"EIO\"\noccurrence = 0"),
     "5: \"occurrence\" must be a whole number from 1"},
    {"occurrence_other_word", InFault("call = \"open\"\nresult = \"EIO\"\noccurrence = \"never\""),
     "5: \"occurrence\" must be a number from 1, or \"always\""},
    {"unknown_command", InFault("command = \"vm_updateFw\"\nresult = 1"),
     "3: \"command\" must be a number or a method of the command interface"},
    {"command_negative", InFault("command = -1\nresult = 1"),
     "3: \"command\" must be a whole number from 0"},
    {"mode_not_number", InFault("command = 18\nmode = \"3\"\nresult = 1"),
     "4: \"mode\" must be a whole number"},
    {"command_without_change", InFault("command = 18"),
     "2: a command's fault takes one of result, record, item"},
    {"command_with_two_changes", InFault("command = 18\nresult = 1\nrecord = [1, 2]"),
     "2: a command's fault takes one of result, record, item"},
    {"record_of_one", InFault("command = 18\nrecord = [1]"),
     "4: \"record\" must be two numbers: [vamCode, fwCode]"},
    {"record_code_too_large", InFault("command = 18\nrecord = [0, 2147483648]"),
     "4: a code of \"record\" must be a whole number"},
    {"item_zero", InFault("command = 18\nitem = 0\ncut = true"),
     "4: \"item\" must be a whole number from 1 to 64"},
    {"item_unchanged", InFault("command = 18\nitem = 1\ncut = false"),
     "2: a reply item takes one of missing = true, cut = true, value = ..."},
    {"item_changed_twice", InFault("command = 18\nitem = 1\ncut = true\nvalue = 1"),
     "2: a reply item takes one of"},
    {"item_value_too_long",
     InFault("command = 18\nitem = 1\nvalue = \"" + std::string(513, 'a') + "\""),
     "5: \"value\" must be a number or a text of at most 512 bytes"},
    {"item_value_of_truth", InFault("command = 18\nitem = 1\nvalue = true"),
     "5: \"value\" must be a number or a text"},
    {"power_cut_zero", InFault("power_cut_after_writes = 0"),
     "3: \"power_cut_after_writes\" must be a whole number from 1"},
    {"power_cut_with_result", InFault("power_cut_after_writes = 1\nresult = 1"),
     "4: unknown key \"result\" in [[fault]]"},
};

INSTANTIATE_TEST_SUITE_P(Boards, WrongBoardTest, ::testing::ValuesIn(kWrongBoards),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(BoardTest, AMissingFileIsNamed) {
  try {
    (void)ReadBoardFile("no/such.toml");
    FAIL() << "a board was read";
  } catch (const BoardError& error) {
    EXPECT_THAT(error.what(), HasSubstr("no/such.toml: cannot be read"));
  }
}

TEST(BoardTest, EveryShippedBoardCanBeReadAndTellsWhatItIs) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VAM_BOARDS_SOURCE)) {
    SCOPED_TRACE(entry.path().string());
    const Board board = ReadBoardFile(entry.path().string());
    EXPECT_FALSE(board.about.empty());
    ++count;
  }
  EXPECT_GE(count, 25);
}

}  // namespace
}  // namespace vam
