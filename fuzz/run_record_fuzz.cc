// Reads arbitrary records of a run.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "fuzz/fuzz_target.h"
#include "report/run_record.h"

namespace {

bool IsShown(char byte) { return byte >= ' ' && byte <= '~'; }

/// Returns the bytes that a text of the record stands for: a character is a byte.
std::string BytesOf(const nlohmann::json& text) {
  std::string bytes;
  const std::string utf8 = text.get<std::string>();
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    auto byte = static_cast<unsigned char>(utf8[i]);
    if (byte >= 0x80) {
      ++i;
      byte = static_cast<unsigned char>((byte & 0x03U) << 6U |
                                        (static_cast<unsigned char>(utf8[i]) & 0x3FU));
    }
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  vam::RunRecord record;
  if (!vam::ReadRunRecord(text, record)) {
    return 0;
  }
  // What is read is what would be written, and the same as a library reads.
  vam::Require(vam::RunRecordAsJson(record) == text);
  const std::string words = vam::RunRecordInWords(record);
  vam::Require(std::all_of(words.begin(), words.end(), IsShown));
  const nlohmann::json json = nlohmann::json::parse(text);
  vam::Require(json["outcome"] == vam::RunOutcomeName(record.outcome));
  vam::Require(json["entries"].size() == record.entries.size());
  vam::Require(BytesOf(json["boot_id"]) == record.bootId);
  if (record.outcome == vam::RunOutcome::kVerified) {
    vam::Require(BytesOf(json["version"]) == record.version);
  }
  for (std::size_t i = 0; i < record.entries.size(); ++i) {
    vam::Require(BytesOf(json["entries"][i]["message"]) == record.entries[i].message);
  }
  return 0;
}
