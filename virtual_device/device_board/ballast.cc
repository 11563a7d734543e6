#include "virtual_device/device_board/ballast.h"

#include <stdexcept>
#include <string>

#include "platform/tee_client.h"
#include "virtual_device/ballast/user_ta_header_defines.h"

namespace vam {
namespace {

constexpr TEEC_UUID kUuid = TA_UUID;

}  // namespace

void OccupySecureMemory() {
  TEEC_Context context{};
  if (TEEC_InitializeContext(nullptr, &context) != TEEC_SUCCESS) {
    throw std::runtime_error("there is no secure world to occupy");
  }
  // The kernel's driver keeps the sessions, each with its instance, until this process has ended.
  TEEC_Result result = TEEC_SUCCESS;
  while (result == TEEC_SUCCESS) {
    TEEC_Session session{};
    result =
        TEEC_OpenSession(&context, &session, &kUuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, nullptr);
  }
  if (result != TEEC_ERROR_OUT_OF_MEMORY) {
    throw std::runtime_error("the secure world's memory did not run out: result " +
                             std::to_string(result));
  }
}

}  // namespace vam
