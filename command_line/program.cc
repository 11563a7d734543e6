#include "command_line/program.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>

#include "command_line/words.h"
#include "util/standard_output.h"

namespace vam {

void Print(const std::string& text) {
  const int problem = WriteToStandardOutput(text);
  if (problem != 0) {
    throw OutputLost(std::string("standard output cannot be written: ") + std::strerror(problem) +
                     "; what it got is not complete");
  }
}

std::string ReadStandardInput() {
  constexpr std::size_t kMost = std::size_t{64} << 20;
  std::string text;
  char piece[65536];
  std::size_t count = 0;
  while ((count = std::fread(piece, 1, sizeof piece, stdin)) > 0) {
    text.append(piece, count);
    if (text.size() > kMost) {
      throw std::runtime_error("standard input brings more than 64 MiB; give less");
    }
  }
  if (std::ferror(stdin) != 0) {
    throw std::runtime_error(std::string("standard input cannot be read: ") + std::strerror(errno));
  }
  return text;
}

std::string ProblemInWords(const std::exception& error) {
  if (const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
    // Only of a working folder that is gone is there no path.
    const std::string path = file->path1().empty() ? "the working folder" : file->path1().string();
    return path + ": cannot be used: " + file->code().message();
  }
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr ||
      dynamic_cast<const std::length_error*>(&error) != nullptr) {
    return "there is not enough memory";
  }
  return error.what();
}

void Tell(const std::string& name, const std::string& text) {
  std::fputs((name + ": " + OneLine(text) + "\n").c_str(), stderr);
}

}  // namespace vam
