#ifndef REPORT_TEE_CODES_H_
#define REPORT_TEE_CODES_H_

#include <cstdint>
#include <optional>
#include <string>

// The result codes of the GlobalPlatform TEE Client API v1.0 and their names.

namespace vam {

struct TeeCode {
  std::uint32_t value;
  char name[27];
};

// Numbers, not the constants of tee_client_api.h: an SDK's header may lack some of them.
inline constexpr TeeCode kTeeCodes[] = {
    {0x00000000, "TEEC_SUCCESS"},
    {0xFFFF0000, "TEEC_ERROR_GENERIC"},
    {0xFFFF0001, "TEEC_ERROR_ACCESS_DENIED"},
    {0xFFFF0002, "TEEC_ERROR_CANCEL"},
    {0xFFFF0003, "TEEC_ERROR_ACCESS_CONFLICT"},
    {0xFFFF0004, "TEEC_ERROR_EXCESS_DATA"},
    {0xFFFF0005, "TEEC_ERROR_BAD_FORMAT"},
    {0xFFFF0006, "TEEC_ERROR_BAD_PARAMETERS"},
    {0xFFFF0007, "TEEC_ERROR_BAD_STATE"},
    {0xFFFF0008, "TEEC_ERROR_ITEM_NOT_FOUND"},
    {0xFFFF0009, "TEEC_ERROR_NOT_IMPLEMENTED"},
    {0xFFFF000A, "TEEC_ERROR_NOT_SUPPORTED"},
    {0xFFFF000B, "TEEC_ERROR_NO_DATA"},
    {0xFFFF000C, "TEEC_ERROR_OUT_OF_MEMORY"},
    {0xFFFF000D, "TEEC_ERROR_BUSY"},
    {0xFFFF000E, "TEEC_ERROR_COMMUNICATION"},
    {0xFFFF000F, "TEEC_ERROR_SECURITY"},
    {0xFFFF0010, "TEEC_ERROR_SHORT_BUFFER"},
    {0xFFFF0011, "TEEC_ERROR_EXTERNAL_CANCEL"},
    {0xFFFF3024, "TEEC_ERROR_TARGET_DEAD"},
};

/// Returns the name of a result code, such as "TEEC_ERROR_GENERIC", or null for a code that the
/// standard does not name.
[[nodiscard]] const char* TeeCodeName(std::uint32_t value);

/// Returns the result code that the standard names `name`, or nothing where it names none so.
[[nodiscard]] std::optional<std::uint32_t> TeeCodeByName(const std::string& name);

}  // namespace vam

#endif  // REPORT_TEE_CODES_H_
