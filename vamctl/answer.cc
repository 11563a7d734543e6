#include "vamctl/answer.h"

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "report/texts.h"
#include "util/text_conversions.h"
#include "vamctl/code_texts.h"

namespace vam {

namespace {

/// Returns a received version without the terminating zero byte that it is sent with.
std::string Version(const std::string& received) {
  const bool terminated = !received.empty() && received.back() == '\0';
  return terminated ? received.substr(0, received.size() - 1) : received;
}

std::string Digits(const Answer& answer) {
  return uint8_to_hex_string(answer.bytes->data(),
                             static_cast<std::uint32_t>(answer.bytes->size()));
}

nlohmann::ordered_json CauseAsJson(const FailedStep& cause) {
  nlohmann::ordered_json json = {{"step", cause.name}, {"result", nullptr}, {"origin", nullptr}};
  if (cause.result) {
    json["result"] = TeeCodeAsJson(*cause.result);
  }
  if (cause.origin) {
    json["origin"] = TeeOriginAsJson(*cause.origin);
  }
  return json;
}

}  // namespace

bool Succeeded(const Answer& answer) {
  return answer.code == 0 &&
         (!answer.record || (answer.record->vamCode == 0 && answer.record->fwCode == 0));
}

std::string AnswerAsText(const Answer& answer) {
  std::string text = "result: " + TeeCodeAsText(answer.code);
  if (answer.record) {
    text += "\n" + RecordAsText(*answer.record, "");
  }
  if (answer.versions) {
    text += "\nsystem version: " + Printable(Version(answer.versions->system));
    text += "\napp version: " + Printable(Version(answer.versions->app));
  }
  if (answer.words) {
    for (std::size_t i = 0; i < answer.words->size(); ++i) {
      text += "\nword " + std::to_string(i) + ": " +
              std::to_string(static_cast<std::int32_t>((*answer.words)[i]));
    }
  }
  if (answer.bytes) {
    text += "\nbytes: " + Digits(answer);
  }
  return text;
}

std::string ErrorAsJson(const std::string& problem) {
  return nlohmann::ordered_json{{"error", Escaped(problem)}}.dump();
}

std::string AnswerAsJson(const Answer& answer) {
  nlohmann::ordered_json json;
  json["command"] = answer.command;
  if (answer.mode) {
    json["mode"] = *answer.mode;
  }
  json["result"] = TeeCodeAsJson(answer.code);
  if (answer.cause) {
    json["cause"] = CauseAsJson(*answer.cause);
  }
  if (answer.record) {
    json["record"] = RecordAsJson(*answer.record);
  }
  if (answer.versions) {
    json["versions"] = {{"system", Escaped(Version(answer.versions->system))},
                        {"app", Escaped(Version(answer.versions->app))}};
  }
  if (answer.words) {
    json["words"] = nlohmann::ordered_json::array();
    for (const std::uint32_t word : *answer.words) {
      json["words"].push_back(static_cast<std::int32_t>(word));
    }
  }
  if (answer.bytes) {
    json["bytes"] = Digits(answer);
  }
  return json.dump();
}

}  // namespace vam
