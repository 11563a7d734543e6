#include "interface/ca_vam_interface_sp.h"

#include <cstddef>

#include "interface/exchange.h"
#include "interface/trusted_application.h"

CaVamInterfaceSp::CaVamInterfaceSp(TEEC_UUID trustedApplication) : uuid(trustedApplication) {}

TEEC_Result CaVamInterfaceSp::vam_removeAkKeys() {
  return vam::Exchange("vam_removeAkKeys").Open(uuid).Invoke(vam::kVamRemoveAkKeys);
}

TEEC_Result CaVamInterfaceSp::vam_getPublicKeyStatus() {
  return vam::Exchange("vam_getPublicKeyStatus").Open(uuid).Invoke(vam::kVamGetPublicKeyStatus);
}

TEEC_Result CaVamInterfaceSp::vam_akProvisionRPMB() {
  return vam::Exchange("vam_akProvisionRPMB").Open(uuid).Invoke(vam::kVamAkProvisionRpmb);
}

TEEC_Result CaVamInterfaceSp::vam_forceRecoverySP() {
  return vam::Exchange("vam_forceRecoverySP").Open(uuid).Invoke(vam::kVamForceRecoverySp);
}

TEEC_Result CaVamInterfaceSp::vam_forceRecovery() {
  return vam::Exchange("vam_forceRecovery").Open(uuid).Invoke(vam::kVamForceRecovery);
}

TEEC_Result CaVamInterfaceSp::vam_selfTestAll() {
  return vam::Exchange("vam_selfTestAll").Open(uuid).Invoke(vam::kVamSelfTestAll);
}

TEEC_Result CaVamInterfaceSp::vam_getAppInfo() {
  return vam::Exchange("vam_getAppInfo").Open(uuid).Invoke(vam::kVamGetAppInfo);
}

TEEC_Result CaVamInterfaceSp::vam_getInfo() {
  return vam::Exchange("vam_getInfo").Open(uuid).Invoke(vam::kVamGetInfo);
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
