#include "simulator/board/board_faults.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "interface/trusted_application.h"
#include "journal/code_names.h"
#include "report/tee_codes.h"
#include "simulator/board/board.h"
#include "simulator/board/board_section.h"
#include "simulator/board/platform_calls.h"
#include "simulator/model/answer_fault.h"

namespace vam {

namespace {

constexpr NumberRange kOrigins = {1, 4};
constexpr NumberRange kNegative32 = {std::numeric_limits<std::int32_t>::min(), -1};

/// Returns 0 for every occurrence.
std::uint32_t ReadOccurrence(const BoardSection& section) {
  if (!section.Has("occurrence") || section.Holds("occurrence", "always")) {
    return 0;
  }
  if (!section.HoldsNumber("occurrence")) {
    section.FailAt("occurrence", "\"occurrence\" must be a number from 1, or \"always\"");
  }
  return static_cast<std::uint32_t>(section.Number("occurrence", kPositive32));
}

std::string OccurrenceInWords(std::uint32_t occurrence) {
  return occurrence == 0 ? "always" : "occurrence " + std::to_string(occurrence);
}

std::uint32_t ReadTeeResult(const BoardSection& section) {
  if (!section.Has("result")) {
    section.Fail("\"result\" is missing: a TEEC_ name or a number");
  }
  if (section.HoldsNumber("result")) {
    return static_cast<std::uint32_t>(section.Number("result", kUnsigned32));
  }
  const std::optional<std::uint32_t> result = TeeCodeByName(section.Text("result"));
  if (!result) {
    section.FailAt("result",
                   "\"result\" must be a number or a name of the TEE Client API, such as "
                   "\"TEEC_ERROR_GENERIC\"");
  }
  return *result;
}

int ReadErrorNumber(const BoardSection& section, const std::string& call) {
  const std::optional<int> number = ErrorNumberByName(section.Text("result"));
  if (!number) {
    section.FailAt("result",
                   "\"result\" of " + call + " must be the name of an error, such as \"EIO\"");
  }
  return *number;
}

std::uint32_t ReadNegativeNumber(const BoardSection& section) {
  if (!section.Has("result")) {
    section.Fail("\"result\" is missing: a number");
  }
  return static_cast<std::uint32_t>(section.Number("result", kNegative32));
}

PlatformCall ReadCall(const BoardSection& section) {
  const std::optional<PlatformCall> call = PlatformCallByName(section.Text("call"));
  if (!call || FailureOf(*call) == CallFailure::kNone) {
    std::string known;
    for (PlatformCall each : CallsThatCanFail()) {
      known += (known.empty() ? "" : ", ") + std::string(PlatformCallName(each));
    }
    section.FailAt("call", "\"call\" must be one of " + known);
  }
  return *call;
}

std::uint32_t ReadOrigin(const BoardSection& section, PlatformCall call) {
  if (FailureOf(call) == CallFailure::kTeeResultAndOrigin) {
    if (!section.Has("origin")) {
      section.Fail("\"origin\" is missing: a number from 1 to 4");
    }
    return static_cast<std::uint32_t>(section.Number("origin", kOrigins));
  }
  if (section.Has("origin")) {
    section.FailAt("origin", std::string(PlatformCallName(call)) + " has no origin");
  }
  return 0;
}

Fault ReadCallFault(const BoardSection& section) {
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
      fault.result = ReadNegativeNumber(section);
      break;
    case CallFailure::kWithoutReason:
    case CallFailure::kNone:
      if (section.Has("result")) {
        section.FailAt("result", name + " just fails: leave \"result\" out");
      }
      break;
  }
  return fault;
}

/// Returns how many of `changes` there are.
int Count(std::initializer_list<bool> changes) {
  int count = 0;
  for (const bool change : changes) {
    count += change ? 1 : 0;
  }
  return count;
}

void ReadRecord(const BoardSection& section, const NamedCommand& command, AnswerFault& answer) {
  if (!command.repliesWithRecord) {
    section.FailAt("record", std::string("the reply of ") + command.method +
                                 " has no result record; that of vm_updateFW has");
  }
  const std::vector<std::int64_t> codes =
      section.Numbers("record", {2, 2, kSigned32, "two numbers: [vamCode, fwCode]", "a code"});
  answer.kind = kReplaceRecord;
  answer.vamCode = static_cast<std::int32_t>(codes[0]);
  answer.fwCode = static_cast<std::int32_t>(codes[1]);
}

void SetBytes(AnswerFault& answer, const std::vector<std::uint8_t>& bytes) {
  answer.kind = kReplaceByBytes;
  answer.byteCount = static_cast<std::uint32_t>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), answer.bytes);
}

void ReadItemValue(const BoardSection& section, AnswerFault& answer) {
  if (section.HoldsNumber("value")) {
    answer.kind = kReplaceByNumber;
    answer.number = static_cast<std::uint32_t>(section.Number("value", kAny32));
    return;
  }
  if (!section.HoldsText("value") || section.Text("value").size() > kAnswerFaultBytes) {
    section.FailAt("value", "\"value\" must be a number or a text of at most " +
                                std::to_string(kAnswerFaultBytes) + " bytes");
  }
  const std::string text = section.Text("value");
  SetBytes(answer, {text.begin(), text.end()});
}

void ReadItem(const BoardSection& section, const NamedCommand& command, AnswerFault& answer) {
  const std::string reply = std::string("the reply of ") + command.method;
  if (command.replyItems == 0) {
    section.FailAt("item", reply + " has no items; give \"result\" instead");
  }
  const std::int64_t item = section.Number("item", kPositive32);
  if (item > command.replyItems) {
    section.FailAt("item", reply + " has " + std::to_string(command.replyItems) +
                               " items; \"item\" is " + std::to_string(item));
  }
  answer.item = static_cast<std::uint32_t>(item);
  const bool missing = section.Truth("missing", false);
  const bool cutsAtByte = section.HoldsNumber("cut");
  const bool cut = cutsAtByte || section.Truth("cut", false);
  if (Count({missing, cut, section.Has("value"), section.Has("bytes")}) != 1) {
    section.Fail("a reply item takes one of missing = true, cut = true, value = ..., bytes = ...");
  }
  if (missing) {
    answer.kind = kOmitItem;
  } else if (cut) {
    answer.kind = kCutItem;
    answer.number = cutsAtByte ? static_cast<std::uint32_t>(section.Number("cut", kPositive32)) : 0;
  } else if (section.Has("bytes")) {
    SetBytes(answer, section.Hex("bytes", kAnswerFaultBytes));
  } else {
    ReadItemValue(section, answer);
  }
}

const NamedCommand& ReadCommand(const BoardSection& section) {
  const bool isNumber = section.HoldsNumber("command");
  std::optional<std::uint32_t> identifier;
  if (isNumber) {
    identifier = static_cast<std::uint32_t>(section.Number("command", kUnsigned32));
  } else {
    identifier = CommandByName(section.Text("command"));
  }
  const NamedCommand* command = identifier ? FindCommand(*identifier) : nullptr;
  if (command != nullptr) {
    return *command;
  }
  if (!isNumber) {
    section.FailAt("command",
                   "\"command\" must be a number or a method of the command interface, "
                   "such as \"vm_updateFW\"");
  }
  std::string known;
  for (const NamedCommand& each : kCommands) {
    known += (known.empty() ? "" : ", ") + std::to_string(each.identifier) + " " + each.method;
  }
  section.FailAt("command", "no command has the identifier " + std::to_string(*identifier) +
                                "; there are " + known);
}

/// Reads the mode that the fault belongs to, if there is one.
void ReadMode(const BoardSection& section, const NamedCommand& command, AnswerFault& answer) {
  if (!section.Has("mode")) {
    return;
  }
  if (!command.carriesMode) {
    section.FailAt("mode", std::string(command.method) + " carries no mode: leave \"mode\" out");
  }
  answer.hasMode = 1;
  answer.mode = static_cast<std::int32_t>(section.Number("mode", kSigned32));
}

/// Returns the command and the mode that the fault belongs to, as the board names them.
std::string CommandInWords(const BoardSection& section, const AnswerFault& answer) {
  const std::string command = section.HoldsNumber("command")
                                  ? "command " + std::to_string(answer.command)
                                  : section.Text("command");
  return answer.hasMode == 0 ? command : command + " in mode " + std::to_string(answer.mode);
}

Fault ReadAnswerFault(const BoardSection& section) {
  section.Allow({"command", "mode", "occurrence", "result", "record", "item", "missing", "cut",
                 "value", "bytes"});
  Fault fault;
  fault.kind = Fault::Kind::kAnswer;
  AnswerFault& answer = fault.answer;
  const NamedCommand& command = ReadCommand(section);
  answer.command = command.identifier;
  ReadMode(section, command, answer);
  answer.occurrence = ReadOccurrence(section);
  fault.description = CommandInWords(section, answer) + ", " + OccurrenceInWords(answer.occurrence);
  if (Count({section.Has("result"), section.Has("record"), section.Has("item")}) != 1) {
    section.Fail("a command's fault takes one of result, record, item");
  }
  if (section.Has("result")) {
    answer.kind = kFailCommand;
    answer.result = ReadTeeResult(section);
  } else if (section.Has("record")) {
    ReadRecord(section, command, answer);
  } else {
    ReadItem(section, command, answer);
  }
  return fault;
}

Fault ReadPowerCut(const BoardSection& section) {
  section.Allow({"power_cut_after_writes"});
  Fault fault;
  fault.kind = Fault::Kind::kPowerCut;
  fault.writes = static_cast<std::uint32_t>(section.Number("power_cut_after_writes", kPositive32));
  fault.description = "power cut after write " + std::to_string(fault.writes);
  return fault;
}

Fault ReadSignal(const BoardSection& section) {
  constexpr const char* kNames[] = {"SIGKILL", "SIGTERM"};
  constexpr int kSignals[] = {SIGKILL, SIGTERM};
  section.Allow({"signal", "after_calls", "after_lines"});
  Fault fault;
  fault.kind = Fault::Kind::kSignal;
  const std::size_t which = section.Choice("signal", {kNames[0], kNames[1]});
  fault.signal = kSignals[which];
  if (Count({section.Has("after_calls"), section.Has("after_lines")}) != 1) {
    section.Fail("a signal takes one of after_calls, after_lines");
  }
  const bool countsCalls = section.Has("after_calls");
  std::uint32_t& place = countsCalls ? fault.calls : fault.lines;
  place = static_cast<std::uint32_t>(
      section.Number(countsCalls ? "after_calls" : "after_lines", kPositive32));
  fault.description = std::string(kNames[which]) + " after " + (countsCalls ? "call " : "line ") +
                      std::to_string(place);
  return fault;
}

Fault ReadConsole(const BoardSection& section) {
  constexpr Fault::Console kStates[] = {Fault::Console::kClosed, Fault::Console::kFull,
                                        Fault::Console::kWithoutReader, Fault::Console::kSlow};
  section.Allow({"console"});
  Fault fault;
  fault.kind = Fault::Kind::kConsole;
  fault.console = kStates[section.Choice("console", {"closed", "full", "without reader", "slow"})];
  fault.description = "console " + section.Text("console");
  return fault;
}

Fault ReadStatusFile(const BoardSection& section) {
  section.Allow({"status_file", "is", "result"});
  Fault fault;
  fault.kind = Fault::Kind::kStatusFile;
  const std::size_t which = section.Choice("status_file", {"VAM_OK", "VAM_FAIL", "both"});
  fault.changesOkFile = which != 1;
  fault.changesFailFile = which != 0;
  if (Count({section.Has("is"), section.Has("result")}) != 1) {
    section.Fail("a status file takes one of is, result");
  }
  if (section.Has("result")) {
    fault.errorNumber = ReadErrorNumber(section, "status_file");
  } else {
    fault.statusFile = section.Choice("is", {"folder", "link"}) == 0 ? Fault::StatusFile::kIsFolder
                                                                     : Fault::StatusFile::kIsLink;
  }
  fault.description =
      section.Text("status_file") + " " + section.Text("is") + section.Text("result");
  return fault;
}

Fault ReadStatusRoom(const BoardSection& section) {
  section.Allow({"status_room"});
  Fault fault;
  fault.kind = Fault::Kind::kStatusRoom;
  fault.room = static_cast<std::uint32_t>(section.Number("status_room", kUnsigned32));
  fault.description = "room for " + std::to_string(fault.room) + " bytes of status files";
  return fault;
}

Fault ReadMemory(const BoardSection& section) {
  section.Allow({"memory_fails_at_request"});
  Fault fault;
  fault.kind = Fault::Kind::kMemory;
  fault.request =
      static_cast<std::uint32_t>(section.Number("memory_fails_at_request", kPositive32));
  fault.description = "no memory at request " + std::to_string(fault.request);
  return fault;
}

/// Reads a fault of the surroundings of the program, if it is one.
std::optional<Fault> ReadSurroundings(const BoardSection& section) {
  if (section.Has("signal")) {
    return ReadSignal(section);
  }
  if (section.Has("console")) {
    return ReadConsole(section);
  }
  if (section.Has("status_file")) {
    return ReadStatusFile(section);
  }
  if (section.Has("status_room")) {
    return ReadStatusRoom(section);
  }
  if (section.Has("memory_fails_at_request")) {
    return ReadMemory(section);
  }
  return std::nullopt;
}

Fault ReadFault(const BoardSection& section) {
  if (section.Has("call")) {
    return ReadCallFault(section);
  }
  if (section.Has("command")) {
    return ReadAnswerFault(section);
  }
  if (section.Has("power_cut_after_writes")) {
    return ReadPowerCut(section);
  }
  if (const std::optional<Fault> fault = ReadSurroundings(section)) {
    return *fault;
  }
  section.Fail(
      "a fault starts with call, command, power_cut_after_writes, signal, console, status_file, "
      "status_room or memory_fails_at_request");
}

}  // namespace

std::vector<Fault> ReadFaults(const BoardSection& file) {
  std::vector<Fault> faults;
  for (const BoardSection& section : file.Children("fault")) {
    faults.push_back(ReadFault(section));
    faults.back().number = static_cast<std::uint32_t>(faults.size());
  }
  return faults;
}

}  // namespace vam
