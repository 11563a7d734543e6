#include "simulator/recording/board_of_run.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "interface/trusted_application.h"
#include "journal/code_names.h"
#include "report/result_codes.h"
#include "report/tee_codes.h"
#include "simulator/board/platform_calls.h"
#include "simulator/model/answer_fault.h"
#include "simulator/model/chip_memory.h"
#include "simulator/recording/journal_reader.h"

namespace vam {

namespace {

/// A version's size and text as a reply has them.
struct Version {
  /// None: the reply ends before it.
  std::optional<std::uint32_t> size;
  std::optional<std::string> text;
};

/// One answer of the trusted application, as far as the program read it.
struct Answer {
  std::size_t line = 0;
  std::uint32_t command = 0;
  std::int64_t mode = 0;
  /// Which answer to this command in this mode it is, from 1.
  int occurrence = 0;
  /// What was read, item by item: a number, bytes, or null for what could not be read.
  std::vector<Json> items;
};

/// How one thread stands with the trusted application.
// NOLINTNEXTLINE(bugprone-exception-escape): Json moves without one
struct Dialogue {
  Json lastPut;
  std::optional<std::size_t> answer;
  bool isConnected = false;
  bool awaitsAnswer = false;
};

std::string Digits(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[static_cast<unsigned char>(byte) & 0xF];
  }
  return text;
}

class BoardWriter {
 public:
  explicit BoardWriter(const RecordedRun& recorded) : run(recorded) {}

  std::string Write() {
    for (const JournalCall& call : run.calls) {
      Count(call);
    }
    for (const JournalCall& call : run.calls) {
      Take(call);
    }
    Version system;
    Version app;
    ChooseVersions(system, app);
    for (const Answer& answer : answers) {
      Repeat(answer, system, app);
    }
    EndWithThePower();
    return Text(system, app);
  }

 private:
  /// Notes how each sort of call that a fault can change ends, to find those that always fail
  /// alike.
  void Count(const JournalCall& call) {
    auto& ends = endsOf[call.call];
    const Json end = {call.members.value("result", Json()), call.members.value("origin", Json()),
                      call.members.value("errno", Json())};
    if (std::find(ends.begin(), ends.end(), end) == ends.end()) {
      ends.push_back(end);
    }
  }

  void Note(std::size_t line, const std::string& what) {
    notes += "# Line " + std::to_string(line) + " of the recording: " + what + "\n";
  }

  /// Returns `bytes` as a text of TOML; none where they are no UTF-8.
  static std::optional<std::string> Quoted(const std::string& bytes) {
    std::string text;
    try {
      text = Json(bytes).dump();
    } catch (const Json::type_error&) {
      return std::nullopt;
    }
    for (std::size_t at = 0; (at = text.find('\x7f', at)) != std::string::npos;) {
      text.replace(at, 1, "\\u007f");
    }
    return text;
  }

  /// Returns which call of its sort this is, from 1.
  int Place(PlatformCall call) { return ++places[call]; }

  void FailCall(const JournalCall& call, int place, const std::string& rest) {
    const bool always = endsOf[call.call].size() == 1;
    faults += "\n[[fault]]\ncall = \"" + std::string(PlatformCallName(call.call)) + "\"\n" +
              (always ? "" : "occurrence = " + std::to_string(place) + "\n") + rest;
    // One fault without an occurrence stands for all.
    repeated[call.call] = always;
  }

  /// Adds a fault for `call` unless one stands for it already.
  void FailOnce(const JournalCall& call, int place, const std::string& rest) {
    if (!repeated[call.call]) {
      FailCall(call, place, rest);
    }
  }

  static std::string ResultLine(const Json& members) {
    const Json& result = members["result"];
    const char* name = TeeCodeName(result["number"].get<std::uint32_t>());
    return "result = " +
           (name == nullptr ? result["number"].dump() : "\"" + std::string(name) + "\"") + "\n";
  }

  std::string OriginLine(const JournalCall& call) {
    const auto origin = call.members["origin"]["number"].get<std::uint32_t>();
    if (OriginName(origin) == nullptr) {
      Note(call.line, "the origin " + std::to_string(origin) + " became 3");
      return "origin = 3\n";
    }
    return "origin = " + std::to_string(origin) + "\n";
  }

  std::string ErrorLine(const JournalCall& call) {
    const auto number = call.members["errno"]["number"].get<int>();
    const char* name = ErrorNumberName(number);
    if (name == nullptr) {
      Note(call.line, "the error number " + std::to_string(number) + " became EIO");
    }
    return std::string("result = \"") + (name == nullptr ? "EIO" : name) + "\"\n";
  }

  static bool IsOfSharedMemory(PlatformCall call) {
    return call == PlatformCall::kRegisterSharedMemory ||
           call == PlatformCall::kAllocateSharedMemory;
  }

  static bool Failed(const Json& members) { return members["result"]["number"] != 0; }

  void Take(const JournalCall& call) {
    const Json& members = call.members;
    const int place = Place(call.call);
    Dialogue& dialogue = dialogues[{call.process, call.thread}];
    switch (call.call) {
      case PlatformCall::kOpen:
      case PlatformCall::kIoctl:
        TakeNode(call, place);
        break;
      case PlatformCall::kVconfGetStr:
        TakeSetting(call, place);
        break;
      case PlatformCall::kSystemInfoGetValueString:
        TakeInformation(call, place);
        break;
      case PlatformCall::kInitializeContext:
        dialogue = {};
        [[fallthrough]];
      case PlatformCall::kRegisterSharedMemory:
      case PlatformCall::kAllocateSharedMemory:
      case PlatformCall::kOpenSession:
        if (Failed(members)) {
          const bool hasOrigin = call.call == PlatformCall::kOpenSession;
          FailOnce(call, place, ResultLine(members) + (hasOrigin ? OriginLine(call) : ""));
        }
        dialogue.isConnected = IsOfSharedMemory(call.call) && !Failed(members);
        break;
      case PlatformCall::kPutInt:
      case PlatformCall::kPutUint:
      case PlatformCall::kPutBlob:
        if (dialogue.isConnected && members["result"] == false) {
          FailOnce(call, place, "");
        }
        dialogue.lastPut =
            call.call == PlatformCall::kPutBlob ? members["bytes"] : members["value"];
        dialogue.awaitsAnswer = members["result"].get<bool>();
        break;
      case PlatformCall::kInvokeCommand:
        TakeInvocation(call, place, dialogue);
        break;
      case PlatformCall::kGetInt:
      case PlatformCall::kGetUint:
        AddItem(dialogue, members.value("value", Json()));
        break;
      case PlatformCall::kGetBlob:
        AddItem(dialogue, members["bytes"]);
        break;
      case PlatformCall::kDestroyMarshaller:
      case PlatformCall::kFinalizeContext:
        dialogue.awaitsAnswer = false;
        break;
      default:
        break;
    }
  }

  void TakeNode(const JournalCall& call, int place) {
    const Json& members = call.members;
    if (members.contains("errno")) {
      const bool always = endsOf[call.call].size() == 1;
      const Json& error = members["errno"]["number"];
      if (call.call == PlatformCall::kOpen && error == ENOENT && always) {
        probe = "node = \"missing\"\n";
      } else if (call.call == PlatformCall::kIoctl && error == EIO && always) {
        probe = "ioctl = \"fails\"\n";
      } else if (call.call == PlatformCall::kOpen || members["request"] == 1) {
        FailOnce(call, place, ErrorLine(call));
      }
    } else if (members.contains("flag") && members["request"] == 1) {
      const std::string flag = "flag = " + members["flag"].dump() + "\n";
      if (!probe.empty() && probe != flag) {
        Note(call.line, "another flag than before is not repeated");
      } else {
        probe = flag;
      }
    }
  }

  void TakeSetting(const JournalCall& call, int place) {
    const std::string key = BytesOfText(call.members["key"]);
    const Json& value = call.members["value"];
    const std::optional<std::string> quotedKey = Quoted(key);
    const std::optional<std::string> text =
        value.is_null() ? std::nullopt : Quoted(BytesOfText(value));
    if (value.is_null()) {
      if (settings.count(key) != 0) {
        FailOnce(call, place, "");
      }
    } else if (!text || !quotedKey) {
      Note(call.line, "a setting that is no UTF-8 is left out");
    } else if (!settings.insert({key, *quotedKey + " = " + *text + "\n"}).second &&
               settings[key] != *quotedKey + " = " + *text + "\n") {
      Note(call.line, "another text of the same setting is not repeated");
    }
  }

  void TakeInformation(const JournalCall& call, int place) {
    static const char* const kNames[] = {"model_name", "board_revision", "build_identifier"};
    const auto key = call.members["key"].get<std::int32_t>();
    const auto result = call.members["result"].get<std::int32_t>();
    if (result == -1) {
      return;
    }
    if (result < 0) {
      FailOnce(call, place, "result = " + std::to_string(result) + "\n");
      return;
    }
    const std::optional<std::string> text =
        call.members.contains("value") ? Quoted(BytesOfText(call.members["value"])) : std::nullopt;
    if (result != 0 || !text || key < 0 || key > 2) {
      Note(call.line, "this system information is left out");
    } else {
      information[key] = std::string(kNames[key]) + " = " + *text + "\n";
    }
  }

  void TakeInvocation(const JournalCall& call, int place, Dialogue& dialogue) {
    constexpr std::uint32_t kBadParameters = 0xFFFF0006;
    const Json& members = call.members;
    const auto command = members["command"]["number"].get<std::uint32_t>();
    dialogue.answer.reset();
    dialogue.awaitsAnswer = false;
    if (Failed(members)) {
      const bool isOfNoConnection = !dialogue.isConnected &&
                                    members["result"]["number"] == kBadParameters &&
                                    members["origin"]["number"] == 1;
      if (!isOfNoConnection) {
        FailOnce(call, place, ResultLine(members) + OriginLine(call));
      }
      return;
    }
    Answer answer;
    answer.line = call.line;
    answer.command = command;
    answer.mode = command == kVmUpdateFw && dialogue.lastPut.is_number()
                      ? dialogue.lastPut.get<std::int64_t>()
                      : 0;
    answer.occurrence = ++answersTo[{command, answer.mode}];
    dialogue.answer = answers.size();
    answers.push_back(answer);
    NeedRecord(command, dialogue.lastPut);
  }

  /// Some commands succeed only where the chip holds a record.
  void NeedRecord(std::uint32_t command, const Json& lastPut) {
    if (command == kVamAkProvision) {
      isProvisioned = true;
    } else if (command == kVamAkProvisionRpmb) {
      chip["rpmb_record"] = "\"00\"";
    } else if (!isProvisioned && (command == kVamCheckVamAk || command == kVamRemoveAkKeys ||
                                  command == kVamGetPublicKeyStatus)) {
      const bool isKnown = command == kVamCheckVamAk && lastPut.is_string() &&
                           lastPut.get_ref<const std::string&>().size() / 2 <= kAkRecordCapacity;
      if (isKnown || chip.count("ak_record") == 0) {
        chip["ak_record"] = isKnown ? lastPut.dump() : "\"00\"";
      }
    }
  }

  void AddItem(const Dialogue& dialogue, const Json& item) {
    if (dialogue.answer) {
      answers[*dialogue.answer].items.push_back(item);
    }
  }

  static Version VersionAt(const Answer& answer, std::size_t place) {
    Version version;
    if (answer.items.size() > place && answer.items[place].is_number()) {
      version.size = answer.items[place].get<std::uint32_t>();
    }
    if (answer.items.size() > place + 1 && answer.items[place + 1].is_string()) {
      version.text = BytesOfDigits(answer.items[place + 1]);
    }
    return version;
  }

  /// Returns whether the simulated board can hold the version: it ends it with a zero byte.
  static bool CanBeHeld(const Version& version) {
    return version.text && !version.text->empty() && version.text->size() <= kVersionCapacity + 1 &&
           version.text->find('\0') == version.text->size() - 1 && Quoted(*version.text);
  }

  /// Chooses the versions of image and chip: those of the image's report, or else the first whole
  /// report.
  void ChooseVersions(Version& system, Version& app) {
    for (const bool fromImage : {true, false}) {
      for (const Answer& answer : answers) {
        const bool fits =
            answer.command == kVmUpdateFw && (!fromImage || answer.mode == kReportFileSystem);
        const Version ofSystem = VersionAt(answer, 1);
        const Version ofApp = VersionAt(answer, 3);
        if (fits && CanBeHeld(ofSystem) && CanBeHeld(ofApp)) {
          system = ofSystem;
          app = ofApp;
          return;
        }
      }
    }
    const std::string empty(1, '\0');
    system = app = {1, empty};
  }

  /// Adds a fault on an answer.
  void Change(const Answer& answer, const std::string& rest) {
    const char* name = CommandName(answer.command);
    faults +=
        "\n[[fault]]\ncommand = \"" + std::string(name) + "\"\n" +
        (answer.command == kVmUpdateFw ? "mode = " + std::to_string(answer.mode) + "\n" : "") +
        "occurrence = " + std::to_string(answer.occurrence) + "\n" + rest;
  }

  void ChangeItem(const Answer& answer, std::size_t item, const std::string& change) {
    Change(answer, "item = " + std::to_string(item) + "\n" + change + "\n");
  }

  void Repeat(const Answer& answer, const Version& system, const Version& app) {
    switch (answer.command) {
      case kVmUpdateFw:
        RepeatUpdate(answer, system, app);
        break;
      case kVmGetFwInfo:
      case kVamGetFwInfo:
        RepeatList(answer, "information");
        break;
      case kVamGetHackInfo:
        RepeatList(answer, "hack_information");
        break;
      default:
        break;
    }
  }

  void RepeatUpdate(const Answer& answer, const Version& system, const Version& app) {
    if (answer.items.empty()) {
      return;
    }
    if (!answer.items[0].is_string()) {
      ChangeItem(answer, 1, "missing = true");
      return;
    }
    const std::string bytes = BytesOfDigits(answer.items[0]);
    VamResult record{};
    if (bytes.size() == sizeof record) {
      std::memcpy(&record, bytes.data(), sizeof record);
    }
    if (record.vamCode != 0 || record.fwCode != 0) {
      Change(answer, "record = [" + std::to_string(record.vamCode) + ", " +
                         std::to_string(record.fwCode) + "]\n");
    }
    if (RepeatVersion(answer, 1, system)) {
      RepeatVersion(answer, 3, app);
    }
  }

  /// Repeats the version whose size is item `place` from 0. Returns whether the program read on.
  bool RepeatVersion(const Answer& answer, std::size_t place, const Version& held) {
    const std::size_t item = place + 1;
    if (answer.items.size() <= place) {
      return false;
    }
    const Version version = VersionAt(answer, place);
    if (!version.size) {
      ChangeItem(answer, item, "missing = true");
      return false;
    }
    if (version.size != held.size) {
      ChangeItem(answer, item, "value = " + std::to_string(*version.size));
    }
    if (answer.items.size() <= place + 1) {
      return false;
    }
    if (!version.text) {
      ChangeItem(answer, item + 1, "missing = true");
      return false;
    }
    if (version.text != held.text) {
      const std::optional<std::string> text = Quoted(*version.text);
      if (text && version.text->size() <= kAnswerFaultBytes) {
        ChangeItem(answer, item + 1, "value = " + *text);
      } else {
        Note(answer.line, "a version that is too long or no UTF-8 is not repeated");
      }
    }
    return true;
  }

  /// Repeats a count and the bytes that follow it.
  void RepeatList(const Answer& answer, const std::string& key) {
    if (answer.items.empty()) {
      return;
    }
    if (!answer.items[0].is_number()) {
      ChangeItem(answer, 1, "missing = true");
      return;
    }
    if (answer.items.size() == 1) {
      if (chip.count(key) != 0) {
        ChangeItem(answer, 1, "value = " + answer.items[0].dump());
      }
      return;
    }
    if (!answer.items[1].is_string()) {
      ChangeItem(answer, 1, "value = " + answer.items[0].dump());
      ChangeItem(answer, 2, "missing = true");
      return;
    }
    const std::string bytes = BytesOfDigits(answer.items[1]);
    const std::size_t most = key == "information" ? kInformationCapacity * sizeof(std::uint32_t)
                                                  : kHackInformationCapacity;
    if (bytes.size() > most) {
      Note(answer.line, "more information than a board holds is left out");
      return;
    }
    const std::string value = key == "information" ? Words(bytes) : "\"" + Digits(bytes) + "\"";
    if (!chip.insert({key, value}).second && chip[key] != value) {
      Note(answer.line, "other information than before is not repeated");
    }
  }

  static std::string Words(const std::string& bytes) {
    std::string list = "[";
    for (std::size_t i = 0; i + sizeof(std::uint32_t) <= bytes.size(); i += sizeof(std::uint32_t)) {
      std::uint32_t word = 0;
      std::memcpy(&word, bytes.data() + i, sizeof word);
      list += (i == 0 ? "" : ", ") + std::to_string(word);
    }
    return list + "]";
  }

  /// A recording that ends in an update is one of a device that lost its power there.
  void EndWithThePower() {
    for (const auto& [thread, dialogue] : dialogues) {
      if (dialogue.awaitsAnswer && dialogue.isConnected && dialogue.lastPut == kUpdateAll) {
        isCut = true;
        faults += "\n[[fault]]\npower_cut_after_writes = 1\n";
      }
    }
  }

  std::string Text(const Version& system, const Version& app) const {
    const auto version = [](const Version& held) {
      return *Quoted(held.text->substr(0, held.text->size() - 1)) + "\n";
    };
    const std::string systemLine = "system_version = " + version(system);
    const std::string appLine = "app_version = " + version(app);
    std::string text = notes + "title = \"As recorded\"\n";
    const Json& program = run.head["program"];
    // In a path that is no UTF-8, each byte is a character.
    const std::string name =
        Quoted(BytesOfText(program)) ? BytesOfText(program) : program.get<std::string>();
    text += "about = " + *Quoted("A run of " + name) + "\n";
    text += "\n[probe]\n" + probe;
    text += "\n[image]\n" + systemLine + appLine;
    // A chip that already runs the image would not be written.
    text += "\n[chip]\n" + (isCut ? "system_version = \"before the cut\"\n" : systemLine) + appLine;
    for (const auto& [key, value] : chip) {
      text.append(key).append(" = ").append(value).append("\n");
    }
    text += "\n[settings]\n";
    for (const auto& [key, line] : settings) {
      text += line;
    }
    text += "\n[system_information]\n";
    for (const auto& [key, line] : information) {
      text += line;
    }
    return text + faults;
  }

  const RecordedRun& run;
  std::map<PlatformCall, std::vector<Json>> endsOf;
  std::map<PlatformCall, int> places;
  std::map<PlatformCall, bool> repeated;
  std::map<std::pair<std::int64_t, std::int64_t>, Dialogue> dialogues;
  std::vector<Answer> answers;
  std::map<std::pair<std::uint32_t, std::int64_t>, int> answersTo;
  std::string probe;
  std::map<std::string, std::string> chip;
  std::map<std::string, std::string> settings;
  std::map<std::int32_t, std::string> information;
  std::string faults;
  std::string notes;
  bool isProvisioned = false;
  bool isCut = false;
};

}  // namespace

std::string BoardOfRun(const RecordedRun& run) { return BoardWriter(run).Write(); }

}  // namespace vam
