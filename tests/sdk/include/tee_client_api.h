/* TEE client API of a made-up SDK: the standard's names, and records that are laid out unlike any
 * other's, with members of its own before, between and after the standard's. */
#ifndef SDK_TEE_CLIENT_API_H_
#define SDK_TEE_CLIENT_API_H_

#include <stddef.h>

typedef unsigned char sdk_u8;
typedef unsigned short sdk_u16;
typedef unsigned int sdk_u32;

typedef sdk_u32 TEEC_Result;

#define TEEC_SUCCESS ((TEEC_Result)0x00000000)
#define TEEC_ERROR_GENERIC ((TEEC_Result)0xFFFF0000)
#define TEEC_ERROR_BAD_PARAMETERS ((TEEC_Result)0xFFFF0006)
#define TEEC_ERROR_ITEM_NOT_FOUND ((TEEC_Result)0xFFFF0008)
#define TEEC_ERROR_NO_DATA ((TEEC_Result)0xFFFF000B)
#define TEEC_ERROR_COMMUNICATION ((TEEC_Result)0xFFFF000E)
#define TEEC_ORIGIN_COMMS ((sdk_u32)2)
#define TEEC_ORIGIN_TRUSTED_APP ((sdk_u32)4)
#define TEEC_LOGIN_PUBLIC ((sdk_u32)0)
#define TEEC_MEM_INPUT ((sdk_u32)1)
#define TEEC_MEM_OUTPUT ((sdk_u32)2)
#define TEEC_NONE 0x0
#define TEEC_MEMREF_PARTIAL_INOUT 0xF
#define TEEC_PARAM_TYPES(a, b, c, d) ((sdk_u32)((a) | (b) << 4 | (c) << 8 | (d) << 12))

typedef struct {
  sdk_u8 clockSeqAndNode[8];
  sdk_u16 timeHiAndVersion;
  sdk_u16 timeMid;
  sdk_u32 timeLow;
} TEEC_UUID;

typedef struct {
  char log[120];
  void* driver;
} TEEC_Context;

typedef struct {
  TEEC_Context* context;
  sdk_u8 channel[40];
} TEEC_Session;

typedef struct {
  sdk_u32 cookie;
  sdk_u32 flags;
  size_t alignment;
  size_t size;
  void* buffer;
} TEEC_SharedMemory;

typedef struct {
  sdk_u32 b;
  sdk_u32 a;
} TEEC_Value;

typedef struct {
  size_t offset;
  size_t size;
  sdk_u32 reserved[3];
  TEEC_SharedMemory* parent;
} TEEC_RegisteredMemoryReference;

typedef union {
  TEEC_Value value;
  TEEC_RegisteredMemoryReference memref;
} TEEC_Parameter;

typedef struct {
  TEEC_Session* session;
  TEEC_Parameter params[4];
  sdk_u32 cancelled;
  sdk_u32 paramTypes;
  sdk_u32 started;
} TEEC_Operation;

#ifdef __cplusplus
extern "C" {
#endif
TEEC_Result TEEC_InitializeContext(const char* name, TEEC_Context* context);
void TEEC_FinalizeContext(TEEC_Context* context);
TEEC_Result TEEC_OpenSession(TEEC_Context* context, TEEC_Session* session,
                             const TEEC_UUID* destination, sdk_u32 connectionMethod,
                             const void* connectionData, TEEC_Operation* operation,
                             sdk_u32* returnOrigin);
void TEEC_CloseSession(TEEC_Session* session);
TEEC_Result TEEC_AllocateSharedMemory(TEEC_Context* context, TEEC_SharedMemory* sharedMemory);
void TEEC_ReleaseSharedMemory(TEEC_SharedMemory* sharedMemory);
TEEC_Result TEEC_InvokeCommand(TEEC_Session* session, sdk_u32 command, TEEC_Operation* operation,
                               sdk_u32* returnOrigin);
#ifdef __cplusplus
}
#endif

#endif /* SDK_TEE_CLIENT_API_H_ */
