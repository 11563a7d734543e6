#include "simulator/board/board.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "report/tee_codes.h"
#include "simulator/board/code_names.h"
#include "simulator/board/platform_calls.h"
#include "simulator/files/whole_file.h"
#include "simulator/model/chip_memory.h"
#include "simulator/model/firmware_image.h"

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 1
#include <toml++/toml.h>

namespace vam {

namespace {

constexpr std::uint32_t kNumberLimit = std::numeric_limits<std::uint32_t>::max();

/// A table of the file, with the means to read its keys and to complain about them.
class Section {
 public:
  Section(std::string fileName, std::string sectionName, const toml::table& contents)
      : file(std::move(fileName)), name(std::move(sectionName)), table(contents) {}

  [[noreturn]] void Fail(const toml::node& node, const std::string& complaint) const {
    throw BoardError(file + ":" + std::to_string(node.source().begin.line) + ": " + complaint);
  }

  [[noreturn]] void Fail(const std::string& complaint) const { Fail(table, complaint); }

  /// Refuses keys that are not among `keys`.
  void Allow(std::initializer_list<std::string_view> keys) const {
    for (const auto& [key, node] : table) {
      if (std::find(keys.begin(), keys.end(), key.str()) == keys.end()) {
        std::string known;
        for (std::string_view each : keys) {
          known += (known.empty() ? "" : ", ") + std::string(each);
        }
        Fail(node, "unknown key \"" + std::string(key.str()) + "\" in " + name +
                       "; known there: " + known);
      }
    }
  }

  bool Has(std::string_view key) const { return table.contains(key); }

  std::string Text(std::string_view key, const std::string& fallback) const {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
      return fallback;
    }
    const auto text = node->value_exact<std::string>();
    if (!text) {
      Fail(*node, Quoted(key) + " must be a text in quotes");
    }
    return *text;
  }

  bool Truth(std::string_view key, bool fallback) const {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
      return fallback;
    }
    const auto truth = node->value_exact<bool>();
    if (!truth) {
      Fail(*node, Quoted(key) + " must be true or false");
    }
    return *truth;
  }

  std::int64_t Number(std::string_view key, std::int64_t least, std::int64_t most) const {
    return NumberOf(*table.get(key), Quoted(key), least, most);
  }

  std::int64_t NumberOf(const toml::node& node, const std::string& what, std::int64_t least,
                        std::int64_t most) const {
    const auto number = node.value_exact<std::int64_t>();
    if (!number || *number < least || *number > most) {
      Fail(node, what + " must be a whole number from " + std::to_string(least) + " to " +
                     std::to_string(most));
    }
    return *number;
  }

  /// Returns the place of the text under `key` among `choices`; 0 when the key is left out.
  std::size_t Choice(std::string_view key, std::initializer_list<std::string_view> choices) const {
    if (!Has(key)) {
      return 0;
    }
    const std::string text = Text(key, "");
    const auto* found = std::find(choices.begin(), choices.end(), text);
    if (found == choices.end()) {
      std::string known;
      for (std::string_view choice : choices) {
        known += (known.empty() ? "\"" : ", \"") + std::string(choice) + "\"";
      }
      Fail(*table.get(key), Quoted(key) + " must be one of " + known);
    }
    return static_cast<std::size_t>(found - choices.begin());
  }

  /// Bytes given as hexadecimal text.
  std::vector<std::uint8_t> Hex(std::string_view key, std::size_t most) const {
    const std::string text = Text(key, "");
    const bool wellFormed =
        text.size() % 2 == 0 && text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
    if (!wellFormed || text.size() / 2 > most) {
      Fail(*table.get(key), Quoted(key) + " must be at most " + std::to_string(most) +
                                " bytes in hexadecimal, two digits each");
    }
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
      bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
  }

  std::string Version(std::string_view key, const std::string& fallback) const {
    std::string version = Text(key, fallback);
    if (version.size() > kVersionCapacity) {
      Fail(*table.get(key),
           Quoted(key) + " must be at most " + std::to_string(kVersionCapacity) + " bytes long");
    }
    return version;
  }

  const toml::node* Node(std::string_view key) const { return table.get(key); }

  Section Child(const char* key) const {
    static const toml::table kNone;
    const toml::node* node = table.get(key);
    if (node == nullptr) {
      return Section(file, key, kNone);
    }
    if (!node->is_table()) {
      Fail(*node, Quoted(key) + " must be a section: [" + key + "]");
    }
    return Section(file, std::string("[") + key + "]", *node->as_table());
  }

  const toml::table& Contents() const { return table; }

  static std::string Quoted(std::string_view key) { return "\"" + std::string(key) + "\""; }

 private:
  std::string file;
  std::string name;
  const toml::table& table;
};

ProbeSection ReadProbe(const Section& section) {
  section.Allow({"node", "ioctl", "flag"});
  ProbeSection probe;
  probe.nodePresent = section.Choice("node", {"present", "missing"}) == 0;
  probe.ioctlAnswers = section.Choice("ioctl", {"answers", "fails"}) == 0;
  if (const toml::node* flag = section.Node("flag")) {
    if (flag->value_exact<std::string>() == std::string("untouched")) {
      probe.flag.reset();
    } else if (flag->is_integer()) {
      probe.flag =
          static_cast<std::int32_t>(section.Number("flag", std::numeric_limits<std::int32_t>::min(),
                                                   std::numeric_limits<std::int32_t>::max()));
    } else {
      section.Fail(*flag, "\"flag\" must be a 32-bit signed number or \"untouched\"");
    }
  }
  return probe;
}

ImageSection ReadImage(const Section& section) {
  section.Allow({"system_version", "app_version", "runs_system_version", "runs_app_version",
                 "payload_size", "state", "file"});
  ImageSection image;
  image.systemVersion = section.Version("system_version", "");
  image.appVersion = section.Version("app_version", "");
  image.runsSystemVersion = section.Version("runs_system_version", image.systemVersion);
  image.runsAppVersion = section.Version("runs_app_version", image.appVersion);
  if (section.Has("payload_size")) {
    image.payloadSize =
        static_cast<std::uint32_t>(section.Number("payload_size", 0, std::int64_t{kPartSizeLimit}));
  }
  image.state =
      static_cast<ImageSection::State>(section.Choice("state", {"whole", "missing", "damaged"}));
  image.file = section.Text("file", "");
  if (!image.file.empty() && section.Contents().size() != 1) {
    section.Fail(*section.Node("file"), "\"file\" must be the only key of [image]");
  }
  return image;
}

ChipSection ReadChip(const Section& section) {
  section.Allow({"system_version", "app_version", "state", "updates", "self_test", "information",
                 "hack_information", "ak_record", "rpmb_record"});
  ChipSection chip;
  chip.systemVersion = section.Version("system_version", "");
  chip.appVersion = section.Version("app_version", "");
  chip.state = static_cast<ChipSection::State>(
      section.Choice("state", {"whole", "interrupted", "damaged", "full"}));
  chip.implementsUpdates = section.Choice("updates", {"implemented", "not implemented"}) == 0;
  chip.selfTestPasses = section.Choice("self_test", {"passes", "fails"}) == 0;
  if (const toml::node* node = section.Node("information")) {
    const toml::array* words = node->as_array();
    if (words == nullptr || words->size() > kInformationCapacity) {
      section.Fail(*node, "\"information\" must be a list of at most " +
                              std::to_string(kInformationCapacity) + " numbers");
    }
    for (const toml::node& word : *words) {
      chip.information.push_back(static_cast<std::uint32_t>(
          section.NumberOf(word, "a word of \"information\"",
                           std::numeric_limits<std::int32_t>::min(), kNumberLimit)));
    }
  }
  chip.hackInformation = section.Hex("hack_information", kHackInformationCapacity);
  chip.akRecord = section.Hex("ak_record", kAkRecordCapacity);
  chip.rpmbRecord = section.Hex("rpmb_record", kAkRecordCapacity);
  return chip;
}

std::map<std::string, std::string> ReadSettings(const Section& section) {
  std::map<std::string, std::string> settings;
  for (const auto& [key, node] : section.Contents()) {
    settings[std::string(key.str())] = section.Text(key.str(), "");
  }
  return settings;
}

std::map<std::int32_t, std::string> ReadSystemInformation(const Section& section) {
  section.Allow({"model_name", "board_revision", "build_identifier"});
  std::map<std::int32_t, std::string> values;
  std::int32_t number = 0;
  // In the order of the keys' numbers in system_info.h.
  for (const char* key : {"model_name", "board_revision", "build_identifier"}) {
    if (section.Has(key)) {
      values[number] = section.Text(key, "");
    }
    ++number;
  }
  return values;
}

std::uint32_t ReadOccurrence(const Section& section) {
  const toml::node* node = section.Node("occurrence");
  if (node == nullptr || node->value_exact<std::string>() == std::string("always")) {
    return 0;
  }
  if (!node->is_integer()) {
    section.Fail(*node, "\"occurrence\" must be a number from 1, or \"always\"");
  }
  return static_cast<std::uint32_t>(section.Number("occurrence", 1, kNumberLimit));
}

std::string OccurrenceInWords(std::uint32_t occurrence) {
  return occurrence == 0 ? "always" : "occurrence " + std::to_string(occurrence);
}

std::uint32_t ReadTeeResult(const Section& section) {
  const toml::node* node = section.Node("result");
  if (node == nullptr) {
    section.Fail("\"result\" is missing: a TEEC_ name or a number");
  }
  if (node->is_integer()) {
    return static_cast<std::uint32_t>(section.Number("result", 0, kNumberLimit));
  }
  const auto result = TeeCodeByName(section.Text("result", ""));
  if (!result) {
    section.Fail(*node,
                 "\"result\" must be a number or a name of the TEE Client API, such as "
                 "\"TEEC_ERROR_GENERIC\"");
  }
  return *result;
}

PlatformCall ReadCall(const Section& section) {
  const std::optional<PlatformCall> call = PlatformCallByName(section.Text("call", ""));
  if (!call || FailureOf(*call) == CallFailure::kNone) {
    std::string known;
    for (PlatformCall each : CallsThatCanFail()) {
      known += (known.empty() ? "" : ", ") + std::string(PlatformCallName(each));
    }
    section.Fail(*section.Node("call"), "\"call\" must be one of " + known);
  }
  return *call;
}

std::uint32_t ReadOrigin(const Section& section, PlatformCall call) {
  const bool hasOrigin = FailureOf(call) == CallFailure::kTeeResultAndOrigin;
  if (!section.Has("origin")) {
    if (hasOrigin) {
      section.Fail("\"origin\" is missing: a number from 1 to 4");
    }
    return 0;
  }
  if (!hasOrigin) {
    section.Fail(*section.Node("origin"), std::string(PlatformCallName(call)) + " has no origin");
  }
  return static_cast<std::uint32_t>(section.Number("origin", 1, 4));
}

int ReadErrorNumber(const Section& section, const std::string& call) {
  const std::optional<int> number = ErrorNumberByName(section.Text("result", ""));
  if (!number) {
    const std::string complaint =
        "\"result\" of " + call + " must be the name of an error, such as \"EIO\"";
    if (const toml::node* result = section.Node("result")) {
      section.Fail(*result, complaint);
    }
    section.Fail(complaint);
  }
  return *number;
}

Fault ReadCallFault(const Section& section) {
  section.Allow({"call", "occurrence", "result", "origin"});
  Fault fault;
  fault.kind = Fault::Kind::kCall;
  fault.call = ReadCall(section);
  fault.occurrence = ReadOccurrence(section);
  const std::string name(PlatformCallName(fault.call));
  fault.description = name + ", " + OccurrenceInWords(fault.occurrence);
  fault.origin = ReadOrigin(section, fault.call);
  switch (FailureOf(fault.call)) {
    case CallFailure::kTeeResult:
    case CallFailure::kTeeResultAndOrigin:
      fault.result = ReadTeeResult(section);
      break;
    case CallFailure::kErrorNumber:
      fault.errorNumber = ReadErrorNumber(section, name);
      break;
    case CallFailure::kNegativeNumber:
      if (!section.Has("result")) {
        section.Fail("\"result\" is missing: a number");
      }
      fault.result = static_cast<std::uint32_t>(
          section.Number("result", std::numeric_limits<std::int32_t>::min(), -1));
      break;
    case CallFailure::kWithoutReason:
    case CallFailure::kNone:
      if (section.Has("result")) {
        section.Fail(*section.Node("result"), name + " just fails: leave \"result\" out");
      }
      break;
  }
  return fault;
}

void ReadRecord(const Section& section, AnswerFault& answer) {
  const toml::node& node = *section.Node("record");
  const toml::array* codes = node.as_array();
  if (codes == nullptr || codes->size() != 2) {
    section.Fail(node, "\"record\" must be two numbers: [vamCode, fwCode]");
  }
  constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  answer.kind = kReplaceRecord;
  answer.vamCode = static_cast<std::int32_t>(
      section.NumberOf(*codes->get(0), "a code of \"record\"", kLeast, kMost));
  answer.fwCode = static_cast<std::int32_t>(
      section.NumberOf(*codes->get(1), "a code of \"record\"", kLeast, kMost));
}

void ReadItem(const Section& section, AnswerFault& answer) {
  answer.item = static_cast<std::uint32_t>(section.Number("item", 1, 64));
  const int changes = (section.Truth("missing", false) ? 1 : 0) +
                      (section.Truth("cut", false) ? 1 : 0) + (section.Has("value") ? 1 : 0);
  if (changes != 1) {
    section.Fail("a reply item takes one of missing = true, cut = true, value = ...");
  }
  if (section.Truth("missing", false)) {
    answer.kind = kOmitItem;
    return;
  }
  if (section.Truth("cut", false)) {
    answer.kind = kCutItem;
    return;
  }
  const toml::node& value = *section.Node("value");
  if (value.is_integer()) {
    answer.kind = kReplaceByNumber;
    answer.number = static_cast<std::uint32_t>(
        section.Number("value", std::numeric_limits<std::int32_t>::min(), kNumberLimit));
    return;
  }
  if (!value.is_string() || section.Text("value", "").size() > kAnswerFaultBytes) {
    section.Fail(value, "\"value\" must be a number or a text of at most " +
                            std::to_string(kAnswerFaultBytes) + " bytes");
  }
  const std::string text = section.Text("value", "");
  answer.kind = kReplaceByBytes;
  answer.byteCount = static_cast<std::uint32_t>(text.size());
  std::memcpy(answer.bytes, text.data(), text.size());
}

Fault ReadAnswerFault(const Section& section) {
  section.Allow(
      {"command", "mode", "occurrence", "result", "record", "item", "missing", "cut", "value"});
  Fault fault;
  fault.kind = Fault::Kind::kAnswer;
  AnswerFault& answer = fault.answer;
  const toml::node& command = *section.Node("command");
  std::string name;
  if (command.is_integer()) {
    answer.command = static_cast<std::uint32_t>(section.Number("command", 0, kNumberLimit));
    name = "command " + std::to_string(answer.command);
  } else {
    name = section.Text("command", "");
    const auto identifier = CommandByName(name);
    if (!identifier) {
      section.Fail(command,
                   "\"command\" must be a number or a method of the command interface, "
                   "such as \"vm_updateFW\"");
    }
    answer.command = *identifier;
  }
  if (section.Has("mode")) {
    answer.hasMode = 1;
    answer.mode =
        static_cast<std::int32_t>(section.Number("mode", std::numeric_limits<std::int32_t>::min(),
                                                 std::numeric_limits<std::int32_t>::max()));
    name += " in mode " + std::to_string(answer.mode);
  }
  answer.occurrence = ReadOccurrence(section);
  fault.description = name + ", " + OccurrenceInWords(answer.occurrence);
  const int changes = (section.Has("result") ? 1 : 0) + (section.Has("record") ? 1 : 0) +
                      (section.Has("item") ? 1 : 0);
  if (changes != 1) {
    section.Fail("a command's fault takes one of result, record, item");
  }
  if (section.Has("result")) {
    answer.kind = kFailCommand;
    answer.result = ReadTeeResult(section);
  } else if (section.Has("record")) {
    ReadRecord(section, answer);
  } else {
    ReadItem(section, answer);
  }
  return fault;
}

Fault ReadFault(const Section& section) {
  if (section.Has("call")) {
    return ReadCallFault(section);
  }
  if (section.Has("command")) {
    return ReadAnswerFault(section);
  }
  if (section.Has("power_cut_after_writes")) {
    section.Allow({"power_cut_after_writes"});
    Fault fault;
    fault.kind = Fault::Kind::kPowerCut;
    fault.writes =
        static_cast<std::uint32_t>(section.Number("power_cut_after_writes", 1, kNumberLimit));
    fault.description = "power cut after write " + std::to_string(fault.writes);
    return fault;
  }
  section.Fail("a fault starts with call, command or power_cut_after_writes");
}

Board ReadTable(const toml::table& table, const std::string& name) {
  const Section file(name, "the file", table);
  file.Allow({"title", "about", "probe", "secure_world", "image", "chip", "settings",
              "system_information", "fault"});
  Board board;
  board.title = file.Text("title", "");
  board.about = file.Text("about", "");
  if (board.title.empty()) {
    file.Fail("\"title\" is missing: a few words that name the board");
  }
  board.probe = ReadProbe(file.Child("probe"));
  const Section secureWorld = file.Child("secure_world");
  secureWorld.Allow({"present", "trusted_application"});
  board.secureWorld.present = secureWorld.Truth("present", true);
  board.secureWorld.trustedApplication = secureWorld.Truth("trusted_application", true);
  board.image = ReadImage(file.Child("image"));
  board.chip = ReadChip(file.Child("chip"));
  board.settings = ReadSettings(file.Child("settings"));
  board.systemInformation = ReadSystemInformation(file.Child("system_information"));
  if (const toml::node* faults = file.Node("fault")) {
    const toml::array* list = faults->as_array();
    if (list == nullptr || !list->is_array_of_tables()) {
      file.Fail(*faults, "faults must be written as [[fault]]");
    }
    for (const toml::node& node : *list) {
      Fault fault = ReadFault(Section(name, "[[fault]]", *node.as_table()));
      fault.number = static_cast<std::uint32_t>(board.faults.size()) + 1;
      board.faults.push_back(fault);
    }
  }
  return board;
}

}  // namespace

Board ReadBoardText(const std::string& text, const std::string& name) {
  try {
    return ReadTable(toml::parse(text, name), name);
  } catch (const toml::parse_error& error) {
    std::string reason(error.description());
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    throw BoardError(name + ":" + std::to_string(error.source().begin.line) +
                     ": not a TOML file: " + reason);
  }
}

Board ReadBoardFile(const std::string& path) {
  const std::optional<std::string> text = ReadWholeFile(path);
  if (!text) {
    throw BoardError(path +
                     ": cannot be read; give a board file, or a name that `vam-board list` "
                     "shows");
  }
  return ReadBoardText(*text, path);
}

}  // namespace vam
