#include <cstring>

#include "platform/tee_client.h"

// Preloaded by a program of its own accord, it takes the place of one function of the TEE client
// library: it answers with more than the simulated trusted application does.

TEEC_Result TEEC_InvokeCommand(TEEC_Session* /*session*/, uint32_t /*commandID*/,
                               TEEC_Operation* operation, uint32_t* returnOrigin) {
  for (int i = 0; i < TEEC_CONFIG_PAYLOAD_REF_COUNT; ++i) {
    TEEC_Parameter& parameter = operation->params[i];
    switch (TEEC_PARAM_TYPE_GET(operation->paramTypes, i)) {
      case TEEC_VALUE_OUTPUT:
      case TEEC_VALUE_INOUT:
        parameter.value.a += 100;
        parameter.value.b = 200;
        break;
      case TEEC_MEMREF_TEMP_INOUT:
        std::memcpy(parameter.tmpref.buffer, "abc", 3);
        parameter.tmpref.size = 3;
        break;
      default:
        break;
    }
  }
  *returnOrigin = TEEC_ORIGIN_TRUSTED_APP;
  return TEEC_ERROR_SHORT_BUFFER;
}
