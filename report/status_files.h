#ifndef REPORT_STATUS_FILES_H_
#define REPORT_STATUS_FILES_H_

#include <cstdint>
#include <string>

#include "report/vam_result.h"

// The writers of the status files, in which the update tool leaves its verdict for other services:
// "/tmp/VAM_OK" names the firmware version that was verified, "/tmp/VAM_FAIL" collects an entry for
// every failure met. Every line ends in a blank and a newline. The writers print nothing and report
// nothing: a file that cannot be opened, written or closed loses the entry, and the caller goes on.
// They throw std::length_error for a message too long to append to, and nothing else.

/// Writes `message` as one line to "/tmp/VAM_OK", created when missing; `truncate` empties the
/// file first, otherwise the line is added at its end.
void WriteToVamOkFile(std::string message, bool truncate);

/// Appends an entry of one line to "/tmp/VAM_FAIL", created when missing: `message`, a blank, and
/// `code` in signed decimal.
void WriteToErrorFile(std::string message, std::int32_t code);

/// The same with two more lines: "vam ret: " with the record's `vamCode`, then "fw ret: " with its
/// `fwCode`, both in signed decimal.
void WriteToErrorFile(std::string message, std::int32_t code, VamResult result);

/// Returns whether a stat of `path` succeeds. A directory exists; a path through a directory
/// that cannot be searched does not.
bool fileExists(const std::string& path);

#endif  // REPORT_STATUS_FILES_H_
