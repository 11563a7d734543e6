#include "journal/code_names.h"

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

TEST(CodeNamesTest, ErrorNumber_HasItsNameBothWays) {
  constexpr Named<int> kErrors[] = {
      {"EPERM", EPERM},   {"ENOENT", ENOENT},   {"EINTR", EINTR},         {"EIO", EIO},
      {"ENXIO", ENXIO},   {"EAGAIN", EAGAIN},   {"ENOMEM", ENOMEM},       {"EACCES", EACCES},
      {"EBUSY", EBUSY},   {"ENODEV", ENODEV},   {"EINVAL", EINVAL},       {"EMFILE", EMFILE},
      {"EROFS", EROFS},   {"ENOTTY", ENOTTY},   {"ETIMEDOUT", ETIMEDOUT}, {"EFAULT", EFAULT},
      {"EEXIST", EEXIST}, {"ENOTDIR", ENOTDIR}, {"EBADF", EBADF},
  };
  for (const auto& row : kErrors) {
    EXPECT_EQ(ErrorNumberByName(row.name), std::optional<int>(row.value)) << row.name;
    EXPECT_STREQ(ErrorNumberName(row.value), row.name);
  }
  EXPECT_EQ(ErrorNumberByName("eio"), std::nullopt);
  EXPECT_EQ(ErrorNumberByName(""), std::nullopt);
  EXPECT_EQ(ErrorNumberName(9999), nullptr);
}

TEST(CodeNamesTest, Method_HasTheIdentifierOfItsCommand) {
  constexpr Named<std::uint32_t> kCommands[] = {
      {"vm_updateFW", 18},       {"vm_getFWInfo", 19},        {"vam_checkVamAk", 23},
      {"vam_akProvision", 24},   {"vam_akProvisionRPMB", 25}, {"vam_getPublicKeyStatus", 26},
      {"vam_getInfo", 28},       {"vam_getAppInfo", 29},      {"vam_updateFW", 30},
      {"vam_selfTestAll", 32},   {"vam_getHackInfo", 39},     {"vam_getFWInfo", 40},
      {"vam_forceRecovery", 42}, {"vam_forceRecoverySP", 43}, {"vam_removeAkKeys", 44},
  };
  for (const auto& row : kCommands) {
    EXPECT_EQ(CommandByName(row.name), std::optional<std::uint32_t>(row.value)) << row.name;
    EXPECT_STREQ(CommandName(row.value), row.name);
  }
  EXPECT_EQ(CommandByName("vm_updateFw"), std::nullopt);
  EXPECT_EQ(CommandName(20), nullptr);
}

TEST(CodeNamesTest, CommandsOnAkKeys_CarryKeys) {
  for (std::uint32_t identifier = 0; identifier < 64; ++identifier) {
    const bool isOnKeys = (identifier >= 23 && identifier <= 26) || identifier == 44;
    EXPECT_EQ(CarriesKeys(identifier), isOnKeys) << identifier;
  }
}

TEST(CodeNamesTest, Origin_HasTheStandardsName) {
  EXPECT_STREQ(OriginName(1), "TEEC_ORIGIN_API");
  EXPECT_STREQ(OriginName(2), "TEEC_ORIGIN_COMMS");
  EXPECT_STREQ(OriginName(3), "TEEC_ORIGIN_TEE");
  EXPECT_STREQ(OriginName(4), "TEEC_ORIGIN_TRUSTED_APP");
  EXPECT_EQ(OriginName(0), nullptr);
  EXPECT_EQ(OriginName(5), nullptr);
}

}  // namespace
}  // namespace vam
