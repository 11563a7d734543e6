#ifndef PLATFORM_PLATFORM_H_
#define PLATFORM_PLATFORM_H_

// Everything outside this system, and what it must offer. A port to a device provides the five
// things below; on a PC the simulated board provides them. The system is compiled against the
// vendor's own headers: it assumes no size and no layout of a vendor's class or record, and uses no
// member but the ones named here. platform/seam_check.cc uses each of them once.
//
// 1. TEE client (platform/tee_client.h): the GlobalPlatform TEE Client API v1.0, header
//    tee_client_api.h, library teec.
//    - Functions: TEEC_InitializeContext, TEEC_FinalizeContext, TEEC_OpenSession,
//      TEEC_CloseSession, TEEC_AllocateSharedMemory, TEEC_ReleaseSharedMemory,
//      TEEC_InvokeCommand.
//    - Members: TEEC_UUID timeLow, timeMid, timeHiAndVersion and clockSeqAndNode;
//      TEEC_SharedMemory size and flags; TEEC_Operation paramTypes and params[0].memref, of which
//      parent, size and offset.
//    - Those three, TEEC_Context and TEEC_Session are plain C records, so that they can start as
//      zeros. TEEC_Result is an unsigned number.
//    - Constants, with the standard's values: TEEC_SUCCESS, TEEC_ERROR_GENERIC,
//      TEEC_ERROR_NO_DATA, TEEC_ERROR_COMMUNICATION, TEEC_ORIGIN_COMMS, TEEC_LOGIN_PUBLIC,
//      TEEC_MEM_INPUT, TEEC_MEM_OUTPUT, TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE, TEEC_PARAM_TYPES.
//    - TEEC_InvokeCommand on a session that was never opened returns an error and does not crash:
//      commands invoke whether or not the connection opened.
//
// 2. Marshaller (platform/marshaller.h): class CNolvWsm, header CNolvWsm.h, library
//    nolv_utility_nwd. It shares its byte encoding with the trusted application.
//    - CNolvWsm(void*) takes the address of a TEEC_SharedMemory record, not of its buffer. It works
//      inside that record's buffer, within its size, from its beginning.
//    - bool PutInt(int32), PutUint(uint32), PutBlob(bytes, uint32 length): each appends one typed
//      value to the request, and returns false when the value does not fit.
//    - PrepareReset(1): called once after a successful invocation. Reading then starts at the
//      beginning of the reply. Its result is not used.
//    - bool GetInt(int32*), GetUint(uint32*): each reads the next value of the reply, and returns
//      false when there is none.
//    - GetBlob(uint32 length): returns a pointer to the next blob of exactly that length, in place
//      in the block, or null. The pointer is used only until the marshaller is destroyed.
//    - The destructor is called while the shared memory is still allocated.
//
// 3. Settings store (platform/settings_store.h): vconf_get_str(key), header vconf.h, library
//    vconf. Returns a text that the caller frees with free(), or null.
//
// 4. System information (platform/system_information.h): system_info_get_value_string(key,
//    &text), header system_info.h, library system_info. Takes a system_info_key_e. Returns 0 and a
//    text that the caller frees with free(), or another number.
//
// 5. Device node (platform/device_node.h): "/dev/zelkshield" with one ioctl.
//
// The update tool needs 1, 2 and 5. The utilities also need 3, 4 and OpenSSL's libcrypto. So a
// folder includes the one header that it needs, and none includes this one, which is for whoever
// ports the system.

#include "platform/device_node.h"
#include "platform/marshaller.h"
#include "platform/settings_store.h"
#include "platform/system_information.h"
#include "platform/tee_client.h"

#endif  // PLATFORM_PLATFORM_H_
