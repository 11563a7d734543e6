#include "verdict/command_line.h"

#include <cstdlib>
#include <cstring>
#include <limits>

#include "report/last_run.h"

namespace vam {

namespace {

bool Is(const char* word, const char* expected) { return std::strcmp(word, expected) == 0; }

Request Wrong(const char* problem, const char* word) {
  Request request;
  request.what = Request::What::kWrong;
  request.problem = problem;
  request.word = word;
  return request;
}

/// Reads a whole number, without sign and blank.
bool ReadSeconds(const char* text, unsigned& seconds) {
  char* end = nullptr;
  const long long value = std::strtoll(text, &end, 10);
  seconds = static_cast<unsigned>(value);
  return *text >= '0' && *text <= '9' && *end == '\0' && value <= std::numeric_limits<int>::max();
}

/// Takes an option without a value. Returns whether it is one.
bool TakeFlag(const char* word, Request& request) {
  if (Is(word, "--help")) {
    request.what = Request::What::kHelp;
  } else if (request.what == Request::What::kRun) {
    if (!Is(word, "--journal")) {
      return false;
    }
    request.forJournal = true;
  } else if (Is(word, "--version")) {
    request.what = Request::What::kVersion;
  } else if (Is(word, "--json")) {
    request.asJson = true;
  } else if (Is(word, "--quiet")) {
    request.isQuiet = true;
  } else {
    return false;
  }
  return true;
}

}  // namespace

Request ReadCommandLine(char* const* arguments) {
  Request request;
  request.folder = VerdictFolder();
  char* const* next = arguments + 1;
  if (*next != nullptr && Is(*next, "run")) {
    request.what = Request::What::kRun;
    ++next;
  }
  const bool isRun = request.what == Request::What::kRun;
  for (; *next != nullptr && !(isRun && Is(*next, "--")); ++next) {
    const char* word = *next;
    const bool isFolder = Is(word, "--folder");
    if (isFolder || (!isRun && Is(word, "--wait"))) {
      const char* value = *++next;
      if (value == nullptr || *value == '\0') {
        return Wrong("needs a value", word);
      }
      if (isFolder) {
        request.folder = value;
      } else if (!ReadSeconds(value, request.secondsToWait)) {
        return Wrong("is no whole number of seconds", value);
      }
    } else if (!TakeFlag(word, request)) {
      return Wrong(*word == '-' ? "is no option" : "is no command", word);
    }
  }
  if (request.what == Request::What::kRun) {
    if (*next == nullptr || *(next + 1) == nullptr) {
      return Wrong("needs '--' and then a program", "run");
    }
    request.program = next + 1;
  }
  if (request.asJson && request.isQuiet) {
    return Wrong("excludes --json", "--quiet");
  }
  return request;
}

}  // namespace vam
