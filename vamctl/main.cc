// vamctl sends single commands to the VAM's trusted application, a subcommand each, and says in
// words what the update tool left in its status files.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/program.h"
#include "interface/ca_vam_interface_sp.h"
#include "interface/trusted_application.h"
#include "report/last_run.h"
#include "report/status_reader.h"
#include "report/tee_codes.h"
#include "util/standard_output.h"
#include "vamctl/ak_record.h"
#include "vamctl/answer.h"
#include "vamctl/console_streams.h"
#include "vamctl/verdict_texts.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

/// A request that is not carried out. Nothing was changed on the chip.
class Refusal : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Command;

/// What the command line asks for.
struct Request {
  const Command* command = nullptr;
  bool asJson = false;
  bool confirmed = false;
  std::string file;
  std::string digits;
  std::vector<std::uint8_t> record;
  std::int32_t mode = 0;
  std::uint32_t count = 10;
  std::int32_t size = 0;
};

/// The arguments that a command takes.
enum class Arguments { kNone, kRecord, kMode, kCount, kSize };

/// A change of the chip that the user must agree to.
struct Danger {
  const char* description;
  /// Returns whether `request` makes the change.
  bool (*applies)(const Request& request);
};

/// A command of the trusted application.
struct Command {
  const char* name;
  const char* description;
  Arguments arguments;
  /// Null for a command that may always be sent.
  const Danger* danger;
  /// Sends the command. The answer lacks the command's name.
  vam::Answer (*send)(CaVamInterfaceSp& interface, const Request& request);
};

bool Always(const Request& /*request*/) { return true; }

bool UpdatesChip(const Request& request) { return request.mode == vam::kUpdateAll; }

/// Asks the trusted application whether the chip holds an AK record. Returns false only when it
/// says that there is none. The lines that the exchange prints are not shown.
bool MayReplaceRecord(const Request& /*request*/) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const vam::StandardOutputMoved hidden(nowhere);
  close(nowhere);
  CaVamInterfaceSp interface(vam::TrustedApplicationUuid());
  return interface.vam_getPublicKeyStatus() != vam::TeeCodeByName("TEEC_ERROR_ITEM_NOT_FOUND");
}

constexpr Danger kReplacesRecord = {"may replace the chip's AK record", &MayReplaceRecord};
constexpr Danger kRemovesKeys = {"removes the chip's AK keys", &Always};
constexpr Danger kErasesFirmware = {"may erase the chip's firmware", &Always};
constexpr Danger kErasesSystemPart = {"may erase the system part of the chip's firmware", &Always};
constexpr Danger kWritesFirmware = {"writes the chip's firmware", &UpdatesChip};

vam::Answer AnswerOfCode(std::uint32_t code) {
  vam::Answer answer;
  answer.code = code;
  return answer;
}

template <TEEC_Result (CaVamInterfaceSp::*method)()>
vam::Answer SendPlain(CaVamInterfaceSp& interface, const Request& /*request*/) {
  return AnswerOfCode((interface.*method)());
}

template <TEEC_Result (CaVamInterfaceSp::*method)(const std::uint8_t*, std::uint32_t)>
vam::Answer SendRecord(CaVamInterfaceSp& interface, const Request& request) {
  return AnswerOfCode((interface.*method)(request.record.data(),
                                          static_cast<std::uint32_t>(request.record.size())));
}

template <std::int32_t (CaVamInterfaceSp::*method)(std::uint32_t*, std::uint32_t)>
vam::Answer GetInformation(CaVamInterfaceSp& interface, const Request& request) {
  std::vector<std::uint32_t> words(request.count);
  vam::Answer answer =
      AnswerOfCode(static_cast<std::uint32_t>((interface.*method)(words.data(), request.count)));
  if (answer.code == 0) {
    answer.words = words;
  }
  return answer;
}

vam::Answer GetHackInformation(CaVamInterfaceSp& interface, const Request& request) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(request.size));
  vam::Answer answer = AnswerOfCode(interface.vam_getHackInfo(bytes.data(), request.size));
  if (answer.code == 0) {
    answer.bytes = bytes;
  }
  return answer;
}

vam::Answer Update(CaVamInterfaceSp& interface, const Request& request) {
  // Codes that no trusted application sends: they are still there when no record came.
  constexpr std::int32_t kUntouched = std::numeric_limits<std::int32_t>::min();
  VamResult record{kUntouched, kUntouched};
  vam::FirmwareVersions versions;
  vam::Answer answer = AnswerOfCode(static_cast<std::uint32_t>(
      interface.vm_updateFW(request.mode, versions.system, versions.app, &record)));
  answer.mode = request.mode;
  if (record.vamCode != kUntouched || record.fwCode != kUntouched) {
    answer.record = record;
  }
  if (answer.code == 0) {
    answer.versions = versions;
  }
  return answer;
}

vam::Answer OlderUpdate(CaVamInterfaceSp& interface, const Request& request) {
  vam::Answer answer =
      AnswerOfCode(static_cast<std::uint32_t>(interface.vam_updateFW(request.mode)));
  answer.mode = request.mode;
  return answer;
}

constexpr Command kCommands[] = {
    {"get-info", "Ask for a report on the VAM; the result code is the answer", Arguments::kNone,
     nullptr, &SendPlain<&CaVamInterfaceSp::vam_getInfo>},
    {"get-app-info", "Ask for a report on the chip's application; the result code is the answer",
     Arguments::kNone, nullptr, &SendPlain<&CaVamInterfaceSp::vam_getAppInfo>},
    {"self-test-all", "Run the chip's self test; the result code is the answer", Arguments::kNone,
     nullptr, &SendPlain<&CaVamInterfaceSp::vam_selfTestAll>},
    {"get-public-key-status", "Ask whether the chip holds its public key", Arguments::kNone,
     nullptr, &SendPlain<&CaVamInterfaceSp::vam_getPublicKeyStatus>},
    {"ak-provision-rpmb", "Provision the AK record kept in the replay-protected memory block",
     Arguments::kNone, &kReplacesRecord, &SendPlain<&CaVamInterfaceSp::vam_akProvisionRPMB>},
    {"remove-ak-keys", "Remove the provisioned AK keys", Arguments::kNone, &kRemovesKeys,
     &SendPlain<&CaVamInterfaceSp::vam_removeAkKeys>},
    {"force-recovery", "Force the recovery of the chip", Arguments::kNone, &kErasesFirmware,
     &SendPlain<&CaVamInterfaceSp::vam_forceRecovery>},
    {"force-recovery-sp", "Force the recovery of the system part", Arguments::kNone,
     &kErasesSystemPart, &SendPlain<&CaVamInterfaceSp::vam_forceRecoverySP>},
    {"ak-provision", "Provision an AK record", Arguments::kRecord, &kReplacesRecord,
     &SendRecord<&CaVamInterfaceSp::vam_akProvision>},
    {"check-vam-ak", "Check an AK record against the provisioned one", Arguments::kRecord, nullptr,
     &SendRecord<&CaVamInterfaceSp::vam_checkVamAk>},
    {"get-hack-info", "Show the hack information record", Arguments::kSize, nullptr,
     &GetHackInformation},
    {"update-fw", "Run the update command in a mode", Arguments::kMode, &kWritesFirmware, &Update},
    {"older-update-fw", "The same by the command's older form, vam_updateFW", Arguments::kMode,
     &kWritesFirmware, &OlderUpdate},
    {"get-fw-info", "Show the firmware information words", Arguments::kCount, nullptr,
     &GetInformation<&CaVamInterfaceSp::vm_getFWInfo>},
    {"older-get-fw-info", "The same by the command's older form, vam_getFWInfo", Arguments::kCount,
     nullptr, &GetInformation<&CaVamInterfaceSp::vam_getFWInfo>},
};

CLI::App* AddSubcommand(CLI::App& app, const char* name, const char* description,
                        Request& request) {
  CLI::App* subcommand = app.add_subcommand(name, description);
  subcommand->add_flag("--json", request.asJson,
                       "Answer with one JSON object; the console lines go to standard error");
  return subcommand;
}

void AddRecord(CLI::App* subcommand, Request& request) {
  CLI::Option* file = subcommand->add_option("FILE", request.file, "File with the record's bytes");
  CLI::Option* digits =
      subcommand->add_option("--hex", request.digits, "The record's bytes as hexadecimal digits");
  file->excludes(digits);
  subcommand->callback([&request, file, digits] {
    if (file->empty() && digits->empty()) {
      throw CLI::RequiredError("FILE or --hex");
    }
    try {
      request.record =
          digits->empty() ? vam::ReadAkRecord(request.file) : vam::DecodeAkRecord(request.digits);
    } catch (const std::runtime_error& error) {
      throw Refusal(error.what());
    }
  });
}

void AddArguments(CLI::App* subcommand, Arguments arguments, Request& request) {
  switch (arguments) {
    case Arguments::kNone:
      break;
    case Arguments::kRecord:
      AddRecord(subcommand, request);
      break;
    case Arguments::kMode:
      subcommand
          ->add_option("MODE", request.mode,
                       "3 updates the chip, 7 reports the image's versions, 11 the chip's; any "
                       "other number is sent as it is")
          ->required();
      break;
    case Arguments::kCount:
      subcommand
          ->add_option("--count", request.count,
                       "How many words to show; those that the chip does not send are 0")
          ->capture_default_str()
          ->check(CLI::Range(std::uint32_t{1},
                             std::uint32_t{vam::kSharedBlockSize / sizeof(std::uint32_t)}));
      break;
    case Arguments::kSize:
      subcommand
          ->add_option(
              "--size", request.size,
              "How many bytes to show; a longer record is cut, a shorter one ends in zeros")
          ->required()
          ->check(CLI::Range(std::int32_t{0}, std::int32_t{vam::kSharedBlockSize}));
      break;
  }
}

void AddCommand(CLI::App& app, const Command& command, Request& request) {
  CLI::App* subcommand = AddSubcommand(app, command.name, command.description, request);
  if (command.danger != nullptr) {
    subcommand->add_flag("--yes", request.confirmed, "Do not ask whether the chip may be changed");
  }
  AddArguments(subcommand, command.arguments, request);
}

/// Throws Refusal unless the user agrees to what `request` does to the chip.
void RequireConfirmation(const Request& request) {
  const Danger* danger = request.command->danger;
  if (danger == nullptr || request.confirmed || !danger->applies(request)) {
    return;
  }
  const std::string change = std::string(request.command->name) + " " + danger->description;
  if (!vam::OnTerminal()) {
    throw Refusal(change + "; give --yes, or answer on a terminal");
  }
  if (!vam::Confirmed("vamctl: " + change + ". Go on?")) {
    throw Refusal("nothing was done");
  }
}

vam::Answer Send(const Request& request) {
  std::optional<vam::StandardOutputMoved> console;
  if (request.asJson) {
    console.emplace(STDERR_FILENO);
  }
  CaVamInterfaceSp interface(vam::TrustedApplicationUuid());
  vam::Answer answer = request.command->send(interface, request);
  answer.command = request.command->name;
  return answer;
}

/// Tells the record of this boot's last run. Without one, tells what the status files say, and that
/// it does.
int TellVerdict(bool asJson) {
  const vam::LastRun run = vam::ReadLastRun();
  if (run.state == vam::LastRun::State::kEnded) {
    vam::Print((asJson ? vam::VerdictAsJson(run.record) : vam::VerdictAsText(run.record)) + "\n");
    return 0;
  }
  const bool isNone = run.state == vam::LastRun::State::kNone;
  std::fprintf(stderr, "vamctl: %s; this is what the status files say\n",
               isNone ? "no run was recorded in this boot" : run.problem.c_str());
  const vam::Verdict verdict = vam::ReadVerdict();
  vam::Print((asJson ? vam::VerdictAsJson(verdict) : vam::VerdictAsText(verdict)) + "\n");
  return isNone && verdict.outcome != vam::Outcome::kUnclear ? 0 : kFailed;
}

int Perform(int argc, char** argv) {
  CLI::App app(
      "Runs single commands of the VAM's trusted application.\n"
      "Exit status: 0 success, 1 the command failed, 2 nothing was done.",
      "vamctl");
  app.set_version_flag("--version", "vamctl " VAM_VERSION);

  Request request;
  for (const Command& command : kCommands) {
    AddCommand(app, command, request);
  }
  const CLI::App* verdict = AddSubcommand(
      app, "verdict", "Say in words what the update tool left in its status files", request);

  if (!vam::Parse(app, argc, argv)) {
    return 0;
  }
  if (verdict->parsed()) {
    return TellVerdict(request.asJson);
  }
  request.command =
      std::find_if(std::begin(kCommands), std::end(kCommands),
                   [&app](const Command& command) { return app.got_subcommand(command.name); });
  RequireConfirmation(request);
  const vam::Answer answer = Send(request);
  vam::Print((request.asJson ? vam::AnswerAsJson(answer) : vam::AnswerAsText(answer)) + "\n");
  return vam::Succeeded(answer) ? 0 : kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    vam::HoldClosedStandardStreams();
    // A reader that has gone must not end a command between its request and its reply.
    std::signal(SIGPIPE, SIG_IGN);
    return Perform(argc, argv);
  } catch (const vam::WrongUsage& error) {
    std::fprintf(stderr, "vamctl: %s\n", error.what());
    return kUsage;
  } catch (const Refusal& refusal) {
    std::fprintf(stderr, "vamctl: %s\n", refusal.what());
    return kUsage;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vamctl: %s\n", error.what());
    return kFailed;
  }
}
