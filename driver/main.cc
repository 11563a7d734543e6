// vam-update: one run from the board probe to the verdict. Reads neither a command line nor the
// environment.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "driver/board_probe.h"
#include "driver/version_trimming.h"
#include "interface/ca_vam_interface_sp.h"
#include "interface/trusted_application.h"
#include "report/status_files.h"
#include "report/status_messages.h"
#include "report/vam_result.h"
#include "util/console_line.h"
#include "util/standard_streams.h"
#include "version/compare_version.h"

namespace {

/// What the update command brought back in one mode.
struct ModeAnswer {
  std::int32_t code = 0;
  std::string systemVersion;
  std::string appVersion;
};

/// What the update command brought back in all three.
struct UpdateAnswers {
  ModeAnswer fileSystem;
  ModeAnswer updated;
  ModeAnswer chip;
  /// Shared by all three calls: it holds what the last call that filled it wrote.
  VamResult result{};
};

/// Runs the update command in all three modes, even after one has failed.
UpdateAnswers RunUpdate(CaVamInterfaceSp& interface) {
  vam::PrintLine("Run updateBIN for VAM_UPDATEFW_ALL");
  UpdateAnswers answers;
  const auto run = [&](vam::UpdateMode mode, ModeAnswer& answer) {
    answer.code =
        interface.vm_updateFW(mode, answer.systemVersion, answer.appVersion, &answers.result);
  };
  run(vam::kReportFileSystem, answers.fileSystem);
  run(vam::kUpdateAll, answers.updated);
  run(vam::kReportChip, answers.chip);
  return answers;
}

/// Fetches and prints the firmware information words. A failure leaves an entry and does not end
/// the run: the words are then printed as zeros.
void ReportFirmwareInformation(CaVamInterfaceSp& interface) {
  std::array<std::uint32_t, 10> words{};
  const std::int32_t code = interface.vm_getFWInfo(words.data(), std::uint32_t{words.size()});
  if (code != 0) {
    WriteToErrorFile(vam::kInformationFailed, code);
  }
  for (std::size_t i = 0; i < words.size(); ++i) {
    vam::PrintLine({std::to_string(i), ": ", std::to_string(static_cast<std::int32_t>(words[i]))});
  }
}

/// Trims, prints and compares the three versions of one part. Their lines start with `label`.
/// Returns true if the chip runs what the file system holds.
bool VerifyPart(std::string_view label, std::string& updated, std::string& chip,
                std::string& fileSystem) {
  vam::TrimVersions(updated, chip, fileSystem);
  vam::PrintLine({label, ": ", updated});
  vam::PrintLine({label, "IC: ", chip});
  vam::PrintLine({label, "FS: ", fileSystem});
  return compareVersion(fileSystem, chip);
}

void ReportMismatch(const std::string& message, const VamResult& result) {
  vam::PrintLine(message);
  WriteToErrorFile(message, -1, result);
}

/// Writes the verdict on `answers` to the status files and returns the exit status. Trims the
/// versions of `answers`.
int Judge(UpdateAnswers& answers) {
  auto& [fileSystem, updated, chip, result] = answers;
  // This comes before the codes: a firmware branch without the update has not failed.
  if (result.vamCode == VAM_RET_NOT_IMPLEMENTED) {
    vam::PrintLine("QX branch work detected!");
    WriteToErrorFile(vam::kNotImplemented, result.vamCode);
    return 0;
  }
  if (updated.code != 0) {
    vam::PrintLine("vam_updateFW failed");
    WriteToErrorFile(vam::kUpdateFailed, updated.code, result);
    return -1;
  }
  if (fileSystem.code != 0) {
    WriteToErrorFile(vam::kImageVersionsFailed, fileSystem.code, result);
    return -1;
  }
  if (chip.code != 0) {
    WriteToErrorFile(vam::kChipVersionsFailed, chip.code, result);
    return -1;
  }

  const bool systemMatches = VerifyPart("systemVersion", updated.systemVersion, chip.systemVersion,
                                        fileSystem.systemVersion);
  if (!systemMatches) {
    ReportMismatch(vam::kSystemMismatch, result);
  }
  const bool appMatches =
      VerifyPart("appVersion", updated.appVersion, chip.appVersion, fileSystem.appVersion);
  if (!appMatches) {
    ReportMismatch(vam::kAppMismatch, result);
  }
  if (systemMatches && appMatches) {
    WriteToVamOkFile(vam::kVerifiedMessage + chip.systemVersion, true);
  }
  return 0;
}

}  // namespace

int main() {
  vam::SecureStandardStreams();
  if (IsVamSupported() == 0) {
    return 0;
  }
  CaVamInterfaceSp interface(vam::TrustedApplicationUuid());
  UpdateAnswers answers = RunUpdate(interface);
  ReportFirmwareInformation(interface);
  return Judge(answers);
}
