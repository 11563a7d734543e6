// Preloaded into the programs of a board on which a request for memory fails: counts the requests
// of the program and fails the declared ones.
//
// The program's requests are those that its own code makes, by itself or through the libraries of
// the language. What the stand-ins need is none of the program's affairs: on a device it is the
// platform's. The stack tells who asks: of the program and the stand-ins, the nearest.

#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulator/run/memory_requests.h"
#include "simulator/run/run.h"

namespace {

/// Whether this thread looks for a function of the C library's. Before glibc 2.34 the search itself
/// asks calloc for memory, and does without where it gets none. Of this model, since a look at a
/// variable of another calls a function, which the address sanitizer has not made ready yet.
[[gnu::tls_model("initial-exec")]] thread_local bool isSearching = false;

template <typename Function>
Function* NextSymbol(const char* name) {
  isSearching = true;
  auto* const next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  isSearching = false;
  return next;
}

/// Code of one kind in this process.
struct CodeRanges {
  struct Range {
    std::uintptr_t start;
    std::uintptr_t end;
  };
  static constexpr std::size_t kMost = 64;
  Range ranges[kMost] = {};
  std::size_t count = 0;

  void Add(const dl_phdr_info& object) {
    const ElfW(Phdr)* const end = object.dlpi_phdr + object.dlpi_phnum;
    for (const ElfW(Phdr)* segment = object.dlpi_phdr; segment != end; ++segment) {
      if (segment->p_type == PT_LOAD && (segment->p_flags & PF_X) != 0 && count < kMost) {
        const std::uintptr_t start = object.dlpi_addr + segment->p_vaddr;
        ranges[count++] = {start, start + segment->p_memsz};
      }
    }
  }

  bool Has(std::uintptr_t address) const {
    return std::any_of(ranges, ranges + count, [address](const Range& range) {
      return address >= range.start && address < range.end;
    });
  }
};

/// The code of this process, and the requests that all processes of the run share.
class Watch {
 public:
  Watch() {
    const char* folder = getenv(vam::Run::kEnvironmentVariable);
    Dl_info own;
    if (folder == nullptr || dladdr(reinterpret_cast<void*>(&AddObject), &own) == 0) {
      return;
    }
    snprintf(ownPath, sizeof ownPath, "%s", own.dli_fname);
    const char* slash = strrchr(ownPath, '/');
    folderLength = slash == nullptr ? 0 : static_cast<std::size_t>(slash - ownPath) + 1;
    dl_iterate_phdr(AddObject, this);
    Map(folder);
  }

  /// Counts a request of the program's. Returns whether it is to fail.
  bool Fails() {
    if (requests == nullptr || !IsTheProgramsRequest()) {
      return false;
    }
    const std::uint32_t number = requests->made.fetch_add(1) + 1;
    const auto* failing = reinterpret_cast<const std::uint32_t*>(requests + 1);
    for (std::uint32_t i = 0; i < requests->failing; ++i) {
      if (failing[i] == number) {
        return true;
      }
    }
    return false;
  }

 private:
  enum class Asker { kUnknown, kProgram, kStandIn };

  struct Search {
    const Watch* watch;
    Asker asker = Asker::kUnknown;
  };

  static int AddObject(dl_phdr_info* object, std::size_t /*size*/, void* argument) {
    auto& watch = *static_cast<Watch*>(argument);
    const char* name = object->dlpi_name;
    if (watch.program.count == 0) {
      // The program comes first.
      watch.program.Add(*object);
    } else if (strcmp(name, watch.ownPath) != 0 &&
               strncmp(name, watch.ownPath, watch.folderLength) == 0) {
      watch.standIns.Add(*object);
    }
    return 0;
  }

  void Map(const char* folder) {
    char path[PATH_MAX];
    snprintf(path, sizeof path, "%s%s", folder, vam::kMemoryRequestsFile);
    const int file = open(path, O_RDWR | O_CLOEXEC);
    struct stat status;
    if (file >= 0 && fstat(file, &status) == 0) {
      void* mapped = mmap(nullptr, static_cast<std::size_t>(status.st_size), PROT_READ | PROT_WRITE,
                          MAP_SHARED, file, 0);
      requests = mapped == MAP_FAILED ? nullptr : static_cast<vam::MemoryRequests*>(mapped);
    }
    if (file >= 0) {
      close(file);
    }
  }

  static _Unwind_Reason_Code LookAt(_Unwind_Context* frame, void* argument) {
    auto& search = *static_cast<Search*>(argument);
    const std::uintptr_t address = _Unwind_GetIP(frame);
    if (search.watch->standIns.Has(address)) {
      search.asker = Asker::kStandIn;
    } else if (search.watch->program.Has(address)) {
      search.asker = Asker::kProgram;
    }
    return search.asker == Asker::kUnknown ? _URC_NO_REASON : _URC_NORMAL_STOP;
  }

  bool IsTheProgramsRequest() const {
    Search search{this};
    _Unwind_Backtrace(LookAt, &search);
    return search.asker == Asker::kProgram;
  }

  CodeRanges program;
  CodeRanges standIns;
  char ownPath[PATH_MAX] = "";
  std::size_t folderLength = 0;
  vam::MemoryRequests* requests = nullptr;
};

/// Null until everything is loaded: nothing before that is the program's.
Watch* watch = nullptr;

[[gnu::constructor]] void StartWatch() {
  alignas(Watch) static unsigned char place[sizeof(Watch)];
  watch = new (place) Watch;
}

/// Whether this thread is about to answer a request: what the search asks for is granted.
thread_local bool isAnswering = false;

bool IsRefused() {
  if (watch == nullptr || isAnswering) {
    return false;
  }
  const int error = errno;
  isAnswering = true;
  const bool fails = watch->Fails();
  isAnswering = false;
  errno = fails ? ENOMEM : error;
  return fails;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

void* malloc(std::size_t size) noexcept {
  static auto* const kNext = NextSymbol<void*(std::size_t)>("malloc");
  return IsRefused() ? nullptr : kNext(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  if (isSearching) {
    return nullptr;
  }
  static auto* const kNext = NextSymbol<void*(std::size_t, std::size_t)>("calloc");
  return IsRefused() ? nullptr : kNext(count, size);
}

void* realloc(void* old, std::size_t size) noexcept {
  static auto* const kNext = NextSymbol<void*(void*, std::size_t)>("realloc");
  return IsRefused() ? nullptr : kNext(old, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  static auto* const kNext = NextSymbol<void*(std::size_t, std::size_t)>("aligned_alloc");
  return IsRefused() ? nullptr : kNext(alignment, size);
}

int posix_memalign(void** place, std::size_t alignment, std::size_t size) noexcept {
  static auto* const kNext = NextSymbol<int(void**, std::size_t, std::size_t)>("posix_memalign");
  return IsRefused() ? ENOMEM : kNext(place, alignment, size);
}

}  // extern "C"
#pragma GCC visibility pop
