#include "report/texts.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace vam {

namespace {

constexpr std::size_t kLongestText = 200;

}  // namespace

std::string Escaped(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    if (byte >= ' ' && byte <= '~' && byte != '\\') {
      text += byte;
    } else {
      text += Formatted("\\x%02x", static_cast<unsigned char>(byte));
    }
  }
  return text;
}

std::string Printable(const std::string& bytes) {
  return bytes.size() > kLongestText ? Escaped(bytes.substr(0, kLongestText)) + "..."
                                     : Escaped(bytes);
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
