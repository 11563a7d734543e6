#include "report/vam_result.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <string>

namespace {

std::string Text(const std::string& vam, const std::string& firmware) {
  return "VAM result is:\n\t\tVAM: " + vam + "\n\t\tFirmware: " + firmware;
}

const std::map<std::int32_t, std::string> kVamNames = {
    {0, "VAM_RET_SUCCESS"},
    {1, "VAM_RET_FAIL"},
    {2, "VAM_RET_INIT_ERROR"},
    {3, "VAM_RET_CORE_ERROR"},
    {4, "VAM_RET_STORAGE_ERROR"},
    {5, "VAM_RET_DATA_NOT_FOUND"},
    {7, "VAM_RET_INVALID_PARAM"},
    {8, "VAM_RET_BUFFER_NOT_ENOUGH"},
    {9, "VAM_RET_MALLOC_ERROR"},
    {10, "VAM_RET_INVALID_INPUT_DATA"},
    {11, "VAM_RET_INVALID_OUTPUT_DATA"},
    {12, "VAM_RET_ACCESS_DENIED"},
    {13, "VAM_RET_NOT_IMPLEMENTED"},
};

const std::map<std::int32_t, std::string> kFirmwareNames = {
    {0, "ZELK_NO_ERROR"},
    {1, "ZELK_UNKNOWN_ERROR"},
    {2, "ZELK_INIT_ERROR"},
    {3, "ZELK_DEINIT_ERROR"},
    {11, "ZELK_INVALID_PARAMETER"},
    {21, "ZELK_APDU_ERROR"},
    {31, "ZELK_BUFFER_ALLOC_FAIL"},
    {32, "ZELK_BUFFER_NOT_ENOUGH"},
    {41, "ZELK_COMM_ERROR"},
    {51, "ZELK_FW_ERROR"},
    {61, "ZELK_CORE_ERROR"},
    {71, "ZELK_CRYPTO_ERROR"},
    {81, "ZELK_CRED_ERROR"},
    {82, "ZELK_CRED_DELETED_STATUS_ERROR"},
    {83, "ZELK_CRED_INIT_STATUS_ERROR"},
    {101, "ZELK_SC_ERROR"},
    {102, "ZELK_SC_INVALID_SEC_LEVEL_ERROR"},
    {103, "ZELK_SC_INIT_UPDATE_ERROR"},
    {104, "ZELK_SC_EXT_AUTH_ERROR"},
    {105, "ZELK_SC_TERM_SESS_ERROR"},
    {121, "ZELK_SC_SEC_NOT_SATISFIED_ERROR"},
    {122, "ZELK_SC_ENC_DATA_ERROR"},
    {123, "ZELK_SC_COMP_C_MAC_ERROR"},
    {124, "ZELK_SC_COMP_R_MAC_ERROR"},
    {125, "ZELK_SC_MAC_MISMATCH_ERROR"},
    {141, "ZELK_SC_COMM_ERROR"},
};

std::string Name(const char* name) { return name == nullptr ? "none" : name; }

std::string NameOrNone(const std::map<std::int32_t, std::string>& names, std::int32_t code) {
  const auto found = names.find(code);
  return found == names.end() ? "none" : found->second;
}

/// Returns the name in `names`, or the number for a code that has none.
std::string NameOrNumber(const std::map<std::int32_t, std::string>& names, std::int32_t code) {
  const auto found = names.find(code);
  return found == names.end() ? std::to_string(code) : found->second;
}

TEST(VamCodeName, EveryCode_HasTheNameOfTheTableOrNone) {
  for (std::int32_t code = -20; code <= 20; ++code) {
    EXPECT_EQ(Name(vam::VamCodeName(code)), NameOrNone(kVamNames, code)) << code;
  }
}

TEST(ZelkCodeName, CodeAndItsNegative_HaveTheNameOfTheTableOrNone) {
  for (std::int32_t code = 0; code <= 300; ++code) {
    EXPECT_EQ(Name(vam::ZelkCodeName(code)), NameOrNone(kFirmwareNames, code)) << code;
    EXPECT_EQ(Name(vam::ZelkCodeName(-code)), NameOrNone(kFirmwareNames, code)) << -code;
  }
}

TEST(CodeNames, ExtremeCodes_HaveNone) {
  for (const std::int32_t code :
       {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_EQ(vam::VamCodeName(code), nullptr);
    EXPECT_EQ(vam::ZelkCodeName(code), nullptr);
  }
}

TEST(VamResultToStr, AnyVamCode_IsItsNameOrItsNumber) {
  for (std::int32_t code = -20; code <= 20; ++code) {
    EXPECT_EQ(vamResultToStr({code, 0}), Text(NameOrNumber(kVamNames, code), "ZELK_NO_ERROR"));
  }
}

TEST(VamResultToStr, AnyFirmwareCode_IsItsNameOrItsNumber) {
  for (std::int32_t code = 0; code <= 300; ++code) {
    EXPECT_EQ(vamResultToStr({0, code}),
              Text("VAM_RET_SUCCESS", NameOrNumber(kFirmwareNames, code)));
  }
}

TEST(VamResultToStr, NegativeFirmwareCode_HasItsSignBeforeTheName) {
  for (std::int32_t code = 1; code <= 300; ++code) {
    EXPECT_EQ(vamResultToStr({0, -code}),
              Text("VAM_RET_SUCCESS", "-" + NameOrNumber(kFirmwareNames, code)));
  }
}

TEST(VamResultToStr, WholeRecords_AreThreeLines) {
  EXPECT_EQ(vamResultToStr({7, -11}),
            "VAM result is:\n\t\tVAM: VAM_RET_INVALID_PARAM\n\t\tFirmware: "
            "-ZELK_INVALID_PARAMETER");
  EXPECT_EQ(vamResultToStr({0, 0}),
            "VAM result is:\n\t\tVAM: VAM_RET_SUCCESS\n\t\tFirmware: ZELK_NO_ERROR");
  EXPECT_EQ(vamResultToStr({0, -12}), Text("VAM_RET_SUCCESS", "-12"));
  EXPECT_EQ(vamResultToStr({0, 11}), Text("VAM_RET_SUCCESS", "ZELK_INVALID_PARAMETER"));
}

TEST(VamResultToStr, CodesNextToTheTables_AreNumbers) {
  EXPECT_EQ(vamResultToStr({5, 140}), Text("VAM_RET_DATA_NOT_FOUND", "140"));
  EXPECT_EQ(vamResultToStr({6, 141}), Text("6", "ZELK_SC_COMM_ERROR"));
  EXPECT_EQ(vamResultToStr({7, 142}), Text("VAM_RET_INVALID_PARAM", "142"));
  EXPECT_EQ(vamResultToStr({14, -141}), Text("14", "-ZELK_SC_COMM_ERROR"));
  EXPECT_EQ(vamResultToStr({-1, -142}), Text("-1", "-142"));
  EXPECT_EQ(vamResultToStr({-5, 0}), Text("-5", "ZELK_NO_ERROR"));
}

TEST(VamResultToStr, ExtremeCodes_AreNumbers) {
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(vamResultToStr({kMin, kMin}), Text("-2147483648", "--2147483648"));
  EXPECT_EQ(vamResultToStr({kMax, kMax}), Text("2147483647", "2147483647"));
  EXPECT_EQ(vamResultToStr({kMax, -kMax}), Text("2147483647", "-2147483647"));
}

TEST(VamResult, ReceivedBlock_IsTwoLittleEndianIntegers) {
  const unsigned char block[8] = {13, 0, 0, 0, 0x73, 0xff, 0xff, 0xff};
  VamResult result;
  ASSERT_EQ(sizeof result, sizeof block);
  std::memcpy(&result, block, sizeof result);
  EXPECT_EQ(result.vamCode, 13);
  EXPECT_EQ(result.fwCode, -141);
}

TEST(ResultCodes, Values_AreThoseOfTheInterface) {
  EXPECT_EQ(VAM_RET_NOT_IMPLEMENTED, 13);
  EXPECT_EQ(VAM_RET_INVALID_PARAM, 7);
  EXPECT_EQ(ZELK_SC_COMM_ERROR, 141);
  EXPECT_EQ(ZELK_SC_MAC_MISMATCH_ERROR, 125);
}

}  // namespace
