#ifndef VAMCTL_CODE_TEXTS_H_
#define VAMCTL_CODE_TEXTS_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "report/vam_result.h"

// Codes as number and name, in vamctl's text and JSON.

namespace vam {

/// Returns a result code of the TEE Client API as "0xFFFF0008 TEEC_ERROR_ITEM_NOT_FOUND"; without
/// the name where it has none.
[[nodiscard]] std::string TeeCodeAsText(std::uint32_t code);

/// Returns {"code": 4294901768, "name": "TEEC_ERROR_ITEM_NOT_FOUND"}; "name" is null where the
/// code has none.
[[nodiscard]] nlohmann::ordered_json TeeCodeAsJson(std::uint32_t code);

/// Returns {"code": 3, "name": "TEEC_ORIGIN_TEE"}, where a result of the TEE Client API came from.
[[nodiscard]] nlohmann::ordered_json TeeOriginAsJson(std::uint32_t origin);

/// Returns the two lines of a record, "VAM: 7 VAM_RET_INVALID_PARAM" and
/// "firmware: -11 -ZELK_INVALID_PARAMETER", each indented by `indent`. No newline ends the second
/// one. A code without a name is shown as the number alone.
[[nodiscard]] std::string RecordAsText(const VamResult& record, const std::string& indent);

/// Returns {"vam": {"code": 7, "name": ...}, "firmware": {"code": -11, "name": ...}}.
[[nodiscard]] nlohmann::ordered_json RecordAsJson(const VamResult& record);

}  // namespace vam

#endif  // VAMCTL_CODE_TEXTS_H_
