#include "vamctl/verdict_texts.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

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

/// Whether the entry's code is of the TEE. Of an entry in a record only the code's name tells it.
bool HasTeeCode(const StatusEntry& entry) {
  return entry.hasTeeCode || entry.codeName.rfind("TEEC_", 0) == 0;
}

std::string EntryInWords(const StatusEntry& entry) {
  std::string text = "\n- " + entry.meaning + "\n  " + Printable(entry.message);
  if (entry.code) {
    text += "\n  code: " + std::to_string(*entry.code);
    if (HasTeeCode(entry)) {
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
    if (HasTeeCode(entry)) {
      json["result"] = TeeCodeAsJson(static_cast<std::uint32_t>(*entry.code));
    }
  }
  if (entry.record) {
    json["record"] = RecordAsJson(*entry.record);
  }
  return json;
}

std::string AsText(const std::string& verdict, const std::vector<std::string>& problems,
                   const char* heading, const std::vector<StatusEntry>& entries) {
  std::string text = "verdict: " + verdict;
  for (const std::string& problem : problems) {
    text += "\nproblem: " + problem;
  }
  if (!entries.empty()) {
    text += heading;
    for (const StatusEntry& entry : entries) {
      text += EntryInWords(entry);
    }
  }
  return text;
}

std::string AsJson(const char* verdict, const std::optional<std::string>& version,
                   const std::vector<std::string>& problems,
                   const std::vector<StatusEntry>& entries) {
  nlohmann::ordered_json json = {{"verdict", verdict}, {"version", nullptr}};
  if (version) {
    json["version"] = Escaped(*version);
  }
  json["entries"] = nlohmann::ordered_json::array();
  for (const StatusEntry& entry : entries) {
    json["entries"].push_back(EntryAsJson(entry));
  }
  json["problems"] = problems;
  return json.dump();
}

/// Returns the record's problems, and what was moved out of the tool's way.
std::vector<std::string> ProblemsOf(const RunRecord& record) {
  std::vector<std::string> problems;
  for (const MovedFile& moved : record.moved) {
    problems.push_back(Escaped(moved.path + " was " + moved.was + "; moved to " + moved.movedTo));
  }
  for (const std::string& problem : record.problems) {
    problems.push_back(Escaped(problem));
  }
  return problems;
}

}  // namespace

std::string VerdictAsText(const Verdict& verdict) {
  return AsText(OutcomeInWords(verdict), verdict.problems,
                "\nlast entries, the newest last:", verdict.entries);
}

std::string VerdictAsJson(const Verdict& verdict) {
  return AsJson(OutcomeName(verdict.outcome), verdict.version, verdict.problems, verdict.entries);
}

std::string VerdictAsText(const RunRecord& record) {
  return AsText(RunEndInWords(record), ProblemsOf(record),
                "\nentries of this run:", record.entries);
}

std::string VerdictAsJson(const RunRecord& record) {
  const bool isVerified = record.outcome == RunOutcome::kVerified;
  return AsJson(RunOutcomeName(record.outcome),
                isVerified ? std::optional<std::string>(record.version) : std::nullopt,
                ProblemsOf(record), record.entries);
}

int VerdictStatus(const Verdict& verdict) {
  switch (verdict.outcome) {
    case Outcome::kVerified:
      return kVerdictVerified;
    case Outcome::kNotVerified:
      return kVerdictNotVerified;
    case Outcome::kNone:
      return kVerdictNone;
    default:
      return kVerdictNotTrusted;
  }
}

int VerdictStatus(const RunRecord& record) {
  return record.outcome == RunOutcome::kVerified ? kVerdictVerified : kVerdictNotVerified;
}

}  // namespace vam
