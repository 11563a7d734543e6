#include "vamctl/commands.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "interface/ca_vam_interface_sp.h"
#include "interface/trusted_application.h"
#include "report/tee_codes.h"
#include "vamctl/answer.h"
#include "vamctl/console_streams.h"
#include "vamctl/tee_witness.h"

namespace vam {

namespace {

bool Always(const Request& /*request*/) { return true; }

bool UpdatesChip(const Request& request) { return request.mode == kUpdateAll; }

/// Asks the trusted application whether the chip holds an AK record. Returns false only when it
/// says that there is none. The lines that the exchange prints are not shown.
bool MayReplaceRecord(const Request& /*request*/) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const StandardOutputMoved hidden(nowhere);
  close(nowhere);
  CaVamInterfaceSp interface(TrustedApplicationUuid());
  return interface.vam_getPublicKeyStatus() != TeeCodeByName("TEEC_ERROR_ITEM_NOT_FOUND");
}

constexpr Danger kReplacesRecord = {"may replace the chip's AK record", &MayReplaceRecord};
constexpr Danger kRemovesKeys = {"removes the chip's AK keys", &Always};
constexpr Danger kErasesFirmware = {"may erase the chip's firmware", &Always};
constexpr Danger kErasesSystemPart = {"may erase the system part of the chip's firmware", &Always};
constexpr Danger kWritesFirmware = {"writes the chip's firmware", &UpdatesChip};

Answer AnswerOfCode(std::uint32_t code) {
  Answer answer;
  answer.code = code;
  return answer;
}

template <TEEC_Result (CaVamInterfaceSp::*method)()>
Answer SendPlain(CaVamInterfaceSp& interface, const Request& /*request*/) {
  return AnswerOfCode((interface.*method)());
}

template <TEEC_Result (CaVamInterfaceSp::*method)(const std::uint8_t*, std::uint32_t)>
Answer SendRecord(CaVamInterfaceSp& interface, const Request& request) {
  return AnswerOfCode((interface.*method)(request.record.data(),
                                          static_cast<std::uint32_t>(request.record.size())));
}

template <std::int32_t (CaVamInterfaceSp::*method)(std::uint32_t*, std::uint32_t)>
Answer GetInformation(CaVamInterfaceSp& interface, const Request& request) {
  std::vector<std::uint32_t> words(request.count);
  Answer answer =
      AnswerOfCode(static_cast<std::uint32_t>((interface.*method)(words.data(), request.count)));
  if (answer.code == 0) {
    answer.words = words;
  }
  return answer;
}

Answer GetHackInformation(CaVamInterfaceSp& interface, const Request& request) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(request.size));
  Answer answer = AnswerOfCode(interface.vam_getHackInfo(bytes.data(), request.size));
  if (answer.code == 0) {
    answer.bytes = bytes;
  }
  return answer;
}

Answer Update(CaVamInterfaceSp& interface, const Request& request) {
  // Codes that no trusted application sends: they are still there when no record came.
  constexpr std::int32_t kUntouched = std::numeric_limits<std::int32_t>::min();
  VamResult record{kUntouched, kUntouched};
  FirmwareVersions versions;
  Answer answer = AnswerOfCode(static_cast<std::uint32_t>(
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

Answer OlderUpdate(CaVamInterfaceSp& interface, const Request& request) {
  Answer answer = AnswerOfCode(static_cast<std::uint32_t>(interface.vam_updateFW(request.mode)));
  answer.mode = request.mode;
  return answer;
}

}  // namespace

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
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
      {"check-vam-ak", "Check an AK record against the provisioned one", Arguments::kRecord,
       nullptr, &SendRecord<&CaVamInterfaceSp::vam_checkVamAk>},
      {"get-hack-info", "Show the hack information record", Arguments::kSize, nullptr,
       &GetHackInformation},
      {"update-fw", "Run the update command in a mode", Arguments::kMode, &kWritesFirmware,
       &Update},
      {"older-update-fw", "The same by the command's older form, vam_updateFW", Arguments::kMode,
       &kWritesFirmware, &OlderUpdate},
      {"get-fw-info", "Show the firmware information words", Arguments::kCount, nullptr,
       &GetInformation<&CaVamInterfaceSp::vm_getFWInfo>},
      {"older-get-fw-info", "The same by the command's older form, vam_getFWInfo",
       Arguments::kCount, nullptr, &GetInformation<&CaVamInterfaceSp::vam_getFWInfo>},
  };
  return commands;
}

Answer Send(const Request& request) {
  std::optional<StandardOutputMoved> console;
  if (request.asJson) {
    console.emplace(STDERR_FILENO);
  }
  CaVamInterfaceSp interface(TrustedApplicationUuid());
  WatchNextExchange();
  Answer answer = request.command->send(interface, request);
  answer.command = request.command->name;
  if (answer.code != 0) {
    answer.cause = FirstFailedStep();
  }
  return answer;
}

}  // namespace vam
