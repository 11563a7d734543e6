// Answers the commands that read a reply with arbitrary bytes in the shared block. Whatever the
// trusted application writes, a command ends with one of its codes, leaves nothing open, and
// changes its caller's buffers only as that code says.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "interface/ca_vam_interface_sp.h"
#include "interface/trusted_application.h"
#include "platform/tee_client.h"
#include "util/console_line.h"

namespace {

constexpr std::uint8_t kGuard = 0xA5;

/// The reply, and the number of the TEE client's resources that the commands hold.
std::vector<std::uint8_t> reply;
int held = 0;

}  // namespace

// Takes the place of the console's. The lines do not matter here.
void vam::PrintLine(std::initializer_list<std::string_view>) {}

// Take the place of the TEE client library's.
TEEC_Result TEEC_InitializeContext(const char*, TEEC_Context*) {
  ++held;
  return TEEC_SUCCESS;
}
void TEEC_FinalizeContext(TEEC_Context*) { --held; }
TEEC_Result TEEC_OpenSession(TEEC_Context*, TEEC_Session*, const TEEC_UUID*, std::uint32_t,
                             const void*, TEEC_Operation*, std::uint32_t*) {
  ++held;
  return TEEC_SUCCESS;
}
void TEEC_CloseSession(TEEC_Session*) { --held; }
TEEC_Result TEEC_AllocateSharedMemory(TEEC_Context*, TEEC_SharedMemory* sharedMemory) {
  ++held;
  sharedMemory->buffer = std::calloc(1, sharedMemory->size);
  return TEEC_SUCCESS;
}
void TEEC_ReleaseSharedMemory(TEEC_SharedMemory* sharedMemory) {
  --held;
  std::free(sharedMemory->buffer);
}
TEEC_Result TEEC_InvokeCommand(TEEC_Session*, std::uint32_t, TEEC_Operation* operation,
                               std::uint32_t*) {
  const TEEC_SharedMemory& block = *operation->params[0].memref.parent;
  std::copy_n(reply.begin(), std::min(reply.size(), block.size),
              static_cast<std::uint8_t*>(block.buffer));
  return TEEC_SUCCESS;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  reply.assign(data, data + size);
  CaVamInterfaceSp interface(TEEC_UUID{});

  std::string systemVersion = "system";
  std::string appVersion = "app";
  VamResult record{1, 2};
  const auto updateResult =
      static_cast<TEEC_Result>(interface.vm_updateFW(3, systemVersion, appVersion, &record));
  if (updateResult == TEEC_SUCCESS) {
    vam::Require(!systemVersion.empty() && !appVersion.empty());
    vam::Require(systemVersion.size() + appVersion.size() + sizeof record < vam::kSharedBlockSize);
  } else {
    vam::Require(updateResult == TEEC_ERROR_COMMUNICATION);
    vam::Require(systemVersion == "system" && appVersion == "app");
  }

  const std::vector<std::uint32_t> untouched(10, 0xA5A5A5A5);
  std::vector<std::uint32_t> words = untouched;
  const auto infoResult = static_cast<TEEC_Result>(
      interface.vm_getFWInfo(words.data(), static_cast<std::uint32_t>(words.size())));
  if (infoResult != TEEC_SUCCESS) {
    vam::Require(infoResult == TEEC_ERROR_NO_DATA && words == untouched);
  }

  std::vector<std::uint8_t> hackInformation(64, kGuard);
  const TEEC_Result hackResult = interface.vam_getHackInfo(
      hackInformation.data(), static_cast<std::int32_t>(hackInformation.size()));
  if (hackResult != TEEC_SUCCESS) {
    vam::Require(hackResult == TEEC_ERROR_NO_DATA &&
                 hackInformation == std::vector<std::uint8_t>(hackInformation.size(), 0));
  }

  vam::Require(held == 0);
  return 0;
}
