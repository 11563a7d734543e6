#ifndef INTERFACE_TRUSTED_APPLICATION_H_
#define INTERFACE_TRUSTED_APPLICATION_H_

// What both sides of the secure world's border know of the VAM's trusted application: its UUID,
// its command identifiers, its update modes and the size of the block that carries them. Includes
// C headers only, so that the trusted application's own build takes it too.

#include <stdint.h>

#include "tee/shared_block.h"

namespace vam {

// 58d50001-1105-000f-9799-7f5af3f9c7bb, in the fields of the GlobalPlatform UUID record.
constexpr uint32_t kUuidTimeLow = 0x58d50001;
constexpr uint16_t kUuidTimeMid = 0x1105;
constexpr uint16_t kUuidTimeHiAndVersion = 0x000f;
constexpr uint8_t kUuidClockSeqAndNode[8] = {0x97, 0x99, 0x7f, 0x5a, 0xf3, 0xf9, 0xc7, 0xbb};

/// Command identifiers, named after the methods that send them.
enum CommandIdentifier : uint32_t {
  kVmUpdateFw = 18,
  kVmGetFwInfo = 19,
  kVamCheckVamAk = 23,
  kVamAkProvision = 24,
  kVamAkProvisionRpmb = 25,
  kVamGetPublicKeyStatus = 26,
  kVamGetInfo = 28,
  kVamGetAppInfo = 29,
  kVamUpdateFw = 30,
  kVamSelfTestAll = 32,
  kVamGetHackInfo = 39,
  kVamGetFwInfo = 40,
  kVamForceRecovery = 42,
  kVamForceRecoverySp = 43,
  kVamRemoveAkKeys = 44,
};

/// A command, the method of CaVamInterfaceSp that sends it, and what crosses the border with it.
struct NamedCommand {
  CommandIdentifier identifier;
  const char* method;
  /// Whether its request starts with an update mode.
  bool carriesMode;
  /// Whether its reply starts with a result record.
  bool repliesWithRecord;
  /// The most items of its reply, the record included.
  uint32_t replyItems;
};

constexpr NamedCommand kCommands[] = {
    {kVmUpdateFw, "vm_updateFW", true, true, 5},
    {kVmGetFwInfo, "vm_getFWInfo", false, false, 2},
    {kVamCheckVamAk, "vam_checkVamAk", false, false, 0},
    {kVamAkProvision, "vam_akProvision", false, false, 0},
    {kVamAkProvisionRpmb, "vam_akProvisionRPMB", false, false, 0},
    {kVamGetPublicKeyStatus, "vam_getPublicKeyStatus", false, false, 0},
    {kVamGetInfo, "vam_getInfo", false, false, 0},
    {kVamGetAppInfo, "vam_getAppInfo", false, false, 0},
    {kVamUpdateFw, "vam_updateFW", true, false, 0},
    {kVamSelfTestAll, "vam_selfTestAll", false, false, 0},
    {kVamGetHackInfo, "vam_getHackInfo", false, false, 2},
    {kVamGetFwInfo, "vam_getFWInfo", false, false, 2},
    {kVamForceRecovery, "vam_forceRecovery", false, false, 0},
    {kVamForceRecoverySp, "vam_forceRecoverySP", false, false, 0},
    {kVamRemoveAkKeys, "vam_removeAkKeys", false, false, 0},
};

/// Returns the command of `identifier`, or null where there is none.
constexpr const NamedCommand* FindCommand(uint32_t identifier) {
  for (const NamedCommand& command : kCommands) {
    if (command.identifier == identifier) {
      return &command;
    }
  }
  return nullptr;
}

/// Modes of the update commands. The interface passes any number; these are the ones that the
/// trusted application knows.
enum UpdateMode : int32_t {
  /// Runs the update and reports the versions of the update.
  kUpdateAll = 3,
  /// Reports the versions of the firmware image in the device's file system.
  kReportFileSystem = 7,
  /// Reports the versions that the chip holds.
  kReportChip = 11,
};

}  // namespace vam

#endif  // INTERFACE_TRUSTED_APPLICATION_H_
