#ifndef USER_TA_HEADER_DEFINES_H
#define USER_TA_HEADER_DEFINES_H

/* What the secure world is told of the VAM's trusted application. There is one chip, so there is
 * one instance; it serves several callers in turn and stays loaded between them. */

/* TA_UUID, which the build takes from interface/trusted_application.h: that is C++, this is C. */
#include "trusted_application_uuid.h"

#define TA_FLAGS (TA_FLAG_SINGLE_INSTANCE | TA_FLAG_MULTI_SESSION | TA_FLAG_INSTANCE_KEEP_ALIVE)
#define TA_STACK_SIZE (32 * 1024)
#define TA_DATA_SIZE (256 * 1024)

#endif /* USER_TA_HEADER_DEFINES_H */
