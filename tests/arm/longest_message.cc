#include <vam/report/status_files.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>

// Hands each writer of the status files the longest message that a string can hold. Only where
// addresses have 32 bits is there memory for one.

namespace {

template <typename Writer>
void Try(const char* name, Writer write) {
  try {
    write(std::string(std::string().max_size(), 'x'));
    std::printf("%s: written\n", name);
  } catch (const std::length_error&) {
    std::printf("%s: length error\n", name);
  }
}

}  // namespace

int main() {
  Try("verdict", [](auto&& message) { WriteToVamOkFile(std::move(message), true); });
  Try("entry", [](auto&& message) { WriteToErrorFile(std::move(message), 5); });
  Try("entry with a record", [](auto&& message) {
    WriteToErrorFile(std::move(message), 5, VamResult{3, -51});
  });
}
