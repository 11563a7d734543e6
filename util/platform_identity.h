#ifndef UTIL_PLATFORM_IDENTITY_H_
#define UTIL_PLATFORM_IDENTITY_H_

#include <string>

#include "platform/system_information.h"

// What the platform tells of the device it runs on. A failure is one line on standard output and
// an empty string, so that a caller can go on; the line alone tells it from a value that is empty.
// Nothing is thrown but std::bad_alloc.

/// Returns the device's serial number, which the settings store keeps under
/// "db/comss/serialnumber". Where the store has none, prints "GetSerialNumber from vconf error" and
/// returns an empty string.
std::string GetSerialNumber();

/// Returns what the system-information service answers for `key`. Where it refuses, or answers
/// with no text, prints "Failed to read string option" and returns an empty string.
std::string GetSysInfoStringValue(system_info_key_e key);

#endif  // UTIL_PLATFORM_IDENTITY_H_
