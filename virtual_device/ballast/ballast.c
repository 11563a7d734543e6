#include <tee_internal_api.h>

TEE_Result TA_CreateEntryPoint(void) { return TEE_SUCCESS; }

void TA_DestroyEntryPoint(void) {}

TEE_Result TA_OpenSessionEntryPoint(uint32_t paramTypes, TEE_Param params[TEE_NUM_PARAMS],
                                    void** session) {
  (void)paramTypes;
  (void)params;
  (void)session;
  return TEE_SUCCESS;
}

void TA_CloseSessionEntryPoint(void* session) { (void)session; }

TEE_Result TA_InvokeCommandEntryPoint(void* session, uint32_t command, uint32_t paramTypes,
                                      TEE_Param params[TEE_NUM_PARAMS]) {
  (void)session;
  (void)command;
  (void)paramTypes;
  (void)params;
  return TEE_ERROR_NOT_SUPPORTED;
}
