#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "interface/ca_vam_interface_sp.h"
#include "interface/exchange.h"
#include "interface/trusted_application.h"
#include "util/console_line.h"

namespace {

TEEC_Result GetInformationWords(const TEEC_UUID& uuid, std::uint32_t identifier,
                                std::uint32_t* words, std::uint32_t count) {
  // Both generations of the command print the older name; log readers depend on it.
  vam::Exchange exchange("vam_getFWInfo");
  const TEEC_Result result = exchange.Open(uuid).Invoke(identifier);
  if (result != TEEC_SUCCESS) {
    return result;
  }

  CNolvWsm& reply = exchange.Reply();
  std::uint32_t total = 0;
  if (!reply.GetUint(&total) || total == 0) {
    return TEEC_ERROR_NO_DATA;
  }
  // A huge total wraps here. Only as much as the blob holds is copied.
  const std::uint32_t byteCount = total * std::uint32_t{sizeof *words};
  const void* block = reply.GetBlob(byteCount);
  if (block == nullptr) {
    return TEEC_ERROR_NO_DATA;
  }
  const std::uint32_t delivered = byteCount / std::uint32_t{sizeof *words};
  const std::uint32_t copied = std::min(delivered, count);
  if (copied > 0) {
    std::memcpy(words, block, std::size_t{copied} * sizeof *words);
  }
  return TEEC_SUCCESS;
}

/// Prints `line` and returns the code of an update whose reply lacks an item.
std::int32_t MissingReplyItem(const char* line) {
  vam::PrintLine(line);
  return static_cast<std::int32_t>(TEEC_ERROR_COMMUNICATION);
}

}  // namespace

std::int32_t CaVamInterfaceSp::vm_getFWInfo(std::uint32_t* words, std::uint32_t count) {
  return static_cast<std::int32_t>(GetInformationWords(uuid, vam::kVmGetFwInfo, words, count));
}

std::int32_t CaVamInterfaceSp::vam_getFWInfo(std::uint32_t* words, std::uint32_t count) {
  return static_cast<std::int32_t>(GetInformationWords(uuid, vam::kVamGetFwInfo, words, count));
}

std::int32_t CaVamInterfaceSp::vm_updateFW(std::int32_t mode, std::string& systemVersion,
                                           std::string& appVersion, VamResult* result) {
  vam::Exchange exchange("vm_updateFW");
  exchange.Open(uuid).PutInt(mode);
  const TEEC_Result code = exchange.Invoke(vam::kVmUpdateFw, "InvokeCommand error");
  if (code != TEEC_SUCCESS) {
    return static_cast<std::int32_t>(code);
  }

  CNolvWsm& reply = exchange.Reply();
  const void* record = reply.GetBlob(sizeof *result);
  if (record == nullptr) {
    return MissingReplyItem("Error GetBlob VamResult");
  }
  std::memcpy(result, record, sizeof *result);

  std::uint32_t systemSize = 0;
  if (!reply.GetUint(&systemSize) || systemSize == 0) {
    return MissingReplyItem("GetUint() system_ver_size error");
  }
  const void* systemText = reply.GetBlob(systemSize);
  if (systemText == nullptr) {
    return MissingReplyItem("GetBlob() system_version_buf error");
  }
  std::uint32_t appSize = 0;
  if (!reply.GetUint(&appSize) || appSize == 0) {
    return MissingReplyItem("GetUint() app_ver_size error");
  }
  const void* appText = reply.GetBlob(appSize);
  if (appText == nullptr) {
    return MissingReplyItem("GetBlob() app_version_buf error");
  }

  systemVersion = convertToString(static_cast<const std::uint8_t*>(systemText),
                                  static_cast<std::int32_t>(systemSize));
  appVersion = convertToString(static_cast<const std::uint8_t*>(appText),
                               static_cast<std::int32_t>(appSize));
  return 0;
}

std::int32_t CaVamInterfaceSp::vam_updateFW(std::int32_t mode) {
  vam::Exchange exchange("vam_updateFW");
  exchange.Open(uuid).PutInt(mode);
  return static_cast<std::int32_t>(exchange.Invoke(vam::kVamUpdateFw));
}

std::string convertToString(const std::uint8_t* buffer, std::int32_t size) {
  if (size <= 0) {
    return {};
  }
  return std::string(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(size));
}
