// Judges arbitrary status files. The first byte says how many of the next bytes are the file of
// verified firmware; the rest is the error file.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "report/status_reader.h"
#include "vamctl/verdict_texts.h"

namespace {

vam::StatusFile File(const std::string& text) {
  vam::StatusFile file;
  file.path = "file";
  file.present = true;
  std::istringstream stream(text);
  std::string line;
  while (std::getline(stream, line)) {
    file.lines.push_back(line);
  }
  return file;
}

bool IsShown(char byte) { return byte == '\n' || (byte >= ' ' && byte <= '~'); }

/// Returns `entries` as the update tool writes them, a line each.
std::vector<std::string> Written(const std::vector<vam::StatusEntry>& entries) {
  std::vector<std::string> lines;
  for (const vam::StatusEntry& entry : entries) {
    lines.push_back(entry.code ? entry.message + " " + std::to_string(*entry.code) + " "
                               : entry.message);
    if (entry.record) {
      lines.push_back("vam ret: " + std::to_string(entry.record->vamCode) + " ");
      lines.push_back("fw ret: " + std::to_string(entry.record->fwCode) + " ");
    }
  }
  return lines;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string text(data + 1, data + size);
  const std::size_t border = std::min<std::size_t>(data[0], text.size());
  const vam::StatusFile okFile = File(text.substr(0, border));
  const vam::StatusFile errorFile = File(text.substr(border));

  // Nothing is lost or made up, but for how a number was spelled.
  const std::vector<vam::StatusEntry> entries = vam::EntriesOf(errorFile.lines);
  const std::vector<std::string> written = Written(entries);
  vam::Require(written.size() == errorFile.lines.size());
  vam::Require(Written(vam::EntriesOf(written)) == written);

  const vam::Verdict verdict = vam::Judge(okFile, errorFile);
  vam::Require(verdict.entries.size() == std::min<std::size_t>(3, entries.size()));
  const std::string words = vam::VerdictAsText(verdict);
  vam::Require(std::all_of(words.begin(), words.end(), IsShown));
  const std::string json = vam::VerdictAsJson(verdict);
  vam::Require(std::all_of(json.begin(), json.end(), IsShown));
  const nlohmann::json parsed = nlohmann::json::parse(json);
  vam::Require(parsed["entries"].size() == verdict.entries.size());
  return 0;
}
