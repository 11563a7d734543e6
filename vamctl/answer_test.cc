#include "vamctl/answer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "report/vam_result.h"

namespace vam {
namespace {

using namespace std::string_literals;

struct Row {
  const char* name;
  Answer answer;
  bool succeeded;
  const char* text;
  const char* json;
};

Answer UpdateAnswer(std::uint32_t code, VamResult record) {
  Answer answer{"update-fw", code, 11};
  answer.record = record;
  return answer;
}

Answer WithVersions(Answer answer, const std::string& system, const std::string& app) {
  answer.versions = FirmwareVersions{system, app};
  return answer;
}

Answer WithWords(std::vector<std::uint32_t> words) {
  Answer answer{"get-fw-info"};
  answer.words = words;
  return answer;
}

Answer WithBytes(std::vector<std::uint8_t> bytes) {
  Answer answer{"get-hack-info"};
  answer.bytes = bytes;
  return answer;
}

const Row kRows[] = {
    {"success",
     {"get-info"},
     true,
     "result: 0x00000000 TEEC_SUCCESS",
     R"({"command":"get-info","result":{"code":0,"name":"TEEC_SUCCESS"}})"},
    {"failure",
     {"get-info", 0xFFFF0007},
     false,
     "result: 0xFFFF0007 TEEC_ERROR_BAD_STATE",
     R"({"command":"get-info","result":{"code":4294901767,"name":"TEEC_ERROR_BAD_STATE"}})"},
    {"code without a name",
     {"get-info", 1},
     false,
     "result: 0x00000001",
     R"({"command":"get-info","result":{"code":1,"name":null}})"},
    {"mode",
     {"older-update-fw", 0, -3},
     true,
     "result: 0x00000000 TEEC_SUCCESS",
     R"({"command":"older-update-fw","mode":-3,"result":{"code":0,"name":"TEEC_SUCCESS"}})"},
    {"versions", WithVersions(UpdateAnswer(0, {0, 0}), "1.1,04/7,3\0"s, "2.0,11\0"s), true,
     "result: 0x00000000 TEEC_SUCCESS\nVAM: 0 VAM_RET_SUCCESS\nfirmware: 0 ZELK_NO_ERROR\n"
     "system version: 1.1,04/7,3\napp version: 2.0,11",
     R"({"command":"update-fw","mode":11,"result":{"code":0,"name":"TEEC_SUCCESS"},)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}},)"
     R"("versions":{"system":"1.1,04/7,3","app":"2.0,11"}})"},
    {"versions of unexpected bytes",
     WithVersions(UpdateAnswer(0, {0, 0}), "a\0b\0\0"s, "\"\xc3\xa4"), true,
     "result: 0x00000000 TEEC_SUCCESS\nVAM: 0 VAM_RET_SUCCESS\nfirmware: 0 ZELK_NO_ERROR\n"
     "system version: a\\x00b\\x00\napp version: \"\\xc3\\xa4",
     R"({"command":"update-fw","mode":11,"result":{"code":0,"name":"TEEC_SUCCESS"},)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}},)"
     R"("versions":{"system":"a\\x00b\\x00","app":"\"\\xc3\\xa4"}})"},
    {"VAM code of failure", WithVersions(UpdateAnswer(0, {13, 0}), "1\0"s, "2\0"s), false,
     "result: 0x00000000 TEEC_SUCCESS\nVAM: 13 VAM_RET_NOT_IMPLEMENTED\n"
     "firmware: 0 ZELK_NO_ERROR\nsystem version: 1\napp version: 2",
     R"({"command":"update-fw","mode":11,"result":{"code":0,"name":"TEEC_SUCCESS"},)"
     R"("record":{"vam":{"code":13,"name":"VAM_RET_NOT_IMPLEMENTED"},)"
     R"("firmware":{"code":0,"name":"ZELK_NO_ERROR"}},"versions":{"system":"1","app":"2"}})"},
    {"firmware code of failure", UpdateAnswer(0, {0, -51}), false,
     "result: 0x00000000 TEEC_SUCCESS\nVAM: 0 VAM_RET_SUCCESS\nfirmware: -51 -ZELK_FW_ERROR",
     R"({"command":"update-fw","mode":11,"result":{"code":0,"name":"TEEC_SUCCESS"},)"
     R"("record":{"vam":{"code":0,"name":"VAM_RET_SUCCESS"},)"
     R"("firmware":{"code":-51,"name":"-ZELK_FW_ERROR"}}})"},
    {"words", WithWords({3, 0x7fffffff, 0x80000000, 0xffffffff}), true,
     "result: 0x00000000 TEEC_SUCCESS\nword 0: 3\nword 1: 2147483647\nword 2: -2147483648\n"
     "word 3: -1",
     R"({"command":"get-fw-info","result":{"code":0,"name":"TEEC_SUCCESS"},)"
     R"("words":[3,2147483647,-2147483648,-1]})"},
    {"bytes", WithBytes({0x00, 0x0a, 0x80, 0xff}), true,
     "result: 0x00000000 TEEC_SUCCESS\nbytes: 000a80ff",
     R"({"command":"get-hack-info","result":{"code":0,"name":"TEEC_SUCCESS"},"bytes":"000a80ff"})"},
    {"no bytes", WithBytes({}), true, "result: 0x00000000 TEEC_SUCCESS\nbytes: ",
     R"({"command":"get-hack-info","result":{"code":0,"name":"TEEC_SUCCESS"},"bytes":""})"},
};

TEST(Answer, EveryKind_IsShownAsTextAndJson) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Succeeded(row.answer), row.succeeded);
    EXPECT_EQ(AnswerAsText(row.answer), row.text);
    EXPECT_EQ(AnswerAsJson(row.answer), row.json);
  }
}

TEST(Answer, LongVersions_AreCutInTextAndWholeInJson) {
  const std::string version(8000, 'v');
  const Answer answer = WithVersions({"update-fw"}, version + "\0"s, version + "w\0"s);
  const std::string shown = std::string(200, 'v') + "...";
  EXPECT_EQ(AnswerAsText(answer), "result: 0x00000000 TEEC_SUCCESS\nsystem version: " + shown +
                                      "\napp version: " + shown);
  EXPECT_EQ(AnswerAsJson(answer),
            R"({"command":"update-fw","result":{"code":0,"name":"TEEC_SUCCESS"},)"
            R"("versions":{"system":")" +
                version + R"(","app":")" + version + R"(w"}})");
}

}  // namespace
}  // namespace vam
