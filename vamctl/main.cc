// vamctl: the bench console. One subcommand a command of the trusted application, and one for the
// update tool's verdict.

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "interface/ca_vam_interface_sp.h"
#include "interface/trusted_application.h"
#include "report/status_reader.h"
#include "util/console_line.h"
#include "util/standard_streams.h"
#include "vamctl/ak_record.h"
#include "vamctl/answer.h"
#include "vamctl/console_streams.h"
#include "vamctl/verdict_texts.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

/// A request that is not carried out; nothing was sent to the chip.
class Refusal : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What the command line asks for.
struct Request {
  bool asJson = false;
  bool confirmed = false;
  std::string file;
  std::string digits;
  std::int32_t mode = 0;
  std::uint32_t count = 10;
  std::int32_t size = 0;
  /// What the command does to the chip, for one that must be confirmed.
  std::function<const char*()> danger;
  std::function<vam::Answer(CaVamInterfaceSp&)> send;
};

/// A command that sends nothing but its identifier.
struct PlainCommand {
  const char* name;
  const char* description;
  TEEC_Result (CaVamInterfaceSp::*method)();
  const char* danger;
};

constexpr PlainCommand kPlainCommands[] = {
    {"get-info", "Ask for a report on the VAM; the result code is the answer",
     &CaVamInterfaceSp::vam_getInfo, nullptr},
    {"get-app-info", "Ask for a report on the chip's application; the result code is the answer",
     &CaVamInterfaceSp::vam_getAppInfo, nullptr},
    {"self-test-all", "Run the chip's self test; the result code is the answer",
     &CaVamInterfaceSp::vam_selfTestAll, nullptr},
    {"get-public-key-status", "Ask whether the chip holds its public key",
     &CaVamInterfaceSp::vam_getPublicKeyStatus, nullptr},
    {"ak-provision-rpmb", "Provision the AK record kept in the replay-protected memory block",
     &CaVamInterfaceSp::vam_akProvisionRPMB, nullptr},
    {"remove-ak-keys", "Remove the provisioned AK keys", &CaVamInterfaceSp::vam_removeAkKeys,
     "removes the chip's AK keys"},
    {"force-recovery", "Force the recovery of the chip", &CaVamInterfaceSp::vam_forceRecovery,
     "may erase the chip's firmware"},
    {"force-recovery-sp", "Force the recovery of the system part",
     &CaVamInterfaceSp::vam_forceRecoverySP, "may erase the system part of the chip's firmware"},
};

/// A command that sends an AK record.
struct RecordCommand {
  const char* name;
  const char* description;
  TEEC_Result (CaVamInterfaceSp::*method)(const std::uint8_t*, std::uint32_t);
};

constexpr RecordCommand kRecordCommands[] = {
    {"ak-provision", "Provision an AK record", &CaVamInterfaceSp::vam_akProvision},
    {"check-vam-ak", "Check an AK record against the provisioned one",
     &CaVamInterfaceSp::vam_checkVamAk},
};

/// One of the two generations of the query of the information words.
struct InformationCommand {
  const char* name;
  const char* description;
  std::int32_t (CaVamInterfaceSp::*method)(std::uint32_t*, std::uint32_t);
};

constexpr InformationCommand kInformationCommands[] = {
    {"get-fw-info", "Show the firmware information words", &CaVamInterfaceSp::vm_getFWInfo},
    {"older-get-fw-info", "The same by the command's older form, vam_getFWInfo",
     &CaVamInterfaceSp::vam_getFWInfo},
};

CLI::App* AddCommand(CLI::App& app, const char* name, const char* description, Request& request) {
  CLI::App* command = app.add_subcommand(name, description);
  command->add_flag("--json", request.asJson,
                    "Answer with one JSON object; the console lines go to standard error");
  return command;
}

void AddConfirmation(CLI::App* command, Request& request) {
  command->add_flag("--yes", request.confirmed, "Do not ask whether the chip may be changed");
}

void AddPlainCommand(CLI::App& app, const PlainCommand& plain, Request& request) {
  CLI::App* command = AddCommand(app, plain.name, plain.description, request);
  if (plain.danger != nullptr) {
    AddConfirmation(command, request);
  }
  command->callback([&plain, &request] {
    request.danger = [&plain] { return plain.danger; };
    request.send = [&plain](CaVamInterfaceSp& vam) {
      return vam::Answer{plain.name, (vam.*plain.method)()};
    };
  });
}

std::vector<std::uint8_t> AkRecord(const Request& request, bool inFile) {
  try {
    return inFile ? vam::ReadAkRecord(request.file) : vam::DecodeAkRecord(request.digits);
  } catch (const std::runtime_error& error) {
    throw Refusal(error.what());
  }
}

void AddRecordCommand(CLI::App& app, const RecordCommand& record, Request& request) {
  CLI::App* command = AddCommand(app, record.name, record.description, request);
  CLI::Option* file = command->add_option("FILE", request.file, "File with the record's bytes");
  CLI::Option* digits =
      command->add_option("--hex", request.digits, "The record's bytes as hexadecimal digits");
  file->excludes(digits);
  command->callback([&record, &request, file, digits] {
    if (file->empty() && digits->empty()) {
      throw CLI::RequiredError("FILE or --hex");
    }
    request.send = [&record, bytes = AkRecord(request, digits->empty())](CaVamInterfaceSp& vam) {
      return vam::Answer{record.name, (vam.*record.method)(
                                          bytes.data(), static_cast<std::uint32_t>(bytes.size()))};
    };
  });
}

void AddInformationCommand(CLI::App& app, const InformationCommand& information, Request& request) {
  CLI::App* command = AddCommand(app, information.name, information.description, request);
  command
      ->add_option("--count", request.count,
                   "How many words to show; those that the chip does not send are 0")
      ->capture_default_str()
      ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{vam::kBlockSize / sizeof(std::uint32_t)}));
  command->callback([&information, &request] {
    request.send = [&information, &request](CaVamInterfaceSp& vam) {
      std::vector<std::uint32_t> words(request.count);
      const std::int32_t code = (vam.*information.method)(words.data(), request.count);
      vam::Answer answer{information.name, static_cast<std::uint32_t>(code)};
      if (code == 0) {
        answer.words = words;
      }
      return answer;
    };
  });
}

void AddHackInformation(CLI::App& app, Request& request) {
  CLI::App* command = AddCommand(app, "get-hack-info", "Show the hack information record", request);
  command
      ->add_option("--size", request.size,
                   "How many bytes to show; a longer record is cut, a shorter one ends in zeros")
      ->required()
      ->check(CLI::Range(std::int32_t{0}, std::int32_t{vam::kBlockSize}));
  command->callback([&request] {
    request.send = [&request](CaVamInterfaceSp& vam) {
      std::vector<std::uint8_t> bytes(static_cast<std::size_t>(request.size));
      vam::Answer answer{"get-hack-info", vam.vam_getHackInfo(bytes.data(), request.size)};
      if (answer.code == 0) {
        answer.bytes = bytes;
      }
      return answer;
    };
  });
}

vam::Answer Update(CaVamInterfaceSp& vam, std::int32_t mode) {
  // Codes that no trusted application sends: they are still there when no record came.
  constexpr std::int32_t kUntouched = std::numeric_limits<std::int32_t>::min();
  VamResult record{kUntouched, kUntouched};
  vam::FirmwareVersions versions;
  vam::Answer answer{"update-fw"};
  answer.mode = mode;
  answer.code =
      static_cast<std::uint32_t>(vam.vm_updateFW(mode, versions.system, versions.app, &record));
  if (record.vamCode != kUntouched || record.fwCode != kUntouched) {
    answer.record = record;
  }
  if (answer.code == 0) {
    answer.versions = versions;
  }
  return answer;
}

vam::Answer OlderUpdate(CaVamInterfaceSp& vam, std::int32_t mode) {
  vam::Answer answer{"older-update-fw"};
  answer.mode = mode;
  answer.code = static_cast<std::uint32_t>(vam.vam_updateFW(mode));
  return answer;
}

void AddUpdate(CLI::App& app, const char* name, const char* description,
               vam::Answer (*update)(CaVamInterfaceSp&, std::int32_t), Request& request) {
  CLI::App* command = AddCommand(app, name, description, request);
  AddConfirmation(command, request);
  command
      ->add_option("MODE", request.mode,
                   "3 updates the chip, 7 reports the image's versions, 11 the chip's; any other "
                   "number is sent as it is")
      ->required();
  command->callback([update, &request] {
    request.danger = [&request] {
      return request.mode == vam::kUpdateAll ? "writes the chip's firmware" : nullptr;
    };
    request.send = [update, &request](CaVamInterfaceSp& vam) { return update(vam, request.mode); };
  });
}

/// Throws Refusal unless the user agrees to what `request` does to the chip.
void RequireConfirmation(const std::string& command, const Request& request) {
  const char* danger = request.danger ? request.danger() : nullptr;
  if (danger == nullptr || request.confirmed) {
    return;
  }
  if (!vam::OnTerminal()) {
    throw Refusal(command + " " + danger + "; give --yes, or answer on a terminal");
  }
  if (!vam::Confirmed("vamctl: " + command + " " + danger + ". Go on?")) {
    throw Refusal("nothing was done");
  }
}

vam::Answer Send(const Request& request) {
  std::optional<vam::StandardOutputOnError> console;
  if (request.asJson) {
    console.emplace();
  }
  CaVamInterfaceSp vam(vam::TrustedApplicationUuid());
  return request.send(vam);
}

int TellVerdict(bool asJson) {
  const vam::Verdict verdict = vam::ReadVerdict();
  vam::PrintLine(asJson ? vam::VerdictAsJson(verdict) : vam::VerdictAsText(verdict));
  return verdict.outcome == vam::Outcome::kUnclear ? kFailed : 0;
}

int Perform(int argc, char** argv) {
  CLI::App app(
      "Runs single commands of the VAM's trusted application.\n"
      "Exit status: 0 success, 1 the command failed, 2 nothing was done.");
  app.set_version_flag("--version", VAM_VERSION);
  app.require_subcommand(0, 1);
  app.failure_message([](const CLI::App* /*app*/, const CLI::Error& error) {
    return std::string("vamctl: ") + error.what() + "; see vamctl --help\n";
  });

  Request request;
  for (const PlainCommand& command : kPlainCommands) {
    AddPlainCommand(app, command, request);
  }
  for (const RecordCommand& command : kRecordCommands) {
    AddRecordCommand(app, command, request);
  }
  AddHackInformation(app, request);
  AddUpdate(app, "update-fw", "Run the update command in a mode", &Update, request);
  AddUpdate(app, "older-update-fw", "The same by the command's older form, vam_updateFW",
            &OlderUpdate, request);
  for (const InformationCommand& command : kInformationCommands) {
    AddInformationCommand(app, command, request);
  }
  const CLI::App* verdict = AddCommand(
      app, "verdict", "Say in words what the update tool left in its status files", request);

  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) {
      throw CLI::RequiredError("A command");
    }
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    return status == 0 ? 0 : kUsage;
  }
  if (verdict->parsed()) {
    return TellVerdict(request.asJson);
  }
  RequireConfirmation(app.get_subcommands().front()->get_name(), request);
  const vam::Answer answer = Send(request);
  vam::PrintLine(request.asJson ? vam::AnswerAsJson(answer) : vam::AnswerAsText(answer));
  return vam::Succeeded(answer) ? 0 : kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    vam::SecureStandardStreams();
    return Perform(argc, argv);
  } catch (const Refusal& refusal) {
    std::fprintf(stderr, "vamctl: %s\n", refusal.what());
    return kUsage;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vamctl: %s\n", error.what());
    return kFailed;
  }
}
