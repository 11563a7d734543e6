#include "report/texts.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace vam {

namespace {

constexpr std::size_t kLongestText = 200;

std::string EscapedBytes(const char* bytes, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    if (bytes[i] >= ' ' && bytes[i] <= '~' && bytes[i] != '\\') {
      text += bytes[i];
    } else {
      text += Formatted("\\x%02x", static_cast<unsigned char>(bytes[i]));
    }
  }
  return text;
}

}  // namespace

std::string Escaped(const std::string& bytes) { return EscapedBytes(bytes.data(), bytes.size()); }

std::string Printable(const std::string& bytes) {
  std::string text = EscapedBytes(bytes.data(), std::min(bytes.size(), kLongestText));
  if (bytes.size() > kLongestText) {
    text += "...";
  }
  return text;
}

// The compiler checks the arguments, and each call costs less code than an appended string.
// NOLINTNEXTLINE(cert-dcl50-cpp)
std::string Formatted(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  char* allocated = nullptr;
  const int length = vasprintf(&allocated, format, arguments);
  va_end(arguments);
  if (length < 0) {
    return format;
  }
  std::string text = allocated;
  std::free(allocated);
  return text;
}

}  // namespace vam
