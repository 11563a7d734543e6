#include <algorithm>
#include <cstdint>
#include <cstring>

#include "interface/ca_vam_interface_sp.h"
#include "interface/command_frame.h"
#include "interface/trusted_application.h"

namespace {

/// Sends an AK record: its length, then its bytes.
TEEC_Result SendAkRecord(const TEEC_UUID& uuid, std::uint32_t identifier, const char* name,
                         const std::uint8_t* data, std::uint32_t length) {
  vam::Command command{identifier, name};
  command.putRequest = [data, length](CNolvWsm& marshaller) {
    const bool lengthTaken = marshaller.PutUint(length);
    // The marshaller only reads the blob; not every vendor's header says so.
    const bool recordTaken = marshaller.PutBlob(const_cast<std::uint8_t*>(data), length);
    return lengthTaken && recordTaken;
  };
  return vam::RunCommand(uuid, command);
}

}  // namespace

TEEC_Result CaVamInterfaceSp::vam_akProvision(const std::uint8_t* data, std::uint32_t length) {
  return SendAkRecord(uuid, vam::kVamAkProvision, "vam_akProvision", data, length);
}

TEEC_Result CaVamInterfaceSp::vam_checkVamAk(const std::uint8_t* data, std::uint32_t length) {
  return SendAkRecord(uuid, vam::kVamCheckVamAk, "vam_checkVamAk", data, length);
}

TEEC_Result CaVamInterfaceSp::vam_getHackInfo(std::uint8_t* buffer, std::int32_t size) {
  vam::Command command{vam::kVamGetHackInfo, "vam_getHackInfo"};
  command.prepare = [buffer, size] {
    if (size > 0) {
      std::memset(buffer, 0, static_cast<std::uint32_t>(size));
    }
  };
  command.getReply = [buffer, size](CNolvWsm& marshaller) -> TEEC_Result {
    std::int32_t count = 0;
    if (!marshaller.GetInt(&count) || count <= 0) {
      return TEEC_ERROR_NO_DATA;
    }
    const void* record = marshaller.GetBlob(static_cast<std::uint32_t>(count));
    if (record == nullptr) {
      return TEEC_ERROR_NO_DATA;
    }
    const std::int32_t copied = std::min(count, size);
    if (copied > 0) {
      std::memcpy(buffer, record, static_cast<std::uint32_t>(copied));
    }
    return TEEC_SUCCESS;
  };
  return vam::RunCommand(uuid, command);
}
