#ifndef PLATFORM_SYSTEM_INFORMATION_H_
#define PLATFORM_SYSTEM_INFORMATION_H_

// The platform's system-information service; see platform/platform.h for what is asked of it.

#ifndef VAM_SYSTEM_INFO_HEADER
#define VAM_SYSTEM_INFO_HEADER <system_info.h>
#endif
#include VAM_SYSTEM_INFO_HEADER

#endif  // PLATFORM_SYSTEM_INFORMATION_H_
