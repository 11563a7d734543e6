#include "tests/expected_journal.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

namespace vam {

namespace {

/// A number and its name.
std::string Named(std::int64_t number, const std::string& name) {
  return R"({"number":)" + std::to_string(number) + R"(,"name":")" + name + R"("})";
}

/// A result of the TEE's that some board leads to.
std::string Result(std::uint32_t result) {
  static const std::map<std::uint32_t, std::string> kNames = {
      {0, "TEEC_SUCCESS"},
      {0xFFFF0000, "TEEC_ERROR_GENERIC"},
      {0xFFFF0001, "TEEC_ERROR_ACCESS_DENIED"},
      {0xFFFF0006, "TEEC_ERROR_BAD_PARAMETERS"},
      {0xFFFF0007, "TEEC_ERROR_BAD_STATE"},
      {0xFFFF0008, "TEEC_ERROR_ITEM_NOT_FOUND"},
      {0xFFFF000B, "TEEC_ERROR_NO_DATA"},
      {0xFFFF000C, "TEEC_ERROR_OUT_OF_MEMORY"},
      {0xFFFF000D, "TEEC_ERROR_BUSY"},
  };
  return Named(result, kNames.at(result));
}

std::string Origin(std::uint32_t origin) {
  static const char* const kNames[] = {"API", "COMMS", "TEE", "TRUSTED_APP"};
  return ",\"origin\":" + Named(origin, std::string("TEEC_ORIGIN_") + kNames[origin - 1]);
}

/// A command of the update tool.
std::string Command(std::uint32_t command) {
  return ",\"command\":" + Named(command, command == 18 ? "vm_updateFW" : "vm_getFWInfo");
}

/// The bytes of a version as they travel, the terminating zero included.
std::string VersionBytes(const std::string& version) {
  std::string text;
  for (const char byte : version + '\0') {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", unsigned{static_cast<unsigned char>(byte)});
    text += digits;
  }
  return text;
}

std::string Number(const char* key, std::int64_t value) {
  return std::string(",\"") + key + "\":" + std::to_string(value);
}

/// The one parameter that each command has.
std::string Parameters(int sharedMemory, int size) {
  return Number("paramTypes", 15) + R"(,"params":[{"sharedMemory":)" +
         std::to_string(sharedMemory) + Number("size", size) + Number("offset", 0) + "}]";
}

/// Writes the journal's lines, call by call.
class Calls {
 public:
  void Line(const std::string& line, int fault = 0) {
    text += "{\"call\":" + line + (fault == 0 ? "" : Number("fault", fault)) + "}\n";
  }

  void OpenNode() { Line(R"("open","path":"/dev/zelkshield","flags":2,"descriptor":1)"); }

  void Probe(std::int32_t flag) {
    OpenNode();
    Line(R"("ioctl","descriptor":1,"request":1,"result":0)" + Number("flag", flag));
    Line(R"("close","descriptor":1,"result":0)");
  }

  void Open(Lack lack, std::uint32_t result, int fault) {
    const std::string success = Result(0);
    if (lack == Lack::kContext) {
      Line(R"("TEEC_InitializeContext","name":null,"result":)" + Result(result), fault);
      return;
    }
    Line(R"("TEEC_InitializeContext","name":null,"result":)" + success +
         Number("context", ++contexts));
    const std::string session =
        "\"TEEC_OpenSession\"" + Number("context", contexts) +
        R"(,"destination":"58d50001-1105-000f-9799-7f5af3f9c7bb","connectionMethod":0)" +
        R"(,"connectionData":null,"operation":null,"result":)";
    if (lack == Lack::kSession) {
      Line(session + Result(result) + Origin(3), fault);
      return;
    }
    Line(session + success + Origin(4) + Number("session", ++sessions));
    const std::string memory = "\"TEEC_AllocateSharedMemory\"" + Number("context", contexts) +
                               R"(,"size":8192,"flags":3,"result":)";
    if (lack == Lack::kSharedMemory) {
      Line(memory + Result(result), fault);
      return;
    }
    Line(memory + success + Number("sharedMemory", ++memories));
  }

  void Close(Lack lack) {
    switch (lack) {
      case Lack::kNothing:
        Line("\"TEEC_ReleaseSharedMemory\"" + Number("sharedMemory", memories));
        [[fallthrough]];
      case Lack::kSharedMemory:
        Line("\"TEEC_CloseSession\"" + Number("session", sessions));
        [[fallthrough]];
      case Lack::kSession:
        Line("\"TEEC_FinalizeContext\"" + Number("context", contexts));
        [[fallthrough]];
      case Lack::kContext:
        break;
    }
  }

  void MakeMarshaller(bool connected = true) {
    Line("\"CNolvWsm::CNolvWsm\"" + Number("sharedMemory", connected ? memories : 0) +
         Number("marshaller", ++marshallers));
  }

  void DestroyMarshaller() { Line("\"CNolvWsm::~CNolvWsm\"" + Number("marshaller", marshallers)); }

  void PutMode(std::int32_t mode, bool taken, int fault = 0) {
    Line("\"CNolvWsm::PutInt\"" + Number("marshaller", marshallers) + Number("value", mode) +
             (taken ? ",\"result\":true" : ",\"result\":false"),
         fault);
  }

  void Invoke(std::uint32_t command, const Exchange& exchange) {
    Line("\"TEEC_InvokeCommand\"" + Number("session", sessions) + Command(command) +
             Parameters(memories, 8192) + ",\"result\":" + Result(exchange.result) +
             Origin(exchange.origin),
         exchange.fault);
  }

  void InvokeUnconnected(std::uint32_t command, Lack lack) {
    // What was never allocated has neither a number nor a size; the library refuses the parameters.
    const bool sized = lack == Lack::kSharedMemory;
    Line("\"TEEC_InvokeCommand\"" + Number("session", sized ? sessions : 0) + Command(command) +
         Parameters(0, sized ? 8192 : 0) + ",\"result\":" + Result(0xFFFF0006) + Origin(1));
  }

  void PrepareReset() {
    Line("\"CNolvWsm::PrepareReset\"" + Number("marshaller", marshallers) + Number("mode", 1));
  }

  /// `bytes` in hexadecimal; empty: they cannot be read.
  void GetBytes(std::size_t length, const std::string& bytes) {
    Line("\"CNolvWsm::GetBlob\"" + Number("marshaller", marshallers) +
         Number("length", static_cast<std::int64_t>(length)) +
         ",\"bytes\":" + (bytes.empty() ? "null" : "\"" + bytes + "\""));
  }

  void GetSize(std::size_t size) {
    Line("\"CNolvWsm::GetUint\"" + Number("marshaller", marshallers) +
         Number("value", static_cast<std::int64_t>(size)) + ",\"result\":true");
  }

  void GetNoSize() {
    Line("\"CNolvWsm::GetUint\"" + Number("marshaller", marshallers) + ",\"result\":false");
  }

  void GetReply(const Exchange& exchange) {
    const auto lacks = [&](ReplyItem item) {
      return exchange.kind == Exchange::Kind::kCut && exchange.cutItem == item;
    };
    PrepareReset();
    GetBytes(8, lacks(ReplyItem::kRecord) ? "" : exchange.record);
    if (lacks(ReplyItem::kRecord)) {
      return;
    }
    if (exchange.kind == Exchange::Kind::kReportsNothing) {
      GetSize(0);
      return;
    }
    if (GetVersion(exchange.system, lacks(ReplyItem::kSystemSize),
                   lacks(ReplyItem::kSystemVersion))) {
      GetVersion(exchange.app, lacks(ReplyItem::kAppSize), lacks(ReplyItem::kAppVersion));
    }
  }

  /// An exchange of the update command, over a connection that opens.
  void Update(std::int32_t mode, const Exchange& exchange) {
    const bool taken = exchange.kind != Exchange::Kind::kNotMarshalled;
    Open(Lack::kNothing, 0, 0);
    MakeMarshaller();
    PutMode(mode, taken, taken ? 0 : exchange.fault);
    if (exchange.kind == Exchange::Kind::kNeverReturns) {
      return;
    }
    if (taken) {
      Invoke(18, exchange);
      if (exchange.kind != Exchange::Kind::kRefused) {
        GetReply(exchange);
      }
    }
    DestroyMarshaller();
    Close(Lack::kNothing);
  }

  void UpdateUnconnected(std::int32_t mode, Lack lack, std::uint32_t result, int fault) {
    Open(lack, result, fault);
    MakeMarshaller(false);
    PutMode(mode, false);
    DestroyMarshaller();
    Close(lack);
  }

  /// The information query with its ten words.
  void Information() {
    Open(Lack::kNothing, 0, 0);
    Invoke(19, Exchange());
    MakeMarshaller();
    PrepareReset();
    GetSize(10);
    GetBytes(40, "03000000010000000000000000000000" + std::string(40, '0') + "ffffffff");
    DestroyMarshaller();
    Close(Lack::kNothing);
  }

  void InformationRefused(const Exchange& refusal) {
    Open(Lack::kNothing, 0, 0);
    Invoke(19, refusal);
    Close(Lack::kNothing);
  }

  void InformationUnconnected(Lack lack, std::uint32_t result, int fault) {
    Open(lack, result, fault);
    InvokeUnconnected(19, lack);
    Close(lack);
  }

  std::string text;

 private:
  /// Returns whether the version was there to be read.
  bool GetVersion(const std::string& version, bool lacksSize, bool lacksText) {
    if (lacksSize) {
      GetNoSize();
      return false;
    }
    GetSize(version.size() + 1);
    GetBytes(version.size() + 1, lacksText ? "" : VersionBytes(version));
    return !lacksText;
  }

  int contexts = 0;
  int sessions = 0;
  int memories = 0;
  int marshallers = 0;
};

}  // namespace

Exchange Exchange::WithRecord(const std::string& bytes) const {
  Exchange exchange = *this;
  exchange.record = bytes;
  return exchange;
}

Exchange Exchange::FromOrigin(std::uint32_t number) const {
  Exchange exchange = *this;
  exchange.origin = number;
  return exchange;
}

Exchange Exchange::ByFault(int number) const {
  Exchange exchange = *this;
  exchange.fault = number;
  return exchange;
}

Exchange Reports(const std::string& system, const std::string& app) {
  Exchange exchange;
  exchange.system = system;
  exchange.app = app;
  return exchange;
}

Exchange ReportsNothing(const std::string& record) {
  Exchange exchange;
  exchange.kind = Exchange::Kind::kReportsNothing;
  exchange.record = record;
  return exchange;
}

Exchange ReplyCutAt(ReplyItem item) {
  Exchange exchange = Reports("1.1,04/7,3", "2.0,11");
  exchange.kind = Exchange::Kind::kCut;
  exchange.cutItem = item;
  return exchange;
}

Exchange Refused(std::uint32_t result) {
  Exchange exchange;
  exchange.kind = Exchange::Kind::kRefused;
  exchange.result = result;
  return exchange;
}

Exchange NotMarshalled() {
  Exchange exchange;
  exchange.kind = Exchange::Kind::kNotMarshalled;
  return exchange;
}

Exchange NeverReturns() {
  Exchange exchange;
  exchange.kind = Exchange::Kind::kNeverReturns;
  return exchange;
}

ExpectedRun::ExpectedRun(const std::string& system, const std::string& app)
    : fileSystem(Reports(system, app)), update(fileSystem), chip(fileSystem) {}

ExpectedRun& ExpectedRun::ReportFileSystem(const Exchange& exchange) {
  fileSystem = exchange;
  return *this;
}

ExpectedRun& ExpectedRun::UpdateAll(const Exchange& exchange) {
  update = exchange;
  return *this;
}

ExpectedRun& ExpectedRun::ReportChip(const Exchange& exchange) {
  chip = exchange;
  return *this;
}

ExpectedRun& ExpectedRun::Information(const Exchange& refusal) {
  refusedInformation = refusal;
  return *this;
}

ExpectedRun& ExpectedRun::WithoutConnection(Lack what, std::uint32_t result, int fault) {
  lack = what;
  lackResult = result;
  lackFault = fault;
  return *this;
}

std::string ExpectedRun::Journal() const {
  Calls calls;
  calls.Probe(1);
  if (lack != Lack::kNothing) {
    for (const int mode : {7, 3, 11}) {
      calls.UpdateUnconnected(mode, lack, lackResult, lackFault);
    }
    calls.InformationUnconnected(lack, lackResult, lackFault);
    return calls.text;
  }
  calls.Update(7, fileSystem);
  calls.Update(3, update);
  if (update.kind == Exchange::Kind::kNeverReturns) {
    return calls.text;
  }
  calls.Update(11, chip);
  if (refusedInformation) {
    calls.InformationRefused(*refusedInformation);
  } else {
    calls.Information();
  }
  return calls.text;
}

std::string JournalOfProbe(std::int32_t flag) {
  Calls calls;
  calls.Probe(flag);
  return calls.text;
}

std::string JournalOfProbeWithoutNode() {
  Calls calls;
  calls.Line(
      R"("open","path":"/dev/zelkshield","flags":2,"result":-1,"errno":{"number":2,"name":"ENOENT"})");
  return calls.text;
}

std::string JournalOfProbeWithFailingIoctl() {
  Calls calls;
  calls.OpenNode();
  // No close: the descriptor is left open.
  calls.Line(R"("ioctl","descriptor":1,"request":1,"result":-1,"errno":{"number":5,"name":"EIO"})");
  return calls.text;
}

}  // namespace vam
