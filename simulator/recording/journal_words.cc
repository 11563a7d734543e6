#include "simulator/recording/journal_words.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "interface/trusted_application.h"
#include "report/result_codes.h"
#include "report/tee_codes.h"
#include "report/texts.h"
#include "report/vam_result.h"
#include "simulator/board/platform_calls.h"
#include "simulator/recording/journal_reader.h"

namespace vam {

namespace {

constexpr double kNanosecondsInASecond = 1e9;

/// Returns the name of a number, or the number.
std::string NameOf(const Json& code) {
  return code.contains("name") ? Escaped(BytesOfText(code["name"])) : code["number"].dump();
}

/// Returns bytes as text in quotes where they are printable, and else in hexadecimal.
std::string BytesInWords(const Json& value) {
  constexpr std::size_t kMostDigits = 128;
  if (value.is_null()) {
    return "nothing";
  }
  if (value.is_object()) {
    return value["length"].dump() + " bytes that were withheld";
  }
  std::string bytes = BytesOfDigits(value);
  if (!bytes.empty() && bytes.back() == '\0') {
    bytes.pop_back();
  }
  if (std::all_of(bytes.begin(), bytes.end(), [](char b) { return b >= ' ' && b <= '~'; })) {
    return "\"" + bytes + "\"";
  }
  const auto digits = value.get<std::string>();
  return digits.size() <= kMostDigits ? digits : digits.substr(0, kMostDigits) + "...";
}

std::string TextInWords(const Json& value) {
  return value.is_null() ? "none" : "\"" + Escaped(BytesOfText(value)) + "\"";
}

std::string OneCode(const char* name, std::int32_t code, bool isNegative = false) {
  return name == nullptr ? std::to_string(code) : (isNegative ? "-" : "") + std::string(name);
}

/// Returns the two codes of a result record.
std::string RecordInWords(const std::string& bytes) {
  VamResult record{};
  std::memcpy(&record, bytes.data(), sizeof record);
  return OneCode(VamCodeName(record.vamCode), record.vamCode) + " " +
         OneCode(ZelkCodeName(record.fwCode), record.fwCode, record.fwCode < 0);
}

std::string ModeInWords(std::int64_t mode) {
  static const std::map<std::int64_t, const char*> kModes = {
      {kUpdateAll, " (update)"}, {kReportFileSystem, " (image)"}, {kReportChip, " (chip)"}};
  const auto found = kModes.find(mode);
  return "mode " + std::to_string(mode) + (found == kModes.end() ? "" : found->second);
}

/// Makes one step of the calls of one exchange with the trusted application.
class ExchangeStep {
 public:
  explicit ExchangeStep(RunStep& ofRun) : step(ofRun) {}

  void Add(const JournalCall& call) {
    const Json& members = call.members;
    switch (call.call) {
      case PlatformCall::kInitializeContext:
      case PlatformCall::kOpenSession:
      case PlatformCall::kRegisterSharedMemory:
      case PlatformCall::kAllocateSharedMemory:
        if (IsFailure(members["result"])) {
          failure = std::string(PlatformCallName(call.call)) + " " + ResultInWords(members);
        }
        break;
      case PlatformCall::kPutInt:
      case PlatformCall::kPutUint:
      case PlatformCall::kPutBlob:
        Put(call);
        break;
      case PlatformCall::kInvokeCommand:
        Invoke(call);
        break;
      case PlatformCall::kGetInt:
      case PlatformCall::kGetUint:
      case PlatformCall::kGetBlob:
        Get(call);
        break;
      case PlatformCall::kRequestCancellation:
        cancellation = "asked for";
        break;
      case PlatformCall::kFinalizeContext:
        isOver = true;
        break;
      case PlatformCall::kDestroyMarshaller:
        // An exchange without a connection ends here.
        isOver = isOver || !failure.empty();
        break;
      default:
        break;
    }
    if (members.contains("fault")) {
      faults.insert(members["fault"].get<std::int64_t>());
    }
    lastTime = call.time;
  }

  /// Writes what happened into the step.
  void End() {
    step.title = Title();
    Detail("not connected", failure);
    Detail("sent", sent);
    Detail("cancellation", cancellation);
    Detail("answered", answer);
    Detail("got", got);
    if (wasInvoked || isRequestRefused) {
      Detail("returned", Returned());
    }
    for (const std::int64_t fault : faults) {
      Detail("changed by", "fault " + std::to_string(fault) + " of the board");
    }
    if (!isOver) {
      Detail("ends", "the recording ends before the connection is closed");
    }
  }

 private:
  static bool IsFailure(const Json& result) { return result["number"] != 0; }

  static std::string ResultInWords(const Json& members) {
    return NameOf(members["result"]) +
           (members.contains("origin") ? " from " + NameOf(members["origin"]) : "");
  }

  void Detail(const char* label, const std::string& text) {
    if (!text.empty()) {
      step.details.push_back({label, text});
    }
  }

  static void Append(std::string& list, const std::string& item) {
    list += (list.empty() ? "" : ", ") + item;
  }

  void Put(const JournalCall& call) {
    const Json& members = call.members;
    if (members["result"].get<bool>()) {
      Append(sent, call.call == PlatformCall::kPutBlob ? BytesInWords(members["bytes"])
                                                       : members["value"].dump());
    } else {
      Append(sent, "a value that the marshaller refused");
      isRequestRefused = true;
    }
    if (call.call == PlatformCall::kPutInt && !hasMode) {
      hasMode = true;
      mode = members["value"].get<std::int64_t>();
    }
  }

  void Invoke(const JournalCall& call) {
    char after[48];
    std::snprintf(
        after, sizeof after, ", after %.6f s",
        static_cast<double>(call.time - std::min(call.time, lastTime)) / kNanosecondsInASecond);
    wasInvoked = true;
    command = call.members["command"];
    result = call.members["result"];
    answer = ResultInWords(call.members) + after;
    // Of a program without a marshaller.
    for (const Json& parameter : call.members.value("params", Json::array())) {
      if (parameter.contains("a")) {
        Append(sent, parameter["a"].dump() + ", " + parameter["b"].dump());
      }
      if (parameter.contains("before")) {
        Append(sent, BytesInWords(parameter["before"]));
      }
      if (parameter.contains("newA")) {
        Append(got, parameter["newA"].dump() + ", " + parameter["newB"].dump());
      }
      if (parameter.contains("after")) {
        Append(got, BytesInWords(parameter["after"]));
      }
    }
  }

  void Get(const JournalCall& call) {
    const Json& members = call.members;
    if (call.call != PlatformCall::kGetBlob) {
      const bool isThere = members["result"].get<bool>();
      Append(got, isThere ? members["value"].dump() : "no number");
      isReplyCut = isReplyCut || !isThere || members["value"] == 0;
      return;
    }
    const Json& bytes = members["bytes"];
    isReplyCut = isReplyCut || bytes.is_null();
    const bool isRecord = IsCommand(kVmUpdateFw) && got.empty() && bytes.is_string() &&
                          members["length"] == sizeof(VamResult);
    Append(got, isRecord ? RecordInWords(BytesOfDigits(bytes)) : BytesInWords(bytes));
  }

  [[nodiscard]] bool IsCommand(std::uint32_t identifier) const {
    return wasInvoked && command["number"] == identifier;
  }

  [[nodiscard]] std::string Title() const {
    if (!wasInvoked) {
      return isRequestRefused || hasMode ? "a command that was not invoked"
                                         : "a connection without a command";
    }
    const bool isUpdate = IsCommand(kVmUpdateFw) || IsCommand(kVamUpdateFw);
    const std::string name =
        command.contains("name") ? NameOf(command) : "command " + command["number"].dump();
    return name + (isUpdate && hasMode ? ", " + ModeInWords(mode) : "");
  }

  /// What the command told its caller.
  [[nodiscard]] std::string Returned() const {
    constexpr std::uint32_t kNoData = 0xFFFF000B;
    constexpr std::uint32_t kCommunication = 0xFFFF000E;
    if (!wasInvoked) {
      return std::string(TeeCodeName(kNoData)) + ", for the request was not taken";
    }
    if (IsFailure(result) || !isReplyCut) {
      return NameOf(result);
    }
    return std::string(TeeCodeName(IsCommand(kVmUpdateFw) ? kCommunication : kNoData)) +
           ", for the reply lacks an item";
  }

  RunStep& step;
  std::string failure;
  std::string sent;
  std::string cancellation;
  std::string answer;
  std::string got;
  std::set<std::int64_t> faults;
  Json command;
  Json result;
  bool wasInvoked = false;
  bool isRequestRefused = false;
  bool isReplyCut = false;
  bool isOver = false;
  bool hasMode = false;
  std::int64_t mode = 0;
  std::uint64_t lastTime = 0;
};

std::string NodeCallInWords(const JournalCall& call) {
  const Json& members = call.members;
  if (members.contains("errno")) {
    return NameOf(members["errno"]);
  }
  switch (call.call) {
    case PlatformCall::kIoctl:
      return members.contains("flag") ? "flag " + members["flag"].dump() : "no flag";
    default:
      return "done";
  }
}

bool IsNodeCall(PlatformCall call) {
  return call == PlatformCall::kOpen || call == PlatformCall::kIoctl ||
         call == PlatformCall::kClose;
}

bool IsServiceCall(PlatformCall call) {
  return call == PlatformCall::kVconfGetStr || call == PlatformCall::kSystemInfoGetValueString;
}

/// Whether a step that begins with `call` has no other.
bool IsAlone(PlatformCall call) {
  return IsServiceCall(call) || call == PlatformCall::kRequestCancellation;
}

RunStep StepOf(const std::vector<const JournalCall*>& calls) {
  const JournalCall& first = *calls.front();
  RunStep step;
  step.time = first.time;
  step.process = first.process;
  step.thread = first.thread;
  step.line = first.line;
  if (IsNodeCall(first.call)) {
    step.title = "the device node";
    for (const JournalCall* call : calls) {
      step.details.push_back({std::string(PlatformCallName(call->call)), NodeCallInWords(*call)});
    }
  } else if (first.call == PlatformCall::kVconfGetStr) {
    step.title = "the setting " + TextInWords(first.members["key"]);
    step.details.push_back({"value", TextInWords(first.members["value"])});
  } else if (first.call == PlatformCall::kSystemInfoGetValueString) {
    step.title = "the system information " + first.members["key"].dump();
    step.details.push_back({"value", first.members.contains("value")
                                         ? TextInWords(first.members["value"])
                                         : "none, result " + first.members["result"].dump()});
  } else if (first.call == PlatformCall::kRequestCancellation) {
    step.title = "a cancellation";
    step.details.push_back(
        {"operation", first.members["operation"].is_null() ? "none" : "one of another thread's"});
  } else {
    ExchangeStep exchange(step);
    for (const JournalCall* call : calls) {
      exchange.Add(*call);
    }
    exchange.End();
  }
  return step;
}

/// Returns the moment in the calendar's words, in UTC.
std::string Calendar(std::int64_t nanoseconds) {
  const auto seconds = static_cast<std::time_t>(nanoseconds / 1000000000);
  std::tm parts = {};
  char text[64] = "";
  if (gmtime_r(&seconds, &parts) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
  }
  return text;
}

}  // namespace

std::vector<RunStep> StepsOf(const RecordedRun& run) {
  using Thread = std::pair<std::int64_t, std::int64_t>;
  std::vector<std::vector<const JournalCall*>> steps;
  // The step that a call of a thread belongs to: it began with a call of the same sort.
  std::map<Thread, std::size_t> current;
  for (const JournalCall& call : run.calls) {
    const Thread thread = {call.process, call.thread};
    const auto found = current.find(thread);
    const bool begins = found == current.end() || IsServiceCall(call.call) ||
                        call.call == PlatformCall::kOpen ||
                        call.call == PlatformCall::kInitializeContext ||
                        IsAlone(steps[found->second].front()->call) ||
                        IsNodeCall(call.call) != IsNodeCall(steps[found->second].front()->call);
    if (begins) {
      current[thread] = steps.size();
      steps.emplace_back();
    }
    steps[current[thread]].push_back(&call);
  }
  std::vector<RunStep> inWords;
  inWords.reserve(steps.size());
  for (const auto& calls : steps) {
    inWords.push_back(StepOf(calls));
  }
  return inWords;
}

std::string RunInWords(const RecordedRun& run) {
  if (run.head.is_null()) {
    return "";
  }
  std::string text = "A run of " + Escaped(BytesOfText(run.head["program"])) + ", recorded by " +
                     Escaped(BytesOfText(run.head["build"])) + " at " +
                     Calendar(run.head["clock"]["realTime"].get<std::int64_t>()) + ".\n";
  std::set<std::pair<std::int64_t, std::int64_t>> threads;
  for (const JournalCall& call : run.calls) {
    threads.insert({call.process, call.thread});
  }
  for (const RunStep& step : StepsOf(run)) {
    text += Formatted("\n%12.6f s  %s", static_cast<double>(step.time) / kNanosecondsInASecond,
                      step.title.c_str());
    if (threads.size() > 1) {
      text += Formatted("  [process %lld, thread %lld]", static_cast<long long>(step.process),
                        static_cast<long long>(step.thread));
    }
    text += "\n";
    for (const RunStep::Detail& detail : step.details) {
      text += Formatted("    %-14s %s\n", detail.label.c_str(), detail.text.c_str());
    }
  }
  return text;
}

std::string RunAsJson(const RecordedRun& run) {
  Json steps = Json::array();
  for (const RunStep& step : StepsOf(run)) {
    Json details = Json::array();
    for (const RunStep::Detail& detail : step.details) {
      details.push_back({{"label", detail.label}, {"text", detail.text}});
    }
    steps.push_back({{"time", step.time},
                     {"pid", step.process},
                     {"tid", step.thread},
                     {"line", step.line},
                     {"title", step.title},
                     {"details", details}});
  }
  const Json whole = {{"head", run.head},
                      {"steps", steps},
                      {"problem", run.problem.empty() ? Json() : Json(run.problem)}};
  return whole.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::string CallInWords(const JournalCall& call) {
  std::string text(PlatformCallName(call.call));
  for (const auto& member : call.members.items()) {
    const Json& value = member.value();
    text +=
        " " + member.key() + "=" +
        (value.is_object() && value.contains("number") ? NameOf(value) : value.dump(-1, ' ', true));
  }
  return text;
}

}  // namespace vam
