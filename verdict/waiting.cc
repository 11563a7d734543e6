#include "verdict/waiting.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>

#include "report/last_run.h"
#include "report/trusted_file.h"

namespace vam {

namespace {

constexpr std::uint32_t kEvents =
    IN_CREATE | IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

/// Watches `path` or, where it does not exist, the nearest folder above that does. Returns which;
/// empty when it cannot, with the reason in errno.
std::string WatchNearest(const Descriptor& events, std::string path) {
  while (inotify_add_watch(events.Number(), path.c_str(), kEvents) < 0) {
    const bool maySoonBeThere = errno == ENOENT || errno == EACCES;
    const char* slash = std::strrchr(path.c_str(), '/');
    if (!maySoonBeThere || path == "/" || path == ".") {
      return "";
    }
    if (slash == nullptr) {
      path = ".";
    } else {
      // The slash of the root stays.
      path.resize(std::max<std::size_t>(static_cast<std::size_t>(slash - path.c_str()), 1));
    }
  }
  return path;
}

/// Watches the same so that whatever comes into being is seen: a folder may have come between the
/// look for it and the watch on the one above. Returns whether anything is watched.
bool Watch(const Descriptor& events, const char* folder) {
  std::string watched;
  std::string before;
  do {
    before = watched;
    watched = WatchNearest(events, folder);
  } while (watched != before);
  return !watched.empty();
}

}  // namespace

const char* WaitForRun(const char* folder, unsigned seconds) {
  // What the clock has of a millisecond is cut off: one more, so that no wait is too short.
  const std::int64_t deadline = MillisecondsOf(CLOCK_MONOTONIC) + std::int64_t{seconds} * 1000 + 1;
  while (seconds != 0) {
    // Watched before it is looked at, so that nothing happens in between. Each folder that comes or
    // goes changes what is to be watched, so every round begins anew.
    const Descriptor events(inotify_init1(IN_CLOEXEC));
    const char* problem = Watch(events, folder) ? nullptr : std::strerror(errno);
    const std::int64_t left = deadline - MillisecondsOf(CLOCK_MONOTONIC);
    if (left <= 0 || ReadLastRun(folder).state == LastRun::State::kEnded) {
      break;
    }
    if (problem != nullptr) {
      return problem;
    }
    pollfd awaited = {events.Number(), POLLIN, 0};
    poll(&awaited, 1, static_cast<int>(std::min<std::int64_t>(left, INT32_MAX)));
  }
  return nullptr;
}

}  // namespace vam
