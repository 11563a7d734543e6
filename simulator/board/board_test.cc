#include "simulator/board/board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "simulator/board/wrong_board_test.h"
#include "simulator/files/temporary_folder.h"

namespace vam {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

Board Read(const std::string& text) { return ReadBoardText(text, "some.toml"); }

TEST(BoardTest, EmptyFile_IsTheDefaultBoardUnderItsFilesName) {
  const Board board = ReadBoardText("", "folder/bare.toml");
  EXPECT_EQ(board.title, "bare");
  EXPECT_EQ(board.about, "");
  EXPECT_EQ(board.outcome, "");
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

TEST(BoardTest, FileWithLettersThatAreNotAscii_IsReadAsItIs) {
  const Board board = Read(
      "\xEF\xBB\xBF# \xC3\xA9\ntitle = \"\xC3\xA9\"\n[settings]\n\"\xC3\xA9\" = '\xC3\xA9'\n"
      "\"\xC3\xA8\" = '\xC3\xA8'\n");
  EXPECT_EQ(board.title, "\xC3\xA9");
  EXPECT_THAT(board.settings,
              ElementsAre(Pair("\xC3\xA8", "\xC3\xA8"), Pair("\xC3\xA9", "\xC3\xA9")));
}

TEST(BoardTest, FileWithEveryKey_IsReadWhole) {
  const Board board = Read(R"(
title = "Full"
about = "Everything at once."
outcome = "as it comes"
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
  EXPECT_EQ(board.title, "Full");
  EXPECT_EQ(board.about, "Everything at once.");
  EXPECT_EQ(board.outcome, "as it comes");
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

TEST(BoardTest, EmptyTitle_IsTheFilesName) { EXPECT_EQ(Read("title = \"\"").title, "some"); }

TEST(BoardTest, ImageWithoutRunsVersions_RunsAsWhatItClaims) {
  const Board board = Read("[image]\nsystem_version = \"1\"\napp_version = \"2\"");
  EXPECT_EQ(board.image.runsSystemVersion, "1");
  EXPECT_EQ(board.image.runsAppVersion, "2");
}

TEST(BoardTest, ImageFile_IsTaken) {
  EXPECT_EQ(Read("[image]\nfile = \"a.img\"").image.file, "a.img");
}

TEST(BoardTest, FlagUntouched_IsNoFlag) {
  EXPECT_EQ(Read("[probe]\nflag = \"untouched\"").probe.flag, std::nullopt);
}

class WrongBoardTest : public ::testing::TestWithParam<WrongBoard> {};

TEST_P(WrongBoardTest, WrongBoard_IsRefusedWithOneLineThatNamesThePlace) {
  ExpectRefused(GetParam());
}

std::string In(const char* section, const std::string& keys) {
  return std::string("title = \"T\"\n[") + section + "]\n" + keys;
}

const WrongBoard kWrongBoards[] = {
    {"not_toml", "title = \"T\"\n\nnode =", "3: not a TOML file: "},
    {"key_twice", "title = \"T\"\ntitle = \"U\"", "2: not a TOML file: "},
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
};

INSTANTIATE_TEST_SUITE_P(Boards, WrongBoardTest, ::testing::ValuesIn(kWrongBoards), NameOf);

TEST(BoardTest, MissingFile_IsNamed) {
  try {
    (void)ReadBoardFile("no/such.toml");
    FAIL() << "a board was read";
  } catch (const BoardError& error) {
    EXPECT_STREQ(error.what(),
                 "no/such.toml: cannot be read: No such file or directory; give a board file, or a "
                 "name that `vam-board list` shows");
  }
}

TEST(BoardTest, ShippedBoard_IsReadAndSaysWhatItIs) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VAM_BOARDS_SOURCE)) {
    SCOPED_TRACE(entry.path().string());
    const Board board = ReadBoardFile(entry.path().string());
    EXPECT_FALSE(board.about.empty());
    ++count;
  }
  EXPECT_GE(count, 25);
}

TEST(BoardTest, SystemInformation_IsKeptByTheNumbersOfItsKeys) {
  const Board board = Read(
      "[system_information]\nbuild_identifier = \"B\"\nboard_revision = \"R\"\nmodel_name = \"M\"");
  EXPECT_THAT(board.systemInformation, ElementsAre(Pair(0, "M"), Pair(1, "R"), Pair(2, "B")));
}

TEST(BoardTest, ValueAtItsLimit_IsTaken) {
  const std::string version(252, '1');
  const auto versions = [&](const char* section) {
    return Read(std::string("[") + section + "]\nsystem_version = \"" + version +
                "\"\napp_version = \"" + version + "\"");
  };
  EXPECT_EQ(versions("image").image.systemVersion, version);
  EXPECT_EQ(versions("image").image.runsAppVersion, version);
  EXPECT_EQ(versions("chip").chip.appVersion, version);
  EXPECT_EQ(Read("[image]\npayload_size = 16777216").image.payloadSize, 16777216U);
  EXPECT_TRUE(Read("[chip]\ninformation = []").chip.information.empty());
  std::string words = "1";
  for (int i = 1; i < 64; ++i) {
    words += ", 1";
  }
  EXPECT_EQ(Read("[chip]\ninformation = [" + words + "]").chip.information.size(), 64U);
  EXPECT_EQ(Read("[chip]\ninformation = [-2147483648]").chip.information[0], 0x80000000U);
  EXPECT_EQ(Read("[chip]\nhack_information = \"" + std::string(2048, 'a') + "\"")
                .chip.hackInformation.size(),
            1024U);
  const Board records = Read("[chip]\nak_record = \"" + std::string(4096, 'a') +
                             "\"\nrpmb_record = \"" + std::string(4096, 'b') + "\"");
  EXPECT_EQ(records.chip.akRecord.size(), 2048U);
  EXPECT_EQ(records.chip.rpmbRecord.size(), 2048U);
  EXPECT_EQ(Read("[probe]\nflag = 2147483647").probe.flag, std::optional<std::int32_t>(INT32_MAX));
}

TEST(BoardTest, EachSectionOfTheProbe_IsReadAlone) {
  const ProbeSection silent = Read("[probe]\nioctl = \"fails\"").probe;
  EXPECT_TRUE(silent.nodePresent);
  EXPECT_FALSE(silent.ioctlAnswers);
  const SecureWorldSection bare = Read("[secure_world]\ntrusted_application = false").secureWorld;
  EXPECT_TRUE(bare.present);
  EXPECT_FALSE(bare.trustedApplication);
}

TEST(BoardTest, ChipAndImage_AreInEachState) {
  EXPECT_EQ(Read("[chip]\nstate = \"whole\"").chip.state, ChipSection::State::kWhole);
  EXPECT_EQ(Read("[chip]\nstate = \"interrupted\"").chip.state, ChipSection::State::kInterrupted);
  EXPECT_EQ(Read("[chip]\nstate = \"damaged\"").chip.state, ChipSection::State::kDamaged);
  EXPECT_EQ(Read("[image]\nstate = \"whole\"").image.state, ImageSection::State::kWhole);
  EXPECT_EQ(Read("[image]\nstate = \"missing\"").image.state, ImageSection::State::kMissing);
}

/// Texts with letters that are not ASCII, in each form that TOML has. A letter after one of them,
/// on the third line, stands outside.
TEST(BoardTest, LettersThatAreNotAscii_AreTakenInTextsAndCommentsAlone) {
  const std::string letter = "\xC3\xA9";
  const std::string texts[] = {
      "\"" + letter + "\"",
      "'" + letter + "'",
      "'\\'",
      "'\"" + letter + "'",
      "\"'" + letter + "\"",
      "\"\\\"" + letter + "\"",
      "\"\\\\\"",
      "\"\" # " + letter,
      "'' # \"" + letter,
      "\"\"\"" + letter + "\"\"\"",
      "\"\"\"\"" + letter + "\"" + letter + "\"\"\"",
      "\"\"\"" + letter + "\"\"\"\"\"",
      "\"\"\"\\\"\"\"" + letter + "\"\"\"",
      "'''" + letter + "'" + letter + "'''",
      "'''\\'''",
      "'''\"" + letter + "\"'''",
  };
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    const std::string good = "[settings]\nkey = " + text + "\n";
    EXPECT_EQ(Read(good).settings.size(), 1U);
    EXPECT_EQ(Read(std::string(good).append("# ").append(letter)).settings.size(), 1U)
        << "a comment at the very end";
    ExpectRefused({"", good + letter + " = 1\n",
                   "3: not a TOML file: only texts in quotes and comments have letters that are "
                   "not ASCII"});
  }
  const Board board =
      Read("[settings]\nkey = \"\"\"\n" + letter + "\n\"\"\"\nother = '" + letter + "'");
  EXPECT_THAT(board.settings, ElementsAre(Pair("key", letter + "\n"), Pair("other", letter)));
  ExpectRefused({"", "\xEF\xBB\xBF" + letter + " = 1",
                 "1: not a TOML file: only texts in quotes and comments have letters that are not "
                 "ASCII"});
}

TEST(BoardTest, TextWithoutAnEnd_IsRefusedInItsLine) {
  for (const char* text : {"\"\xC3\xA9", "'\xC3\xA9", "\"\\", "\"\\\n"}) {
    ExpectRefused({"", std::string("title = ") + text, "1: not a TOML file: "});
  }
  for (const char* text :
       {"\"\xC3\xA9\n\xC3\xA9\"", "\"\"\"\xC3\xA9\n", "'''\xC3\xA9\n\xC3\xA9", "\"\"\"\\"}) {
    try {
      static_cast<void>(Read(std::string("title = ") + text));
      FAIL() << text;
    } catch (const BoardError& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr(": not a TOML file: "));
    }
  }
}

TEST(BoardTest, LargestFile_IsReadAndALargerOneIsNot) {
  const TemporaryFolder folder("vam-board-test");
  const std::string path = folder.Path() + "/large.toml";
  const std::string text = "title = \"Large\"\n#";
  std::ofstream(path) << text << std::string((std::size_t{1} << 20) - text.size(), 'x');
  EXPECT_EQ(ReadBoardFile(path).title, "Large");
  std::ofstream(path, std::ios::app) << 'x';
  EXPECT_THAT([&] { static_cast<void>(ReadBoardFile(path)); },
              testing::ThrowsMessage<BoardError>(
                  path + ": cannot be read: File too large; give a board file, or a name that "
                         "`vam-board list` shows"));
}

}  // namespace
}  // namespace vam
