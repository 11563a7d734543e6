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

/// A command, and the method of CaVamInterfaceSp that sends it.
struct NamedCommand {
  CommandIdentifier identifier;
  const char* method;
};

constexpr NamedCommand kCommands[] = {
    {kVmUpdateFw, "vm_updateFW"},
    {kVmGetFwInfo, "vm_getFWInfo"},
    {kVamCheckVamAk, "vam_checkVamAk"},
    {kVamAkProvision, "vam_akProvision"},
    {kVamAkProvisionRpmb, "vam_akProvisionRPMB"},
    {kVamGetPublicKeyStatus, "vam_getPublicKeyStatus"},
    {kVamGetInfo, "vam_getInfo"},
    {kVamGetAppInfo, "vam_getAppInfo"},
    {kVamUpdateFw, "vam_updateFW"},
    {kVamSelfTestAll, "vam_selfTestAll"},
    {kVamGetHackInfo, "vam_getHackInfo"},
    {kVamGetFwInfo, "vam_getFWInfo"},
    {kVamForceRecovery, "vam_forceRecovery"},
    {kVamForceRecoverySp, "vam_forceRecoverySP"},
    {kVamRemoveAkKeys, "vam_removeAkKeys"},
};

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
