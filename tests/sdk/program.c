/* A program in C that calls the TEE client API itself, without a marshaller: asks for the
 * information words, and prints result, origin and the answer's first two words. */
#include <stdio.h>
#include <string.h>
#include <tee_client_api.h>

static const unsigned char kClockSeqAndNode[8] = {0x97, 0x99, 0x7f, 0x5a, 0xf3, 0xf9, 0xc7, 0xbb};

int main(void) {
  TEEC_UUID application;
  TEEC_Context context;
  TEEC_Session session;
  TEEC_SharedMemory memory;
  TEEC_Operation operation;
  TEEC_Result result;
  unsigned origin = 0;
  unsigned words[2] = {0, 0};

  memset(&memory, 0, sizeof memory);
  memset(&operation, 0, sizeof operation);
  application.timeLow = 0x58d50001;
  application.timeMid = 0x1105;
  application.timeHiAndVersion = 0x000f;
  memcpy(application.clockSeqAndNode, kClockSeqAndNode, sizeof kClockSeqAndNode);
  memory.size = 8192;
  memory.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  if (TEEC_InitializeContext(NULL, &context) != TEEC_SUCCESS ||
      TEEC_OpenSession(&context, &session, &application, TEEC_LOGIN_PUBLIC, NULL, NULL, &origin) !=
          TEEC_SUCCESS ||
      TEEC_AllocateSharedMemory(&context, &memory) != TEEC_SUCCESS) {
    return 1;
  }
  operation.paramTypes =
      TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  operation.params[0].memref.parent = &memory;
  operation.params[0].memref.size = memory.size;
  result = TEEC_InvokeCommand(&session, 19, &operation, &origin);
  memcpy(words, memory.buffer, sizeof words);
  TEEC_ReleaseSharedMemory(&memory);
  TEEC_CloseSession(&session);
  TEEC_FinalizeContext(&context);
  printf("%u %u %u %u\n", result, origin, words[0], words[1]);
  return 0;
}
