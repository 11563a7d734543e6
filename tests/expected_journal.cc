#include "tests/expected_journal.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace vam {

namespace {

std::string Hex(std::uint32_t result) {
  char text[16];
  std::snprintf(text, sizeof text, "\"0x%08X\"", result);
  return text;
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

}  // namespace

void ExpectedJournal::Line(const std::string& line, FaultNumber fault) {
  journal += "{\"call\":" + line + (fault == 0 ? "" : Number("fault", fault)) + "}\n";
}

ExpectedJournal& ExpectedJournal::Probe(std::int32_t flag) {
  Line(R"("open","path":"/dev/zelkshield","flags":2,"descriptor":1)");
  Line(R"("ioctl","descriptor":1,"request":1,"result":0,"flag":)" + std::to_string(flag));
  Line(R"("close","descriptor":1,"result":0)");
  return *this;
}

ExpectedJournal& ExpectedJournal::ProbeWithoutNode() {
  Line(R"("open","path":"/dev/zelkshield","flags":2,"result":-1,"errno":"ENOENT")");
  return *this;
}

ExpectedJournal& ExpectedJournal::ProbeWithFailingIoctl() {
  Line(R"("open","path":"/dev/zelkshield","flags":2,"descriptor":1)");
  // No close: the descriptor is left open.
  Line(R"("ioctl","descriptor":1,"request":1,"result":-1,"errno":"EIO")");
  return *this;
}

void ExpectedJournal::Open(Connection connection, std::uint32_t result, FaultNumber fault) {
  const std::string success = Hex(0);
  if (connection == Connection::kNoContext) {
    Line(R"("TEEC_InitializeContext","name":null,"result":)" + Hex(result), fault);
    return;
  }
  Line(R"("TEEC_InitializeContext","name":null,"result":)" + success +
       Number("context", ++contexts));
  const std::string session =
      "\"TEEC_OpenSession\"" + Number("context", contexts) +
      R"(,"destination":"58d50001-1105-000f-9799-7f5af3f9c7bb","connectionMethod":0)" +
      R"(,"connectionData":null,"operation":null,"result":)";
  if (connection == Connection::kNoSession) {
    Line(session + Hex(result) + Number("origin", 3), fault);
    return;
  }
  Line(session + success + Number("origin", 4) + Number("session", ++sessions));
  const std::string memory = "\"TEEC_AllocateSharedMemory\"" + Number("context", contexts) +
                             R"(,"size":8192,"flags":3,"result":)";
  if (connection == Connection::kNoMemory) {
    Line(memory + Hex(result), fault);
    return;
  }
  Line(memory + success + Number("sharedMemory", ++memories));
}

void ExpectedJournal::Close(Connection connection) {
  switch (connection) {
    case Connection::kOpens:
      Line("\"TEEC_ReleaseSharedMemory\"" + Number("sharedMemory", memories));
      [[fallthrough]];
    case Connection::kNoMemory:
      Line("\"TEEC_CloseSession\"" + Number("session", sessions));
      [[fallthrough]];
    case Connection::kNoSession:
      Line("\"TEEC_FinalizeContext\"" + Number("context", contexts));
      [[fallthrough]];
    case Connection::kNoContext:
      break;
  }
}

void ExpectedJournal::MakeMarshaller(bool connected) {
  Line("\"CNolvWsm\"" + Number("sharedMemory", connected ? memories : 0) +
       Number("marshaller", ++marshallers));
}

void ExpectedJournal::DestroyMarshaller() {
  Line("\"~CNolvWsm\"" + Number("marshaller", marshallers));
}

void ExpectedJournal::PutMode(std::int32_t mode, bool taken, FaultNumber fault) {
  Line("\"PutInt\"" + Number("marshaller", marshallers) + Number("value", mode) +
           (taken ? ",\"result\":true" : ",\"result\":false"),
       fault);
}

void ExpectedJournal::Invoke(std::uint32_t command, std::uint32_t result, std::uint32_t origin,
                             FaultNumber fault) {
  Line("\"TEEC_InvokeCommand\"" + Number("session", sessions) + Number("command", command) +
           Number("paramTypes", 15) + Number("sharedMemory", memories) + Number("size", 8192) +
           Number("offset", 0) + ",\"result\":" + Hex(result) + Number("origin", origin),
       fault);
}

void ExpectedJournal::InvokeUnconnected(std::uint32_t command, Connection connection) {
  // What was never allocated has neither a number nor a size; the library refuses the parameters.
  const bool sized = connection == Connection::kNoMemory;
  Line("\"TEEC_InvokeCommand\"" + Number("session", sized ? sessions : 0) +
       Number("command", command) + Number("paramTypes", 15) + Number("sharedMemory", 0) +
       Number("size", sized ? 8192 : 0) + Number("offset", 0) +
       R"(,"result":"0xFFFF0006","origin":1)");
}

void ExpectedJournal::PrepareReset() {
  Line("\"PrepareReset\"" + Number("marshaller", marshallers) + Number("mode", 1));
}

void ExpectedJournal::GetRecord(const std::string& record) {
  Line("\"GetBlob\"" + Number("marshaller", marshallers) + Number("length", 8) + ",\"bytes\":\"" +
       record + "\"");
}

void ExpectedJournal::GetSize(std::size_t size) {
  Line("\"GetUint\"" + Number("marshaller", marshallers) +
       Number("value", static_cast<std::int64_t>(size)) + ",\"result\":true");
}

void ExpectedJournal::GetVersion(const std::string& version) {
  GetSize(version.size() + 1);
  Line("\"GetBlob\"" + Number("marshaller", marshallers) +
       Number("length", static_cast<std::int64_t>(version.size()) + 1) + ",\"bytes\":\"" +
       VersionBytes(version) + "\"");
}

ExpectedJournal& ExpectedJournal::Update(std::int32_t mode, const std::string& system,
                                         const std::string& app, const std::string& record,
                                         FaultNumber fault) {
  Open();
  MakeMarshaller();
  PutMode(mode);
  Invoke(18, 0, 4, fault);
  PrepareReset();
  GetRecord(record);
  GetVersion(system);
  GetVersion(app);
  DestroyMarshaller();
  Close();
  return *this;
}

ExpectedJournal& ExpectedJournal::UpdateRefused(std::int32_t mode, std::uint32_t result,
                                                std::uint32_t origin, FaultNumber fault) {
  Open();
  MakeMarshaller();
  PutMode(mode);
  Invoke(18, result, origin, fault);
  DestroyMarshaller();
  Close();
  return *this;
}

ExpectedJournal& ExpectedJournal::UpdateCutAt(std::int32_t mode, ReplyItem item, FaultNumber fault,
                                              const std::string& record) {
  const std::string marshaller = Number("marshaller", marshallers + 1);
  Open();
  MakeMarshaller();
  PutMode(mode);
  Invoke(18, 0, 4, fault);
  PrepareReset();
  const std::string missingSize = "\"GetUint\"" + marshaller + ",\"result\":false";
  switch (item) {
    case ReplyItem::kRecord:
      Line("\"GetBlob\"" + marshaller + Number("length", 8) + ",\"bytes\":null");
      break;
    case ReplyItem::kSystemSize:
      GetRecord(record);
      Line(missingSize);
      break;
    case ReplyItem::kSystemVersion:
      GetRecord(record);
      GetSize(11);
      Line("\"GetBlob\"" + marshaller + Number("length", 11) + ",\"bytes\":null");
      break;
    case ReplyItem::kAppSize:
      GetRecord(record);
      GetVersion("1.1,04/7,3");
      Line(missingSize);
      break;
    case ReplyItem::kAppVersion:
      GetRecord(record);
      GetVersion("1.1,04/7,3");
      GetSize(7);
      Line("\"GetBlob\"" + marshaller + Number("length", 7) + ",\"bytes\":null");
      break;
  }
  DestroyMarshaller();
  Close();
  return *this;
}

ExpectedJournal& ExpectedJournal::UpdateWithoutVersions(std::int32_t mode,
                                                        const std::string& record) {
  Open();
  MakeMarshaller();
  PutMode(mode);
  Invoke(18);
  PrepareReset();
  GetRecord(record);
  GetSize(0);
  DestroyMarshaller();
  Close();
  return *this;
}

ExpectedJournal& ExpectedJournal::UpdateNotMarshalled(std::int32_t mode, FaultNumber fault) {
  Open();
  MakeMarshaller();
  PutMode(mode, false, fault);
  DestroyMarshaller();
  Close();
  return *this;
}

ExpectedJournal& ExpectedJournal::UpdateUnconnected(std::int32_t mode, Connection connection,
                                                    std::uint32_t result, FaultNumber fault) {
  Open(connection, result, fault);
  MakeMarshaller(false);
  PutMode(mode, false);
  DestroyMarshaller();
  Close(connection);
  return *this;
}

ExpectedJournal& ExpectedJournal::UpdateInterrupted() {
  Open();
  MakeMarshaller();
  PutMode(3);
  return *this;
}

ExpectedJournal& ExpectedJournal::Information() {
  Open();
  Invoke(19);
  MakeMarshaller();
  PrepareReset();
  GetSize(10);
  Line("\"GetBlob\"" + Number("marshaller", marshallers) + Number("length", 40) +
       R"(,"bytes":"03000000010000000000000000000000)" + std::string(40, '0') + "ffffffff\"");
  DestroyMarshaller();
  Close();
  return *this;
}

ExpectedJournal& ExpectedJournal::InformationRefused(std::uint32_t result, FaultNumber fault) {
  Open();
  Invoke(19, result, 4, fault);
  Close();
  return *this;
}

ExpectedJournal& ExpectedJournal::InformationUnconnected(Connection connection,
                                                         std::uint32_t result, FaultNumber fault) {
  Open(connection, result, fault);
  InvokeUnconnected(19, connection);
  Close(connection);
  return *this;
}

}  // namespace vam
