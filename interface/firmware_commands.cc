#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "interface/ca_vam_interface_sp.h"
#include "interface/command_frame.h"
#include "interface/trusted_application.h"
#include "util/console_line.h"

namespace {

TEEC_Result GetInformationWords(const TEEC_UUID& uuid, std::uint32_t identifier,
                                std::uint32_t* words, std::uint32_t count) {
  // Both generations of the command print the older name; log readers depend on it.
  vam::Command command{identifier, "vam_getFWInfo"};
  command.getReply = [words, count](CNolvWsm& marshaller) -> TEEC_Result {
    std::uint32_t total = 0;
    if (!marshaller.GetUint(&total) || total == 0) {
      return TEEC_ERROR_NO_DATA;
    }
    // A huge total wraps here; no more is then copied than the blob holds.
    const std::uint32_t byteCount = total * std::uint32_t{sizeof(std::uint32_t)};
    const void* block = marshaller.GetBlob(byteCount);
    if (block == nullptr) {
      return TEEC_ERROR_NO_DATA;
    }
    const std::uint32_t delivered = byteCount / std::uint32_t{sizeof(std::uint32_t)};
    const std::uint32_t copied = std::min(delivered, count);
    const auto* bytes = static_cast<const std::uint8_t*>(block);
    for (std::uint32_t i = 0; i < copied; ++i) {
      // The blob may stand at any address of the block.
      std::memcpy(&words[i], bytes + std::size_t{i} * sizeof(std::uint32_t), sizeof(std::uint32_t));
    }
    return TEEC_SUCCESS;
  };
  return vam::RunCommand(uuid, command);
}

TEEC_Result MissingReplyItem(const char* line) {
  vam::PrintLine(line);
  return TEEC_ERROR_COMMUNICATION;
}

/// Both generations of the update send the mode alone.
vam::Command UpdateCommand(std::uint32_t identifier, const char* name, std::int32_t mode) {
  vam::Command command{identifier, name};
  command.putRequest = [mode](CNolvWsm& marshaller) -> bool { return marshaller.PutInt(mode); };
  return command;
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
  vam::Command command = UpdateCommand(vam::kVmUpdateFw, "vm_updateFW", mode);
  command.invokeErrorLine = "InvokeCommand error";
  command.getReply = [&](CNolvWsm& marshaller) -> TEEC_Result {
    const void* record = marshaller.GetBlob(sizeof *result);
    if (record == nullptr) {
      return MissingReplyItem("Error GetBlob VamResult");
    }
    std::memcpy(result, record, sizeof *result);

    std::uint32_t systemSize = 0;
    if (!marshaller.GetUint(&systemSize) || systemSize == 0) {
      return MissingReplyItem("GetUint() system_ver_size error");
    }
    const void* systemText = marshaller.GetBlob(systemSize);
    if (systemText == nullptr) {
      return MissingReplyItem("GetBlob() system_version_buf error");
    }
    std::uint32_t appSize = 0;
    if (!marshaller.GetUint(&appSize) || appSize == 0) {
      return MissingReplyItem("GetUint() app_ver_size error");
    }
    const void* appText = marshaller.GetBlob(appSize);
    if (appText == nullptr) {
      return MissingReplyItem("GetBlob() app_version_buf error");
    }

    systemVersion = convertToString(static_cast<const std::uint8_t*>(systemText),
                                    static_cast<std::int32_t>(systemSize));
    appVersion = convertToString(static_cast<const std::uint8_t*>(appText),
                                 static_cast<std::int32_t>(appSize));
    return TEEC_SUCCESS;
  };
  return static_cast<std::int32_t>(vam::RunCommand(uuid, command));
}

std::int32_t CaVamInterfaceSp::vam_updateFW(std::int32_t mode) {
  return static_cast<std::int32_t>(
      vam::RunCommand(uuid, UpdateCommand(vam::kVamUpdateFw, "vam_updateFW", mode)));
}

std::string convertToString(const std::uint8_t* buffer, std::int32_t size) {
  if (size <= 0) {
    return {};
  }
  return std::string(buffer, buffer + size);
}
