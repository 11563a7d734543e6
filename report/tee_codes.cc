#include "report/tee_codes.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vam {

const char* TeeCodeName(std::uint32_t value) {
  for (const TeeCode& code : kTeeCodes) {
    if (code.value == value) {
      return code.name;
    }
  }
  return nullptr;
}

std::optional<std::uint32_t> TeeCodeByName(const std::string& name) {
  for (const TeeCode& code : kTeeCodes) {
    if (code.name == name) {
      return code.value;
    }
  }
  return std::nullopt;
}

}  // namespace vam
