// Every command of vamctl on the simulated board, as text and as JSON, byte for byte, with what
// reaches the trusted application.

#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/private_tmp.h"
#include "tests/support/process.h"
#include "tests/support/vamctl_run.h"

namespace vam {
namespace {

using Words = std::vector<std::string>;

/// A part of an answer: its lines of text, and its members in JSON.
struct Part {
  std::string text;
  std::string json;
};

Part operator+(const Part& one, const Part& other) {
  return {one.text + other.text, one.json + "," + other.json};
}

/// One run of vamctl and what must come of it.
class Case {
 public:
  Case(std::string caseName, Words caseArguments)
      : name(std::move(caseName)), arguments(std::move(caseArguments)) {}

  /// The board, "update-needed" where nothing is said, or a fault to add to it.
  Case& On(const std::string& boardOrFault) {
    board = boardOrFault;
    return *this;
  }
  /// What reaches the trusted application.
  Case& Sends(const Words& values) {
    requests = values;
    return *this;
  }
  /// The lines that the command prints.
  Case& Prints(const std::string& lines) {
    console = lines;
    return *this;
  }
  Case& Succeeds(const Part& part) { return Answers(part, 0); }
  /// The invocation fails in the trusted application, unless Because() tells another cause. A
  /// result of 0 needs none.
  Case& Fails(const Part& part) {
    static const std::regex kResult(R"re("result":(\{"code":(\d+),"name":[^}]*\}))re");
    Answers(part, 1);
    std::smatch found;
    if (std::regex_search(json, found, kResult) && found.str(2) != "0") {
      resultEnd = static_cast<std::size_t>(found.position() + found.length());
      return Because(R"({"step":"TEEC_InvokeCommand","result":)" + found.str(1) +
                     R"(,"origin":{"code":4,"name":"TEEC_ORIGIN_TRUSTED_APP"}})");
    }
    return *this;
  }
  /// Another cause of the failure than the one before, in JSON.
  Case& Because(const std::string& cause) {
    const std::string member = R"(,"cause":)" + cause;
    json.replace(resultEnd, causeSize, member);
    causeSize = member.size();
    return *this;
  }

  std::string name;
  Words arguments;
  std::string board = "update-needed";
  Words requests;
  std::string console;
  std::string text;
  std::string json;
  int status = -1;

 private:
  std::size_t resultEnd = 0;
  std::size_t causeSize = 0;

  Case& Answers(const Part& part, int exitStatus) {
    text = part.text;
    json = R"({"command":")" + arguments[0] + R"(",)" + part.json + "}\n";
    status = exitStatus;
    return *this;
  }
};

void PrintTo(const Case& row, std::ostream* stream) { *stream << row.name; }

std::string Connected(const std::string& method) {
  return "CA InterfaceSP: " + method + "\nTEE connection has been set\n";
}

std::string FailedInvocation(const std::string& command, const std::string& result) {
  return "TEEC_InvokeCommand() failed for cmd = " + command + ", result = " + result +
         ", retOrigin = 4\n";
}

const Part kDone = {"result: 0x00000000 TEEC_SUCCESS\n",
                    R"("result":{"code":0,"name":"TEEC_SUCCESS"})"};
const Part kGeneric = {"result: 0xFFFF0000 TEEC_ERROR_GENERIC\n",
                       R"("result":{"code":4294901760,"name":"TEEC_ERROR_GENERIC"})"};
const Part kBadParameters = {"result: 0xFFFF0006 TEEC_ERROR_BAD_PARAMETERS\n",
                             R"("result":{"code":4294901766,"name":"TEEC_ERROR_BAD_PARAMETERS"})"};
const Part kBadState = {"result: 0xFFFF0007 TEEC_ERROR_BAD_STATE\n",
                        R"("result":{"code":4294901767,"name":"TEEC_ERROR_BAD_STATE"})"};
const Part kNotFound = {"result: 0xFFFF0008 TEEC_ERROR_ITEM_NOT_FOUND\n",
                        R"("result":{"code":4294901768,"name":"TEEC_ERROR_ITEM_NOT_FOUND"})"};
const Part kNoData = {"result: 0xFFFF000B TEEC_ERROR_NO_DATA\n",
                      R"("result":{"code":4294901771,"name":"TEEC_ERROR_NO_DATA"})"};
const Part kCommunication = {"result: 0xFFFF000E TEEC_ERROR_COMMUNICATION\n",
                             R"("result":{"code":4294901774,"name":"TEEC_ERROR_COMMUNICATION"})"};

const Part kGoodRecord = {"VAM: 0 VAM_RET_SUCCESS\nfirmware: 0 ZELK_NO_ERROR\n",
                          R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
                          R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}})"};
const Part kImage = {"system version: 1.1,04/7,3\napp version: 2.0,11\n",
                     R"("versions":{"system":"1.1,04/7,3","app":"2.0,11"})"};
const Part kChip = {"system version: 1.0,17/7,3\napp version: 2.0,10\n",
                    R"("versions":{"system":"1.0,17/7,3","app":"2.0,10"})"};
const Part kWords = {
    "word 0: 3\nword 1: 1\nword 2: 0\nword 3: 0\nword 4: 0\n"
    "word 5: 0\nword 6: 0\nword 7: 0\nword 8: 0\nword 9: -1\n",
    R"("words":[3,1,0,0,0,0,0,0,0,-1])"};

/// The mode stands in JSON only, before the result.
Part Mode(const std::string& mode) { return {"", R"("mode":)" + mode}; }

Part Bytes(const std::string& digits) {
  return {"bytes: " + digits + "\n", R"("bytes":")" + digits + '"'};
}

constexpr char kRequestRefused[] = R"({"step":"request","result":null,"origin":null})";
constexpr char kReplyCut[] = R"({"step":"reply","result":null,"origin":null})";

const std::string kRecordFile = "/tmp/record";
const std::string kBlockFile = "/tmp/block";

const Case kPlainCommands[] = {
    Case("GetInfo_GoodChip_Succeeds", {"get-info"})
        .Sends({"invoke 28"})
        .Prints(Connected("vam_getInfo"))
        .Succeeds(kDone),
    Case("GetInfo_DamagedChip_Fails", {"get-info"})
        .On("chip-damaged")
        .Sends({"invoke 28"})
        .Prints(Connected("vam_getInfo") + FailedInvocation("28", "4294901767"))
        .Fails(kBadState),
    Case("GetInfo_CodeWithoutAName_IsANumber", {"get-info"})
        .On("[[fault]]\ncommand = \"vam_getInfo\"\nresult = 4096\n")
        .Sends({"invoke 28"})
        .Prints(Connected("vam_getInfo") + FailedInvocation("28", "4096"))
        .Fails({"result: 0x00001000\n", R"("result":{"code":4096,"name":null})"}),
    Case("GetInfo_NoSecureWorld_Fails", {"get-info"})
        .On("secure-world-absent")
        .Sends({"invoke 28"})
        .Prints("CA InterfaceSP: vam_getInfo\n"
                "Failed to initialize TEE context, result = 4294901768\n"
                "TEEC_InvokeCommand() failed for cmd = 28, result = 4294901766, retOrigin = 1\n")
        .Fails(kBadParameters)
        .Because(R"({"step":"TEEC_InitializeContext",)"
                 R"("result":{"code":4294901768,"name":"TEEC_ERROR_ITEM_NOT_FOUND"},)"
                 R"("origin":null})"),
    Case("GetInfo_SessionRefused_Fails", {"get-info"})
        .On("session-refused")
        .Sends({"invoke 28"})
        .Prints("CA InterfaceSP: vam_getInfo\n"
                "Failed to open TEE session, result and retOrigin = 42949017613\n"
                "TEEC_InvokeCommand() failed for cmd = 28, result = 4294901766, retOrigin = 1\n")
        .Fails(kBadParameters)
        .Because(R"({"step":"TEEC_OpenSession",)"
                 R"("result":{"code":4294901761,"name":"TEEC_ERROR_ACCESS_DENIED"},)"
                 R"("origin":{"code":3,"name":"TEEC_ORIGIN_TEE"}})"),
    Case("GetInfo_NoSharedMemory_Fails", {"get-info"})
        .On("[[fault]]\ncall = \"TEEC_AllocateSharedMemory\"\nresult = "
            "\"TEEC_ERROR_OUT_OF_MEMORY\"\n")
        .Sends({"invoke 28"})
        .Prints("CA InterfaceSP: vam_getInfo\n"
                "Failed to allocate shared memory, result = 4294901772\n"
                "TEEC_InvokeCommand() failed for cmd = 28, result = 4294901766, retOrigin = 1\n")
        .Fails(kBadParameters)
        .Because(R"({"step":"TEEC_AllocateSharedMemory",)"
                 R"("result":{"code":4294901772,"name":"TEEC_ERROR_OUT_OF_MEMORY"},)"
                 R"("origin":null})"),
    Case("GetInfo_LostOnTheWay_Fails", {"get-info"})
        .On("[[fault]]\ncall = \"TEEC_InvokeCommand\"\nresult = 4096\norigin = 2\n")
        .Sends({"invoke 28"})
        .Prints(Connected("vam_getInfo") +
                "TEEC_InvokeCommand() failed for cmd = 28, result = 4096, retOrigin = 2\n")
        .Fails({"result: 0x00001000\n", R"("result":{"code":4096,"name":null})"})
        .Because(R"({"step":"TEEC_InvokeCommand","result":{"code":4096,"name":null},)"
                 R"("origin":{"code":2,"name":"TEEC_ORIGIN_COMMS"}})"),
    Case("GetAppInfo_GoodChip_Succeeds", {"get-app-info"})
        .Sends({"invoke 29"})
        .Prints(Connected("vam_getAppInfo"))
        .Succeeds(kDone),
    Case("SelfTestAll_GoodChip_Succeeds", {"self-test-all"})
        .Sends({"invoke 32"})
        .Prints(Connected("vam_selfTestAll"))
        .Succeeds(kDone),
    Case("SelfTestAll_FailingChip_Fails", {"self-test-all"})
        .On("self-test-failing")
        .Sends({"invoke 32"})
        .Prints(Connected("vam_selfTestAll") + FailedInvocation("32", "4294901760"))
        .Fails(kGeneric),
    Case("ForceRecovery_InterruptedChip_Succeeds", {"force-recovery", "--yes"})
        .On("chip-interrupted")
        .Sends({"invoke 42"})
        .Prints(Connected("vam_forceRecovery"))
        .Succeeds(kDone),
    Case("ForceRecoverySp_InterruptedChip_Succeeds", {"force-recovery-sp", "--yes"})
        .On("chip-interrupted")
        .Sends({"invoke 43"})
        .Prints(Connected("vam_forceRecoverySP"))
        .Succeeds(kDone),
    Case("ForceRecoverySp_DamagedChip_Fails", {"force-recovery-sp", "--yes"})
        .On("chip-damaged")
        .Sends({"invoke 43"})
        .Prints(Connected("vam_forceRecoverySP") + FailedInvocation("43", "4294901767"))
        .Fails(kBadState),
};

// Without --yes, provisioning first asks whether the chip holds a record; the lines of that
// question are not shown.
const Case kKeyCommands[] = {
    Case("GetPublicKeyStatus_NoRecord_Fails", {"get-public-key-status"})
        .Sends({"invoke 26"})
        .Prints(Connected("vam_getPublicKeyStatus") + FailedInvocation("26", "4294901768"))
        .Fails(kNotFound),
    Case("RemoveAkKeys_NoRecord_Fails", {"remove-ak-keys", "--yes"})
        .Sends({"invoke 44"})
        .Prints(Connected("vam_removeAkKeys") + FailedInvocation("44", "4294901768"))
        .Fails(kNotFound),
    Case("AkProvisionRpmb_NoRecord_Succeeds", {"ak-provision-rpmb"})
        .Sends({"invoke 26", "invoke 25"})
        .Prints(Connected("vam_akProvisionRPMB"))
        .Succeeds(kDone),
    Case("AkProvisionRpmb_Yes_SendsOneCommand", {"ak-provision-rpmb", "--yes"})
        .Sends({"invoke 25"})
        .Prints(Connected("vam_akProvisionRPMB"))
        .Succeeds(kDone),
    Case("AkProvision_HexDigits_Succeeds", {"ak-provision", "--hex", "00A0ff"})
        .Sends({"invoke 26", "PutUint 3", "PutBlob 00a0ff", "invoke 24"})
        .Prints(Connected("vam_akProvision"))
        .Succeeds(kDone),
    Case("AkProvision_Yes_SendsOneCommand", {"ak-provision", "--yes", "--hex", "00A0ff"})
        .Sends({"PutUint 3", "PutBlob 00a0ff", "invoke 24"})
        .Prints(Connected("vam_akProvision"))
        .Succeeds(kDone),
    Case("AkProvision_File_Succeeds", {"ak-provision", kRecordFile})
        .Sends({"invoke 26", "PutUint 4", "PutBlob 000aff41", "invoke 24"})
        .Prints(Connected("vam_akProvision"))
        .Succeeds(kDone),
    Case("AkProvision_EmptyRecord_Fails", {"ak-provision", "/dev/null"})
        .Sends({"invoke 26", "PutUint 0", "PutBlob ", "invoke 24"})
        .Prints(Connected("vam_akProvision") + FailedInvocation("24", "4294901766"))
        .Fails(kBadParameters),
    Case("AkProvision_RecordOfTheBlocksSize_Fails", {"ak-provision", kBlockFile})
        .Sends({"invoke 26", "PutUint 8192", "PutBlob null"})
        .Prints(Connected("vam_akProvision") + "WSM error\n")
        .Fails(kNoData)
        .Because(kRequestRefused),
    Case("CheckVamAk_NoRecord_Fails", {"check-vam-ak", kRecordFile})
        .Sends({"PutUint 4", "PutBlob 000aff41", "invoke 23"})
        .Prints(Connected("vam_checkVamAk") + FailedInvocation("23", "4294901768"))
        .Fails(kNotFound),
};

const Case kInformationCommands[] = {
    Case("GetHackInfo_WholeRecord_Succeeds", {"get-hack-info", "--size", "8"})
        .Sends({"invoke 39"})
        .Prints(Connected("vam_getHackInfo"))
        .Succeeds(kDone + Bytes("48414b4901020304")),
    Case("GetHackInfo_SmallerSize_CutsIt", {"get-hack-info", "--size", "5"})
        .Sends({"invoke 39"})
        .Prints(Connected("vam_getHackInfo"))
        .Succeeds(kDone + Bytes("48414b4901")),
    Case("GetHackInfo_LargerSize_EndsInZeros", {"get-hack-info", "--size", "10"})
        .Sends({"invoke 39"})
        .Prints(Connected("vam_getHackInfo"))
        .Succeeds(kDone + Bytes("48414b49010203040000")),
    Case("GetHackInfo_SizeZero_ShowsNothing", {"get-hack-info", "--size", "0"})
        .Sends({"invoke 39"})
        .Prints(Connected("vam_getHackInfo"))
        .Succeeds(kDone + Bytes("")),
    Case("GetHackInfo_SizeOfTheBlock_EndsInZeros", {"get-hack-info", "--size", "8192"})
        .Sends({"invoke 39"})
        .Prints(Connected("vam_getHackInfo"))
        .Succeeds(kDone + Bytes("48414b4901020304" + std::string(16368, '0'))),
    Case("GetHackInfo_NoRecord_Fails", {"get-hack-info", "--size", "8"})
        .On("up-to-date")
        .Sends({"invoke 39"})
        .Prints(Connected("vam_getHackInfo"))
        .Fails(kNoData)
        .Because(kReplyCut),
    Case("GetHackInfo_DamagedChip_Fails", {"get-hack-info", "--size", "8"})
        .On("chip-damaged")
        .Sends({"invoke 39"})
        .Prints(Connected("vam_getHackInfo") + FailedInvocation("39", "4294901767"))
        .Fails(kBadState),
    Case("GetFwInfo_NoCount_ShowsTenWords", {"get-fw-info"})
        .Sends({"invoke 19"})
        .Prints(Connected("vam_getFWInfo"))
        .Succeeds(kDone + kWords),
    Case("GetFwInfo_SmallerCount_ShowsTheFirst", {"get-fw-info", "--count", "1"})
        .Sends({"invoke 19"})
        .Prints(Connected("vam_getFWInfo"))
        .Succeeds(kDone + Part{"word 0: 3\n", R"("words":[3])"}),
    Case("GetFwInfo_LargerCount_EndsInZeros", {"get-fw-info", "--count", "12"})
        .Sends({"invoke 19"})
        .Prints(Connected("vam_getFWInfo"))
        .Succeeds(kDone + Part{kWords.text + "word 10: 0\nword 11: 0\n",
                               R"("words":[3,1,0,0,0,0,0,0,0,-1,0,0])"}),
    Case("GetFwInfo_FailingQuery_Fails", {"get-fw-info"})
        .On("information-query-failing")
        .Sends({"invoke 19"})
        .Prints(Connected("vam_getFWInfo") + FailedInvocation("19", "4294901771"))
        .Fails(kNoData),
    Case("OlderGetFwInfo_Count_ShowsTheFirst", {"older-get-fw-info", "--count", "2"})
        .Sends({"invoke 40"})
        .Prints(Connected("vam_getFWInfo"))
        .Succeeds(kDone + Part{"word 0: 3\nword 1: 1\n", R"("words":[3,1])"}),
};

const Case kUpdateCommands[] = {
    Case("UpdateFw_Mode7_ReportsTheImage", {"update-fw", "7"})
        .Sends({"PutInt 7", "invoke 18"})
        .Prints(Connected("vm_updateFW"))
        .Succeeds(Mode("7") + kDone + kGoodRecord + kImage),
    Case("UpdateFw_Mode11_ReportsTheChip", {"update-fw", "11"})
        .Sends({"PutInt 11", "invoke 18"})
        .Prints(Connected("vm_updateFW"))
        .Succeeds(Mode("11") + kDone + kGoodRecord + kChip),
    Case("UpdateFw_Mode3_Updates", {"update-fw", "--yes", "3"})
        .Sends({"PutInt 3", "invoke 18"})
        .Prints(Connected("vm_updateFW"))
        .Succeeds(Mode("3") + kDone + kGoodRecord + kImage),
    Case("UpdateFw_UnknownMode_FailsWithItsRecord", {"update-fw", "-1"})
        .Sends({"PutInt -1", "invoke 18"})
        .Prints(Connected("vm_updateFW") + "GetUint() system_ver_size error\n")
        .Fails(Mode("-1") + kCommunication +
               Part{"VAM: 7 VAM_RET_INVALID_PARAM\nfirmware: 0 ZELK_NO_ERROR\n",
                    R"("record":{"vam":{"code":7,"name":"VAM_RET_INVALID_PARAM"},)"
                    R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}})"})
        .Because(kReplyCut),
    Case("UpdateFw_NotImplemented_FailsWithVersions", {"update-fw", "11"})
        .On("not-implemented")
        .Sends({"PutInt 11", "invoke 18"})
        .Prints(Connected("vm_updateFW"))
        .Fails(Mode("11") + kDone +
               Part{"VAM: 13 VAM_RET_NOT_IMPLEMENTED\nfirmware: 0 ZELK_NO_ERROR\n",
                    R"("record":{"vam":{"code":13,"name":"VAM_RET_NOT_IMPLEMENTED"},)"
                    R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}})"} +
               kChip),
    Case("UpdateFw_FullChip_FailsWithTheFirmwaresCode", {"update-fw", "3", "--yes"})
        .On("chip-full")
        .Sends({"PutInt 3", "invoke 18"})
        .Prints(Connected("vm_updateFW") + "GetUint() system_ver_size error\n")
        .Fails(Mode("3") + kCommunication +
               Part{"VAM: 4 VAM_RET_STORAGE_ERROR\nfirmware: -32 -ZELK_BUFFER_NOT_ENOUGH\n",
                    R"("record":{"vam":{"code":4,"name":"VAM_RET_STORAGE_ERROR"},)"
                    R"("firmware":{"code":-32,"name":"-ZELK_BUFFER_NOT_ENOUGH"}})"})
        .Because(kReplyCut),
    Case("UpdateFw_FailingCommand_FailsWithoutRecord", {"update-fw", "7"})
        .On("mode-7-failing")
        .Sends({"PutInt 7", "invoke 18"})
        .Prints(Connected("vm_updateFW") + FailedInvocation("18", "4294901767") +
                "InvokeCommand error\n")
        .Fails(Mode("7") + kBadState),
    Case("UpdateFw_ReplyWithoutRecord_FailsWithoutRecord", {"update-fw", "3", "--yes"})
        .On("reply-cut-at-record")
        .Sends({"PutInt 3", "invoke 18"})
        .Prints(Connected("vm_updateFW") + "Error GetBlob VamResult\n")
        .Fails(Mode("3") + kCommunication)
        .Because(kReplyCut),
    Case("UpdateFw_RequestNotMarshalled_SendsNothing", {"update-fw", "7"})
        .On("[[fault]]\ncall = \"CNolvWsm::PutInt\"\n")
        .Sends({"PutInt 7"})
        .Prints(Connected("vm_updateFW") + "WSM error\n")
        .Fails(Mode("7") + kNoData)
        .Because(kRequestRefused),
    Case("UpdateFw_LowestCodes_AreNumbers", {"update-fw", "11"})
        .On("[[fault]]\ncommand = \"vm_updateFW\"\nrecord = [-2147483648, 0]\n")
        .Sends({"PutInt 11", "invoke 18"})
        .Prints(Connected("vm_updateFW"))
        .Fails(Mode("11") + kDone +
               Part{"VAM: -2147483648\nfirmware: 0 ZELK_NO_ERROR\n",
                    R"("record":{"vam":{"code":-2147483648,"name":null},)"
                    R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}})"} +
               kChip),
    Case("OlderUpdateFw_Mode3_Updates", {"older-update-fw", "3", "--yes"})
        .Sends({"PutInt 3", "invoke 30"})
        .Prints(Connected("vam_updateFW"))
        .Succeeds(Mode("3") + kDone),
    Case("OlderUpdateFw_InterruptedChip_Fails", {"older-update-fw", "11"})
        .On("chip-interrupted")
        .Sends({"PutInt 11", "invoke 30"})
        .Prints(Connected("vam_updateFW") + FailedInvocation("30", "4294901760"))
        .Fails(Mode("11") + kGeneric),
};

class VamctlCommand : public ::testing::TestWithParam<Case> {
 protected:
  VamctlCommand() {
    WriteFile(kRecordFile, {'\0', '\n', '\xff', 'A'});
    WriteFile(kBlockFile, std::string(8192, 'b'));
  }

 private:
  const PrivateTmp tmp;
};

TEST_P(VamctlCommand, AsText_PrintsConsoleAndAnswer) {
  const Case& row = GetParam();
  const Output output = RunVamctl(row.board, row.arguments);
  EXPECT_EQ(output.standardOutput, row.console + row.text);
  EXPECT_EQ(output.standardError, "");
  EXPECT_EQ(output.status, row.status);
  EXPECT_EQ(SentRequests(), row.requests);
}

TEST_P(VamctlCommand, AsJson_PrintsOneLineAndConsoleOnStandardError) {
  const Case& row = GetParam();
  Words arguments = row.arguments;
  arguments.emplace_back("--json");
  const Output output = RunVamctl(row.board, arguments);
  EXPECT_EQ(output.standardOutput, row.json);
  EXPECT_EQ(output.standardError, row.console);
  EXPECT_EQ(output.status, row.status);
  EXPECT_EQ(SentRequests(), row.requests);
}

std::string NameOf(const ::testing::TestParamInfo<Case>& row) { return row.param.name; }

INSTANTIATE_TEST_SUITE_P(Plain, VamctlCommand, ::testing::ValuesIn(kPlainCommands), &NameOf);
INSTANTIATE_TEST_SUITE_P(Keys, VamctlCommand, ::testing::ValuesIn(kKeyCommands), &NameOf);
INSTANTIATE_TEST_SUITE_P(Information, VamctlCommand, ::testing::ValuesIn(kInformationCommands),
                         &NameOf);
INSTANTIATE_TEST_SUITE_P(Updates, VamctlCommand, ::testing::ValuesIn(kUpdateCommands), &NameOf);

}  // namespace
}  // namespace vam
