#include "simulator/exploring/rules.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "report/result_codes.h"
#include "simulator/board/platform_calls.h"
#include "simulator/recording/journal_reader.h"

namespace vam {

namespace {

// What a shell makes of a signal that ended a program.
constexpr int kFirstSignalStatus = 129;
constexpr int kLastSignalStatus = 192;
constexpr int kFailureStatus = 255;
constexpr std::int64_t kNoData = -65525;         // 0xFFFF000B
constexpr std::int64_t kCommunication = -65522;  // 0xFFFF000E

/// Returns the number of a member that has a name too, as the status files show it: signed.
std::int64_t Number(const Json& members, const char* name) {
  const auto number = members.at(name).at("number").get<std::int64_t>();
  return number > INT32_MAX ? number - (std::int64_t{1} << 32) : number;
}

struct Record {
  std::int32_t vamCode = 0;
  std::int32_t firmwareCode = 0;
};

/// What an update command brought back, as its platform calls tell it.
struct UpdateAnswer {
  /// 0: everything came.
  std::int64_t code = 0;
  std::optional<Record> record;
  std::string systemVersion;
  std::string appVersion;
};

/// The run as its answers tell it.
struct Answers {
  /// What the node's call that failed left as an entry; empty: the probe went on.
  std::string probeEntry;
  std::optional<UpdateAnswer> image;
  std::optional<UpdateAnswer> update;
  std::optional<UpdateAnswer> chip;
  /// The code of the information query; nothing before it was made.
  std::optional<std::int64_t> information;
};

using Calls = std::vector<const JournalCall*>;

/// Returns the calls of each exchange with the trusted application.
std::vector<Calls> ExchangesOf(const RecordedRun& run) {
  std::vector<Calls> exchanges;
  for (const JournalCall& call : run.calls) {
    if (call.call == PlatformCall::kInitializeContext) {
      exchanges.emplace_back();
    }
    if (!exchanges.empty()) {
      exchanges.back().push_back(&call);
    }
  }
  return exchanges;
}

/// Reads a reply's items in their order; what did not come ends the reading.
class ReplyReader {
 public:
  explicit ReplyReader(const Calls& exchange) : next(exchange.begin()), end(exchange.end()) {}

  /// Returns whether the request was put and the command succeeded; the code tells why not.
  bool Succeeded(std::int64_t& code) {
    // A command that was never sent has no answer.
    code = kNoData;
    while (next != end) {
      const JournalCall& call = **next++;
      if (call.call == PlatformCall::kPutInt && !call.members.at("result").get<bool>()) {
        return false;
      }
      if (call.call == PlatformCall::kInvokeCommand) {
        code = Number(call.members, "result");
        return code == 0;
      }
    }
    return false;
  }

  std::optional<std::string> Blob() {
    const JournalCall* call = Next(PlatformCall::kGetBlob);
    if (call == nullptr || !call->members.contains("bytes") ||
        !call->members["bytes"].is_string()) {
      return std::nullopt;
    }
    return BytesOfDigits(call->members["bytes"]);
  }

  /// Returns 0 where the number did not come.
  std::int64_t Count() {
    const JournalCall* call = Next(PlatformCall::kGetUint);
    return call != nullptr && call->members["result"] == true
               ? call->members["value"].get<std::int64_t>()
               : 0;
  }

 private:
  const JournalCall* Next(PlatformCall kind) {
    while (next != end) {
      const JournalCall* call = *next++;
      if (call->call == kind) {
        return call;
      }
    }
    return nullptr;
  }

  Calls::const_iterator next;
  Calls::const_iterator end;
};

UpdateAnswer UpdateAnswerOf(const Calls& exchange) {
  UpdateAnswer answer;
  ReplyReader reply(exchange);
  if (!reply.Succeeded(answer.code)) {
    return answer;
  }
  answer.code = kCommunication;
  const std::optional<std::string> record = reply.Blob();
  if (!record || record->size() != sizeof(Record)) {
    return answer;
  }
  Record codes;
  std::memcpy(&codes, record->data(), sizeof codes);
  answer.record = codes;
  std::string versions[2];
  for (std::string& version : versions) {
    if (reply.Count() == 0) {
      return answer;
    }
    const std::optional<std::string> text = reply.Blob();
    if (!text) {
      return answer;
    }
    version = *text;
  }
  answer.systemVersion = versions[0];
  answer.appVersion = versions[1];
  answer.code = 0;
  return answer;
}

std::int64_t InformationCodeOf(const Calls& exchange) {
  ReplyReader reply(exchange);
  std::int64_t code = kNoData;
  if (!reply.Succeeded(code)) {
    return code;
  }
  return reply.Count() != 0 && reply.Blob() ? 0 : kNoData;
}

Answers AnswersOf(const RecordedRun& run) {
  Answers answers;
  for (const JournalCall& call : run.calls) {
    const Json& members = call.members;
    if (call.call == PlatformCall::kOpen && members.value("descriptor", 0) == 0) {
      answers.probeEntry = "Open /dev/zelkshield failed with error: -1 \n";
    } else if (call.call == PlatformCall::kIoctl) {
      const auto result = members["result"].get<std::int64_t>();
      const bool hasFlag = members.contains("flag") && members["flag"].is_number();
      const std::int64_t flag = hasFlag ? members["flag"].get<std::int64_t>() : -1;
      if (result < 0) {
        answers.probeEntry =
            "ioctl GET_VAM_SUPPORT failed with error: " + std::to_string(result) + " \n";
      } else if (flag != 1) {
        answers.probeEntry = "VAM_RET_NOT_IMPLEMENTED " + std::to_string(flag) + " \n";
      }
    }
  }
  const std::vector<Calls> exchanges = ExchangesOf(run);
  std::optional<UpdateAnswer>* const modes[] = {&answers.image, &answers.update, &answers.chip};
  for (std::size_t i = 0; i < exchanges.size(); ++i) {
    if (i < std::size(modes)) {
      *modes[i] = UpdateAnswerOf(exchanges[i]);
    } else {
      answers.information = InformationCodeOf(exchanges[i]);
    }
  }
  return answers;
}

bool IsWildcard(std::string_view part) {
  return part.find_first_not_of('X') == std::string_view::npos;
}

std::string_view UpTo(std::string_view text, char separator) {
  return text.substr(0, text.find(separator));
}

/// Whether the versions of an image and of a chip match, by the rules of docs/versions.md.
bool VersionsMatch(std::string_view image, std::string_view chip) {
  if (image.size() != chip.size()) {
    return false;
  }
  while (!image.empty()) {
    std::string_view ofImage = UpTo(image, '/');
    std::string_view ofChip = UpTo(chip, '/');
    if (ofImage.size() != ofChip.size()) {
      return false;
    }
    image.remove_prefix(std::min(image.size(), ofImage.size() + 1));
    chip.remove_prefix(std::min(chip.size(), ofChip.size() + 1));
    while (!ofImage.empty()) {
      const std::string_view part = UpTo(ofImage, ',');
      const std::string_view counterpart = UpTo(ofChip, ',');
      if (part.empty() || counterpart.empty()) {
        return false;
      }
      const bool skips =
          IsWildcard(part) || (IsWildcard(counterpart) && part.size() == counterpart.size());
      if (!skips && part != counterpart) {
        return false;
      }
      const std::size_t step = std::min(ofImage.size(), part.size() + 1);
      ofImage.remove_prefix(step);
      ofChip.remove_prefix(std::min(ofChip.size(), step));
    }
  }
  return true;
}

/// Takes the last byte of all three versions of a part away, as the tool does: the updated and the
/// chip's one decide.
void Trim(const std::string& updated, std::string& chip, std::string& image) {
  if (updated.empty() || chip.empty()) {
    return;
  }
  chip.pop_back();
  if (!image.empty()) {
    image.pop_back();
  }
}

/// What a run that reached its end must have left.
struct Expected {
  std::string row;
  std::vector<std::string> entries;
  std::optional<std::string> okFile;
  int status = 0;
};

std::string RecordLines(const Record& record) {
  return "vam ret: " + std::to_string(record.vamCode) +
         " \nfw ret: " + std::to_string(record.firmwareCode) + " \n";
}

Expected ExpectedOf(const Answers& answers) {
  Expected expected;
  if (!answers.probeEntry.empty()) {
    expected.row = "no VAM to ask";
    expected.entries = {answers.probeEntry};
    return expected;
  }
  if (!answers.image || !answers.update || !answers.chip || !answers.information) {
    expected.row = "not whole";
    return expected;
  }
  if (*answers.information != 0) {
    expected.entries.push_back("vam_getFWInfo failed " + std::to_string(*answers.information) +
                               " \n");
  }
  Record record;
  for (const auto* answer : {&*answers.image, &*answers.update, &*answers.chip}) {
    record = answer->record.value_or(record);
  }
  if (record.vamCode == VAM_RET_NOT_IMPLEMENTED) {
    expected.row = "update not implemented";
    expected.entries.push_back("VAM_RET_NOT_IMPLEMENTED 13 \n");
    return expected;
  }
  const std::pair<const UpdateAnswer*, const char*> failures[] = {
      {&*answers.update, "vam_updateFW failed: "},
      {&*answers.image, "vam_updateFW failed(get firmware size from FS): "},
      {&*answers.chip, "vam_updateFW failed(get firmware size from IC): "}};
  for (const auto& [answer, message] : failures) {
    if (answer->code != 0) {
      expected.row = "update command failed";
      expected.entries.push_back(message + (" " + std::to_string(answer->code)) + " \n" +
                                 RecordLines(record));
      expected.status = kFailureStatus;
      return expected;
    }
  }
  std::string chipSystem = answers.chip->systemVersion;
  std::string imageSystem = answers.image->systemVersion;
  Trim(answers.update->systemVersion, chipSystem, imageSystem);
  std::string chipApp = answers.chip->appVersion;
  std::string imageApp = answers.image->appVersion;
  Trim(answers.update->appVersion, chipApp, imageApp);
  const std::string mismatch = "updated firmware version (IC) != firmware version on FS ";
  const bool systemMatches = VersionsMatch(imageSystem, chipSystem);
  const bool appMatches = VersionsMatch(imageApp, chipApp);
  if (!systemMatches) {
    expected.entries.push_back(mismatch + "(System part) -1 \n" + RecordLines(record));
  }
  if (!appMatches) {
    expected.entries.push_back(mismatch + "(App part) -1 \n" + RecordLines(record));
  }
  expected.row = systemMatches && appMatches ? "verified" : "parts differ";
  if (systemMatches && appMatches) {
    expected.okFile = "Updated FW version: " + chipSystem + " \n";
  }
  return expected;
}

bool ReachedItsEnd(const Evidence& run) {
  return run.status < kFirstSignalStatus || run.status > kLastSignalStatus;
}

/// Whether the folder of the status files has no room for all that a run is expected to write.
bool LacksRoom(const Evidence& run, const Expected& expected) {
  std::size_t size = expected.okFile ? expected.okFile->size() : 0;
  for (const std::string& entry : expected.entries) {
    size += entry.size();
  }
  return run.statusRoom && *run.statusRoom < size;
}

bool BeginsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

/// Whether /tmp/VAM_OK may be as it is after a run of which all answers agree.
bool MayBeTheOkFile(const Evidence& run, const Expected& expected) {
  if (!expected.okFile || run.okIsRefused) {
    return run.okAfter == run.okBefore;
  }
  const bool isUntouched = !ReachedItsEnd(run) && run.okAfter == run.okBefore;
  const bool isEmptied = !ReachedItsEnd(run) && run.okAfter == "";
  const bool isCut =
      LacksRoom(run, expected) && run.okAfter && BeginsWith(*expected.okFile, *run.okAfter);
  return isUntouched || isEmptied || isCut || run.okAfter == expected.okFile;
}

std::string Joined(const std::vector<std::string>& lines, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += lines[i];
  }
  return text;
}

/// Whether a run may have added `added` to /tmp/VAM_FAIL.
bool MayBeAdded(const Evidence& run, const Expected& expected, const std::string& added) {
  const std::vector<std::string>& entries = expected.entries;
  const std::string all = Joined(entries, entries.size());
  if (run.failIsRefused) {
    return added.empty();
  }
  if (LacksRoom(run, expected) && added.size() <= *run.statusRoom && BeginsWith(all, added)) {
    return true;
  }
  bool isWhole = added == all;
  for (std::size_t count = 0; count < entries.size() && !ReachedItsEnd(run); ++count) {
    isWhole = isWhole || added == Joined(entries, count);
  }
  return isWhole;
}

/// What a call makes or gives back: "context 1".
std::string Named(const JournalCall& call, const char* what) {
  return what + (" " + std::to_string(call.members.value(what, std::int64_t{0})));
}

/// Follows what a thread holds of the platform.
class Holdings {
 public:
  void Take(const JournalCall& call) {
    switch (call.call) {
      case PlatformCall::kInitializeContext:
        Made(call, "context");
        break;
      case PlatformCall::kOpenSession:
        Made(call, "session");
        break;
      case PlatformCall::kRegisterSharedMemory:
      case PlatformCall::kAllocateSharedMemory:
        Made(call, "sharedMemory");
        break;
      case PlatformCall::kMakeMarshaller:
        held.push_back(Named(call, "marshaller"));
        break;
      case PlatformCall::kDestroyMarshaller:
        GivenBack(call, "marshaller");
        break;
      case PlatformCall::kReleaseSharedMemory:
        GivenBack(call, "sharedMemory");
        break;
      case PlatformCall::kCloseSession:
        GivenBack(call, "session");
        break;
      case PlatformCall::kFinalizeContext:
        GivenBack(call, "context");
        break;
      default:
        break;
    }
  }

  /// Returns what is wrong; `isOver` tells that nothing may be held any more.
  [[nodiscard]] std::vector<std::string> Wrong(bool isOver) const {
    std::vector<std::string> lines = wrong;
    for (const std::string& each : held) {
      if (isOver) {
        lines.push_back(each + " is never given back");
      }
    }
    return lines;
  }

 private:
  void Made(const JournalCall& call, const char* what) {
    if (Number(call.members, "result") == 0) {
      held.push_back(Named(call, what));
    }
  }

  void GivenBack(const JournalCall& call, const char* what) {
    const std::string name = Named(call, what);
    if (held.empty() || held.back() != name) {
      const bool isHeld = std::find(held.begin(), held.end(), name) != held.end();
      wrong.push_back(name + (isHeld ? " is given back before what was made after it"
                                     : " is given back and was not held"));
    }
    held.erase(std::remove(held.begin(), held.end(), name), held.end());
  }

  std::vector<std::string> held;
  std::vector<std::string> wrong;
};

std::map<PlatformCall, int> CountsOf(const RecordedRun& run) {
  std::map<PlatformCall, int> counts;
  for (const JournalCall& call : run.calls) {
    ++counts[call.call];
  }
  return counts;
}

}  // namespace

std::vector<std::string> BrokenByAnyProgram(const Evidence& run, const Evidence& clean,
                                            const Evidence& whole) {
  std::vector<std::string> broken;
  if (!run.journal.problem.empty()) {
    broken.push_back("the journal is whole: " + run.journal.problem);
  }
  std::map<std::int64_t, Holdings> holdings;
  for (const JournalCall& call : run.journal.calls) {
    holdings[call.process].Take(call);
  }
  for (const auto& [process, each] : holdings) {
    for (const std::string& line : each.Wrong(ReachedItsEnd(run) && !run.isCutOff)) {
      broken.push_back("everything is given back once, in order: " + line);
    }
  }
  std::map<PlatformCall, int> allowed = CountsOf(clean.journal);
  std::map<PlatformCall, int> allowedOnWhole = CountsOf(whole.journal);
  for (const auto& [call, count] : CountsOf(run.journal)) {
    if (count > std::max(allowed[call], allowedOnWhole[call])) {
      broken.push_back("no more calls than a clean run: " + std::string(PlatformCallName(call)) +
                       " " + std::to_string(count) + " times");
    }
  }
  for (const std::string& stranger : run.strangers) {
    broken.push_back("no other file is touched: " + stranger);
  }
  if (run.complaints != clean.complaints && !run.isCutOff) {
    broken.push_back("nothing more is said on standard error: " + run.complaints);
  }
  if (!ReachedItsEnd(run) && ReachedItsEnd(clean) && !run.isCutOff) {
    broken.push_back("no signal ends the program: " + std::to_string(run.status));
  }
  return broken;
}

std::vector<std::string> BrokenByTheUpdateTool(const Evidence& run) {
  std::vector<std::string> broken;
  const Expected expected = ExpectedOf(AnswersOf(run.journal));
  const std::string before = run.failBefore.value_or("");
  const std::string after = run.failAfter.value_or("");
  if (after.compare(0, before.size(), before) != 0) {
    broken.emplace_back("entries of earlier runs stay: /tmp/VAM_FAIL begins otherwise");
    return broken;
  }
  const bool ended = ReachedItsEnd(run);
  if (ended && expected.row == "not whole") {
    broken.emplace_back("each run is one row of the outcomes: it ended before it had all answers");
    return broken;
  }
  const bool okWritten = run.okAfter != run.okBefore;
  if (okWritten && !expected.okFile) {
    broken.push_back("VAM_OK is written only when all answers agree: the row is " + expected.row);
  } else if (!MayBeTheOkFile(run, expected)) {
    broken.push_back("a verified run says so in VAM_OK: " + run.okAfter.value_or("no file"));
  }
  if (okWritten && !run.answersChanged && !run.chipRunsImage) {
    broken.emplace_back("VAM_OK is true: the chip does not run the image");
  }
  const std::string added = after.substr(before.size());
  if (!MayBeAdded(run, expected, added)) {
    broken.push_back((ended ? "each run is one row of the outcomes (" + expected.row + "): added "
                            : "an ended run leaves whole entries of its own outcome: ") +
                     added);
  }
  if (ended && run.status != expected.status) {
    broken.push_back("the exit status is 255 exactly when an update command failed: " +
                     std::to_string(run.status));
  }
  if (run.callsAfterStatus != 0) {
    broken.push_back("no call after the verdict: " + std::to_string(run.callsAfterStatus));
  }
  return broken;
}

std::vector<std::string> BrokenByTheNextRun(const Evidence& next, const Evidence& clean) {
  std::vector<std::string> broken;
  for (const std::string& line : BrokenByTheUpdateTool(next)) {
    broken.push_back("the next run: " + line);
  }
  if (!next.chipRunsImage || next.okAfter != clean.okAfter) {
    broken.emplace_back("the next run leaves a whole chip and VAM_OK");
  }
  return broken;
}

std::string OutcomeOf(const Evidence& run) {
  return ReachedItsEnd(run) ? ExpectedOf(AnswersOf(run.journal)).row : "ended early";
}

}  // namespace vam
