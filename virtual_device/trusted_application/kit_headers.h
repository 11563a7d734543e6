#ifndef VIRTUAL_DEVICE_TRUSTED_APPLICATION_KIT_HEADERS_H_
#define VIRTUAL_DEVICE_TRUSTED_APPLICATION_KIT_HEADERS_H_

// The kit's headers lack `extern "C"`. This header adds it and is included before every source.

extern "C" {
#include <inttypes.h>
#include <string.h>
#include <tee_internal_api.h>
#include <trace.h>
}

#endif  // VIRTUAL_DEVICE_TRUSTED_APPLICATION_KIT_HEADERS_H_
