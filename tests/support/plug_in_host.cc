// Loads a plug-in that needs a library which the program itself does not load.
// Usage: plug_in_host PLUG-IN

#include <dlfcn.h>

#include <cstdio>

int main(int argc, char** argv) {
  void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
  auto* initialize =
      library == nullptr ? nullptr : reinterpret_cast<unsigned (*)()>(dlsym(library, "Initialize"));
  std::printf("%x\n", initialize == nullptr ? 1 : initialize());
  return 0;
}
