#include "vamctl/code_texts.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <limits>
#include <string>

#include "report/vam_result.h"

namespace vam {
namespace {

TEST(TeeCodeTest, IsNumberAndName) {
  EXPECT_EQ(TeeCodeAsText(0), "0x00000000 TEEC_SUCCESS");
  EXPECT_EQ(TeeCodeAsText(0xFFFF000F), "0xFFFF000F TEEC_ERROR_SECURITY");
  EXPECT_EQ(TeeCodeAsJson(0).dump(), R"({"code":0,"name":"TEEC_SUCCESS"})");
  EXPECT_EQ(TeeCodeAsJson(0xFFFF000F).dump(),
            R"({"code":4294901775,"name":"TEEC_ERROR_SECURITY"})");
}

TEST(TeeCodeTest, IsNumberAloneWithoutAName) {
  EXPECT_EQ(TeeCodeAsText(0xabc), "0x00000ABC");
  EXPECT_EQ(TeeCodeAsJson(0xabc).dump(), R"({"code":2748,"name":null})");
}

TEST(TeeOriginTest, IsNumberAndTheStandardsName) {
  const char* const names[] = {"null",
                               R"("TEEC_ORIGIN_API")",
                               R"("TEEC_ORIGIN_COMMS")",
                               R"("TEEC_ORIGIN_TEE")",
                               R"("TEEC_ORIGIN_TRUSTED_APP")",
                               "null"};
  for (std::uint32_t origin = 0; origin < std::size(names); ++origin) {
    EXPECT_EQ(TeeOriginAsJson(origin).dump(),
              R"({"code":)" + std::to_string(origin) + R"(,"name":)" + names[origin] + "}");
  }
}

struct RecordRow {
  VamResult record;
  const char* text;
  const char* json;
};

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();

const RecordRow kRecords[] = {
    {{0, 0},
     "VAM: 0 VAM_RET_SUCCESS\nfirmware: 0 ZELK_NO_ERROR",
     R"({"vam":{"code":0,"name":"VAM_RET_SUCCESS"},"firmware":{"code":0,"name":"ZELK_NO_ERROR"}})"},
    {{7, -11},
     "VAM: 7 VAM_RET_INVALID_PARAM\nfirmware: -11 -ZELK_INVALID_PARAMETER",
     R"({"vam":{"code":7,"name":"VAM_RET_INVALID_PARAM"},)"
     R"("firmware":{"code":-11,"name":"-ZELK_INVALID_PARAMETER"}})"},
    {{13, 141},
     "VAM: 13 VAM_RET_NOT_IMPLEMENTED\nfirmware: 141 ZELK_SC_COMM_ERROR",
     R"({"vam":{"code":13,"name":"VAM_RET_NOT_IMPLEMENTED"},)"
     R"("firmware":{"code":141,"name":"ZELK_SC_COMM_ERROR"}})"},
    {{6, -12},
     "VAM: 6\nfirmware: -12",
     R"({"vam":{"code":6,"name":null},"firmware":{"code":-12,"name":null}})"},
    {{-1, 12},
     "VAM: -1\nfirmware: 12",
     R"({"vam":{"code":-1,"name":null},"firmware":{"code":12,"name":null}})"},
    {{14, kLowest},
     "VAM: 14\nfirmware: -2147483648",
     R"({"vam":{"code":14,"name":null},"firmware":{"code":-2147483648,"name":null}})"},
};

TEST(RecordTest, IsNumbersAndNames) {
  for (const RecordRow& row : kRecords) {
    EXPECT_EQ(RecordAsText(row.record, ""), row.text);
    EXPECT_EQ(RecordAsJson(row.record).dump(), row.json);
  }
}

TEST(RecordTest, IsIndented) {
  EXPECT_EQ(RecordAsText({1, 2}, "  "), "  VAM: 1 VAM_RET_FAIL\n  firmware: 2 ZELK_INIT_ERROR");
}

}  // namespace
}  // namespace vam
