// vam-verdict: records how a run of the update tool ended, and says it to whoever asks.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "report/last_run.h"
#include "report/run_record.h"
#include "report/status_messages.h"
#include "report/texts.h"
#include "report/trusted_file.h"
#include "util/standard_streams.h"
#include "verdict/command_line.h"
#include "verdict/judgement.h"
#include "verdict/program.h"
#include "verdict/record_folder.h"
#include "verdict/waiting.h"
#include "verdict/watched_file.h"

namespace {

constexpr int kVerified = 0;
constexpr int kNotVerified = 1;
constexpr int kWrongUsage = 2;
constexpr int kNoRun = 3;
constexpr int kNotTrusted = 4;
constexpr int kOutputLost = 5;
constexpr int kSignalled = 128;

constexpr char kHelp[] =
    "Usage: vam-verdict [OPTION...]\n"
    "       vam-verdict run [OPTION...] -- PROGRAM [ARGUMENT...]\n"
    "\n"
    "Says how this boot's last run of the update tool ended. Status: 0 verified, 1 not\n"
    "verified, 2 wrong usage, 3 no run has ended, 4 the record cannot be trusted, 5 the\n"
    "answer could not be written.\n"
    "  --json          print the record\n"
    "  --quiet         print nothing\n"
    "  --wait SECONDS  wait so long for a run to end\n"
    "  --folder DIR    the record's folder, else %s\n"
    "  --help, --version\n"
    "\n"
    "run runs PROGRAM and records its end. Status: the program's, or 128 and its signal.\n"
    "  --folder DIR    as above\n"
    "  --journal       start each own line with its priority\n";

/// Priorities of the journal.
enum class Priority { kError = 3, kWarning = 4, kNotice = 5 };

Priority PriorityOf(vam::RunOutcome outcome) {
  switch (outcome) {
    case vam::RunOutcome::kVerified:
    case vam::RunOutcome::kNoVam:
      return Priority::kNotice;
    case vam::RunOutcome::kNotImplemented:
      return Priority::kWarning;
    default:
      return Priority::kError;
  }
}

/// Says one line on standard error.
void Tell(const vam::Request& request, Priority priority, const char* text) {
  const char mark[] = {'<', static_cast<char>('0' + static_cast<int>(priority)), '>', '\0'};
  const std::string line =
      vam::Formatted("%svam-verdict: %s\n", request.forJournal ? mark : "", text);
  std::fputs(line.c_str(), stderr);
}

/// Prints `text` and returns `status`; kOutputLost when it could not be written.
int Print(const vam::Request& request, const std::string& text, int status) {
  if (std::fputs(text.c_str(), stdout) != EOF && std::fflush(stdout) == 0) {
    return status;
  }
  Tell(request, Priority::kError,
       vam::Formatted("standard output cannot be written: %s; what it got is not complete",
                      std::strerror(errno))
           .c_str());
  return kOutputLost;
}

vam::Moment Now() {
  return {vam::MillisecondsOf(CLOCK_BOOTTIME), vam::MillisecondsOf(CLOCK_REALTIME)};
}

int Run(const vam::Request& request) {
  const sigset_t mask = vam::SurviveLostConsole();
  vam::RecordFolder folder(request.folder);
  folder.Begin();

  vam::RunRecord record;
  vam::WatchedFile okFile(vam::kOkFile);
  vam::WatchedFile errorFile(vam::kErrorFile);
  okFile.Prepare(record);
  errorFile.Prepare(record);
  record.start = Now();
  vam::RunProgram(request.program, mask, record);
  record.end = Now();
  std::string okText;
  std::string added;
  okFile.Take(false, record, okText);
  errorFile.Take(true, record, added);
  vam::JudgeRun(record, okText, added);

  record.bootId = vam::BootId();
  const char* problem = record.bootId.empty() ? "the kernel does not name this boot"
                                              : folder.Keep(vam::RunRecordAsJson(record));
  for (const vam::MovedFile& moved : record.moved) {
    Tell(request, Priority::kWarning,
         vam::Formatted("%s was %s; moved to %s", moved.path.c_str(), moved.was.c_str(),
                        moved.movedTo.c_str())
             .c_str());
  }
  for (const std::string& text : record.problems) {
    Tell(request, Priority::kWarning, text.c_str());
  }
  if (problem != nullptr) {
    Tell(request, Priority::kError,
         vam::Formatted("no record in %s: %s", request.folder, problem).c_str());
  }
  if (request.forJournal) {
    Tell(request, PriorityOf(record.outcome), vam::RunRecordInWords(record).c_str());
  }
  return record.signal == 0 ? record.status : kSignalled + record.signal;
}

int Say(const vam::Request& request) {
  const char* problem = vam::WaitForRun(request.folder, request.secondsToWait);
  if (problem != nullptr && !request.isQuiet) {
    Tell(request, Priority::kError, vam::Formatted("cannot wait: %s", problem).c_str());
  }
  const vam::LastRun run = vam::ReadLastRun(request.folder);
  const bool hasEnded = run.state == vam::LastRun::State::kEnded;
  const bool isNone = run.state == vam::LastRun::State::kNone;
  const std::string reason = isNone ? "no run has ended in this boot" : run.problem;
  const int status = isNone                                             ? kNoRun
                     : !hasEnded                                        ? kNotTrusted
                     : run.record.outcome == vam::RunOutcome::kVerified ? kVerified
                                                                        : kNotVerified;
  if (request.asJson) {
    return Print(request, hasEnded ? vam::RunRecordAsJson(run.record) : vam::NoRecordAsJson(reason),
                 status);
  }
  if (request.isQuiet) {
    return status;
  }
  if (hasEnded) {
    return Print(request, vam::Formatted("%s\n", vam::RunRecordInWords(run.record).c_str()),
                 status);
  }
  Tell(request, Priority::kError, reason.c_str());
  return status;
}

}  // namespace

int main(int /*argc*/, char** argv) {
  const vam::Request request = vam::ReadCommandLine(argv);
  if (request.what == vam::Request::What::kRun) {
    // The program gets them too.
    vam::FillStandardStreams();
    return Run(request);
  }
  std::signal(SIGPIPE, SIG_IGN);
  switch (request.what) {
    case vam::Request::What::kHelp:
      return Print(request, vam::Formatted(kHelp, vam::VerdictFolder()), 0);
    case vam::Request::What::kVersion:
      return Print(request, "vam-verdict " VAM_VERSION "\n", 0);
    case vam::Request::What::kWrong:
      Tell(request, Priority::kError,
           vam::Formatted("'%s' %s; see vam-verdict --help", vam::Escaped(request.word).c_str(),
                          request.problem)
               .c_str());
      return kWrongUsage;
    default:
      return Say(request);
  }
}
