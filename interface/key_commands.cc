#include <algorithm>
#include <cstdint>
#include <cstring>

#include "interface/ca_vam_interface_sp.h"
#include "interface/exchange.h"
#include "interface/trusted_application.h"

TEEC_Result CaVamInterfaceSp::vam_akProvision(const std::uint8_t* data, std::uint32_t length) {
  vam::Exchange exchange("vam_akProvision");
  exchange.Open(uuid).PutUint(length).PutBlob(data, length);
  return exchange.Invoke(vam::kVamAkProvision);
}

TEEC_Result CaVamInterfaceSp::vam_checkVamAk(const std::uint8_t* data, std::uint32_t length) {
  vam::Exchange exchange("vam_checkVamAk");
  exchange.Open(uuid).PutUint(length).PutBlob(data, length);
  return exchange.Invoke(vam::kVamCheckVamAk);
}

TEEC_Result CaVamInterfaceSp::vam_getHackInfo(std::uint8_t* buffer, std::int32_t size) {
  vam::Exchange exchange("vam_getHackInfo");
  if (size > 0) {
    std::memset(buffer, 0, static_cast<std::uint32_t>(size));
  }
  const TEEC_Result result = exchange.Open(uuid).Invoke(vam::kVamGetHackInfo);
  if (result != TEEC_SUCCESS) {
    return result;
  }

  CNolvWsm& reply = exchange.Reply();
  std::int32_t count = 0;
  if (!reply.GetInt(&count) || count <= 0) {
    return TEEC_ERROR_NO_DATA;
  }
  const void* record = reply.GetBlob(static_cast<std::uint32_t>(count));
  if (record == nullptr) {
    return TEEC_ERROR_NO_DATA;
  }
  const std::int32_t copied = std::min(count, size);
  if (copied > 0) {
    std::memcpy(buffer, record, static_cast<std::uint32_t>(copied));
  }
  return TEEC_SUCCESS;
}
