#include "interface/ca_vam_interface_sp.h"

#include <cstddef>

#include "interface/command_frame.h"
#include "interface/trusted_application.h"

CaVamInterfaceSp::CaVamInterfaceSp(TEEC_UUID trustedApplication) : uuid(trustedApplication) {}

TEEC_Result CaVamInterfaceSp::vam_removeAkKeys() {
  return vam::RunCommand(uuid, {vam::kVamRemoveAkKeys, "vam_removeAkKeys"});
}

TEEC_Result CaVamInterfaceSp::vam_getPublicKeyStatus() {
  return vam::RunCommand(uuid, {vam::kVamGetPublicKeyStatus, "vam_getPublicKeyStatus"});
}

TEEC_Result CaVamInterfaceSp::vam_akProvisionRPMB() {
  return vam::RunCommand(uuid, {vam::kVamAkProvisionRpmb, "vam_akProvisionRPMB"});
}

TEEC_Result CaVamInterfaceSp::vam_forceRecoverySP() {
  return vam::RunCommand(uuid, {vam::kVamForceRecoverySp, "vam_forceRecoverySP"});
}

TEEC_Result CaVamInterfaceSp::vam_forceRecovery() {
  return vam::RunCommand(uuid, {vam::kVamForceRecovery, "vam_forceRecovery"});
}

TEEC_Result CaVamInterfaceSp::vam_selfTestAll() {
  return vam::RunCommand(uuid, {vam::kVamSelfTestAll, "vam_selfTestAll"});
}

TEEC_Result CaVamInterfaceSp::vam_getAppInfo() {
  return vam::RunCommand(uuid, {vam::kVamGetAppInfo, "vam_getAppInfo"});
}

TEEC_Result CaVamInterfaceSp::vam_getInfo() {
  return vam::RunCommand(uuid, {vam::kVamGetInfo, "vam_getInfo"});
}

namespace vam {

TEEC_UUID TrustedApplicationUuid() {
  TEEC_UUID uuid{};
  uuid.timeLow = kUuidTimeLow;
  uuid.timeMid = kUuidTimeMid;
  uuid.timeHiAndVersion = kUuidTimeHiAndVersion;
  for (std::size_t i = 0; i < sizeof kUuidClockSeqAndNode; ++i) {
    uuid.clockSeqAndNode[i] = kUuidClockSeqAndNode[i];
  }
  return uuid;
}

}  // namespace vam
