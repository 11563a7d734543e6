#ifndef TESTS_EXPECTED_JOURNAL_H_
#define TESTS_EXPECTED_JOURNAL_H_

// The platform calls that a run of the update tool must make, as the board's journal shows them.
// A run is described by what differs from a good one.

#include <cstdint>
#include <optional>
#include <string>

namespace vam {

/// Items of the update reply, in their order.
enum class ReplyItem { kRecord, kSystemSize, kSystemVersion, kAppSize, kAppVersion };

/// What an exchange's connection lacks.
enum class Lack { kNothing, kContext, kSession, kSharedMemory };

/// One exchange with the trusted application, made by one of the functions below and then changed
/// by the methods.
struct Exchange {
  enum class Kind { kReports, kReportsNothing, kCut, kRefused, kNotMarshalled, kNeverReturns };

  Kind kind = Kind::kReports;
  /// The versions of the reply; both travel with a terminating zero.
  std::string system;
  std::string app;
  /// The bytes of the result record, in hexadecimal.
  std::string record = "0000000000000000";
  /// The first item that the reply lacks.
  ReplyItem cutItem = ReplyItem::kRecord;
  std::uint32_t result = 0;
  std::uint32_t origin = 4;
  /// The board's fault that changed the exchange, as the line of that call names it; 0: none.
  int fault = 0;

  Exchange WithRecord(const std::string& bytes) const;
  Exchange FromOrigin(std::uint32_t number) const;
  Exchange ByFault(int number) const;
};

/// The reply is a record of zeros and these versions.
Exchange Reports(const std::string& system, const std::string& app);
/// The reply is this record and a system size of 0.
Exchange ReportsNothing(const std::string& record);
/// The reply cannot be read from `item` on; the versions before it are those of a good run.
Exchange ReplyCutAt(ReplyItem item);
/// The invocation fails with `result`, from the trusted application.
Exchange Refused(std::uint32_t result);
/// The marshaller refuses the request.
Exchange NotMarshalled();
/// The invocation does not return: the run ends there.
Exchange NeverReturns();

/// A run on a board with a VAM.
class ExpectedRun {
 public:
  /// A good run, in which every mode reports the same versions.
  ExpectedRun(const std::string& system, const std::string& app);

  /// The exchanges of the three modes, in their order: 7, 3 and 11.
  ExpectedRun& ReportFileSystem(const Exchange& exchange);
  ExpectedRun& UpdateAll(const Exchange& exchange);
  ExpectedRun& ReportChip(const Exchange& exchange);
  /// The information query is refused.
  ExpectedRun& Information(const Exchange& refusal);
  /// No connection opens: each fails with `result`; `fault` is that of the failing call.
  ExpectedRun& WithoutConnection(Lack what, std::uint32_t result, int fault = 0);

  /// Returns the journal as CallsIn() shows it, a call a line.
  std::string Journal() const;

 private:
  Exchange fileSystem;
  Exchange update;
  Exchange chip;
  std::optional<Exchange> refusedInformation;
  Lack lack = Lack::kNothing;
  std::uint32_t lackResult = 0;
  int lackFault = 0;
};

/// The same of runs that end with the board probe: it finds this flag, no node, or a node whose
/// ioctl fails.
std::string JournalOfProbe(std::int32_t flag);
std::string JournalOfProbeWithoutNode();
std::string JournalOfProbeWithFailingIoctl();

}  // namespace vam

#endif  // TESTS_EXPECTED_JOURNAL_H_
