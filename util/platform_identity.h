#ifndef UTIL_PLATFORM_IDENTITY_H_
#define UTIL_PLATFORM_IDENTITY_H_

#include <string>

#include "platform/system_information.h"

// The platform's answers about the device. On failure a function prints one line on standard
// output and returns an empty string, so that its caller can go on. Only the line distinguishes a
// failure from a value that is empty.
// Nothing is thrown but std::bad_alloc.

/// Returns the device's serial number, which the settings store keeps under
/// "db/comss/serialnumber". When the store has none, prints "GetSerialNumber from vconf error" and
/// returns an empty string.
std::string GetSerialNumber();

/// Returns the system-information service's text for `key`. When the service refuses, or succeeds
/// without a text, prints "Failed to read string option" and returns an empty string.
std::string GetSysInfoStringValue(system_info_key_e key);

#endif  // UTIL_PLATFORM_IDENTITY_H_
