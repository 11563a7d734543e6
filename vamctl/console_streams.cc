#include "vamctl/console_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>

namespace vam {

StandardOutputMoved::StandardOutputMoved(int descriptor)
    : standardOutput(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
  if (standardOutput == -1 || dup2(descriptor, STDOUT_FILENO) == -1) {
    throw std::runtime_error(std::string("standard output: ") + std::strerror(errno));
  }
}

StandardOutputMoved::~StandardOutputMoved() {
  dup2(standardOutput, STDOUT_FILENO);
  close(standardOutput);
}

bool Confirmed(const std::string& question) {
  std::fprintf(stderr, "%s [y/N] ", question.c_str());
  std::string answer;
  std::getline(std::cin, answer);
  std::transform(answer.begin(), answer.end(), answer.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? letter + ('a' - 'A') : letter;
  });
  return answer == "y" || answer == "yes";
}

bool OnTerminal() { return isatty(STDIN_FILENO) != 0 && isatty(STDERR_FILENO) != 0; }

}  // namespace vam
