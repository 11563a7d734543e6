#include "recorder/command_line.h"

#include <cstring>

namespace vam {

namespace {

bool Is(const char* word, const char* expected) { return std::strcmp(word, expected) == 0; }

RecorderRequest Wrong(const char* problem, const char* word) {
  RecorderRequest request;
  request.what = RecorderRequest::What::kWrong;
  request.problem = problem;
  request.word = word;
  return request;
}

}  // namespace

RecorderRequest ReadRecorderCommandLine(char* const* arguments) {
  RecorderRequest request;
  char* const* next = arguments + 1;
  for (; *next != nullptr && !Is(*next, "--"); ++next) {
    const char* word = *next;
    if (Is(word, "--help")) {
      request.what = RecorderRequest::What::kHelp;
    } else if (Is(word, "--version")) {
      request.what = RecorderRequest::What::kVersion;
    } else if (Is(word, "--with-keys")) {
      request.withKeys = true;
    } else if (Is(word, "-o")) {
      request.file = *++next;
      if (request.file == nullptr || *request.file == '\0' || Is(request.file, "--")) {
        return Wrong("needs a file", word);
      }
    } else {
      return Wrong(*word == '-' ? "is no option" : "stands before '--'", word);
    }
  }
  if (request.what == RecorderRequest::What::kRecord) {
    if (*next == nullptr || next[1] == nullptr) {
      return Wrong("needs '--' and then a program", "vam-record");
    }
    request.program = next + 1;
  }
  return request;
}

}  // namespace vam
