#ifndef PLATFORM_PLATFORM_H_
#define PLATFORM_PLATFORM_H_

// Everything outside this system, and what it must offer. Whoever ports the system to a device
// provides the five things below; the simulated board provides them on a PC. The vendor's own
// headers are what is compiled against: nothing here or elsewhere assumes the size or the layout
// of a vendor's class or record beyond the members named.
//
// 1. TEE client API (platform/tee_client.h): the GlobalPlatform TEE Client API v1.0, header
//    tee_client_api.h, library teec.
//    - TEEC_InitializeContext, TEEC_FinalizeContext, TEEC_OpenSession, TEEC_CloseSession,
//      TEEC_AllocateSharedMemory, TEEC_ReleaseSharedMemory, TEEC_InvokeCommand.
//    - Members used: TEEC_SharedMemory size and flags; TEEC_Operation paramTypes and
//      params[0].memref parent, size and offset; TEEC_UUID all four. The records are plain C
//      records, so that they can start as zeros.
//    - A TEEC_InvokeCommand on a session that was never opened returns an error and does not
//      crash: commands invoke whether or not the connection opened.
//
// 2. Marshaller (platform/marshaller.h): class CNolvWsm, header CNolvWsm.h, library
//    nolv_utility_nwd. Shares its byte encoding with the trusted application.
//    - CNolvWsm(void*) on the address of a TEEC_SharedMemory record, not of its buffer; works
//      inside that record's buffer, within its size, from its beginning.
//    - bool PutInt(int32), PutUint(uint32), PutBlob(bytes, uint32 length): append one typed value
//      to the request; false when it does not fit.
//    - PrepareReset(1): once after a successful invocation, so that reading starts at the
//      beginning of the reply; its result is not used.
//    - bool GetInt(int32*), GetUint(uint32*): the next value of the reply; false when there is
//      none.
//    - GetBlob(uint32 length): pointer to the next blob of exactly that length, in place in the
//      block, or null. Valid until the marshaller is destroyed.
//    - The destructor is called while the shared memory is still allocated.
//
// 3. Settings store (platform/settings_store.h): vconf_get_str(key), header vconf.h, library
//    vconf. Returns a text that the caller frees with free(), or null.
//
// 4. System information (platform/system_information.h): system_info_get_value_string(key,
//    &text), header system_info.h, library system_info. Returns 0 and a text that the caller
//    frees with free(), or another number.
//
// 5. Device node (platform/device_node.h): "/dev/zelkshield" with one ioctl.
//
// 1, 2 and 5 are all that the update tool needs; 3 and 4, and OpenSSL's libcrypto, serve the
// utilities alone. So a folder includes the one header that it needs, and this one is for reading
// and for porting.

#include "platform/device_node.h"
#include "platform/marshaller.h"
#include "platform/settings_store.h"
#include "platform/system_information.h"
#include "platform/tee_client.h"

#endif  // PLATFORM_PLATFORM_H_
