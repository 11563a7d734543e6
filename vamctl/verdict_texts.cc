#include "vamctl/verdict_texts.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "report/status_reader.h"
#include "report/texts.h"
#include "vamctl/code_texts.h"

namespace vam {

namespace {

const char* OutcomeName(Outcome outcome) {
  switch (outcome) {
    case Outcome::kVerified:
      return "verified";
    case Outcome::kNotVerified:
      return "not verified";
    case Outcome::kNone:
      return "none";
    default:
      return "unclear";
  }
}

std::string OutcomeInWords(const Verdict& verdict) {
  const std::string version = verdict.version ? Printable(*verdict.version) : "";
  const std::string before =
      verdict.version ? "; an earlier run verified system version " + version : "";
  switch (verdict.outcome) {
    case Outcome::kVerified:
      return "verified: the chip runs the image's firmware, system version " + version;
    case Outcome::kNotVerified:
      return "not verified: the last entry tells why" + before;
    case Outcome::kNone:
      return "none: the last run, if there was one, did not reach its end" + before;
    default:
      return "unclear: the files do not tell how the last run ended";
  }
}

std::string EntryInWords(const StatusEntry& entry) {
  std::string text = "\n- " + entry.meaning + "\n  " + Printable(entry.message);
  if (entry.code) {
    text += "\n  code: " + std::to_string(*entry.code);
    if (entry.hasTeeCode) {
      text += ", " + TeeCodeAsText(static_cast<std::uint32_t>(*entry.code));
    }
  }
  if (entry.record) {
    text += "\n" + RecordAsText(*entry.record, "  ");
  }
  return text;
}

nlohmann::ordered_json EntryAsJson(const StatusEntry& entry) {
  nlohmann::ordered_json json = {{"message", Escaped(entry.message)}, {"meaning", entry.meaning}};
  if (entry.code) {
    json["code"] = *entry.code;
    if (entry.hasTeeCode) {
      json["result"] = TeeCodeAsJson(static_cast<std::uint32_t>(*entry.code));
    }
  }
  if (entry.record) {
    json["record"] = RecordAsJson(*entry.record);
  }
  return json;
}

}  // namespace

std::string VerdictAsText(const Verdict& verdict) {
  std::string text = "verdict: " + OutcomeInWords(verdict);
  for (const std::string& problem : verdict.problems) {
    text += "\nproblem: " + problem;
  }
  if (!verdict.entries.empty()) {
    text += "\nlast entries, the newest last:";
    for (const StatusEntry& entry : verdict.entries) {
      text += EntryInWords(entry);
    }
  }
  return text;
}

std::string VerdictAsJson(const Verdict& verdict) {
  nlohmann::ordered_json json = {{"verdict", OutcomeName(verdict.outcome)}, {"version", nullptr}};
  if (verdict.version) {
    json["version"] = Escaped(*verdict.version);
  }
  json["entries"] = nlohmann::ordered_json::array();
  for (const StatusEntry& entry : verdict.entries) {
    json["entries"].push_back(EntryAsJson(entry));
  }
  json["problems"] = verdict.problems;
  return json.dump();
}

}  // namespace vam
