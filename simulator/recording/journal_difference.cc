#include "simulator/recording/journal_difference.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "simulator/recording/journal_reader.h"
#include "simulator/recording/journal_words.h"

namespace vam {

namespace {

using Calls = std::vector<const JournalCall*>;

/// Returns the calls of each thread: the processes in the order of their first calls, and the
/// threads of each from the oldest on, which has the least number.
std::vector<Calls> CallsOfThreads(const RecordedRun& run) {
  std::map<std::int64_t, std::size_t> processes;
  std::map<std::pair<std::size_t, std::int64_t>, Calls> threads;
  for (const JournalCall& call : run.calls) {
    const std::size_t process = processes.insert({call.process, processes.size()}).first->second;
    threads[{process, call.thread}].push_back(&call);
  }
  std::vector<Calls> list;
  list.reserve(threads.size());
  for (const auto& thread : threads) {
    list.push_back(thread.second);
  }
  return list;
}

/// Leaves of a number whether the thing was ever made.
void ForgetNumbers(Json& members) {
  for (const char* name : {"context", "session", "sharedMemory", "marshaller", "descriptor"}) {
    if (members.contains(name)) {
      members[name] = members[name] != 0;
    }
  }
}

Json WhatCounts(const JournalCall& call) {
  Json members = call.members;
  ForgetNumbers(members);
  if (members.contains("params")) {
    for (Json& parameter : members["params"]) {
      ForgetNumbers(parameter);
    }
  }
  // Where a fault stands in its board file is a number too; what it did to the call stays.
  members.erase("fault");
  return members;
}

bool AreAlike(const JournalCall& one, const JournalCall& other) {
  return one.call == other.call && WhatCounts(one) == WhatCounts(other);
}

std::string CallOrEnd(const Calls& calls, std::size_t place, const std::string& name) {
  return place < calls.size() ? name + ":" + std::to_string(calls[place]->line) + ": " +
                                    CallInWords(*calls[place]) + "\n"
                              : name + ": makes no further call\n";
}

}  // namespace

std::string WhereRunsPart(const RecordedRun& one, const std::string& nameOfOne,
                          const RecordedRun& other, const std::string& nameOfOther) {
  std::vector<Calls> ones = CallsOfThreads(one);
  std::vector<Calls> others = CallsOfThreads(other);
  const std::size_t threads = std::max(ones.size(), others.size());
  ones.resize(threads);
  others.resize(threads);
  for (std::size_t thread = 0; thread < threads; ++thread) {
    const Calls& left = ones[thread];
    const Calls& right = others[thread];
    std::size_t place = 0;
    while (place < left.size() && place < right.size() && AreAlike(*left[place], *right[place])) {
      ++place;
    }
    if (place < left.size() || place < right.size()) {
      return "The runs part after " + std::to_string(place) + " equal calls" +
             (threads > 1 ? " of thread " + std::to_string(thread + 1) : "") + ".\n" +
             CallOrEnd(left, place, nameOfOne) + CallOrEnd(right, place, nameOfOther);
    }
  }
  return "";
}

}  // namespace vam
