#include "simulator/board/code_names.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>

namespace vam {
namespace {

template <typename Value>
struct Named {
  const char* name;
  Value value;
};

TEST(CodeNamesTest, NamesTheResultsOfTheTeeClientApi) {
  // The return codes of the GlobalPlatform TEE Client API v1.0, and the one for a trusted
  // application that died.
  constexpr Named<std::uint32_t> kResults[] = {
      {"TEEC_SUCCESS", 0},
      {"TEEC_ERROR_GENERIC", 0xFFFF0000},
      {"TEEC_ERROR_ACCESS_DENIED", 0xFFFF0001},
      {"TEEC_ERROR_CANCEL", 0xFFFF0002},
      {"TEEC_ERROR_ACCESS_CONFLICT", 0xFFFF0003},
      {"TEEC_ERROR_EXCESS_DATA", 0xFFFF0004},
      {"TEEC_ERROR_BAD_FORMAT", 0xFFFF0005},
      {"TEEC_ERROR_BAD_PARAMETERS", 0xFFFF0006},
      {"TEEC_ERROR_BAD_STATE", 0xFFFF0007},
      {"TEEC_ERROR_ITEM_NOT_FOUND", 0xFFFF0008},
      {"TEEC_ERROR_NOT_IMPLEMENTED", 0xFFFF0009},
      {"TEEC_ERROR_NOT_SUPPORTED", 0xFFFF000A},
      {"TEEC_ERROR_NO_DATA", 0xFFFF000B},
      {"TEEC_ERROR_OUT_OF_MEMORY", 0xFFFF000C},
      {"TEEC_ERROR_BUSY", 0xFFFF000D},
      {"TEEC_ERROR_COMMUNICATION", 0xFFFF000E},
      {"TEEC_ERROR_SECURITY", 0xFFFF000F},
      {"TEEC_ERROR_SHORT_BUFFER", 0xFFFF0010},
      {"TEEC_ERROR_TARGET_DEAD", 0xFFFF3024},
  };
  for (const auto& row : kResults) {
    EXPECT_EQ(TeeResultByName(row.name), std::optional<std::uint32_t>(row.value)) << row.name;
  }
  for (const char* other : {"", "TEEC", "teec_success", "TEEC_SUCCESS ", "EIO"}) {
    EXPECT_EQ(TeeResultByName(other), std::nullopt) << other;
  }
}

TEST(CodeNamesTest, NamesErrorNumbersBothWays) {
  constexpr Named<int> kErrors[] = {
      {"EPERM", EPERM},   {"ENOENT", ENOENT},       {"EINTR", EINTR},   {"EIO", EIO},
      {"ENXIO", ENXIO},   {"EAGAIN", EAGAIN},       {"ENOMEM", ENOMEM}, {"EACCES", EACCES},
      {"EBUSY", EBUSY},   {"ENODEV", ENODEV},       {"EINVAL", EINVAL}, {"EMFILE", EMFILE},
      {"ENOTTY", ENOTTY}, {"ETIMEDOUT", ETIMEDOUT},
  };
  for (const auto& row : kErrors) {
    EXPECT_EQ(ErrorNumberByName(row.name), std::optional<int>(row.value)) << row.name;
    EXPECT_EQ(ErrorNumberName(row.value), row.name);
  }
  EXPECT_EQ(ErrorNumberByName("eio"), std::nullopt);
  EXPECT_EQ(ErrorNumberByName(""), std::nullopt);
  EXPECT_EQ(ErrorNumberName(9999), "9999");
}

TEST(CodeNamesTest, NamesTheCommandsOfTheTrustedApplication) {
  constexpr Named<std::uint32_t> kCommands[] = {
      {"vm_updateFW", 18},       {"vm_getFWInfo", 19},        {"vam_checkVamAk", 23},
      {"vam_akProvision", 24},   {"vam_akProvisionRPMB", 25}, {"vam_getPublicKeyStatus", 26},
      {"vam_getInfo", 28},       {"vam_getAppInfo", 29},      {"vam_updateFW", 30},
      {"vam_selfTestAll", 32},   {"vam_getHackInfo", 39},     {"vam_getFWInfo", 40},
      {"vam_forceRecovery", 42}, {"vam_forceRecoverySP", 43}, {"vam_removeAkKeys", 44},
  };
  for (const auto& row : kCommands) {
    EXPECT_EQ(CommandByName(row.name), std::optional<std::uint32_t>(row.value)) << row.name;
  }
  EXPECT_EQ(CommandByName("vm_updateFw"), std::nullopt);
}

}  // namespace
}  // namespace vam
