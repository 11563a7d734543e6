#include "tests/support/planned_calls.h"

#include <gtest/gtest.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace {

struct PlannedCall {
  std::function<void(int)> before;
  std::function<void()> after;
  int error = 0;
  std::size_t most = std::numeric_limits<std::size_t>::max();
  int denied = 0;
  std::optional<unsigned char> given;
};

std::map<std::string, std::deque<PlannedCall>>& Plans() {
  static std::map<std::string, std::deque<PlannedCall>> plans;
  return plans;
}

/// Takes the plan for this call, and does what comes before it.
PlannedCall Next(const char* function, int descriptor) {
  const auto found = Plans().find(function);
  if (found == Plans().end() || found->second.empty()) {
    return {};
  }
  PlannedCall planned = found->second.front();
  found->second.pop_front();
  if (planned.before) {
    planned.before(descriptor);
  }
  return planned;
}

/// Makes the call unless it is to fail.
template <typename Result, typename Call>
Result Make(const PlannedCall& planned, Call call) {
  if (planned.error != 0) {
    errno = planned.error;
    return -1;
  }
  return call();
}

}  // namespace

extern "C" {

int RealAccess(const char* path, int mode) __asm__("__real_access");
int WrappedAccess(const char* path, int mode) __asm__("__wrap_access");
int WrappedAccess(const char* path, int mode) {
  PlannedCall planned = Next("access", -1);
  planned.error = (mode & planned.denied) != 0 ? EACCES : planned.error;
  return Make<int>(planned, [=] { return RealAccess(path, mode); });
}

int RealClose(int descriptor) __asm__("__real_close");
int WrappedClose(int descriptor) __asm__("__wrap_close");
int WrappedClose(int descriptor) {
  return Make<int>(Next("close", descriptor), [=] { return RealClose(descriptor); });
}

int RealFchmod(int descriptor, mode_t mode) __asm__("__real_fchmod");
int WrappedFchmod(int descriptor, mode_t mode) __asm__("__wrap_fchmod");
int WrappedFchmod(int descriptor, mode_t mode) {
  return Make<int>(Next("fchmod", descriptor), [=] { return RealFchmod(descriptor, mode); });
}

int RealFcntl(int descriptor, int command, void* argument) __asm__("__real_fcntl");
int WrappedFcntl(int descriptor, int command, ...) __asm__("__wrap_fcntl");
int WrappedFcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  // A number is passed on in the same place.
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return Make<int>(Next("fcntl", descriptor),
                   [=] { return RealFcntl(descriptor, command, argument); });
}

int RealFlock(int descriptor, int operation) __asm__("__real_flock");
int WrappedFlock(int descriptor, int operation) __asm__("__wrap_flock");
int WrappedFlock(int descriptor, int operation) {
  return Make<int>(Next("flock", descriptor), [=] { return RealFlock(descriptor, operation); });
}

int RealFsync(int descriptor) __asm__("__real_fsync");
int WrappedFsync(int descriptor) __asm__("__wrap_fsync");
int WrappedFsync(int descriptor) {
  return Make<int>(Next("fsync", descriptor), [=] { return RealFsync(descriptor); });
}

ssize_t RealGetrandom(void* bytes, size_t size, unsigned flags) __asm__("__real_getrandom");
ssize_t WrappedGetrandom(void* bytes, size_t size, unsigned flags) __asm__("__wrap_getrandom");
ssize_t WrappedGetrandom(void* bytes, size_t size, unsigned flags) {
  const PlannedCall planned = Next("getrandom", -1);
  if (planned.given) {
    std::memset(bytes, *planned.given, size);
    return static_cast<ssize_t>(size);
  }
  return Make<ssize_t>(planned, [=] { return RealGetrandom(bytes, size, flags); });
}

int RealOpen(const char* path, int flags, mode_t mode) __asm__("__real_open");
int WrappedOpen(const char* path, int flags, ...) __asm__("__wrap_open");
int WrappedOpen(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return Make<int>(Next("open", -1), [=] { return RealOpen(path, flags, mode); });
}

ssize_t RealPread(int descriptor, void* bytes, size_t size, off_t offset) __asm__("__real_pread");
ssize_t WrappedPread(int descriptor, void* bytes, size_t size,
                     off_t offset) __asm__("__wrap_pread");
ssize_t WrappedPread(int descriptor, void* bytes, size_t size, off_t offset) {
  const PlannedCall planned = Next("pread", descriptor);
  return Make<ssize_t>(
      planned, [&] { return RealPread(descriptor, bytes, std::min(size, planned.most), offset); });
}

ssize_t RealRead(int descriptor, void* bytes, size_t size) __asm__("__real_read");
ssize_t WrappedRead(int descriptor, void* bytes, size_t size) __asm__("__wrap_read");
ssize_t WrappedRead(int descriptor, void* bytes, size_t size) {
  const PlannedCall planned = Next("read", descriptor);
  return Make<ssize_t>(planned,
                       [&] { return RealRead(descriptor, bytes, std::min(size, planned.most)); });
}

int RealRenameat(int oldFolder, const char* oldName, int newFolder,
                 const char* newName) __asm__("__real_renameat");
int WrappedRenameat(int oldFolder, const char* oldName, int newFolder,
                    const char* newName) __asm__("__wrap_renameat");
int WrappedRenameat(int oldFolder, const char* oldName, int newFolder, const char* newName) {
  const PlannedCall planned = Next("renameat", oldFolder);
  const int result =
      Make<int>(planned, [=] { return RealRenameat(oldFolder, oldName, newFolder, newName); });
  if (planned.after) {
    planned.after();
  }
  return result;
}

ssize_t RealWrite(int descriptor, const void* bytes, size_t size) __asm__("__real_write");
ssize_t WrappedWrite(int descriptor, const void* bytes, size_t size) __asm__("__wrap_write");
ssize_t WrappedWrite(int descriptor, const void* bytes, size_t size) {
  const PlannedCall planned = Next("write", descriptor);
  return Make<ssize_t>(planned,
                       [&] { return RealWrite(descriptor, bytes, std::min(size, planned.most)); });
}

}  // extern "C"

namespace vam {

PlannedCalls::PlannedCalls() { Plans().clear(); }

PlannedCalls::~PlannedCalls() {
  for (const auto& [function, calls] : Plans()) {
    EXPECT_EQ(calls.size(), 0U) << "planned calls of " << function << " that never came";
  }
  Plans().clear();
}

void PlannedCalls::Fail(const std::string& function, int error) {
  PlannedCall call;
  call.error = error;
  Plans()[function].push_back(call);
}

void PlannedCalls::Shorten(const std::string& function, std::size_t most) {
  PlannedCall call;
  call.most = most;
  Plans()[function].push_back(call);
}

void PlannedCalls::Before(const std::string& function, std::function<void(int)> happens) {
  PlannedCall call;
  call.before = std::move(happens);
  Plans()[function].push_back(call);
}

void PlannedCalls::After(std::function<void()> happens) {
  PlannedCall call;
  call.after = std::move(happens);
  Plans()["renameat"].push_back(call);
}

void PlannedCalls::Deny(int rights) {
  PlannedCall call;
  call.denied = rights;
  Plans()["access"].push_back(call);
}

void PlannedCalls::GiveBytes(unsigned char value) {
  PlannedCall call;
  call.given = value;
  Plans()["getrandom"].push_back(call);
}

}  // namespace vam
