#include "virtual_device/device_board/ballast.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace vam {
namespace {

// 7d0f2b7e-6c1c-4b0f-9c1f-5b9c3a7e5d21, of virtual_device/ballast/.
constexpr TEEC_UUID kUuid = {
    0x7d0f2b7e, 0x6c1c, 0x4b0f, {0x9c, 0x1f, 0x5b, 0x9c, 0x3a, 0x7e, 0x5d, 0x21}};

/// Far beyond what the secure world's memory has room for.
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
