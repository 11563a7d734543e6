#include "vamctl/ak_record.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/program.h"
#include "interface/trusted_application.h"
#include "util/text_conversions.h"

namespace vam {

namespace {

std::runtime_error TooLarge(const std::string& origin) {
  return std::runtime_error(origin + ": more than " + std::to_string(kSharedBlockSize) +
                            " bytes, which the block to the chip cannot carry");
}

/// Returns null, with errno set, where there is no file to open. Throws for a FIFO, whose reader
/// waits for a writer.
std::FILE* OpenRecord(const std::string& path) {
  struct stat found;
  if (stat(path.c_str(), &found) == 0 && S_ISFIFO(found.st_mode)) {
    throw std::runtime_error(path + ": is a pipe; give a file, or - for standard input");
  }
  return std::fopen(path.c_str(), "rbe");
}

}  // namespace

std::vector<std::uint8_t> ReadAkRecord(const std::string& path) {
  const bool isInput = path == kStandardStream;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(isInput ? nullptr : OpenRecord(path),
                                                               &std::fclose);
  std::FILE* file = isInput ? stdin : opened.get();
  std::vector<std::uint8_t> record(std::size_t{kSharedBlockSize} + 1);
  if (file != nullptr) {
    record.resize(std::fread(record.data(), 1, record.size(), file));
  }
  const std::string name = isInput ? "standard input" : path;
  if (file == nullptr || std::ferror(file) != 0) {
    throw std::runtime_error(name + ": cannot be read: " + std::strerror(errno));
  }
  if (record.size() > kSharedBlockSize) {
    throw TooLarge(name);
  }
  return record;
}

std::vector<std::uint8_t> DecodeAkRecord(const std::string& digits) {
  if (digits.size() > 2 * std::size_t{kSharedBlockSize}) {
    throw TooLarge("--hex");
  }
  std::vector<std::uint8_t> record(digits.size() / 2);
  auto length = static_cast<std::uint32_t>(record.size());
  if (hex_str_2_bin(record.data(), digits.data(), &length,
                    static_cast<std::uint32_t>(digits.size())) != 0) {
    throw std::runtime_error("--hex: give two hexadecimal digits a byte and nothing else");
  }
  return record;
}

}  // namespace vam
