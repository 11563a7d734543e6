#ifndef PLATFORM_TEE_CLIENT_H_
#define PLATFORM_TEE_CLIENT_H_

// The device's GlobalPlatform TEE Client API v1.0; see platform/platform.h for what is asked of it.

#ifndef VAM_TEEC_HEADER
#define VAM_TEEC_HEADER <tee_client_api.h>
#endif
#include VAM_TEEC_HEADER

#endif  // PLATFORM_TEE_CLIENT_H_
