// in_private_tmp PROGRAM [ARGUMENT...]: runs a program in a /tmp of its own, for tests in shell.

#include <unistd.h>

#include <cstdio>
#include <exception>

#include "tests/support/private_tmp.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("in_private_tmp: name the program to run\n", stderr);
    return 2;
  }
  try {
    // Left in place: the namespace ends with the program.
    const vam::PrivateTmp tmp;
    execvp(argv[1], argv + 1);
    std::perror(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "in_private_tmp: %s\n", error.what());
  }
  return 125;
}
