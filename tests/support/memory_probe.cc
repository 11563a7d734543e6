// memory_probe: asks for memory once by each function of the C library, and says of each whether it
// got any. Says it without asking for more.

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <initializer_list>

namespace {

constexpr int kErrorBefore = E2BIG;

void Write(const char* text) {
  if (write(STDOUT_FILENO, text, strlen(text)) < 0) {
    _exit(1);
  }
}

/// Says how a request went that gave `memory`. A refusal has its error number, and what is granted
/// leaves it.
void Say(const char* function, const void* memory) {
  Write(function);
  if (memory == nullptr) {
    Write(errno == ENOMEM ? ": refused\n" : ": refused with another error\n");
  } else {
    Write(errno == kErrorBefore ? ": granted\n" : ": granted, and changed errno\n");
  }
  errno = kErrorBefore;
}

}  // namespace

int main() {
  constexpr std::size_t kSize = 64;
  errno = kErrorBefore;
  void* first = malloc(kSize);
  Say("malloc", first);
  auto* second = static_cast<unsigned char*>(calloc(2, kSize));
  Say("calloc", second);
  for (std::size_t i = 0; second != nullptr && i < 2 * kSize; ++i) {
    if (second[i] != 0) {
      Write("which is not zeroed\n");
    }
  }
  void* third = realloc(nullptr, kSize);
  Say("realloc", third);
  void* fourth = aligned_alloc(kSize, kSize);
  Say("aligned_alloc", fourth);
  void* place = nullptr;
  const int result = posix_memalign(&place, kSize, kSize);
  errno = result == 0 ? errno : result;
  Say("posix_memalign", place);
  for (void* memory : {first, static_cast<void*>(second), third, fourth, place}) {
    free(memory);
  }
  return 0;
}
