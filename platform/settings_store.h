#ifndef PLATFORM_SETTINGS_STORE_H_
#define PLATFORM_SETTINGS_STORE_H_

// The platform's settings store; see platform/platform.h for what is asked of it.

#ifndef VAM_SETTINGS_HEADER
#define VAM_SETTINGS_HEADER <vconf.h>
#endif
#include VAM_SETTINGS_HEADER

#endif  // PLATFORM_SETTINGS_STORE_H_
