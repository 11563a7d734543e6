// vamctl's command line: every refusal, the help, and the questions on a terminal.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"
#include "tests/support/terminal.h"
#include "tests/support/vamctl_run.h"

namespace vam {
namespace {

using Words = std::vector<std::string>;

std::string Joined(const Words& words) {
  std::string text;
  for (const std::string& word : words) {
    text += word + " ";
  }
  return text;
}

struct RefusalRow {
  Words arguments;
  const char* line;
};

const std::string kTooLong(16386, 'a');

const RefusalRow kRefusals[] = {
    {{}, "A command is required; see vamctl --help"},
    {{"bogus"}, "'bogus' is no command of vamctl; see vamctl --help"},
    {{"verdcit"}, "'verdcit' is no command of vamctl; did you mean verdict?; see vamctl --help"},
    {{"--json", "get-info"},
     "'--json' comes after the command: vamctl get-info --json; see vamctl get-info --help"},
    {{"get-info", "extra"},
     "'extra' is one word too many for vamctl get-info; see vamctl get-info --help"},
    {{"get-info", "--yes"}, "'--yes' is no option of vamctl get-info; see vamctl get-info --help"},
    {{"get-info", "--jsno"},
     "'--jsno' is no option of vamctl get-info; did you mean --json?; see vamctl get-info --help"},
    {{"get-info", "--json=no"}, "--json takes no value; see vamctl get-info --help"},
    {{"get-info", "get-app-info"},
     "'get-app-info' is one word too many for vamctl get-info; see vamctl get-info --help"},
    {{"verdict", "x"}, "'x' is one word too many for vamctl verdict; see vamctl verdict --help"},
    {{"ak-provision"}, "RECORD or --hex is required; see vamctl ak-provision --help"},
    {{"check-vam-ak", "--json"}, "RECORD or --hex is required; see vamctl check-vam-ak --help"},
    {{"ak-provision", "/tmp/record", "--hex", "00"},
     "RECORD excludes --hex; give one of them; see vamctl ak-provision --help"},
    {{"ak-provision", ""}, "RECORD: the name is empty; see vamctl ak-provision --help"},
    {{"ak-provision", "/tmp/nowhere"}, "/tmp/nowhere: cannot be read: No such file or directory"},
    {{"ak-provision", "/tmp/\xFF\n"}, "/tmp/\\xff\\x0a: cannot be read: No such file or directory"},
    {{"check-vam-ak", "/tmp"}, "/tmp: cannot be read: Is a directory"},
    {{"check-vam-ak", "/dev/zero"},
     "/dev/zero: more than 8192 bytes, which the block to the chip cannot carry"},
    {{"ak-provision", "--hex", "abc"},
     "--hex: give two hexadecimal digits a byte and nothing else"},
    {{"ak-provision", "--hex", "0x"}, "--hex: give two hexadecimal digits a byte and nothing else"},
    {{"ak-provision", "--hex", kTooLong},
     "--hex: more than 8192 bytes, which the block to the chip cannot carry"},
    {{"ak-provision", "--hex"}, "--hex needs a value; see vamctl ak-provision --help"},
    {{"ak-provision", "--hex", "00", "--hex", "01"},
     "--hex is there more than once; give it once; see vamctl ak-provision --help"},
    {{"get-hack-info"}, "--size is required; see vamctl get-hack-info --help"},
    {{"get-hack-info", "--size", "-1"},
     "--size: '-1' is no whole number from 0 to 8192; see vamctl get-hack-info --help"},
    {{"get-hack-info", "--size", "8193"},
     "--size: '8193' is no whole number from 0 to 8192; see vamctl get-hack-info --help"},
    {{"get-fw-info", "--count", "0"},
     "--count: '0' is no whole number from 1 to 2048; see vamctl get-fw-info --help"},
    {{"get-fw-info", "--count", "0x10"},
     "--count: '0x10' is no whole number from 1 to 2048; see vamctl get-fw-info --help"},
    {{"get-fw-info", "--count="}, "--count needs a value; see vamctl --help"},
    {{"older-get-fw-info", "--count", "2049"},
     "--count: '2049' is no whole number from 1 to 2048; see vamctl older-get-fw-info --help"},
    {{"update-fw"}, "MODE is required; see vamctl update-fw --help"},
    {{"update-fw", "three"},
     "MODE: 'three' is no mode; give image (7), update (3), chip (11) or another whole number of "
     "32 bits; see vamctl update-fw --help"},
    {{"update-fw", "updat"},
     "MODE: 'updat' is no mode; give image (7), update (3), chip (11) or another whole number of "
     "32 bits; did you mean update?; see vamctl update-fw --help"},
    {{"update-fw", "3x", "--yes"},
     "MODE: '3x' is no mode; give image (7), update (3), chip (11) or another whole number of "
     "32 bits; see vamctl update-fw --help"},
    {{"older-update-fw", "2147483648"},
     "MODE: '2147483648' is no mode; give image (7), update (3), chip (11) or another whole number "
     "of 32 bits; see vamctl older-update-fw --help"},
    {{"remove-ak-keys"},
     "remove-ak-keys removes the chip's AK keys; give --yes, or answer on a terminal"},
    {{"remove-ak-keys", "--json"},
     "remove-ak-keys removes the chip's AK keys; give --yes, or answer on a terminal"},
    {{"force-recovery"},
     "force-recovery may erase the chip's firmware; give --yes, or answer on a terminal"},
    {{"force-recovery-sp"},
     "force-recovery-sp may erase the system part of the chip's firmware; give --yes, or answer "
     "on a terminal"},
    {{"update-fw", "3"},
     "update-fw writes the chip's firmware; give --yes, or answer on a terminal"},
    {{"older-update-fw", "3"},
     "older-update-fw writes the chip's firmware; give --yes, or answer on a terminal"},
};

TEST(CommandLine, RefusedRequest_SendsNothing) {
  for (const RefusalRow& row : kRefusals) {
    SCOPED_TRACE(Joined(row.arguments).substr(0, 60));
    const PrivateTmp tmp;
    WriteFile("/tmp/record", "record");
    const Output output = RunVamctl("update-needed", row.arguments);
    const bool asJson =
        std::find(row.arguments.begin(), row.arguments.end(), "--json") != row.arguments.end();
    EXPECT_EQ(output.standardOutput,
              asJson ? R"({"error":")" + std::string(row.line) + "\"}\n" : "");
    EXPECT_EQ(output.standardError, "vamctl: " + std::string(row.line) + "\n");
    EXPECT_EQ(output.status, 2);
    EXPECT_TRUE(SentNothing());
  }
}

TEST(CommandLine, NamedMode_IsItsNumber) {
  const std::pair<const char*, const char*> modes[] = {
      {"image", "7"}, {"update", "3"}, {"chip", "11"}, {"-5", "-5"}, {"0011", "11"}};
  for (const auto& [name, number] : modes) {
    for (const auto& [command, identifier] :
         {std::pair("update-fw", "18"), std::pair("older-update-fw", "30")}) {
      SCOPED_TRACE(name);
      const PrivateTmp tmp;
      EXPECT_NE(RunVamctl("update-needed", {command, name, "--yes"}).status, 2);
      EXPECT_EQ(SentRequests(),
                (Words{std::string("PutInt ") + number, std::string("invoke ") + identifier}));
    }
  }
}

TEST(CommandLine, RecordOnStandardInput_IsRead) {
  const PrivateTmp tmp;
  WriteFile("/tmp/record", std::string("a\0b", 3));
  const int record = open("/tmp/record", O_RDONLY | O_CLOEXEC);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  EXPECT_NE(RunProcess({VamctlOnBoard("update-needed", {"check-vam-ak", "-"}), BoardEnvironment(),
                        nowhere, nowhere, record}),
            2);
  EXPECT_EQ(SentRequests(), (Words{"PutUint 3", "PutBlob 610062", "invoke 23"}));
  close(record);
  close(nowhere);
}

TEST(CommandLine, Help_KnowsEveryCommand) {
  const PrivateTmp tmp;
  const Output help = Capture({Vamctl(), "--help"}, BoardEnvironment());
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.standardError, "");
  for (const char* command :
       {"get-info", "get-app-info", "self-test-all", "get-public-key-status", "ak-provision-rpmb",
        "remove-ak-keys", "force-recovery", "force-recovery-sp", "ak-provision", "check-vam-ak",
        "get-hack-info", "update-fw", "older-update-fw", "get-fw-info", "older-get-fw-info",
        "verdict"}) {
    EXPECT_NE(help.standardOutput.find(std::string("\n  ") + command + " "), std::string::npos)
        << command;
    const Output own = Capture({Vamctl(), command, "--help"}, BoardEnvironment());
    EXPECT_EQ(own.status, 0);
    EXPECT_EQ(own.standardError, "");
    EXPECT_NE(own.standardOutput.find(std::string("vamctl ") + command + " [OPTIONS]"),
              std::string::npos)
        << own.standardOutput;
  }
}

TEST(CommandLine, HelpOfACommandWithARecord_SaysWhatItTakes) {
  const PrivateTmp tmp;
  for (const char* command : {"ak-provision", "check-vam-ak"}) {
    const std::string help =
        Capture({Vamctl(), command, "--help"}, BoardEnvironment()).standardOutput;
    EXPECT_NE(help.find("\n  RECORD FILE "), std::string::npos) << help;
    EXPECT_NE(help.find("\n  --hex DIGITS "), std::string::npos) << help;
  }
}

TEST(CommandLine, Version_IsTheProjects) {
  const PrivateTmp tmp;
  const Output output = Capture({Vamctl(), "--version"}, BoardEnvironment());
  EXPECT_EQ(output.standardOutput, "vamctl " VAM_VERSION "\n");
  EXPECT_EQ(output.status, 0);
}

TEST(CommandLine, ClosedPipe_DoesNotEndTheCommand) {
  const PrivateTmp tmp;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  // It is carried out whole, and only its answer is lost.
  EXPECT_EQ(RunProcess({VamctlOnBoard("update-needed", {"update-fw", "3", "--yes"}, "/tmp/chip"),
                        BoardEnvironment(), ends[1], nowhere}),
            1);
  close(ends[1]);
  close(nowhere);
  const Output versions = RunVamctl("update-needed", {"update-fw", "11"}, "/tmp/chip");
  EXPECT_NE(versions.standardOutput.find("system version: 1.1,04/7,3\n"), std::string::npos);
}

struct QuestionRow {
  Words arguments;
  const char* question;
  int status;
  Words requests;
};

const QuestionRow kQuestions[] = {
    {{"remove-ak-keys"},
     "vamctl: remove-ak-keys removes the chip's AK keys. Go on? [y/N] ",
     1,
     {"invoke 44"}},
    {{"force-recovery"},
     "vamctl: force-recovery may erase the chip's firmware. Go on? [y/N] ",
     0,
     {"invoke 42"}},
    {{"force-recovery-sp"},
     "vamctl: force-recovery-sp may erase the system part of the chip's firmware. Go on? [y/N] ",
     0,
     {"invoke 43"}},
    {{"update-fw", "3"},
     "vamctl: update-fw writes the chip's firmware. Go on? [y/N] ",
     0,
     {"PutInt 3", "invoke 18"}},
    {{"older-update-fw", "3"},
     "vamctl: older-update-fw writes the chip's firmware. Go on? [y/N] ",
     0,
     {"PutInt 3", "invoke 30"}},
};

int RunOn(int standardInput, int standardError, const Words& arguments,
          const std::string& state = "") {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const int status = RunProcess({VamctlOnBoard("update-needed", arguments, state),
                                 BoardEnvironment(), nowhere, standardError, standardInput});
  close(nowhere);
  return status;
}

int RunOn(const Terminal& terminal, const Words& arguments, const std::string& state = "") {
  return RunOn(terminal.Descriptor(), terminal.Descriptor(), arguments, state);
}

TEST(Question, Agreed_IsCarriedOut) {
  for (const QuestionRow& row : kQuestions) {
    for (const char* keys : {"y\n", "yes\n", "Y\n", "Yes\n", "YES\n"}) {
      SCOPED_TRACE(row.question);
      const PrivateTmp tmp;
      const Terminal terminal;
      terminal.Type(keys);
      EXPECT_EQ(RunOn(terminal, row.arguments), row.status);
      EXPECT_EQ(terminal.Screen(), row.question);
      EXPECT_EQ(SentRequests(), row.requests);
    }
  }
}

TEST(Question, NotAgreed_SendsNothing) {
  for (const QuestionRow& row : kQuestions) {
    // The last one ends the input.
    for (const char* keys : {"n\n", "\n", "N\n", "yess\n", " y\n", "no\ny\n", "\x04"}) {
      SCOPED_TRACE(row.question);
      const PrivateTmp tmp;
      const Terminal terminal;
      terminal.Type(keys);
      EXPECT_EQ(RunOn(terminal, row.arguments), 2);
      EXPECT_EQ(terminal.Screen(), std::string(row.question) + "vamctl: nothing was done\n");
      EXPECT_TRUE(SentNothing());
    }
  }
}

TEST(Question, WithoutATerminal_IsARefusal) {
  const PrivateTmp tmp;
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  const Terminal unseen;
  unseen.Type("y\n");
  EXPECT_EQ(RunOn(unseen.Descriptor(), nowhere, {"remove-ak-keys"}), 2);
  EXPECT_EQ(unseen.Screen(), "");
  EXPECT_TRUE(SentNothing());
  const Terminal seen;
  EXPECT_EQ(RunOn(nowhere, seen.Descriptor(), {"remove-ak-keys"}), 2);
  EXPECT_EQ(seen.Screen(),
            "vamctl: remove-ak-keys removes the chip's AK keys; give --yes, or answer on a "
            "terminal\n");
  EXPECT_TRUE(SentNothing());
  close(nowhere);
}

TEST(Question, HarmlessRequest_IsNotAsked) {
  const Words harmless[] = {
      {"remove-ak-keys", "--yes"},    {"update-fw", "7"}, {"update-fw", "11"},
      {"older-update-fw", "7"},       {"get-info"},       {"ak-provision-rpmb"},
      {"ak-provision", "--hex", "00"}};
  for (const Words& arguments : harmless) {
    SCOPED_TRACE(Joined(arguments));
    const PrivateTmp tmp;
    const Terminal terminal;
    // Ends the wait of a question that should not be there.
    terminal.Type("n\n");
    EXPECT_NE(RunOn(terminal, arguments), 2);
    EXPECT_EQ(terminal.Screen(), "");
  }
}

// Provisioning asks where the chip may hold a record already.

const std::string kStateFolder = "/tmp/state";

struct ProvisioningRow {
  Words arguments;
  std::string danger;
  Words requests;
  /// The record that the chip then holds.
  const char* record;
};

const ProvisioningRow kProvisioning[] = {
    {{"ak-provision", "--hex", "b1b2"},
     "ak-provision may replace the chip's AK record",
     {"invoke 26", "PutUint 2", "PutBlob b1b2", "invoke 24"},
     "b1b2"},
    {{"ak-provision-rpmb"},
     "ak-provision-rpmb may replace the chip's AK record",
     {"invoke 26", "invoke 25"},
     "a0a1a2a3a4a5a6a7"},
};

/// A chip that holds the record "a1a2".
class ProvisionedChip : public ::testing::TestWithParam<ProvisioningRow> {
 protected:
  void SetUp() override {
    ASSERT_EQ(RunVamctl("update-needed", {"ak-provision", "--hex", "a1a2"}, kStateFolder).status,
              0);
  }

  static bool Holds(const std::string& record) {
    return RunVamctl("update-needed", {"check-vam-ak", "--hex", record}, kStateFolder).status == 0;
  }

 private:
  const PrivateTmp tmp;
};

TEST_P(ProvisionedChip, WithoutATerminal_KeepsItsRecord) {
  const Output output = RunVamctl("update-needed", GetParam().arguments, kStateFolder);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_EQ(output.standardError,
            "vamctl: " + GetParam().danger + "; give --yes, or answer on a terminal\n");
  EXPECT_EQ(output.status, 2);
  EXPECT_EQ(SentRequests(), Words{"invoke 26"});
  EXPECT_TRUE(Holds("a1a2"));
}

TEST_P(ProvisionedChip, NotAgreed_KeepsItsRecord) {
  const Terminal terminal;
  terminal.Type("n\n");
  EXPECT_EQ(RunOn(terminal, GetParam().arguments, kStateFolder), 2);
  EXPECT_EQ(terminal.Screen(),
            "vamctl: " + GetParam().danger + ". Go on? [y/N] vamctl: nothing was done\n");
  EXPECT_EQ(SentRequests(), Words{"invoke 26"});
  EXPECT_TRUE(Holds("a1a2"));
}

TEST_P(ProvisionedChip, Agreed_TakesTheOtherRecord) {
  const Terminal terminal;
  terminal.Type("y\n");
  EXPECT_EQ(RunOn(terminal, GetParam().arguments, kStateFolder), 0);
  EXPECT_EQ(terminal.Screen(), "vamctl: " + GetParam().danger + ". Go on? [y/N] ");
  EXPECT_EQ(SentRequests(), GetParam().requests);
  EXPECT_TRUE(Holds(GetParam().record));
}

TEST_P(ProvisionedChip, Yes_TakesTheOtherRecordUnasked) {
  Words arguments = GetParam().arguments;
  arguments.emplace_back("--yes");
  const Terminal terminal;
  terminal.Type("n\n");
  EXPECT_EQ(RunOn(terminal, arguments, kStateFolder), 0);
  EXPECT_EQ(terminal.Screen(), "");
  EXPECT_TRUE(Holds(GetParam().record));
}

INSTANTIATE_TEST_SUITE_P(Commands, ProvisionedChip, ::testing::ValuesIn(kProvisioning),
                         [](const auto& row) {
                           return row.param.arguments[0] == "ak-provision" ? "AkProvision"
                                                                           : "AkProvisionRpmb";
                         });

TEST(Provisioning, OtherAnswerThanThatThereIsNoRecord_Asks) {
  for (const char* fault : {"command = \"vam_getPublicKeyStatus\"\nresult = \"TEEC_ERROR_BUSY\"",
                            "call = \"TEEC_InitializeContext\"\nresult = \"TEEC_ERROR_GENERIC\""}) {
    SCOPED_TRACE(fault);
    const PrivateTmp tmp;
    const Output output =
        RunVamctl("[[fault]]\n" + std::string(fault) + "\n", {"ak-provision", "--hex", "b1b2"});
    EXPECT_EQ(output.standardOutput, "");
    EXPECT_EQ(output.standardError,
              "vamctl: ak-provision may replace the chip's AK record; give --yes, or answer on a "
              "terminal\n");
    EXPECT_EQ(output.status, 2);
    EXPECT_EQ(SentRequests(), Words{"invoke 26"});
  }
}

TEST(Provisioning, UnusableRecord_IsRefusedBeforeAnythingIsSent) {
  const PrivateTmp tmp;
  EXPECT_EQ(RunVamctl("update-needed", {"ak-provision", "/tmp/nowhere"}).status, 2);
  EXPECT_TRUE(SentNothing());
}

}  // namespace
}  // namespace vam
