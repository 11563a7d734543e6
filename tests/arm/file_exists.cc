#include <vam/report/status_files.h>

#include <cstdio>

// Says of each of its arguments whether the installed library sees such a file.

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::printf("%s: %s\n", argv[i], fileExists(argv[i]) ? "exists" : "missing");
  }
}
