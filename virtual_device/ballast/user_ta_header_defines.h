#ifndef USER_TA_HEADER_DEFINES_H
#define USER_TA_HEADER_DEFINES_H

/* What the secure world is told of the ballast, a trusted application that does nothing but occupy
 * memory. Each session is an instance of its own, and is smaller than any other trusted
 * application: where no further one fits, nothing fits. */

#define TA_UUID                                                                    \
  {                                                                                \
    0x7d0f2b7e, 0x6c1c, 0x4b0f, { 0x9c, 0x1f, 0x5b, 0x9c, 0x3a, 0x7e, 0x5d, 0x21 } \
  }
#define TA_FLAGS 0
#define TA_STACK_SIZE (4 * 1024)
#define TA_DATA_SIZE (64 * 1024)

#endif /* USER_TA_HEADER_DEFINES_H */
