// vam-update: one run from the board probe to the verdict. Takes nothing on its command line and
// reads no environment.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "driver/board_probe.h"
#include "driver/standard_streams.h"
#include "driver/version_trimming.h"
#include "interface/ca_vam_interface_sp.h"
#include "interface/trusted_application.h"
#include "report/status_files.h"
#include "report/status_messages.h"
#include "report/vam_result.h"
#include "util/console_line.h"
#include "version/compare_version.h"

namespace {

/// Versions of the system and the application part of one firmware.
struct Versions {
  std::string system;
  std::string app;
};

/// Fetches and prints the firmware information words. They are printed also when they could not be
/// fetched; that failure leaves an entry and does not end the run.
void ReportFirmwareInformation(CaVamInterfaceSp& vam) {
  std::array<std::uint32_t, 10> words{};
  const std::int32_t code = vam.vm_getFWInfo(words.data(), std::uint32_t{words.size()});
  if (code != 0) {
    WriteToErrorFile(vam::kInformationFailed, code);
  }
  for (std::size_t i = 0; i < words.size(); ++i) {
    vam::PrintLine({std::to_string(i), ": ", std::to_string(static_cast<std::int32_t>(words[i]))});
  }
}

/// Trims, prints and compares the three versions of one part, whose lines start with `label`.
/// Returns whether the chip runs what the file system holds.
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

}  // namespace

int main() {
  vam::SecureStandardStreams();
  if (IsVamSupported() == 0) {
    return 0;
  }

  CaVamInterfaceSp vam(vam::TrustedApplicationUuid());
  vam::PrintLine("Run updateBIN for VAM_UPDATEFW_ALL");

  // One record for all three: it ends as the last call that filled it left it.
  VamResult result{};
  Versions fileSystem;
  Versions updated;
  Versions chip;
  const std::int32_t fileSystemCode =
      vam.vm_updateFW(vam::kReportFileSystem, fileSystem.system, fileSystem.app, &result);
  const std::int32_t updateCode =
      vam.vm_updateFW(vam::kUpdateAll, updated.system, updated.app, &result);
  const std::int32_t chipCode = vam.vm_updateFW(vam::kReportChip, chip.system, chip.app, &result);

  ReportFirmwareInformation(vam);

  // Before the codes: a firmware branch that does not implement the update has not failed.
  if (result.vamCode == VAM_RET_NOT_IMPLEMENTED) {
    vam::PrintLine("QX branch work detected!");
    WriteToErrorFile(vam::kNotImplemented, result.vamCode);
    return 0;
  }
  if (updateCode != 0) {
    vam::PrintLine("vam_updateFW failed");
    WriteToErrorFile(vam::kUpdateFailed, updateCode, result);
    return -1;
  }
  if (fileSystemCode != 0) {
    WriteToErrorFile(vam::kImageVersionsFailed, fileSystemCode, result);
    return -1;
  }
  if (chipCode != 0) {
    WriteToErrorFile(vam::kChipVersionsFailed, chipCode, result);
    return -1;
  }

  const bool systemMatches =
      VerifyPart("systemVersion", updated.system, chip.system, fileSystem.system);
  if (!systemMatches) {
    ReportMismatch(vam::kSystemMismatch, result);
  }
  const bool appMatches = VerifyPart("appVersion", updated.app, chip.app, fileSystem.app);
  if (!appMatches) {
    ReportMismatch(vam::kAppMismatch, result);
  }
  if (systemMatches && appMatches) {
    WriteToVamOkFile(vam::kVerifiedMessage + chip.system, true);
  }
  return 0;
}
