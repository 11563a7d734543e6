#include "simulator/run/recorded_call.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "journal/journal_text.h"
#include "journal/sha256.h"
#include "simulator/board/platform_calls.h"

namespace vam {

namespace {

// A value begins with one of these, or is a number or null.
constexpr char kBytes = 'b';
constexpr char kDigest = 'd';
constexpr int kHexadecimal = 16;

std::vector<std::string> Fields(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream stream(line);
  for (std::string field; std::getline(stream, field, '\t');) {
    fields.push_back(field);
  }
  return fields;
}

std::uint32_t ToNumber(const std::string& text) {
  return static_cast<std::uint32_t>(std::stoul(text));
}

}  // namespace

std::int64_t RecordedCall::Number(const std::string& name) const {
  const auto found = members.find(name);
  return found == members.end() ? 0 : std::strtoll(found->second.c_str(), nullptr, 10);
}

std::optional<std::string> RecordedCall::Bytes(const std::string& name) const {
  const auto found = members.find(name);
  if (found == members.end() || found->second[0] != kBytes) {
    return std::nullopt;
  }
  std::string bytes;
  for (std::size_t i = 1; i < found->second.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(found->second.substr(i, 2), nullptr, kHexadecimal));
  }
  return bytes;
}

bool RecordedCall::IsWithheld(const std::string& name) const {
  const auto found = members.find(name);
  return found != members.end() && found->second[0] == kDigest;
}

bool RecordedCall::HasBytes(const std::string& name, const void* bytes, std::size_t count) const {
  const auto found = members.find(name);
  return found != members.end() &&
         found->second == (bytes == nullptr   ? kNullValue
                           : IsWithheld(name) ? WithheldValue(count, Sha256InHex(bytes, count))
                                              : kBytes + InHexadecimal(bytes, count));
}

std::string NumberValue(std::int64_t number) { return std::to_string(number); }

std::string BytesValue(const std::string& bytes) {
  return kBytes + InHexadecimal(bytes.data(), bytes.size());
}

std::string WithheldValue(std::uint64_t length, const std::string& sha256) {
  return kDigest + std::to_string(length) + ":" + sha256;
}

std::string TextOfRecordedThreads(const RecordedThreads& threads) {
  std::string text;
  for (const RecordedThread& thread : threads) {
    text += "thread\t" + std::to_string(thread.process) + (thread.isMain ? "\t1\t" : "\t0\t") +
            std::to_string(thread.beginning) + "\n";
    for (const RecordedCall& call : thread.calls) {
      text.append(std::to_string(call.number)).append("\t");
      text.append(PlatformCallName(call.call)).append("\t").append(call.words);
      for (const auto& [name, value] : call.members) {
        text.append("\t").append(name).append("=").append(value);
      }
      text += '\n';
    }
  }
  return text;
}

RecordedThreads ReadRecordedThreads(const std::string& text) {
  RecordedThreads threads;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::vector<std::string> fields = Fields(line);
    if (fields[0] == "thread") {
      threads.push_back({ToNumber(fields[1]), fields[2] == "1", ToNumber(fields[3]), {}});
      continue;
    }
    RecordedCall call;
    call.number = ToNumber(fields[0]);
    call.call = PlatformCallByName(fields[1]).value();
    call.words = fields[2];
    for (std::size_t i = 3; i < fields.size(); ++i) {
      const std::size_t sign = fields[i].find('=');
      call.members[fields[i].substr(0, sign)] = fields[i].substr(sign + 1);
    }
    threads.back().calls.push_back(std::move(call));
  }
  return threads;
}

}  // namespace vam
