#include "simulator/programs/fault_words.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "command_line/words.h"
#include "report/tee_codes.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/model/answer_fault.h"

namespace vam {

namespace {

std::string ResultInWords(std::uint32_t result) {
  char number[11];
  std::snprintf(number, sizeof number, "0x%08X", result);
  const char* name = TeeCodeName(result);
  return std::string(number) + (name == nullptr ? "" : std::string(" ") + name);
}

std::string OriginInWords(std::uint32_t origin) { return ", origin " + std::to_string(origin); }

std::string CallEffect(const Fault& fault) {
  switch (FailureOf(fault.call)) {
    case CallFailure::kTeeResult:
      return "returns " + ResultInWords(fault.result);
    case CallFailure::kTeeResultAndOrigin:
      return "returns " + ResultInWords(fault.result) + OriginInWords(fault.origin);
    case CallFailure::kErrorNumber:
      return std::string("fails: ") + std::strerror(fault.errorNumber);
    case CallFailure::kNegativeNumber:
      return "returns " + std::to_string(static_cast<std::int32_t>(fault.result));
    default:
      return "fails";
  }
}

std::string AnswerEffect(const AnswerFault& answer) {
  const std::string item = "item " + std::to_string(answer.item);
  switch (answer.kind) {
    case kFailCommand:
      return "is not carried out and returns " + ResultInWords(answer.result) + OriginInWords(4);
    case kReplaceRecord:
      return "the reply's record holds the VAM's code " + std::to_string(answer.vamCode) +
             " and the firmware's " + std::to_string(answer.fwCode);
    case kOmitItem:
      return "the reply ends before " + item;
    case kCutItem:
      return answer.number == 0
                 ? "the reply ends in the middle of " + item
                 : "the reply ends after " + std::to_string(answer.number) + " bytes of " + item;
    case kReplaceByNumber:
      return item + " of the reply is the number " + std::to_string(answer.number);
    default:
      return item + " of the reply is the text " +
             Quoted(std::string(reinterpret_cast<const char*>(answer.bytes), answer.byteCount));
  }
}

std::string ConsoleEffect(Fault::Console console) {
  switch (console) {
    case Fault::Console::kClosed:
      return "standard output is closed";
    case Fault::Console::kFull:
      return "every write to standard output fails: no space left";
    case Fault::Console::kWithoutReader:
      return "standard output is a pipe that nobody reads";
    default:
      return "standard output is a full pipe that does not block, and is read from after a while";
  }
}

std::string StatusFileEffect(const Fault& fault) {
  switch (fault.statusFile) {
    case Fault::StatusFile::kIsFolder:
      return "is a folder";
    case Fault::StatusFile::kIsLink:
      return "is a symbolic link to a file beside it";
    default:
      return std::string("cannot be opened for writing: ") + std::strerror(fault.errorNumber);
  }
}

}  // namespace

std::string EffectInWords(const Fault& fault) {
  switch (fault.kind) {
    case Fault::Kind::kCall:
      return CallEffect(fault);
    case Fault::Kind::kAnswer:
      return AnswerEffect(fault.answer);
    case Fault::Kind::kSignal:
      return "the process that made the last of them gets the signal";
    case Fault::Kind::kConsole:
      return ConsoleEffect(fault.console);
    case Fault::Kind::kStatusFile:
      return StatusFileEffect(fault);
    case Fault::Kind::kStatusRoom:
      return "what is written to them after that fails: no space left";
    case Fault::Kind::kMemory:
      return "the program gets no memory";
    default:
      return "every program of the run is killed, and the chip keeps what was written";
  }
}

}  // namespace vam
