#include "vamctl/code_texts.h"

#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "report/vam_result.h"
#include "vamctl/tee_code_names.h"

namespace vam {

namespace {

constexpr std::size_t kLongestText = 200;

/// Names of a record's codes; empty where a code has none.
struct RecordNames {
  std::string vam;
  std::string firmware;
};

/// Returns the text of a line of vamResultToStr() behind `label`, unless it is a number.
std::string NameBehind(const std::string& text, const std::string& label) {
  const std::size_t start = text.find(label) + label.size();
  const std::string name = text.substr(start, text.find('\n', start) - start);
  return name.find('_') == std::string::npos ? "" : name;
}

RecordNames NamesOf(const VamResult& record) {
  const std::string text = vamResultToStr(record);
  return {NameBehind(text, "\t\tVAM: "), NameBehind(text, "\t\tFirmware: ")};
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

std::string TeeName(std::uint32_t code) {
  const char* name = TeeCodeName(code);
  return name == nullptr ? "" : name;
}

}  // namespace

std::string TeeCodeAsText(std::uint32_t code) {
  char number[11];
  std::snprintf(number, sizeof number, "0x%08X", code);
  return NumberAndName(number, TeeName(code));
}

nlohmann::ordered_json TeeCodeAsJson(std::uint32_t code) { return CodeAsJson(code, TeeName(code)); }

std::string RecordAsText(const VamResult& record, const std::string& indent) {
  const RecordNames names = NamesOf(record);
  return indent + "VAM: " + NumberAndName(std::to_string(record.vamCode), names.vam) + "\n" +
         indent + "firmware: " + NumberAndName(std::to_string(record.fwCode), names.firmware);
}

nlohmann::ordered_json RecordAsJson(const VamResult& record) {
  const RecordNames names = NamesOf(record);
  return {{"vam", CodeAsJson(record.vamCode, names.vam)},
          {"firmware", CodeAsJson(record.fwCode, names.firmware)}};
}

std::string Printable(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes.substr(0, kLongestText)) {
    if (byte >= ' ' && byte <= '~' && byte != '\\') {
      text += byte;
    } else {
      char escaped[5];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(byte));
      text += escaped;
    }
  }
  return bytes.size() > kLongestText ? text + "..." : text;
}

}  // namespace vam
