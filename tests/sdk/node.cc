#include <dlfcn.h>
#include <fcntl.h>

#include <cstdarg>
#include <cstring>

// Preloaded into the tool: the made-up device's kernel driver, on a descriptor of /dev/null. A
// 32-bit program calls both functions by their names for large files and late times.

namespace {

int node = -1;

int Open(const char* path, int flags, mode_t mode) {
  using Next = int(const char*, int, ...);
  auto* next = reinterpret_cast<Next*>(dlsym(RTLD_NEXT, "open64"));
  if (std::strcmp(path, "/dev/zelkshield") != 0) {
    return next(path, flags, mode);
  }
  node = next("/dev/null", flags);
  return node;
}

int Answer(int descriptor, unsigned long request, int* flag) {
  if (descriptor != node || request != 1) {
    return -1;
  }
  *flag = 1;
  return 0;
}

}  // namespace

#define SDK_DEFINE_OPEN(name)                             \
  extern "C" int name(const char* path, int flags, ...) { \
    va_list arguments;                                    \
    va_start(arguments, flags);                           \
    const auto mode = va_arg(arguments, mode_t);          \
    va_end(arguments);                                    \
    return Open(path, flags, mode);                       \
  }
SDK_DEFINE_OPEN(open)
SDK_DEFINE_OPEN(open64)

#define SDK_DEFINE_IOCTL(name)                                               \
  extern "C" int name(int descriptor, unsigned long request, ...) noexcept { \
    va_list arguments;                                                       \
    va_start(arguments, request);                                            \
    auto* flag = va_arg(arguments, int*);                                    \
    va_end(arguments);                                                       \
    return Answer(descriptor, request, flag);                                \
  }
SDK_DEFINE_IOCTL(ioctl)
SDK_DEFINE_IOCTL(__ioctl_time64)
