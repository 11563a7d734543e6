#include "report/tee_codes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <optional>

namespace vam {
namespace {

struct Row {
  std::uint32_t value;
  const char* name;
};

constexpr Row kRows[] = {
    {0x00000000, "TEEC_SUCCESS"},
    {0xFFFF0000, "TEEC_ERROR_GENERIC"},
    {0xFFFF0001, "TEEC_ERROR_ACCESS_DENIED"},
    {0xFFFF0002, "TEEC_ERROR_CANCEL"},
    {0xFFFF0003, "TEEC_ERROR_ACCESS_CONFLICT"},
    {0xFFFF0004, "TEEC_ERROR_EXCESS_DATA"},
    {0xFFFF0005, "TEEC_ERROR_BAD_FORMAT"},
    {0xFFFF0006, "TEEC_ERROR_BAD_PARAMETERS"},
    {0xFFFF0007, "TEEC_ERROR_BAD_STATE"},
    {0xFFFF0008, "TEEC_ERROR_ITEM_NOT_FOUND"},
    {0xFFFF0009, "TEEC_ERROR_NOT_IMPLEMENTED"},
    {0xFFFF000A, "TEEC_ERROR_NOT_SUPPORTED"},
    {0xFFFF000B, "TEEC_ERROR_NO_DATA"},
    {0xFFFF000C, "TEEC_ERROR_OUT_OF_MEMORY"},
    {0xFFFF000D, "TEEC_ERROR_BUSY"},
    {0xFFFF000E, "TEEC_ERROR_COMMUNICATION"},
    {0xFFFF000F, "TEEC_ERROR_SECURITY"},
    {0xFFFF0010, "TEEC_ERROR_SHORT_BUFFER"},
    {0xFFFF0011, "TEEC_ERROR_EXTERNAL_CANCEL"},
    {0xFFFF3024, "TEEC_ERROR_TARGET_DEAD"},
};

TEST(TeeCode, OfTheStandard_IsFoundByValueAndByName) {
  for (const Row& row : kRows) {
    EXPECT_STREQ(TeeCodeName(row.value), row.name);
    EXPECT_EQ(TeeCodeByName(row.name), std::optional<std::uint32_t>(row.value)) << row.name;
  }
  EXPECT_EQ(std::size(kTeeCodes), std::size(kRows));
}

TEST(TeeCode, OtherValue_HasNoName) {
  for (const std::uint32_t value : {0x00000001U, 0xFFFEFFFFU, 0xFFFF0012U, 0xFFFF3023U, 0xFFFF3025U,
                                    0xFFFFFFFFU, 0xF0100001U}) {
    EXPECT_EQ(TeeCodeName(value), nullptr) << value;
  }
}

TEST(TeeCode, OtherName_HasNoValue) {
  for (const char* name : {"", "TEEC", "teec_success", "TEEC_SUCCESS ", "TEEC_ERROR_", "EIO"}) {
    EXPECT_EQ(TeeCodeByName(name), std::nullopt) << name;
  }
}

}  // namespace
}  // namespace vam
