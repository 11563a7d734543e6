#ifndef REPORT_STATUS_MESSAGES_H_
#define REPORT_STATUS_MESSAGES_H_

// The status files' format, shared by what writes them and what reads them: their names and every
// text that the update tool puts into them. A line ends in a blank and a newline.

namespace vam {

/// Holds the version that was verified: one line, kVerifiedMessage and the version.
inline constexpr char kOkFile[] = "/tmp/VAM_OK";
/// Collects an entry for every failure: a line of a message, a blank and a code in signed decimal,
/// then, where the entry has a result record, a line for each of its two codes.
inline constexpr char kErrorFile[] = "/tmp/VAM_FAIL";

inline constexpr char kLineEnd[] = " \n";
inline constexpr char kVerifiedMessage[] = "Updated FW version: ";

// The two lines of a result record start so.
inline constexpr char kVamCodePrefix[] = "vam ret: ";
inline constexpr char kFirmwareCodePrefix[] = "fw ret: ";

// Messages of entries with their codes. A message that ends in a blank has two before the code.

/// What open() returned.
inline constexpr char kNodeOpenFailed[] = "Open /dev/zelkshield failed with error:";
/// What ioctl() returned.
inline constexpr char kNodeQueryFailed[] = "ioctl GET_VAM_SUPPORT failed with error:";
/// The kernel driver's flag on a board without a VAM; VAM_RET_NOT_IMPLEMENTED where the chip's
/// firmware branch does not implement the update.
inline constexpr char kNotImplemented[] = "VAM_RET_NOT_IMPLEMENTED";
/// The command's TEEC_Result, here and in the next three.
inline constexpr char kInformationFailed[] = "vam_getFWInfo failed";
inline constexpr char kUpdateFailed[] = "vam_updateFW failed: ";
inline constexpr char kImageVersionsFailed[] = "vam_updateFW failed(get firmware size from FS): ";
inline constexpr char kChipVersionsFailed[] = "vam_updateFW failed(get firmware size from IC): ";
/// -1, here and in the next one.
inline constexpr char kSystemMismatch[] =
    "updated firmware version (IC) != firmware version on FS (System part)";
inline constexpr char kAppMismatch[] =
    "updated firmware version (IC) != firmware version on FS (App part)";

}  // namespace vam

#endif  // REPORT_STATUS_MESSAGES_H_
