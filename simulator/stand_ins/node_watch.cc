// Preloaded into the programs on a board: watches the calls on the device node of the secure
// element, for the journal and for the board's faults, and hands them on to the next in line, which
// is the mock of the node. All other calls pass through untouched.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "platform/device_node.h"
#include "simulator/board/board.h"
#include "simulator/board/code_names.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/run.h"

namespace {

constexpr int kWatchedDescriptors = 1024;

/// The number in the journal of each descriptor of the node; 0: another file's.
std::array<std::uint32_t, kWatchedDescriptors>& NodeNumbers() {
  static std::array<std::uint32_t, kWatchedDescriptors> numbers{};
  return numbers;
}

std::uint32_t NodeNumber(int descriptor) {
  return descriptor >= 0 && descriptor < kWatchedDescriptors
             ? NodeNumbers()[static_cast<std::size_t>(descriptor)]
             : 0;
}

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool TakesMode(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

/// Opens the node through `proceed`, unless the board declares a fault.
template <typename Proceed>
int OpenNode(int flags, Proceed proceed) {
  static std::uint32_t opened = 0;
  vam::Run* run = vam::Run::Current();
  const vam::Fault* fault = vam::FireFaultOn(vam::PlatformCall::kOpen);
  int descriptor = -1;
  if (fault == nullptr) {
    descriptor = proceed();
  } else {
    errno = fault->errorNumber;
  }
  const int error = errno;
  {
    vam::JournalLine line(run, vam::PlatformCall::kOpen);
    line.Text("path", kVamDeviceNode).Number("flags", flags & ~O_LARGEFILE);
    if (descriptor < 0) {
      line.Number("result", descriptor).Text("errno", vam::ErrorNumberName(error).c_str());
    } else {
      ++opened;
      if (descriptor < kWatchedDescriptors) {
        NodeNumbers()[static_cast<std::size_t>(descriptor)] = opened;
      }
      line.Number("descriptor", opened);
    }
    line.ChangedBy(fault);
  }
  errno = error;
  return descriptor;
}

int Open(const char* symbol, const char* path, int flags, mode_t mode) {
  using OpenFunction = int(const char*, int, ...);
  static_assert(sizeof(mode_t) <= sizeof(unsigned), "a mode passes through an ellipsis");
  auto* next = Next<OpenFunction>(symbol);
  const auto proceed = [&] { return next(path, flags, unsigned{mode}); };
  return std::strcmp(path, kVamDeviceNode) == 0 ? OpenNode(flags, proceed) : proceed();
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if (TakesMode(flags)) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  return Open("open", path, flags, mode);
}

__attribute__((visibility("default"))) int open64(const char* path, int flags, ...) {
  mode_t mode = 0;
  if (TakesMode(flags)) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  return Open("open64", path, flags, mode);
}

// What a fortified program calls when it passes no mode. The C library names them.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
__attribute__((visibility("default"))) int __open_2(const char* path, int flags) {
  return Open("open", path, flags, 0);
}

__attribute__((visibility("default"))) int __open64_2(const char* path, int flags) {
  return Open("open64", path, flags, 0);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

__attribute__((visibility("default"))) int ioctl(int descriptor, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  using IoctlFunction = int(int, unsigned long, ...);
  auto* next = Next<IoctlFunction>("ioctl");
  const std::uint32_t number = NodeNumber(descriptor);
  if (number == 0) {
    return next(descriptor, request, argument);
  }
  vam::Run* run = vam::Run::Current();
  const vam::Fault* fault = vam::FireFaultOn(vam::PlatformCall::kIoctl);
  int result = -1;
  if (fault == nullptr) {
    result = next(descriptor, request, argument);
  } else {
    errno = fault->errorNumber;
  }
  const int error = errno;
  {
    vam::JournalLine line(run, vam::PlatformCall::kIoctl);
    line.Number("descriptor", number)
        .Number("request", static_cast<std::int64_t>(request))
        .Number("result", result);
    if (result < 0) {
      line.Text("errno", vam::ErrorNumberName(error).c_str());
    } else if (request == GET_VAM_SUPPORT) {
      std::int32_t flag = 0;
      std::memcpy(&flag, argument, sizeof flag);
      line.Number("flag", flag);
    }
    line.ChangedBy(fault);
  }
  errno = error;
  return result;
}

__attribute__((visibility("default"))) int close(int descriptor) {
  using CloseFunction = int(int);
  auto* next = Next<CloseFunction>("close");
  const std::uint32_t number = NodeNumber(descriptor);
  const int result = next(descriptor);
  if (number != 0) {
    const int error = errno;
    NodeNumbers()[static_cast<std::size_t>(descriptor)] = 0;
    vam::JournalLine(vam::Run::Current(), vam::PlatformCall::kClose)
        .Number("descriptor", number)
        .Number("result", result);
    errno = error;
  }
  return result;
}

}  // extern "C"
