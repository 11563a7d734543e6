// vamctl sends single commands to the VAM's trusted application, a subcommand each, and says in
// words what the update tool left in its status files.

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstring>
#include <exception>
#include <string>

#include "command_line/parsing.h"
#include "command_line/program.h"
#include "report/last_run.h"
#include "report/status_reader.h"
#include "util/standard_output.h"
#include "vamctl/answer.h"
#include "vamctl/commands.h"
#include "vamctl/console_streams.h"
#include "vamctl/parser.h"
#include "vamctl/verdict_texts.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

/// Throws Refusal unless the user agrees to what `request` does to the chip.
void RequireConfirmation(const vam::Request& request) {
  const vam::Danger* danger = request.command->danger;
  if (danger == nullptr || request.confirmed || !danger->applies(request)) {
    return;
  }
  const std::string change = std::string(request.command->name) + " " + danger->description;
  if (request.recordIsInput) {
    throw vam::Refusal(change + "; give --yes, because standard input is the record");
  }
  if (!vam::OnTerminal()) {
    throw vam::Refusal(change + "; give --yes, or answer on a terminal");
  }
  if (!vam::Confirmed("vamctl: " + change + ". Go on?")) {
    throw vam::Refusal("nothing was done");
  }
}

/// Tells the record of this boot's last run. Without one, tells what the status files say, and that
/// it does. Returns the exit status.
int TellVerdict(bool asJson) {
  const vam::LastRun run = vam::ReadLastRun();
  if (run.state == vam::LastRun::State::kEnded) {
    vam::Print((asJson ? vam::VerdictAsJson(run.record) : vam::VerdictAsText(run.record)) + "\n");
    return vam::VerdictStatus(run.record);
  }
  const bool isNone = run.state == vam::LastRun::State::kNone;
  vam::Tell("vamctl", (isNone ? "no run was recorded in this boot" : run.problem) +
                          "; this is what the status files say");
  const vam::Verdict verdict = vam::ReadVerdict();
  vam::Print((asJson ? vam::VerdictAsJson(verdict) : vam::VerdictAsText(verdict)) + "\n");
  return isNone ? vam::VerdictStatus(verdict) : vam::kVerdictNotTrusted;
}

/// Reads the command line into `request` and does what it asks for. Returns the exit status.
int Perform(int argc, char** argv, vam::Request& request) {
  CLI::App program(
      "Runs single commands of the VAM's trusted application.\n"
      "Exit status: 0 success, 1 the command failed, 2 nothing was done.",
      "vamctl");
  program.set_version_flag("--version", "vamctl " VAM_VERSION);
  vam::AddCommands(program, request);
  if (!vam::Parse(program, argc, argv)) {
    return 0;
  }
  if (request.command == nullptr) {
    return TellVerdict(request.asJson);
  }
  RequireConfirmation(request);
  const vam::Answer answer = vam::Send(request);
  vam::Print((request.asJson ? vam::AnswerAsJson(answer) : vam::AnswerAsText(answer)) + "\n");
  return vam::Succeeded(answer) ? 0 : kFailed;
}

/// Returns whether the line asks for JSON, also one that is wrong elsewhere.
bool AsksForJson(int argc, char** argv) {
  bool asks = false;
  for (int i = 1; i < argc; ++i) {
    asks = asks || std::strcmp(argv[i], "--json") == 0;
  }
  return asks;
}

bool AsksForVerdict(int argc, char** argv) {
  return argc > 1 && std::strcmp(argv[1], "verdict") == 0;
}

/// Tells why nothing, or not all, was done. Returns `status`.
int Fail(int status, const std::string& problem, bool asJson) {
  vam::Tell("vamctl", problem);
  if (asJson) {
    try {
      vam::Print(vam::ErrorAsJson(problem) + "\n");
    } catch (const vam::OutputLost& lost) {
      vam::Tell("vamctl", lost.what());
    }
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  vam::HoldClosedStandardStreams();
  // A reader that has gone must not end a command between its request and its reply.
  std::signal(SIGPIPE, SIG_IGN);
  const bool asJson = AsksForJson(argc, argv);
  vam::Request request;
  try {
    return Perform(argc, argv, request);
  } catch (const vam::OutputLost& error) {
    return Fail(AsksForVerdict(argc, argv) ? vam::kVerdictLost : kFailed, error.what(), false);
  } catch (const vam::WrongUsage& error) {
    return Fail(kUsage, error.what(), asJson);
  } catch (const vam::Refusal& refusal) {
    return Fail(kUsage, refusal.what(), asJson);
  } catch (const std::exception& error) {
    return Fail(AsksForVerdict(argc, argv) ? vam::kVerdictNotTrusted : kFailed,
                vam::ProblemInWords(error), asJson);
  }
}
