#include "vamctl/code_texts.h"

#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "report/tee_codes.h"
#include "report/vam_result.h"

namespace vam {

namespace {

/// Returns the name of a firmware code with the code's sign; empty where it has none.
std::string SignedName(std::int32_t code) {
  const char* name = ZelkCodeName(code);
  return name == nullptr ? "" : std::string(code < 0 ? "-" : "") + name;
}

std::string NumberAndName(const std::string& number, const std::string& name) {
  return name.empty() ? number : number + " " + name;
}

template <typename Code>
nlohmann::ordered_json CodeAsJson(Code code, const std::string& name) {
  nlohmann::ordered_json json = {{"code", code}, {"name", nullptr}};
  if (!name.empty()) {
    json["name"] = name;
  }
  return json;
}

std::string NameOrNothing(const char* name) { return name == nullptr ? "" : name; }

}  // namespace

std::string TeeCodeAsText(std::uint32_t code) {
  char number[11];
  std::snprintf(number, sizeof number, "0x%08X", code);
  return NumberAndName(number, NameOrNothing(TeeCodeName(code)));
}

nlohmann::ordered_json TeeCodeAsJson(std::uint32_t code) {
  return CodeAsJson(code, NameOrNothing(TeeCodeName(code)));
}

nlohmann::ordered_json TeeOriginAsJson(std::uint32_t origin) {
  switch (origin) {
    case 1:
      return CodeAsJson(origin, "TEEC_ORIGIN_API");
    case 2:
      return CodeAsJson(origin, "TEEC_ORIGIN_COMMS");
    case 3:
      return CodeAsJson(origin, "TEEC_ORIGIN_TEE");
    case 4:
      return CodeAsJson(origin, "TEEC_ORIGIN_TRUSTED_APP");
    default:
      return CodeAsJson(origin, "");
  }
}

std::string RecordAsText(const VamResult& record, const std::string& indent) {
  return indent + "VAM: " +
         NumberAndName(std::to_string(record.vamCode), NameOrNothing(VamCodeName(record.vamCode))) +
         "\n" + indent +
         "firmware: " + NumberAndName(std::to_string(record.fwCode), SignedName(record.fwCode));
}

nlohmann::ordered_json RecordAsJson(const VamResult& record) {
  return {{"vam", CodeAsJson(record.vamCode, NameOrNothing(VamCodeName(record.vamCode)))},
          {"firmware", CodeAsJson(record.fwCode, SignedName(record.fwCode))}};
}

}  // namespace vam
