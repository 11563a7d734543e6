#include "platform/tee_client.h"

// A plug-in that needs the TEE client library, which the program that loads it does not.

extern "C" unsigned Initialize(const char*, void*) {
  TEEC_Context context = {};
  const TEEC_Result result = TEEC_InitializeContext(nullptr, &context);
  TEEC_FinalizeContext(&context);
  return static_cast<unsigned>(result);
}
