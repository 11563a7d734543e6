#ifndef TESTS_EXPECTED_JOURNAL_H_
#define TESTS_EXPECTED_JOURNAL_H_

// The platform calls that a run must make, composed exchange by exchange.

#include <cstdint>
#include <string>

namespace vam {

/// Items of the update reply, in their order.
enum class ReplyItem { kRecord, kSystemSize, kSystemVersion, kAppSize, kAppVersion };

/// Where an exchange's connection stops opening.
enum class Connection { kOpens, kNoContext, kNoSession, kNoMemory };

/// What a fault of the board adds to the line of the call that it changed; 0: no fault.
using FaultNumber = int;

class ExpectedJournal {
 public:
  /// The board probe: open, ioctl, close.
  ExpectedJournal& Probe(std::int32_t flag);
  ExpectedJournal& ProbeWithoutNode();
  ExpectedJournal& ProbeWithFailingIoctl();

  /// A complete exchange of the update command in `mode`, with a reply of a record of zeros and
  /// two versions; both travel with a terminating zero. `fault` is that of a changed reply.
  ExpectedJournal& Update(std::int32_t mode, const std::string& system, const std::string& app,
                          const std::string& record = "0000000000000000", FaultNumber fault = 0);
  /// An exchange whose invocation fails.
  ExpectedJournal& UpdateRefused(std::int32_t mode, std::uint32_t result, std::uint32_t origin,
                                 FaultNumber fault);
  /// An exchange whose reply cannot be read from `item` on.
  ExpectedJournal& UpdateCutAt(std::int32_t mode, ReplyItem item, FaultNumber fault,
                               const std::string& record = "0000000000000000");
  /// An exchange whose reply is a record and a system size of 0.
  ExpectedJournal& UpdateWithoutVersions(std::int32_t mode, const std::string& record);
  /// An exchange whose request the marshaller refuses.
  ExpectedJournal& UpdateNotMarshalled(std::int32_t mode, FaultNumber fault);
  /// An exchange over a connection that did not open; `fault` is that of the call that failed.
  ExpectedJournal& UpdateUnconnected(std::int32_t mode, Connection connection, std::uint32_t result,
                                     FaultNumber fault);
  /// An update in mode 3 whose invocation never returned.
  ExpectedJournal& UpdateInterrupted();

  /// The information query with its ten words.
  ExpectedJournal& Information();
  ExpectedJournal& InformationRefused(std::uint32_t result, FaultNumber fault);
  ExpectedJournal& InformationUnconnected(Connection connection, std::uint32_t result,
                                          FaultNumber fault);

  const std::string& Text() const { return journal; }

 private:
  void Line(const std::string& line, FaultNumber fault = 0);
  void Open(Connection connection = Connection::kOpens, std::uint32_t result = 0,
            FaultNumber fault = 0);
  void Close(Connection connection = Connection::kOpens);
  void MakeMarshaller(bool connected = true);
  void PutMode(std::int32_t mode, bool taken = true, FaultNumber fault = 0);
  void Invoke(std::uint32_t command, std::uint32_t result = 0, std::uint32_t origin = 4,
              FaultNumber fault = 0);
  void InvokeUnconnected(std::uint32_t command, Connection connection);
  void PrepareReset();
  void GetRecord(const std::string& record);
  void GetSize(std::size_t size);
  void GetVersion(const std::string& version);
  void DestroyMarshaller();

  std::string journal;
  int contexts = 0;
  int sessions = 0;
  int memories = 0;
  int marshallers = 0;
};

}  // namespace vam

#endif  // TESTS_EXPECTED_JOURNAL_H_
