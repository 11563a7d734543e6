#ifndef PLATFORM_MARSHALLER_H_
#define PLATFORM_MARSHALLER_H_

// The closed marshalling library's class CNolvWsm; see platform/platform.h for what is asked of it.

#ifndef VAM_MARSHALLER_HEADER
#define VAM_MARSHALLER_HEADER <CNolvWsm.h>
#endif
#include VAM_MARSHALLER_HEADER

#endif  // PLATFORM_MARSHALLER_H_
