#include "simulator/recording/journal_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "journal/code_names.h"
#include "journal/journal.h"
#include "platform/device_node.h"
#include "report/tee_codes.h"
#include "simulator/board/platform_calls.h"

namespace vam {

namespace {

/// No line of a journal goes deeper: a line, a list of parameters, a parameter, its bytes.
constexpr int kDeepest = 5;

/// What is wrong with a line.
class WrongLine : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the value of a member may be.
enum class Kind {
  kSigned32,
  kUnsigned32,
  /// From 0 on: a time, or the number of what may never have been made.
  kCount,
  /// A size, an offset or a request as the program gave it; the largest are written as negative
  /// numbers.
  kWord,
  /// From 1 on.
  kOrdinal,
  kTruth,
  kText,
  kTextOrNull,
  /// Hexadecimal digits, the digest of what was withheld, or null.
  kBytes,
  /// A number and its name, where it has one.
  kTeeResult,
  kOrigin,
  kErrorNumber,
  kCommand,
  kParameters,
  /// null or "given".
  kGiven,
};

struct Member {
  const char* name;
  Kind kind;
  bool isOptional = false;
};

using Members = std::vector<Member>;

const Members& MembersOf(PlatformCall call) {
  constexpr bool kOptional = true;
  static const Member kFault = {"fault", Kind::kOrdinal, kOptional};
  static const Member kMarshaller = {"marshaller", Kind::kOrdinal};
  static const Members kPutInt = {
      kMarshaller, {"value", Kind::kSigned32}, {"result", Kind::kTruth}, kFault};
  static const Members kPutUint = {
      kMarshaller, {"value", Kind::kUnsigned32}, {"result", Kind::kTruth}, kFault};
  static const Members kGetInt = {
      kMarshaller, {"value", Kind::kSigned32, kOptional}, {"result", Kind::kTruth}, kFault};
  static const Members kGetUint = {
      kMarshaller, {"value", Kind::kUnsigned32, kOptional}, {"result", Kind::kTruth}, kFault};
  static const Members kMakeSharedMemory = {{"context", Kind::kCount},
                                            {"size", Kind::kWord, kOptional},
                                            {"flags", Kind::kUnsigned32, kOptional},
                                            {"result", Kind::kTeeResult},
                                            {"sharedMemory", Kind::kCount, kOptional},
                                            kFault};
  static const std::map<PlatformCall, Members> kMembers = {
      {PlatformCall::kInitializeContext,
       {{"name", Kind::kTextOrNull},
        {"result", Kind::kTeeResult},
        {"context", Kind::kCount, kOptional},
        kFault}},
      {PlatformCall::kFinalizeContext, {{"context", Kind::kCount}}},
      {PlatformCall::kOpenSession,
       {{"context", Kind::kCount},
        {"destination", Kind::kTextOrNull},
        {"connectionMethod", Kind::kUnsigned32},
        {"connectionData", Kind::kGiven},
        {"operation", Kind::kGiven},
        {"paramTypes", Kind::kUnsigned32, kOptional},
        {"params", Kind::kParameters, kOptional},
        {"result", Kind::kTeeResult},
        {"origin", Kind::kOrigin},
        {"session", Kind::kCount, kOptional},
        kFault}},
      {PlatformCall::kCloseSession, {{"session", Kind::kCount}}},
      {PlatformCall::kRegisterSharedMemory, kMakeSharedMemory},
      {PlatformCall::kAllocateSharedMemory, kMakeSharedMemory},
      {PlatformCall::kReleaseSharedMemory, {{"sharedMemory", Kind::kCount}}},
      {PlatformCall::kInvokeCommand,
       {{"session", Kind::kCount},
        {"command", Kind::kCommand},
        {"paramTypes", Kind::kUnsigned32, kOptional},
        {"params", Kind::kParameters, kOptional},
        {"result", Kind::kTeeResult},
        {"origin", Kind::kOrigin},
        kFault}},
      {PlatformCall::kRequestCancellation, {{"operation", Kind::kGiven}}},
      {PlatformCall::kMakeMarshaller, {{"sharedMemory", Kind::kCount}, kMarshaller}},
      {PlatformCall::kDestroyMarshaller, {kMarshaller}},
      {PlatformCall::kPutInt, kPutInt},
      {PlatformCall::kPutUint, kPutUint},
      {PlatformCall::kPutBlob,
       {kMarshaller,
        {"length", Kind::kUnsigned32},
        {"bytes", Kind::kBytes},
        {"result", Kind::kTruth},
        kFault}},
      {PlatformCall::kPrepareReset, {kMarshaller, {"mode", Kind::kSigned32}}},
      {PlatformCall::kGetInt, kGetInt},
      {PlatformCall::kGetUint, kGetUint},
      {PlatformCall::kGetBlob,
       {kMarshaller, {"length", Kind::kUnsigned32}, {"bytes", Kind::kBytes}, kFault}},
      {PlatformCall::kOpen,
       {{"path", Kind::kText},
        {"flags", Kind::kSigned32},
        {"descriptor", Kind::kOrdinal, kOptional},
        {"result", Kind::kSigned32, kOptional},
        {"errno", Kind::kErrorNumber, kOptional},
        kFault}},
      {PlatformCall::kIoctl,
       {{"descriptor", Kind::kOrdinal},
        {"request", Kind::kWord},
        {"result", Kind::kSigned32},
        {"flag", Kind::kSigned32, kOptional},
        {"errno", Kind::kErrorNumber, kOptional},
        kFault}},
      {PlatformCall::kClose, {{"descriptor", Kind::kOrdinal}, {"result", Kind::kSigned32}}},
      {PlatformCall::kVconfGetStr, {{"key", Kind::kText}, {"value", Kind::kTextOrNull}, kFault}},
      {PlatformCall::kSystemInfoGetValueString,
       {{"key", Kind::kSigned32},
        {"result", Kind::kSigned32},
        {"value", Kind::kText, kOptional},
        kFault}},
  };
  return kMembers.at(call);
}

/// Parses a line. Throws WrongLine for what is no JSON object, goes too deep or says a thing twice.
Json ParseLine(const std::string& line) {
  std::vector<std::set<std::string>> keys;
  const auto watch = [&keys](int depth, Json::parse_event_t event, Json& parsed) {
    if (depth >= kDeepest) {
      throw WrongLine("goes deeper than a line of a journal does");
    }
    if (event == Json::parse_event_t::object_start) {
      keys.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      keys.pop_back();
    } else if (event == Json::parse_event_t::key &&
               !keys.back().insert(parsed.get<std::string>()).second) {
      throw WrongLine("has \"" + parsed.get<std::string>() + "\" twice");
    }
    return true;
  };
  Json object = Json::parse(line, watch, false);
  if (!object.is_object()) {
    throw WrongLine("is no JSON object");
  }
  return object;
}

[[noreturn]] void FailOn(const std::string& name, const char* expected) {
  throw WrongLine("\"" + name + "\" must be " + expected);
}

/// Returns whether `value` is a whole number from `low` to `high`.
bool IsBetween(const Json& value, std::int64_t low, std::int64_t high) {
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    return number <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) &&
           static_cast<std::int64_t>(number) >= low && static_cast<std::int64_t>(number) <= high;
  }
  return value.is_number_integer() && value.get<std::int64_t>() >= low &&
         value.get<std::int64_t>() <= high;
}

/// Returns whether `value` is a text of characters up to U+00FF: in UTF-8 these begin with 0x00 to
/// 0x7F, 0xC2 or 0xC3.
bool IsText(const Json& value) {
  if (!value.is_string()) {
    return false;
  }
  const auto& text = value.get_ref<const std::string&>();
  return std::all_of(text.begin(), text.end(),
                     [](char byte) { return static_cast<unsigned char>(byte) <= 0xC3; });
}

bool AreDigits(const Json& value, std::size_t count) {
  if (!value.is_string()) {
    return false;
  }
  const auto& text = value.get_ref<const std::string&>();
  return text.size() == count && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// Fails unless `object` has the members `names` and no other.
void CheckHas(const std::string& what, const Json& object, const std::set<std::string>& names) {
  for (const std::string& name : names) {
    if (!object.contains(name)) {
      throw WrongLine(std::string(what).append(" has no \"").append(name).append("\""));
    }
  }
  for (const auto& member : object.items()) {
    if (names.count(member.key()) == 0) {
      throw WrongLine(what + " has \"" + member.key() + "\", which is no part of it");
    }
  }
}

void CheckNumber(const std::string& name, const Json& value, std::int64_t low, std::int64_t high,
                 const char* expected) {
  if (!IsBetween(value, low, high)) {
    FailOn(name, expected);
  }
}

/// Checks a number that may have a name. `nameOf` knows the names of this build; a journal of a
/// later one may know more.
template <typename NameOf>
void CheckNamed(const std::string& name, const Json& value, NameOf nameOf) {
  if (!value.is_object()) {
    FailOn(name, "a number with its name");
  }
  CheckHas("\"" + name + "\"", value,
           value.contains("name") ? std::set<std::string>{"number", "name"}
                                  : std::set<std::string>{"number"});
  CheckNumber("number", value["number"], 0, UINT32_MAX, "a 32-bit number from 0 on");
  const char* known = nameOf(value["number"].get<std::uint32_t>());
  if (value.contains("name") && !IsText(value["name"])) {
    FailOn("name", "a text");
  }
  if (known != nullptr && (!value.contains("name") || value["name"] != known)) {
    FailOn("name", (std::string("\"") + known + "\"").c_str());
  }
}

void CheckBytes(const std::string& name, const Json& value) {
  constexpr std::size_t kDigestDigits = 64;
  if (value.is_object()) {
    CheckHas("\"" + name + "\"", value, {"length", "sha256"});
    CheckNumber("length", value["length"], 0, UINT32_MAX, "a 32-bit number from 0 on");
    if (!AreDigits(value["sha256"], kDigestDigits)) {
      FailOn("sha256", "64 small hexadecimal digits");
    }
    return;
  }
  const bool areBytes = value.is_string() && value.get_ref<const std::string&>().size() % 2 == 0 &&
                        AreDigits(value, value.get_ref<const std::string&>().size());
  if (!value.is_null() && !areBytes) {
    FailOn(name, "small hexadecimal digits in pairs, or null");
  }
}

void CheckParameter(const std::string& name, const Json& value) {
  static const std::set<std::string> kWords = {"a", "b", "newA", "newB"};
  static const std::set<std::string> kSizes = {"size", "offset", "newSize"};
  static const std::set<std::string> kBytes = {"before", "after"};
  if (kWords.count(name) != 0) {
    CheckNumber(name, value, 0, UINT32_MAX, "a 32-bit number from 0 on");
  } else if (kSizes.count(name) != 0) {
    CheckNumber(name, value, INT64_MIN, INT64_MAX, "a whole number");
  } else if (kBytes.count(name) != 0) {
    CheckBytes(name, value);
  } else if (name == "sharedMemory") {
    CheckNumber(name, value, 0, INT64_MAX, "a number from 0 on");
  } else {
    throw WrongLine("a parameter has \"" + name + "\", which is no part of it");
  }
}

void CheckParameters(const std::string& name, const Json& value) {
  constexpr std::size_t kMost = 4;
  if (!value.is_array() || value.size() > kMost) {
    FailOn(name, "a list of at most 4 parameters");
  }
  for (const Json& parameter : value) {
    if (!parameter.is_object()) {
      FailOn(name, "a list of objects");
    }
    for (const auto& member : parameter.items()) {
      CheckParameter(member.key(), member.value());
    }
    // The first never comes without the second.
    static const std::pair<const char*, const char*> kTogether[] = {
        {"a", "b"},       {"b", "a"},         {"newA", "newB"},
        {"newB", "newA"}, {"offset", "size"}, {"offset", "sharedMemory"}};
    for (const auto& [one, other] : kTogether) {
      if (parameter.contains(one) && !parameter.contains(other)) {
        throw WrongLine(std::string("a parameter has \"") + one + "\" without \"" + other + "\"");
      }
    }
  }
}

void Check(const Member& member, const Json& value) {
  const std::string name = member.name;
  switch (member.kind) {
    case Kind::kSigned32:
      CheckNumber(name, value, INT32_MIN, INT32_MAX, "a 32-bit signed number");
      break;
    case Kind::kUnsigned32:
      CheckNumber(name, value, 0, UINT32_MAX, "a 32-bit number from 0 on");
      break;
    case Kind::kCount:
      CheckNumber(name, value, 0, INT64_MAX, "a number from 0 on");
      break;
    case Kind::kWord:
      CheckNumber(name, value, INT64_MIN, INT64_MAX, "a whole number");
      break;
    case Kind::kOrdinal:
      CheckNumber(name, value, 1, INT64_MAX, "a number from 1 on");
      break;
    case Kind::kTruth:
      if (!value.is_boolean()) {
        FailOn(name, "true or false");
      }
      break;
    case Kind::kText:
      if (!IsText(value)) {
        FailOn(name, "a text of characters up to U+00FF");
      }
      break;
    case Kind::kTextOrNull:
      if (!value.is_null() && !IsText(value)) {
        FailOn(name, "a text of characters up to U+00FF, or null");
      }
      break;
    case Kind::kBytes:
      CheckBytes(name, value);
      break;
    case Kind::kTeeResult:
      CheckNamed(name, value, TeeCodeName);
      break;
    case Kind::kOrigin:
      CheckNamed(name, value, OriginName);
      break;
    case Kind::kErrorNumber:
      CheckNamed(name, value,
                 [](std::uint32_t number) { return ErrorNumberName(static_cast<int>(number)); });
      break;
    case Kind::kCommand:
      CheckNamed(name, value, CommandName);
      break;
    case Kind::kParameters:
      CheckParameters(name, value);
      break;
    case Kind::kGiven:
      if (!value.is_null() && value != "given") {
        FailOn(name, "\"given\" or null");
      }
      break;
  }
}

/// Fails unless `members` has `name` exactly where `isThere` says so.
void CheckPresence(const Json& members, const char* name, bool isThere, const char* where) {
  if (members.contains(name) != isThere) {
    throw WrongLine(std::string(isThere ? "has no \"" : "has \"") + name + "\" " + where);
  }
}

/// Checks what the members of one call say of one another.
void CheckTogether(PlatformCall call, const Json& members) {
  switch (call) {
    case PlatformCall::kOpen: {
      if (members["path"] != kVamDeviceNode) {
        FailOn("path", "that of the node");
      }
      const bool failed = !members.contains("descriptor");
      const char* where = failed ? "where the node was not opened" : "where the node was opened";
      CheckPresence(members, "result", failed, where);
      CheckPresence(members, "errno", failed, where);
      break;
    }
    case PlatformCall::kIoctl: {
      const bool failed = members["result"].get<std::int32_t>() < 0;
      CheckPresence(members, "errno", failed, "with this result");
      break;
    }
    case PlatformCall::kGetInt:
    case PlatformCall::kGetUint:
      CheckPresence(members, "value", members["result"].get<bool>(), "with this result");
      break;
    case PlatformCall::kPutBlob:
    case PlatformCall::kGetBlob: {
      const Json& bytes = members["bytes"];
      const auto length = members["length"].get<std::size_t>();
      const bool fits =
          bytes.is_null() ||
          (bytes.is_object() ? bytes["length"].get<std::size_t>() == length
                             : bytes.get_ref<const std::string&>().size() / 2 == length);
      if (!fits) {
        FailOn("bytes", "as many as \"length\" says");
      }
      break;
    }
    default:
      break;
  }
}

Json ReadHead(const std::string& line) {
  Json head = ParseLine(line);
  if (!head.contains("format")) {
    throw WrongLine("is no journal's head: it has no \"format\"");
  }
  if (!IsBetween(head["format"], kJournalFormat, kJournalFormat)) {
    throw WrongLine("has format " + head["format"].dump(-1, ' ', true) +
                    ", and this program reads format " + std::to_string(kJournalFormat));
  }
  CheckHas("the head", head, {"format", "program", "arguments", "build", "keys", "clock"});
  Check({"program", Kind::kText}, head["program"]);
  Check({"build", Kind::kText}, head["build"]);
  Check({"keys", Kind::kTruth}, head["keys"]);
  const Json& arguments = head["arguments"];
  if (arguments.is_array() ? !std::all_of(arguments.begin(), arguments.end(), IsText)
                           : !arguments.is_null()) {
    FailOn("arguments", "a list of texts, or null");
  }
  const Json& clock = head["clock"];
  if (!clock.is_object()) {
    FailOn("clock", "an object");
  }
  CheckHas("\"clock\"", clock, {"bootId", "bootTime", "realTime"});
  Check({"bootId", Kind::kText}, clock["bootId"]);
  Check({"bootTime", Kind::kCount}, clock["bootTime"]);
  Check({"realTime", Kind::kCount}, clock["realTime"]);
  return head;
}

JournalCall ReadCall(const std::string& line) {
  static const Members kOfEach = {{"time", Kind::kCount},
                                  {"pid", Kind::kOrdinal},
                                  {"tid", Kind::kOrdinal},
                                  {"call", Kind::kText}};
  JournalCall call;
  Json object = ParseLine(line);
  for (const Member& member : kOfEach) {
    if (!object.contains(member.name)) {
      throw WrongLine(std::string("has no \"") + member.name + "\"");
    }
    Check(member, object[member.name]);
  }
  const auto name = object["call"].get<std::string>();
  const auto known = PlatformCallByName(name);
  if (!known) {
    throw WrongLine("\"call\" is \"" + name + "\", which is no platform call");
  }
  call.call = *known;
  call.time = object["time"].get<std::uint64_t>();
  call.process = object["pid"].get<std::int64_t>();
  call.thread = object["tid"].get<std::int64_t>();
  for (const Member& member : kOfEach) {
    object.erase(member.name);
  }
  std::set<std::string> names;
  for (const Member& member : MembersOf(call.call)) {
    if (!member.isOptional || object.contains(member.name)) {
      names.insert(member.name);
    }
  }
  CheckHas(name, object, names);
  for (const Member& member : MembersOf(call.call)) {
    if (object.contains(member.name)) {
      Check(member, object[member.name]);
    }
  }
  CheckTogether(call.call, object);
  call.members = std::move(object);
  return call;
}

/// Returns `text` as a line shows it: what is no printable ASCII is replaced.
std::string Shown(std::string text) {
  constexpr std::size_t kLongest = 200;
  std::replace_if(
      text.begin(), text.end(), [](char byte) { return byte < ' ' || byte > '~'; }, '?');
  return text.size() > kLongest ? text.substr(0, kLongest) + "..." : text;
}

}  // namespace

RecordedRun ReadJournal(const std::string& text, const std::string& name) {
  RecordedRun run;
  if (text.empty()) {
    run.problem = name + ": is empty; a journal begins with its head";
    return run;
  }
  std::size_t number = 0;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    ++number;
    try {
      if (end == std::string::npos) {
        run.isCut = number > 1;
        throw WrongLine("is cut: the recording ends within this line");
      }
      const std::string line = text.substr(start, end - start);
      if (number == 1) {
        run.head = ReadHead(line);
      } else {
        run.calls.push_back(ReadCall(line));
        run.calls.back().line = number;
      }
    } catch (const WrongLine& wrong) {
      run.problem = name + ":" + std::to_string(number) + ": " + Shown(wrong.what());
      return run;
    }
    start = end + 1;
  }
  return run;
}

std::string BytesOfText(const Json& text) {
  std::string bytes;
  const auto& utf8 = text.get_ref<const std::string&>();
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

std::string BytesOfDigits(const Json& digits) {
  const auto& text = digits.get_ref<const std::string&>();
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    constexpr int kHexadecimal = 16;
    bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, kHexadecimal));
  }
  return bytes;
}

}  // namespace vam
