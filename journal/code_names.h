#ifndef JOURNAL_CODE_NAMES_H_
#define JOURNAL_CODE_NAMES_H_

#include <cstdint>
#include <optional>
#include <string>

// Names of the numbers in a journal. report/tee_codes.h has those of the TEE's results.

namespace vam {

/// Returns the error number that POSIX names `name`, such as EIO; none for a name that no device
/// node gives.
[[nodiscard]] std::optional<int> ErrorNumberByName(const std::string& name);

/// Returns the name of an error number, or null when ErrorNumberByName() has none.
[[nodiscard]] const char* ErrorNumberName(int number);

/// Returns the command identifier that the method `name` of the command interface sends; none when
/// it has no such method.
[[nodiscard]] std::optional<std::uint32_t> CommandByName(const std::string& name);

/// Returns the method of the command interface that sends command `identifier`, or null.
[[nodiscard]] const char* CommandName(std::uint32_t identifier);

/// Returns whether `identifier` is a command on AK keys: the bytes that travel with it are secret.
[[nodiscard]] bool CarriesKeys(std::uint32_t identifier);

/// Returns the name of a return origin, such as "TEEC_ORIGIN_TEE", or null.
[[nodiscard]] const char* OriginName(std::uint32_t origin);

}  // namespace vam

#endif  // JOURNAL_CODE_NAMES_H_
