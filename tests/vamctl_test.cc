// The bench console on the simulated board: every command as text and as JSON, byte for byte, with
// what reaches the trusted application; every refusal; the questions on a terminal; the verdict.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ios>
#include <optional>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/outcome.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"
#include "tests/support/terminal.h"

namespace vam {
namespace {

using Words = std::vector<std::string>;

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string Joined(const Words& words) {
  std::string text;
  for (const std::string& word : words) {
    text += word + " ";
  }
  return text;
}

std::string JournalFile() { return PrivateTmp::Folder() + "/journal"; }

/// Returns the command line that runs vamctl with `arguments` on `board`: the name of a board that
/// ships, or a fault to add to the board "update-needed".
Words OnBenchBoard(const std::string& board, Words arguments) {
  std::string file = board;
  if (board.front() == '[') {
    file = PrivateTmp::Folder() + "/board.toml";
    WriteFile(file, ReadFile(std::string(VAM_BOARDS) + "/update-needed.toml").value() + board);
  }
  arguments.insert(arguments.begin(), BenchConsole());
  return OnBoard(file, arguments, "", JournalFile());
}

/// Returns what the run asked of the trusted application: each value of a request, and each
/// invoked command's identifier.
Words Requests() {
  static const std::regex kValue(
      R"re("call":"(Put\w+)".*"(?:value|bytes)":"?([-0-9a-f]*|null)"?,)re");
  static const std::regex kInvocation(R"re("call":"TEEC_InvokeCommand".*"command":(\d+))re");
  Words requests;
  std::istringstream journal(ReadFile(JournalFile()).value());
  std::string line;
  std::smatch found;
  while (std::getline(journal, line)) {
    if (std::regex_search(line, found, kValue)) {
      requests.push_back(found.str(1) + " " + found.str(2));
    } else if (std::regex_search(line, found, kInvocation)) {
      requests.push_back("invoke " + found.str(1));
    }
  }
  return requests;
}

struct CommandRow {
  const char* name;
  std::string board;
  Words arguments;
  int status;
  Words requests;
  /// The lines that the command prints, and its answer as text and as JSON.
  std::string console;
  std::string text;
  std::string json;
};

void PrintTo(const CommandRow& row, std::ostream* stream) { *stream << row.name; }

std::string Connected(const std::string& method) {
  return "CA InterfaceSP: " + method + "\nTEE connection has been set\n";
}

std::string Invocation(const std::string& command, const std::string& result) {
  return "TEEC_InvokeCommand() failed for cmd = " + command + ", result = " + result +
         ", retOrigin = 4\n";
}

const std::string kDone = "result: 0x00000000 TEEC_SUCCESS\n";
const std::string kDoneJson = R"("result":{"code":0,"name":"TEEC_SUCCESS"})";
const std::string kNotFound = "result: 0xFFFF0008 TEEC_ERROR_ITEM_NOT_FOUND\n";
const std::string kNotFoundJson =
    R"("result":{"code":4294901768,"name":"TEEC_ERROR_ITEM_NOT_FOUND"})";
const std::string kBadState = "result: 0xFFFF0007 TEEC_ERROR_BAD_STATE\n";
const std::string kBadStateJson = R"("result":{"code":4294901767,"name":"TEEC_ERROR_BAD_STATE"})";
const std::string kGeneric = "result: 0xFFFF0000 TEEC_ERROR_GENERIC\n";
const std::string kGenericJson = R"("result":{"code":4294901760,"name":"TEEC_ERROR_GENERIC"})";
const std::string kNoData = "result: 0xFFFF000B TEEC_ERROR_NO_DATA\n";
const std::string kNoDataJson = R"("result":{"code":4294901771,"name":"TEEC_ERROR_NO_DATA"})";
const std::string kCut = "result: 0xFFFF000E TEEC_ERROR_COMMUNICATION\n";
const std::string kCutJson = R"("result":{"code":4294901774,"name":"TEEC_ERROR_COMMUNICATION"})";
const std::string kRefused = "result: 0xFFFF000F TEEC_ERROR_SECURITY\n";
const std::string kGood = "VAM: 0 VAM_RET_SUCCESS\nfirmware: 0 ZELK_NO_ERROR\n";
const std::string kGoodJson = R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
                              R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}})";
const std::string kImage = "system version: 1.1,04/7,3\napp version: 2.0,11\n";
const std::string kImageJson = R"("versions":{"system":"1.1,04/7,3","app":"2.0,11"})";
const std::string kChip = "system version: 1.0,17/7,3\napp version: 2.0,10\n";
const std::string kChipJson = R"("versions":{"system":"1.0,17/7,3","app":"2.0,10"})";
const std::string kTenWords =
    "word 0: 3\nword 1: 1\nword 2: 0\nword 3: 0\nword 4: 0\n"
    "word 5: 0\nword 6: 0\nword 7: 0\nword 8: 0\nword 9: -1\n";

std::string Json(const std::string& command, const std::string& members) {
  return R"({"command":")" + command + R"(",)" + members + "}\n";
}

std::string UpdateJson(const std::string& mode, const std::string& members) {
  return Json("update-fw", R"("mode":)" + mode + "," + members);
}

const CommandRow kCommands[] = {
    {"GetInfo",
     "update-needed",
     {"get-info"},
     0,
     {"invoke 28"},
     Connected("vam_getInfo"),
     kDone,
     Json("get-info", kDoneJson)},
    {"GetInfoOfDamagedChip",
     "chip-damaged",
     {"get-info"},
     1,
     {"invoke 28"},
     Connected("vam_getInfo") + Invocation("28", "4294901767"),
     kBadState,
     Json("get-info", kBadStateJson)},
    {"GetAppInfo",
     "update-needed",
     {"get-app-info"},
     0,
     {"invoke 29"},
     Connected("vam_getAppInfo"),
     kDone,
     Json("get-app-info", kDoneJson)},
    {"SelfTestAll",
     "update-needed",
     {"self-test-all"},
     0,
     {"invoke 32"},
     Connected("vam_selfTestAll"),
     kDone,
     Json("self-test-all", kDoneJson)},
    {"SelfTestAllFailing",
     "self-test-failing",
     {"self-test-all"},
     1,
     {"invoke 32"},
     Connected("vam_selfTestAll") + Invocation("32", "4294901760"),
     kGeneric,
     Json("self-test-all", kGenericJson)},
    {"GetPublicKeyStatus",
     "update-needed",
     {"get-public-key-status"},
     1,
     {"invoke 26"},
     Connected("vam_getPublicKeyStatus") + Invocation("26", "4294901768"),
     kNotFound,
     Json("get-public-key-status", kNotFoundJson)},
    {"AkProvisionRpmb",
     "update-needed",
     {"ak-provision-rpmb"},
     0,
     {"invoke 25"},
     Connected("vam_akProvisionRPMB"),
     kDone,
     Json("ak-provision-rpmb", kDoneJson)},
    {"RemoveAkKeys",
     "update-needed",
     {"remove-ak-keys", "--yes"},
     1,
     {"invoke 44"},
     Connected("vam_removeAkKeys") + Invocation("44", "4294901768"),
     kNotFound,
     Json("remove-ak-keys", kNotFoundJson)},
    {"ForceRecovery",
     "chip-interrupted",
     {"force-recovery", "--yes"},
     0,
     {"invoke 42"},
     Connected("vam_forceRecovery"),
     kDone,
     Json("force-recovery", kDoneJson)},
    {"ForceRecoverySp",
     "chip-interrupted",
     {"force-recovery-sp", "--yes"},
     0,
     {"invoke 43"},
     Connected("vam_forceRecoverySP"),
     kDone,
     Json("force-recovery-sp", kDoneJson)},
    {"ForceRecoverySpOfDamagedChip",
     "chip-damaged",
     {"force-recovery-sp", "--yes"},
     1,
     {"invoke 43"},
     Connected("vam_forceRecoverySP") + Invocation("43", "4294901767"),
     kBadState,
     Json("force-recovery-sp", kBadStateJson)},
    {"AkProvisionHex",
     "update-needed",
     {"ak-provision", "--hex", "00A0ff"},
     0,
     {"PutUint 3", "PutBlob 00a0ff", "invoke 24"},
     Connected("vam_akProvision"),
     kDone,
     Json("ak-provision", kDoneJson)},
    {"AkProvisionFile",
     "update-needed",
     {"ak-provision", "/tmp/record"},
     0,
     {"PutUint 4", "PutBlob 000aff41", "invoke 24"},
     Connected("vam_akProvision"),
     kDone,
     Json("ak-provision", kDoneJson)},
    {"AkProvisionEmptyRecord",
     "update-needed",
     {"ak-provision", "/dev/null"},
     1,
     {"PutUint 0", "PutBlob ", "invoke 24"},
     Connected("vam_akProvision") + Invocation("24", "4294901766"),
     "result: 0xFFFF0006 TEEC_ERROR_BAD_PARAMETERS\n",
     Json("ak-provision", R"("result":{"code":4294901766,"name":"TEEC_ERROR_BAD_PARAMETERS"})")},
    {"AkProvisionTooLarge",
     "update-needed",
     {"ak-provision", "/tmp/block"},
     1,
     {"PutUint 8192", "PutBlob null"},
     Connected("vam_akProvision") + "WSM error\n",
     kNoData,
     Json("ak-provision", kNoDataJson)},
    {"CheckVamAk",
     "update-needed",
     {"check-vam-ak", "/tmp/record"},
     1,
     {"PutUint 4", "PutBlob 000aff41", "invoke 23"},
     Connected("vam_checkVamAk") + Invocation("23", "4294901768"),
     kNotFound,
     Json("check-vam-ak", kNotFoundJson)},
    {"GetHackInfo",
     "update-needed",
     {"get-hack-info", "--size", "8"},
     0,
     {"invoke 39"},
     Connected("vam_getHackInfo"),
     kDone + "bytes: 48414b4901020304\n",
     Json("get-hack-info", kDoneJson + R"(,"bytes":"48414b4901020304")")},
    {"GetHackInfoCut",
     "update-needed",
     {"get-hack-info", "--size", "5"},
     0,
     {"invoke 39"},
     Connected("vam_getHackInfo"),
     kDone + "bytes: 48414b4901\n",
     Json("get-hack-info", kDoneJson + R"(,"bytes":"48414b4901")")},
    {"GetHackInfoFilledUp",
     "update-needed",
     {"get-hack-info", "--size", "10"},
     0,
     {"invoke 39"},
     Connected("vam_getHackInfo"),
     kDone + "bytes: 48414b49010203040000\n",
     Json("get-hack-info", kDoneJson + R"(,"bytes":"48414b49010203040000")")},
    {"GetHackInfoOfNoBytes",
     "update-needed",
     {"get-hack-info", "--size", "0"},
     0,
     {"invoke 39"},
     Connected("vam_getHackInfo"),
     kDone + "bytes: \n",
     Json("get-hack-info", kDoneJson + R"(,"bytes":"")")},
    {"GetHackInfoOfTheWholeBlock",
     "update-needed",
     {"get-hack-info", "--size", "8192"},
     0,
     {"invoke 39"},
     Connected("vam_getHackInfo"),
     kDone + "bytes: 48414b4901020304" + std::string(16368, '0') + "\n",
     Json("get-hack-info",
          kDoneJson + R"(,"bytes":"48414b4901020304)" + std::string(16368, '0') + '"')},
    {"GetHackInfoWhereThereIsNone",
     "up-to-date",
     {"get-hack-info", "--size", "8"},
     1,
     {"invoke 39"},
     Connected("vam_getHackInfo"),
     kNoData,
     Json("get-hack-info", kNoDataJson)},
    {"GetHackInfoOfDamagedChip",
     "chip-damaged",
     {"get-hack-info", "--size", "8"},
     1,
     {"invoke 39"},
     Connected("vam_getHackInfo") + Invocation("39", "4294901767"),
     kBadState,
     Json("get-hack-info", kBadStateJson)},
    {"GetFwInfo",
     "update-needed",
     {"get-fw-info"},
     0,
     {"invoke 19"},
     Connected("vam_getFWInfo"),
     kDone + kTenWords,
     Json("get-fw-info", kDoneJson + R"(,"words":[3,1,0,0,0,0,0,0,0,-1])")},
    {"GetFwInfoCut",
     "update-needed",
     {"get-fw-info", "--count", "1"},
     0,
     {"invoke 19"},
     Connected("vam_getFWInfo"),
     kDone + "word 0: 3\n",
     Json("get-fw-info", kDoneJson + R"(,"words":[3])")},
    {"GetFwInfoFilledUp",
     "update-needed",
     {"get-fw-info", "--count", "12"},
     0,
     {"invoke 19"},
     Connected("vam_getFWInfo"),
     kDone + kTenWords + "word 10: 0\nword 11: 0\n",
     Json("get-fw-info", kDoneJson + R"(,"words":[3,1,0,0,0,0,0,0,0,-1,0,0])")},
    {"GetFwInfoFailing",
     "information-query-failing",
     {"get-fw-info"},
     1,
     {"invoke 19"},
     Connected("vam_getFWInfo") + Invocation("19", "4294901771"),
     kNoData,
     Json("get-fw-info", kNoDataJson)},
    {"OlderGetFwInfo",
     "update-needed",
     {"older-get-fw-info", "--count", "2"},
     0,
     {"invoke 40"},
     Connected("vam_getFWInfo"),
     kDone + "word 0: 3\nword 1: 1\n",
     Json("older-get-fw-info", kDoneJson + R"(,"words":[3,1])")},
    {"UpdateFwReportsImage",
     "update-needed",
     {"update-fw", "7"},
     0,
     {"PutInt 7", "invoke 18"},
     Connected("vm_updateFW"),
     kDone + kGood + kImage,
     UpdateJson("7", kDoneJson + "," + kGoodJson + "," + kImageJson)},
    {"UpdateFwReportsChip",
     "update-needed",
     {"update-fw", "11"},
     0,
     {"PutInt 11", "invoke 18"},
     Connected("vm_updateFW"),
     kDone + kGood + kChip,
     UpdateJson("11", kDoneJson + "," + kGoodJson + "," + kChipJson)},
    {"UpdateFwUpdates",
     "update-needed",
     {"update-fw", "--yes", "3"},
     0,
     {"PutInt 3", "invoke 18"},
     Connected("vm_updateFW"),
     kDone + kGood + kImage,
     UpdateJson("3", kDoneJson + "," + kGoodJson + "," + kImageJson)},
    {"UpdateFwOfUnknownMode",
     "update-needed",
     {"update-fw", "-1"},
     1,
     {"PutInt -1", "invoke 18"},
     Connected("vm_updateFW") + "GetUint() system_ver_size error\n",
     kCut + "VAM: 7 VAM_RET_INVALID_PARAM\nfirmware: 0 ZELK_NO_ERROR\n",
     UpdateJson("-1", kCutJson + R"(,"record":{"vam":{"code":7,"name":"VAM_RET_INVALID_PARAM"},)"
                                 R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}})")},
    {"UpdateFwNotImplemented",
     "not-implemented",
     {"update-fw", "11"},
     1,
     {"PutInt 11", "invoke 18"},
     Connected("vm_updateFW"),
     kDone + "VAM: 13 VAM_RET_NOT_IMPLEMENTED\nfirmware: 0 ZELK_NO_ERROR\n" + kChip,
     UpdateJson("11", kDoneJson +
                          R"(,"record":{"vam":{"code":13,"name":"VAM_RET_NOT_IMPLEMENTED"},)"
                          R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}},)" +
                          kChipJson)},
    {"UpdateFwOfFirmwareFailure",
     "chip-full",
     {"update-fw", "3", "--yes"},
     1,
     {"PutInt 3", "invoke 18"},
     Connected("vm_updateFW") + "GetUint() system_ver_size error\n",
     kCut + "VAM: 4 VAM_RET_STORAGE_ERROR\nfirmware: -32 -ZELK_BUFFER_NOT_ENOUGH\n",
     UpdateJson("3", kCutJson + R"(,"record":{"vam":{"code":4,"name":"VAM_RET_STORAGE_ERROR"},)"
                                R"("firmware":{"code":-32,"name":"-ZELK_BUFFER_NOT_ENOUGH"}})")},
    {"UpdateFwRefused",
     "mode-7-failing",
     {"update-fw", "7"},
     1,
     {"PutInt 7", "invoke 18"},
     Connected("vm_updateFW") + Invocation("18", "4294901767") + "InvokeCommand error\n",
     kBadState,
     UpdateJson("7", kBadStateJson)},
    {"UpdateFwWithoutRecord",
     "reply-cut-at-record",
     {"update-fw", "3", "--yes"},
     1,
     {"PutInt 3", "invoke 18"},
     Connected("vm_updateFW") + "Error GetBlob VamResult\n",
     kCut,
     UpdateJson("3", kCutJson)},
    {"UpdateFwNotMarshalled",
     "[[fault]]\ncall = \"CNolvWsm::PutInt\"\n",
     {"update-fw", "7"},
     1,
     {"PutInt 7"},
     Connected("vm_updateFW") + "WSM error\n",
     kNoData,
     UpdateJson("7", kNoDataJson)},
    {"UpdateFwOfExtremeRecord",
     "[[fault]]\ncommand = \"vm_updateFW\"\nrecord = [-2147483648, 0]\n",
     {"update-fw", "11"},
     1,
     {"PutInt 11", "invoke 18"},
     Connected("vm_updateFW"),
     kDone + "VAM: -2147483648\nfirmware: 0 ZELK_NO_ERROR\n" + kChip,
     UpdateJson("11", kDoneJson +
                          R"(,"record":{"vam":{"code":-2147483648,"name":null},)"
                          R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}},)" +
                          kChipJson)},
    {"OlderUpdateFw",
     "update-needed",
     {"older-update-fw", "3", "--yes"},
     0,
     {"PutInt 3", "invoke 30"},
     Connected("vam_updateFW"),
     kDone,
     Json("older-update-fw", R"("mode":3,)" + kDoneJson)},
    {"OlderUpdateFwFailing",
     "chip-interrupted",
     {"older-update-fw", "11"},
     1,
     {"PutInt 11", "invoke 30"},
     Connected("vam_updateFW") + Invocation("30", "4294901760"),
     kGeneric,
     Json("older-update-fw", R"("mode":11,)" + kGenericJson)},
    {"NoSecureWorld",
     "secure-world-absent",
     {"get-info"},
     1,
     {"invoke 28"},
     "CA InterfaceSP: vam_getInfo\n"
     "Failed to initialize TEE context, result = 4294901768\n"
     "TEEC_InvokeCommand() failed for cmd = 28, result = 4294901766, retOrigin = 1\n",
     "result: 0xFFFF0006 TEEC_ERROR_BAD_PARAMETERS\n",
     Json("get-info", R"("result":{"code":4294901766,"name":"TEEC_ERROR_BAD_PARAMETERS"})")},
    {"CodeWithoutAName",
     "[[fault]]\ncommand = \"vam_getInfo\"\nresult = 4096\n",
     {"get-info"},
     1,
     {"invoke 28"},
     Connected("vam_getInfo") + Invocation("28", "4096"),
     "result: 0x00001000\n",
     Json("get-info", R"("result":{"code":4096,"name":null})")},
};

class BenchCommand : public ::testing::TestWithParam<CommandRow> {
 protected:
  BenchCommand() {
    WriteFile("/tmp/record", std::string("\0\n\xff"
                                         "A",
                                         4));
    WriteFile("/tmp/block", std::string(8192, 'b'));
  }

 private:
  PrivateTmp tmp;
};

TEST_P(BenchCommand, AnswersAsText) {
  const CommandRow& row = GetParam();
  const Output output = Capture(OnBenchBoard(row.board, row.arguments), BoardEnvironment());
  EXPECT_EQ(output.standardOutput, row.console + row.text);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.status, row.status);
  EXPECT_EQ(Requests(), row.requests);
}

TEST_P(BenchCommand, AnswersAsJson) {
  const CommandRow& row = GetParam();
  Words arguments = row.arguments;
  arguments.emplace_back("--json");
  const Output output = Capture(OnBenchBoard(row.board, arguments), BoardEnvironment());
  EXPECT_EQ(output.standardOutput, row.json);
  EXPECT_EQ(output.standardError, row.console);
  EXPECT_EQ(output.status, row.status);
  EXPECT_EQ(Requests(), row.requests);
}

INSTANTIATE_TEST_SUITE_P(Commands, BenchCommand, ::testing::ValuesIn(kCommands),
                         [](const auto& row) { return std::string(row.param.name); });

struct RefusalRow {
  Words arguments;
  const char* line;
};

const std::string kTooLong(16386, 'a');

const RefusalRow kRefusals[] = {
    {{}, "A command is required; see vamctl --help"},
    {{"bogus"}, "The following argument was not expected: bogus; see vamctl --help"},
    {{"--json", "get-info"}, "The following argument was not expected: --json; see vamctl --help"},
    {{"get-info", "extra"}, "The following argument was not expected: extra; see vamctl --help"},
    {{"get-info", "--yes"}, "The following argument was not expected: --yes; see vamctl --help"},
    {{"get-info", "get-app-info"},
     "The following argument was not expected: get-app-info; see vamctl --help"},
    {{"verdict", "x"}, "The following argument was not expected: x; see vamctl --help"},
    {{"ak-provision"}, "FILE or --hex is required; see vamctl --help"},
    {{"check-vam-ak", "--json"}, "FILE or --hex is required; see vamctl --help"},
    {{"ak-provision", "/tmp/record", "--hex", "00"}, "FILE excludes --hex; see vamctl --help"},
    {{"ak-provision", ""}, ": cannot be read: No such file or directory"},
    {{"ak-provision", "/tmp/nowhere"}, "/tmp/nowhere: cannot be read: No such file or directory"},
    {{"check-vam-ak", "/tmp"}, "/tmp: cannot be read: Is a directory"},
    {{"check-vam-ak", "/dev/zero"},
     "/dev/zero: more than 8192 bytes, which the block to the chip cannot carry"},
    {{"ak-provision", "--hex", "abc"},
     "--hex: give two hexadecimal digits a byte and nothing else"},
    {{"ak-provision", "--hex", "0x"}, "--hex: give two hexadecimal digits a byte and nothing else"},
    {{"ak-provision", "--hex", kTooLong},
     "--hex: more than 8192 bytes, which the block to the chip cannot carry"},
    {{"get-hack-info"}, "--size is required; see vamctl --help"},
    {{"get-hack-info", "--size", "-1"},
     "--size: Value -1 not in range 0 to 8192; see vamctl --help"},
    {{"get-hack-info", "--size", "8193"},
     "--size: Value 8193 not in range 0 to 8192; see vamctl --help"},
    {{"get-fw-info", "--count", "0"}, "--count: Value 0 not in range 1 to 2048; see vamctl --help"},
    {{"older-get-fw-info", "--count", "2049"},
     "--count: Value 2049 not in range 1 to 2048; see vamctl --help"},
    {{"update-fw"}, "MODE is required; see vamctl --help"},
    {{"update-fw", "three"}, "Could not convert: MODE = three; see vamctl --help"},
    {{"update-fw", "3x", "--yes"}, "Could not convert: MODE = 3x; see vamctl --help"},
    {{"older-update-fw", "2147483648"}, "Could not convert: MODE = 2147483648; see vamctl --help"},
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

TEST(BenchConsoleTest, RefusesAndSendsNothing) {
  for (const RefusalRow& row : kRefusals) {
    SCOPED_TRACE(Joined(row.arguments).substr(0, 60));
    const PrivateTmp tmp;
    WriteFile("/tmp/record", "record");
    const Output output = Capture(OnBenchBoard("update-needed", row.arguments), BoardEnvironment());
    EXPECT_EQ(output.standardOutput, "");
    EXPECT_EQ(output.standardError, "vamctl: " + std::string(row.line) + "\n");
    EXPECT_EQ(output.status, 2);
    EXPECT_EQ(ReadFile(JournalFile()), "");
  }
}

TEST(BenchConsoleTest, HelpsWithEveryCommand) {
  const PrivateTmp tmp;
  const Output help = Capture({BenchConsole(), "--help"}, BoardEnvironment());
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.standardError, "");
  for (const char* command :
       {"get-info", "get-app-info", "self-test-all", "get-public-key-status", "ak-provision-rpmb",
        "remove-ak-keys", "force-recovery", "force-recovery-sp", "ak-provision", "check-vam-ak",
        "get-hack-info", "update-fw", "older-update-fw", "get-fw-info", "older-get-fw-info",
        "verdict"}) {
    EXPECT_NE(help.standardOutput.find(std::string("\n  ") + command + " "), std::string::npos)
        << command;
    const Output own = Capture({BenchConsole(), command, "--help"}, BoardEnvironment());
    EXPECT_EQ(own.status, 0);
    EXPECT_EQ(own.standardError, "");
    EXPECT_NE(own.standardOutput.find(std::string("vamctl ") + command + " [OPTIONS]"),
              std::string::npos)
        << own.standardOutput;
  }
}

TEST(BenchConsoleTest, HasTheProjectsVersion) {
  const PrivateTmp tmp;
  const Output output = Capture({BenchConsole(), "--version"}, BoardEnvironment());
  EXPECT_EQ(output.standardOutput, VAM_VERSION "\n");
  EXPECT_EQ(output.status, 0);
}

TEST(BenchConsoleTest, ReaderThatHasGoneDoesNotEndTheCommand) {
  const PrivateTmp tmp;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  EXPECT_EQ(RunProcess({OnBenchBoard("update-needed", {"update-fw", "3", "--yes"}),
                        BoardEnvironment(), ends[1], STDERR_FILENO}),
            0);
  close(ends[1]);
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

int RunOn(int standardInput, int standardError, const Words& arguments) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const int status = RunProcess({OnBenchBoard("update-needed", arguments), BoardEnvironment(),
                                 nowhere, standardError, standardInput});
  close(nowhere);
  return status;
}

int RunOn(const Terminal& terminal, const Words& arguments) {
  return RunOn(terminal.Descriptor(), terminal.Descriptor(), arguments);
}

TEST(BenchQuestionTest, GoesOnWhenAgreedTo) {
  for (const QuestionRow& row : kQuestions) {
    for (const char* keys : {"y\n", "yes\n"}) {
      SCOPED_TRACE(row.question);
      const PrivateTmp tmp;
      const Terminal terminal;
      terminal.Type(keys);
      EXPECT_EQ(RunOn(terminal, row.arguments), row.status);
      EXPECT_EQ(terminal.Screen(), row.question);
      EXPECT_EQ(Requests(), row.requests);
    }
  }
}

TEST(BenchQuestionTest, DoesNothingOtherwise) {
  for (const QuestionRow& row : kQuestions) {
    // The last one ends the input.
    for (const char* keys : {"n\n", "\n", "yess\n", " y\n", "no\ny\n", "\x04"}) {
      SCOPED_TRACE(row.question);
      const PrivateTmp tmp;
      const Terminal terminal;
      terminal.Type(keys);
      EXPECT_EQ(RunOn(terminal, row.arguments), 2);
      EXPECT_EQ(terminal.Screen(), std::string(row.question) + "vamctl: nothing was done\n");
      EXPECT_EQ(ReadFile(JournalFile()), "");
    }
  }
}

TEST(BenchQuestionTest, IsNotAskedWhereNobodySeesItOrAnswers) {
  const PrivateTmp tmp;
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  const Terminal unseen;
  unseen.Type("y\n");
  EXPECT_EQ(RunOn(unseen.Descriptor(), nowhere, {"remove-ak-keys"}), 2);
  EXPECT_EQ(unseen.Screen(), "");
  EXPECT_EQ(ReadFile(JournalFile()), "");
  const Terminal seen;
  EXPECT_EQ(RunOn(nowhere, seen.Descriptor(), {"remove-ak-keys"}), 2);
  EXPECT_EQ(seen.Screen(),
            "vamctl: remove-ak-keys removes the chip's AK keys; give --yes, or answer on a "
            "terminal\n");
  EXPECT_EQ(ReadFile(JournalFile()), "");
  close(nowhere);
}

TEST(BenchQuestionTest, IsNotAskedWithoutNeed) {
  const Words harmless[] = {{"remove-ak-keys", "--yes"}, {"update-fw", "7"}, {"update-fw", "11"},
                            {"older-update-fw", "7"},    {"get-info"},       {"ak-provision-rpmb"}};
  for (const Words& arguments : harmless) {
    SCOPED_TRACE(Joined(arguments));
    const PrivateTmp tmp;
    const Terminal terminal;
    EXPECT_NE(RunOn(terminal, arguments), 2);
    EXPECT_EQ(terminal.Screen(), "");
  }
}

struct VerdictRow {
  const char* name;
  /// Boards that the update tool runs on, one after the other.
  Words runs;
  const char* text;
  const char* json;
};

void PrintTo(const VerdictRow& row, std::ostream* stream) { *stream << row.name; }

const VerdictRow kVerdicts[] = {
    {"NoRun",
     {},
     "verdict: none: the last run, if there was one, did not reach its end\n",
     R"({"verdict":"none","version":null,"entries":[],"problems":[]})"
     "\n"},
    {"Verified",
     {"update-needed"},
     "verdict: verified: the chip runs the image's firmware, system version 1.1,04/7,3\n",
     R"({"verdict":"verified","version":"1.1,04/7,3","entries":[],"problems":[]})"
     "\n"},
    {"VerifiedWithoutInformation",
     {"information-query-failing"},
     "verdict: verified: the chip runs the image's firmware, system version 1.1,04/7,3\n"
     "last entries, the newest last:\n"
     "- The firmware information words could not be read; the run went on.\n"
     "  vam_getFWInfo failed\n"
     "  code: -65525, 0xFFFF000B TEEC_ERROR_NO_DATA\n",
     R"({"verdict":"verified","version":"1.1,04/7,3","entries":[)"
     R"({"message":"vam_getFWInfo failed",)"
     R"("meaning":"The firmware information words could not be read; the run went on.",)"
     R"("code":-65525,"result":{"code":4294901771,"name":"TEEC_ERROR_NO_DATA"}}],"problems":[]})"
     "\n"},
    {"FailedAfterASuccess",
     {"update-needed", "no-device-node", "mode-3-failing"},
     "verdict: not verified: the last entry tells why; an earlier run verified system version "
     "1.1,04/7,3\n"
     "last entries, the newest last:\n"
     "- The device node /dev/zelkshield could not be opened, so the board was not asked.\n"
     "  Open /dev/zelkshield failed with error:\n"
     "  code: -1\n"
     "- The update of the chip (mode 3) failed.\n"
     "  vam_updateFW failed: \n"
     "  code: -65536, 0xFFFF0000 TEEC_ERROR_GENERIC\n"
     "  VAM: 0 VAM_RET_SUCCESS\n"
     "  firmware: 0 ZELK_NO_ERROR\n",
     R"({"verdict":"not verified","version":"1.1,04/7,3","entries":[)"
     R"({"message":"Open /dev/zelkshield failed with error:","meaning":)"
     R"("The device node /dev/zelkshield could not be opened, so the board was not asked.",)"
     R"("code":-1},)"
     R"({"message":"vam_updateFW failed: ","meaning":"The update of the chip (mode 3) failed.",)"
     R"("code":-65536,"result":{"code":4294901760,"name":"TEEC_ERROR_GENERIC"},)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}}}],"problems":[]})"
     "\n"},
    {"SuccessAfterAFailure",
     {"no-vam", "update-needed"},
     "verdict: verified: the chip runs the image's firmware, system version 1.1,04/7,3\n"
     "last entries, the newest last:\n"
     "- The board carries no VAM; the kernel driver's flag is the code.\n"
     "  VAM_RET_NOT_IMPLEMENTED\n"
     "  code: 0\n",
     R"({"verdict":"verified","version":"1.1,04/7,3","entries":[)"
     R"({"message":"VAM_RET_NOT_IMPLEMENTED",)"
     R"("meaning":"The board carries no VAM; the kernel driver's flag is the code.","code":0}],)"
     R"("problems":[]})"
     "\n"},
    {"ThreeEntriesOfOneRun",
     {"ioctl-failing", "not-implemented", "chip-damaged"},
     "verdict: not verified: the last entry tells why\n"
     "last entries, the newest last:\n"
     "- The chip's firmware branch does not implement the update.\n"
     "  VAM_RET_NOT_IMPLEMENTED\n"
     "  code: 13\n"
     "- The firmware information words could not be read; the run went on.\n"
     "  vam_getFWInfo failed\n"
     "  code: -65529, 0xFFFF0007 TEEC_ERROR_BAD_STATE\n"
     "- The update of the chip (mode 3) failed.\n"
     "  vam_updateFW failed: \n"
     "  code: -65522, 0xFFFF000E TEEC_ERROR_COMMUNICATION\n"
     "  VAM: 4 VAM_RET_STORAGE_ERROR\n"
     "  firmware: -61 -ZELK_CORE_ERROR\n",
     R"({"verdict":"not verified","version":null,"entries":[)"
     R"({"message":"VAM_RET_NOT_IMPLEMENTED",)"
     R"("meaning":"The chip's firmware branch does not implement the update.","code":13},)"
     R"({"message":"vam_getFWInfo failed",)"
     R"("meaning":"The firmware information words could not be read; the run went on.",)"
     R"("code":-65529,"result":{"code":4294901767,"name":"TEEC_ERROR_BAD_STATE"}},)"
     R"({"message":"vam_updateFW failed: ","meaning":"The update of the chip (mode 3) failed.",)"
     R"("code":-65522,"result":{"code":4294901774,"name":"TEEC_ERROR_COMMUNICATION"},)"
     R"("record":{"vam":{"code":4,"name":"VAM_RET_STORAGE_ERROR"},)"
     R"("firmware":{"code":-61,"name":"-ZELK_CORE_ERROR"}}}],"problems":[]})"
     "\n"},
    {"BothPartsDiffer",
     {"mode-7-failing", "both-parts-differ"},
     "verdict: not verified: the last entry tells why\n"
     "last entries, the newest last:\n"
     "- The versions of the image in the file system (mode 7) could not be read.\n"
     "  vam_updateFW failed(get firmware size from FS): \n"
     "  code: -65529, 0xFFFF0007 TEEC_ERROR_BAD_STATE\n"
     "  VAM: 0 VAM_RET_SUCCESS\n"
     "  firmware: 0 ZELK_NO_ERROR\n"
     "- The chip's system part runs another version than the image has.\n"
     "  updated firmware version (IC) != firmware version on FS (System part)\n"
     "  code: -1\n"
     "  VAM: 0 VAM_RET_SUCCESS\n"
     "  firmware: 0 ZELK_NO_ERROR\n"
     "- The chip's app part runs another version than the image has.\n"
     "  updated firmware version (IC) != firmware version on FS (App part)\n"
     "  code: -1\n"
     "  VAM: 0 VAM_RET_SUCCESS\n"
     "  firmware: 0 ZELK_NO_ERROR\n",
     R"({"verdict":"not verified","version":null,"entries":[)"
     R"({"message":"vam_updateFW failed(get firmware size from FS): ",)"
     R"("meaning":"The versions of the image in the file system (mode 7) could not be read.",)"
     R"("code":-65529,"result":{"code":4294901767,"name":"TEEC_ERROR_BAD_STATE"},)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}}},)"
     R"j({"message":"updated firmware version (IC) != firmware version on FS (System part)",)j"
     R"("meaning":"The chip's system part runs another version than the image has.","code":-1,)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}}},)"
     R"j({"message":"updated firmware version (IC) != firmware version on FS (App part)",)j"
     R"("meaning":"The chip's app part runs another version than the image has.","code":-1,)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}}}],"problems":[]})"
     "\n"},
};

class BenchVerdict : public ::testing::TestWithParam<VerdictRow> {};

TEST_P(BenchVerdict, SaysWhatTheRunsLeft) {
  const VerdictRow& row = GetParam();
  const PrivateTmp tmp;
  for (const std::string& board : row.runs) {
    ASSERT_NE(Capture(OnBoard(board, {UpdateTool()}), BoardEnvironment()).status, 125);
  }
  const Output text = Capture({BenchConsole(), "verdict"}, BoardEnvironment());
  EXPECT_EQ(text.standardOutput, row.text);
  EXPECT_EQ(text.standardError, "");
  EXPECT_EQ(text.status, 0);
  const Output json = Capture({BenchConsole(), "verdict", "--json"}, BoardEnvironment());
  EXPECT_EQ(json.standardOutput, row.json);
  EXPECT_EQ(json.standardError, "");
  EXPECT_EQ(json.status, 0);
}

INSTANTIATE_TEST_SUITE_P(Verdicts, BenchVerdict, ::testing::ValuesIn(kVerdicts),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(BenchVerdictTest, KnowsWhatEveryBoardLeaves) {
  int boards = 0;
  for (const auto& board : std::filesystem::directory_iterator(VAM_EXPECTATIONS)) {
    SCOPED_TRACE(board.path());
    const PrivateTmp tmp;
    const Outcome left = ExpectedOutcome(board.path().stem());
    if (left.errorFile) {
      WriteFile("/tmp/VAM_FAIL", *left.errorFile);
    }
    if (left.okFile) {
      WriteFile("/tmp/VAM_OK", *left.okFile);
    }
    const Output output = Capture({BenchConsole(), "verdict", "--json"}, BoardEnvironment());
    const std::string outcome = left.okFile ? "verified" : left.errorFile ? "not verified" : "none";
    EXPECT_EQ(output.standardOutput.rfind(R"({"verdict":")" + outcome + R"(",)", 0), 0U)
        << output.standardOutput;
    EXPECT_EQ(output.standardOutput.find("writes no such line"), std::string::npos)
        << output.standardOutput;
    ++boards;
  }
  EXPECT_GE(boards, 39);
}

/// Runs `vamctl verdict`, which must find the files unclear, and returns what it says behind that.
std::string UnclearVerdict() {
  const Output output = Capture({BenchConsole(), "verdict"}, BoardEnvironment());
  EXPECT_EQ(output.status, 1);
  EXPECT_EQ(output.standardError, "");
  const std::string start = "verdict: unclear: the files do not tell how the last run ended\n";
  EXPECT_EQ(output.standardOutput.substr(0, start.size()), start);
  return output.standardOutput.substr(std::min(start.size(), output.standardOutput.size()));
}

TEST(BenchVerdictTest, CopesWithDirectories) {
  const PrivateTmp tmp;
  ASSERT_EQ(mkdir("/tmp/VAM_OK", 0777), 0);
  ASSERT_EQ(mkdir("/tmp/VAM_FAIL", 0777), 0);
  EXPECT_EQ(UnclearVerdict(),
            "problem: /tmp/VAM_OK: cannot be read: not a regular file\n"
            "problem: /tmp/VAM_FAIL: cannot be read: not a regular file\n");
}

TEST(BenchVerdictTest, DoesNotWaitForPipes) {
  const PrivateTmp tmp;
  ASSERT_EQ(mkfifo("/tmp/VAM_FAIL", 0666), 0);
  EXPECT_EQ(UnclearVerdict(), "problem: /tmp/VAM_FAIL: cannot be read: not a regular file\n");
}

TEST(BenchVerdictTest, CopesWithOtherContents) {
  const PrivateTmp tmp;
  WriteFile("/tmp/VAM_OK", "");
  WriteFile("/tmp/VAM_FAIL", std::string("\0\x1b]0;title\a\n", 11));
  EXPECT_EQ(UnclearVerdict(),
            "problem: /tmp/VAM_OK: not as the update tool writes it\n"
            "last entries, the newest last:\n"
            "- The update tool writes no such line.\n"
            "  \\x00\\x1b]0;title\\x07\n");
}

TEST(BenchVerdictTest, CopesWithFilesWithoutAnEnd) {
  const PrivateTmp tmp;
  WriteFile("/tmp/VAM_FAIL", "");
  ASSERT_EQ(truncate("/tmp/VAM_FAIL", off_t{1} << 40), 0);
  std::string shown;
  for (int i = 0; i < 200; ++i) {
    shown += "\\x00";
  }
  EXPECT_EQ(UnclearVerdict(),
            "last entries, the newest last:\n"
            "- The update tool writes no such line.\n"
            "  " +
                shown + "...\n");
}

}  // namespace
}  // namespace vam
