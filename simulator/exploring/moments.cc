#include "simulator/exploring/moments.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "journal/code_names.h"
#include "report/result_codes.h"
#include "report/tee_codes.h"
#include "simulator/board/platform_calls.h"
#include "simulator/model/answer_fault.h"
#include "simulator/recording/journal_reader.h"

namespace vam {

namespace {

constexpr int kErrorNumbers = 133;
constexpr int kOrigins = 4;

/// Numbers at which programs go wrong: small ones, and the ends of 32 bits, signed and unsigned.
constexpr std::int64_t kNumbers[] = {0, 1, -1, 2147483647, 2147483648, 4294967295};

/// Returns `bytes` in hexadecimal.
std::string DigitsOf(const std::string& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    digits += kDigits[byte / 16];
    digits += kDigits[byte % 16];
  }
  return digits;
}

/// The invocation whose reply is looked at.
struct Invocation {
  std::string command;
  std::optional<std::int64_t> mode;
  std::uint32_t occurrence = 0;
  int item = 0;

  [[nodiscard]] std::string Name() const {
    return command + (mode ? " in mode " + std::to_string(*mode) : "") + ", occurrence " +
           std::to_string(occurrence);
  }

  /// Returns a fault of this reply: `change` is what it does.
  [[nodiscard]] std::string Fault(const std::string& change) const {
    return "\n[[fault]]\ncommand = \"" + command + "\"\n" +
           (mode ? "mode = " + std::to_string(*mode) + "\n" : "") +
           "occurrence = " + std::to_string(occurrence) + "\n" + change + "\n";
  }

  [[nodiscard]] std::string ItemFault(int number, const std::string& change) const {
    return Fault("item = " + std::to_string(number) + "\n" + change);
  }
};

class Enumeration {
 public:
  std::vector<Moment> Take(const RecordedRun& clean, const MomentCounts& counts) {
    for (const JournalCall& call : clean.calls) {
      AddCallFaults(call);
      Follow(call);
    }
    for (std::uint32_t write = 1; write <= counts.chipWrites; ++write) {
      const std::string number = std::to_string(write);
      Add("loss of power", "write " + number + " of the chip", "power lost after it",
          "\n[[fault]]\npower_cut_after_writes = " + number + "\n");
    }
    AddSignals("call", counts.calls);
    AddSignals("line", counts.lines);
    AddConsoles();
    AddStatusFiles(counts.statusBytes);
    for (std::uint32_t request = 1; request <= counts.memoryRequests; ++request) {
      const std::string number = std::to_string(request);
      Add("no memory", "request " + number, "refused",
          "\n[[fault]]\nmemory_fails_at_request = " + number + "\n");
    }
    return std::move(moments);
  }

 private:
  void Add(const std::string& kind, const std::string& place, const std::string& change,
           const std::string& faults) {
    moments.push_back({kind, place, change, faults});
  }

  /// Adds the signals that end the program after each `what`.
  void AddSignals(const std::string& what, std::uint32_t count) {
    for (std::uint32_t i = 1; i <= count; ++i) {
      const std::string number = std::to_string(i);
      std::string place = what;
      place.append(" ").append(number);
      for (const char* signal : {"SIGKILL", "SIGTERM"}) {
        std::string fault = "\n[[fault]]\nsignal = \"";
        fault.append(signal).append("\"\nafter_").append(what).append("s = ");
        Add("signal after a " + what, place, signal, fault.append(number).append("\n"));
      }
    }
  }

  void AddConsoles() {
    for (const std::string state : {"closed", "full", "without reader", "slow"}) {
      Add("console", "console " + state, "from the start",
          "\n[[fault]]\nconsole = \"" + state + "\"\n");
    }
  }

  void AddStatusFile(const std::string& file, const std::string& what, const std::string& key) {
    Add("status file", file + " " + what, "from the start",
        "\n[[fault]]\nstatus_file = \"" + file + "\"\n" + key + "\n");
  }

  void AddStatusFiles(std::uint32_t bytes) {
    AddStatusFile("both", "in a folder that is missing", "result = \"ENOENT\"");
    AddStatusFile("both", "in a folder that is read-only", "result = \"EROFS\"");
    for (const std::string file : {"VAM_OK", "VAM_FAIL"}) {
      AddStatusFile(file, "is a folder", "is = \"folder\"");
      AddStatusFile(file, "is a link", "is = \"link\"");
      AddStatusFile(file, "is another user's", "result = \"EACCES\"");
    }
    for (std::uint32_t room = 0; room < bytes; ++room) {
      const std::string number = std::to_string(room);
      Add("full folder of the status files", "byte " + number, "no space after it",
          "\n[[fault]]\nstatus_room = " + number + "\n");
    }
  }

  /// Adds every way in which the call itself can fail.
  void AddCallFaults(const JournalCall& call) {
    const std::string name(PlatformCallName(call.call));
    const std::string occurrence = std::to_string(++occurrences[call.call]);
    const std::string place = name + " " + occurrence;
    const std::string fault =
        "\n[[fault]]\ncall = \"" + name + "\"\noccurrence = " + occurrence + "\n";
    switch (FailureOf(call.call)) {
      case CallFailure::kNone:
        break;
      case CallFailure::kWithoutReason:
        Add("call refused", place, "fails", fault);
        break;
      case CallFailure::kNegativeNumber:
        Add("call refused", place, "-1", fault + "result = -1\n");
        break;
      case CallFailure::kErrorNumber:
        for (int number = 1; number <= kErrorNumbers; ++number) {
          const char* error = ErrorNumberName(number);
          if (error != nullptr) {
            Add("error of the node", place, error, fault + "result = \"" + error + "\"\n");
          }
        }
        break;
      case CallFailure::kTeeResult:
      case CallFailure::kTeeResultAndOrigin:
        AddTeeResults(call.call, place, fault);
        break;
    }
  }

  void AddTeeResults(PlatformCall call, const std::string& place, const std::string& fault) {
    const bool hasOrigin = FailureOf(call) == CallFailure::kTeeResultAndOrigin;
    for (const TeeCode& code : kTeeCodes) {
      if (code.value == 0) {
        continue;
      }
      std::string result = fault;
      result.append("result = \"").append(code.name).append("\"\n");
      if (!hasOrigin) {
        Add("result of the TEE client", place, code.name, result);
        continue;
      }
      for (int origin = 1; origin <= kOrigins; ++origin) {
        const std::string number = std::to_string(origin);
        std::string withOrigin = result;
        withOrigin.append("origin = ").append(number).append("\n");
        Add("result of the TEE client", place, std::string(code.name) + ", origin " + number,
            withOrigin);
      }
    }
  }

  /// Keeps track of whose reply is read, and adds what can be wrong with each item of it.
  void Follow(const JournalCall& call) {
    const Json& members = call.members;
    switch (call.call) {
      case PlatformCall::kPutInt:
        mode = members["value"];
        break;
      case PlatformCall::kInvokeCommand:
        Begin(members);
        break;
      case PlatformCall::kGetInt:
      case PlatformCall::kGetUint:
        if (invocation.occurrence != 0 && members["result"] == true) {
          ++invocation.item;
          AddItemFaults(kNumberBytes);
          AddNumbers();
        }
        break;
      case PlatformCall::kGetBlob:
        if (invocation.occurrence != 0 && members.contains("bytes") &&
            members["bytes"].is_string()) {
          ++invocation.item;
          const std::string bytes = BytesOfDigits(members["bytes"]);
          AddItemFaults(kNumberBytes + bytes.size());
          AddTexts(bytes);
        }
        break;
      default:
        break;
    }
  }

  void Begin(const Json& members) {
    const Json& command = members["command"];
    invocation = {};
    if (command.is_object() && members["result"]["number"] == 0) {
      invocation.command = command.value("name", "");
      invocation.mode = mode;
      invocation.occurrence = ++invocations[{invocation.command, mode.value_or(-1)}];
    }
    mode.reset();
  }

  [[nodiscard]] std::string Item() const {
    return invocation.Name() + ", item " + std::to_string(invocation.item);
  }

  /// An item missing, and cut after each of its bytes.
  void AddItemFaults(std::size_t size) {
    Add("reply that ends early", Item(), "missing",
        invocation.ItemFault(invocation.item, "missing = true"));
    for (std::size_t kept = 1; kept < size; ++kept) {
      Add("reply that ends early", Item(), "cut after " + std::to_string(kept) + " bytes",
          invocation.ItemFault(invocation.item, "cut = " + std::to_string(kept)));
    }
  }

  /// Another number, and a text instead of it.
  void AddNumbers() {
    for (const std::int64_t number : kNumbers) {
      AddValue(std::to_string(number));
    }
    AddValue("\"text\"");
  }

  void AddValue(const std::string& value) {
    Add("reply item of another value", Item(), value,
        invocation.ItemFault(invocation.item, "value = " + value));
  }

  /// Other bytes where `bytes` were, with the number that tells their length where there is one,
  /// and a number instead of them.
  void AddTexts(const std::string& bytes) {
    if (invocation.item == 1) {
      AddRecords();
    } else {
      AddSized("nothing", "");
      AddSized("one byte", "1");
      AddSized("252 bytes", std::string(252, '1'));
      AddSized("8100 bytes", std::string(8100, '1'));
      AddSized("a byte more", bytes + "1");
      AddSized("a byte less", bytes.substr(0, bytes.size() - 1));
      AddSized("a zero in front", '\0' + bytes);
      AddSized("a newline in front", '\n' + bytes);
      AddSized("0xFF in front", '\xFF' + bytes);
      AddSized("another first byte", "?" + bytes.substr(1));
    }
    AddValue("7");
  }

  void AddSized(const std::string& what, const std::string& bytes) {
    if (bytes.size() > kAnswerFaultBytes) {
      return;
    }
    Add("reply item of another value", Item(), what,
        invocation.ItemFault(invocation.item - 1, "value = " + std::to_string(bytes.size())) +
            invocation.ItemFault(invocation.item, "bytes = \"" + DigitsOf(bytes) + "\""));
  }

  void AddRecords() {
    constexpr std::int64_t kEdges[] = {-2147483648, -1, 0, 1, 2147483647};
    for (std::int64_t code = 0; code <= VAM_RET_NOT_IMPLEMENTED; ++code) {
      AddRecord(code, 0);
    }
    for (const std::int64_t vamCode : kEdges) {
      for (const std::int64_t firmwareCode : kEdges) {
        const bool isCode = vamCode >= 0 && vamCode <= VAM_RET_NOT_IMPLEMENTED;
        if (!isCode || firmwareCode != 0) {
          AddRecord(vamCode, firmwareCode);
        }
      }
    }
  }

  void AddRecord(std::int64_t vamCode, std::int64_t firmwareCode) {
    const std::string record =
        "record = [" + std::to_string(vamCode) + ", " + std::to_string(firmwareCode) + "]";
    Add("result record", invocation.Name(), record, invocation.Fault(record));
  }

  /// Of a number as it lies in a block, its tag included; a text has its length in front.
  static constexpr std::size_t kNumberBytes = 5;

  std::vector<Moment> moments;
  std::map<PlatformCall, std::uint32_t> occurrences;
  std::map<std::pair<std::string, std::int64_t>, std::uint32_t> invocations;
  std::optional<std::int64_t> mode;
  Invocation invocation;
};

}  // namespace

std::vector<Moment> MomentsOf(const RecordedRun& clean, const MomentCounts& counts) {
  return Enumeration().Take(clean, counts);
}

}  // namespace vam
