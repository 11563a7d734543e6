#include "recorder/call.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "journal/journal.h"
#include "recorder/recording.h"

namespace vam {

namespace {

/// What this process knows of its recording. Never destroyed: the program's own destructors may
/// still call the platform.
struct ProcessRecording {
  explicit ProcessRecording(const Recording& found)
      : recording(found),
        journal(found.journal, found.settings, [this](const std::string& cause) { Stop(cause); }) {
    NoteLoaded(recording.notes);
    if (!journal.IsKept()) {
      Stop(std::strerror(errno));
    }
  }

  /// Ends the recording of this process: what follows a gap would mislead.
  void Stop(const std::string& why) {
    isStopped = true;
    NoteTrouble(recording.notes, why);
  }

  const Recording recording;
  std::atomic<bool> isStopped{false};
  Journal journal;
};

ProcessRecording* process = nullptr;

/// Finds the recording before the program has threads, and before anything asks for it.
[[gnu::constructor(101)]] void FindRecording() {
  const int error = errno;
  Recording recording;
  if (ReadRecording(std::getenv(Recording::kEnvironmentVariable), recording)) {
    process = new (std::nothrow) ProcessRecording(recording);
  }
  errno = error;
}

int AddName(dl_phdr_info* object, std::size_t /*size*/, void* argument) {
  static_cast<std::vector<std::string>*>(argument)->emplace_back(object->dlpi_name);
  return 0;
}

/// Returns the definition of `name` in a library that came with a plug-in, which is in nobody's
/// sight but the plug-in's.
void* FindInAllThatIsLoaded(const char* name) {
  Dl_info own;
  std::vector<std::string> libraries;
  if (dladdr(reinterpret_cast<void*>(&AddName), &own) == 0) {
    return nullptr;
  }
  // The loader must not be asked for more while it tells what it has.
  dl_iterate_phdr(AddName, &libraries);
  for (const std::string& path : libraries) {
    void* library = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (library == nullptr) {
      continue;
    }
    void* address = dlsym(library, name);
    dlclose(library);
    Dl_info place;
    if (address != nullptr && dladdr(address, &place) != 0 && place.dli_fbase != own.dli_fbase) {
      return address;
    }
  }
  return nullptr;
}

}  // namespace

thread_local int Call::depth = 0;

Journal* Call::File() {
  return process == nullptr || process->isStopped ? nullptr : &process->journal;
}

Call::Call() : isTheProgramsOwn(depth++ == 0) {}

Call::~Call() { --depth; }

bool Call::IsRecorded() const { return isTheProgramsOwn && File() != nullptr; }

void Call::Guard(void (*look)(void*), void* argument) noexcept {
  const int error = errno;
  try {
    look(argument);
  } catch (...) {
    process->Stop("not enough memory");
  }
  errno = error;
}

void Call::Write(const char* name, void (*fill)(void*, JournalLine&),
                 void* argument) const noexcept {
  if (!IsRecorded()) {
    return;
  }
  struct Line {
    const char* name;
    void (*fill)(void*, JournalLine&);
    void* argument;
  } line = {name, fill, argument};
  Guard(
      [](void* given) {
        const auto& asked = *static_cast<Line*>(given);
        JournalLine written(File(), asked.name);
        asked.fill(asked.argument, written);
      },
      &line);
}

void NoteOpening(int descriptor, std::uint32_t opening) {
  if (process != nullptr) {
    NoteOpening(process->recording.notes, descriptor, opening);
  }
}

std::uint32_t NotedOpening(int descriptor) {
  return process == nullptr ? 0 : NotedOpening(process->recording.notes, descriptor);
}

void* FindNext(const char* name, std::atomic<void*>& found) {
  if (found == nullptr) {
    const int error = errno;
    found = dlsym(RTLD_NEXT, name);
    errno = error;
  }
  return found;
}

void* NeedNext(const char* name, std::atomic<void*>& found) {
  if (void* next = FindNext(name, found)) {
    return next;
  }
  // It may be unloaded, so that its address is good for this call alone.
  const int error = errno;
  void* address = FindInAllThatIsLoaded(name);
  if (address == nullptr) {
    constexpr int kNoSymbol = 127;
    std::fprintf(stderr, "vam-record: no library has %s\n", name);
    _exit(kNoSymbol);
  }
  errno = error;
  return address;
}

}  // namespace vam
