// Loads a plug-in that needs a library which the program itself does not load. Without a plug-in,
// calls the function of that library which came into the program before.
// Usage: plug_in_host [PLUG-IN]

#include <dlfcn.h>

#include <cstdio>

int main(int argc, char** argv) {
  using Function = unsigned(const char*, void*);
  void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : RTLD_DEFAULT;
  const char* name = argc == 2 ? "Initialize" : "TEEC_InitializeContext";
  auto* initialize = reinterpret_cast<Function*>(dlsym(library, name));
  alignas(16) char context[64] = {};
  std::printf("%x\n", initialize == nullptr ? 1 : initialize(nullptr, context));
  return 0;
}
