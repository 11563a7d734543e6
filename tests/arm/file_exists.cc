#include <vam/report/status_files.h>

#include <cstdio>

// Says for each argument whether the installed library sees a file of that name.

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::printf("%s: %s\n", argv[i], fileExists(argv[i]) ? "exists" : "missing");
  }
}
