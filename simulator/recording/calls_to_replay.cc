#include "simulator/recording/calls_to_replay.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "simulator/recording/journal_reader.h"
#include "simulator/recording/journal_words.h"
#include "simulator/run/recorded_call.h"

namespace vam {

namespace {

bool IsOfBytes(const std::string& name) {
  return name == "bytes" || name == "before" || name == "after";
}

std::string ValueOf(const std::string& name, const Json& value) {
  if (value.is_object()) {
    return value.contains("sha256") ? WithheldValue(value["length"].get<std::uint64_t>(),
                                                    value["sha256"].get<std::string>())
                                    : NumberValue(value["number"].get<std::int64_t>());
  }
  if (value.is_string()) {
    return BytesValue(IsOfBytes(name) ? BytesOfDigits(value) : BytesOfText(value));
  }
  if (value.is_boolean()) {
    return NumberValue(value.get<bool>() ? 1 : 0);
  }
  return value.is_null() ? kNullValue : NumberValue(value.get<std::int64_t>());
}

RecordedCall CallToReplay(const JournalCall& recorded, std::uint32_t number) {
  RecordedCall call;
  call.number = number;
  call.call = recorded.call;
  call.words = CallInWords(recorded);
  for (const auto& member : recorded.members.items()) {
    if (!member.value().is_array()) {
      call.members[member.key()] = ValueOf(member.key(), member.value());
      continue;
    }
    for (std::size_t i = 0; i < member.value().size(); ++i) {
      for (const auto& inner : member.value()[i].items()) {
        std::string name = member.key();
        name.append(".").append(std::to_string(i)).append(".").append(inner.key());
        call.members[name] = ValueOf(inner.key(), inner.value());
      }
    }
  }
  return call;
}

}  // namespace

RecordedThreads CallsToReplay(const RecordedRun& run, std::uint32_t first) {
  std::map<std::int64_t, std::uint32_t> processes;
  // By the thread's number, which grows from one thread of a process to the next.
  std::map<std::pair<std::uint32_t, std::int64_t>, RecordedThread> threads;
  std::uint32_t number = 0;
  for (const JournalCall& recorded : run.calls) {
    const auto next = static_cast<std::uint32_t>(processes.size());
    const std::uint32_t process = processes.insert({recorded.process, next}).first->second;
    RecordedThread& thread = threads[{process, recorded.thread}];
    thread.process = process;
    thread.isMain = recorded.process == recorded.thread;
    thread.beginning += ++number < first ? 1 : 0;
    thread.calls.push_back(CallToReplay(recorded, number));
  }
  RecordedThreads list;
  for (auto& thread : threads) {
    list.push_back(std::move(thread.second));
  }
  return list;
}

}  // namespace vam
