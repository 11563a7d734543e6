#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>

#include <cstdarg>
#include <cstring>

// Preloaded into the tool: the made-up device's kernel driver, on a descriptor of /dev/null.

namespace {
int node = -1;
}

extern "C" int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, mode_t);
  va_end(arguments);
  using Open = int(const char*, int, ...);
  auto* next = reinterpret_cast<Open*>(dlsym(RTLD_NEXT, "open"));
  if (std::strcmp(path, "/dev/zelkshield") != 0) {
    return next(path, flags, mode);
  }
  node = next("/dev/null", flags);
  return node;
}

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  auto* flag = va_arg(arguments, int*);
  va_end(arguments);
  if (descriptor != node || request != 1) {
    return -1;
  }
  *flag = 1;
  return 0;
}
