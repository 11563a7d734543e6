#include "virtual_device/device_board/ballast.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "virtual_device/ballast/user_ta_header_defines.h"

namespace vam {
namespace {

constexpr TEEC_UUID kUuid = TA_UUID;

/// Far more than the secure world's memory has room for.
constexpr std::size_t kMostInstances = 2000;

}  // namespace

Ballast::Ballast() {
  if (TEEC_InitializeContext(nullptr, &context) != TEEC_SUCCESS) {
    throw std::runtime_error("there is no secure world to occupy");
  }
  TEEC_Result result = TEEC_SUCCESS;
  while (result == TEEC_SUCCESS && sessions.size() < kMostInstances) {
    TEEC_Session session{};
    std::uint32_t origin = 0;
    result =
        TEEC_OpenSession(&context, &session, &kUuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, &origin);
    if (result == TEEC_SUCCESS) {
      sessions.push_back(session);
    }
  }
  if (result != TEEC_ERROR_OUT_OF_MEMORY) {
    throw std::runtime_error("the secure world's memory did not run out: result " +
                             std::to_string(result) + " at instance " +
                             std::to_string(sessions.size() + 1));
  }
}

Ballast::~Ballast() {
  for (TEEC_Session& session : sessions) {
    TEEC_CloseSession(&session);
  }
  TEEC_FinalizeContext(&context);
}

}  // namespace vam
