#include "report/vam_result.h"

#include <cstdint>
#include <string>

namespace {

/// Returns the magnitude of `code`. The most negative value has no positive counterpart and stays
/// itself.
std::int32_t Magnitude(std::int32_t code) {
  return code < 0 ? static_cast<std::int32_t>(0U - static_cast<std::uint32_t>(code)) : code;
}

std::string NameOrNumber(const char* name, std::int32_t code) {
  return name != nullptr ? name : std::to_string(code);
}

}  // namespace

namespace vam {

// Neither switch has a default, so that the compiler asks for the name of a new code.

const char* VamCodeName(std::int32_t code) {
  switch (static_cast<VamRetCode>(code)) {
    case VAM_RET_SUCCESS:
      return "VAM_RET_SUCCESS";
    case VAM_RET_FAIL:
      return "VAM_RET_FAIL";
    case VAM_RET_INIT_ERROR:
      return "VAM_RET_INIT_ERROR";
    case VAM_RET_CORE_ERROR:
      return "VAM_RET_CORE_ERROR";
    case VAM_RET_STORAGE_ERROR:
      return "VAM_RET_STORAGE_ERROR";
    case VAM_RET_DATA_NOT_FOUND:
      return "VAM_RET_DATA_NOT_FOUND";
    case VAM_RET_INVALID_PARAM:
      return "VAM_RET_INVALID_PARAM";
    case VAM_RET_BUFFER_NOT_ENOUGH:
      return "VAM_RET_BUFFER_NOT_ENOUGH";
    case VAM_RET_MALLOC_ERROR:
      return "VAM_RET_MALLOC_ERROR";
    case VAM_RET_INVALID_INPUT_DATA:
      return "VAM_RET_INVALID_INPUT_DATA";
    case VAM_RET_INVALID_OUTPUT_DATA:
      return "VAM_RET_INVALID_OUTPUT_DATA";
    case VAM_RET_ACCESS_DENIED:
      return "VAM_RET_ACCESS_DENIED";
    case VAM_RET_NOT_IMPLEMENTED:
      return "VAM_RET_NOT_IMPLEMENTED";
  }
  return nullptr;
}

const char* ZelkCodeName(std::int32_t code) {
  switch (static_cast<ZelkCode>(Magnitude(code))) {
    case ZELK_NO_ERROR:
      return "ZELK_NO_ERROR";
    case ZELK_UNKNOWN_ERROR:
      return "ZELK_UNKNOWN_ERROR";
    case ZELK_INIT_ERROR:
      return "ZELK_INIT_ERROR";
    case ZELK_DEINIT_ERROR:
      return "ZELK_DEINIT_ERROR";
    case ZELK_INVALID_PARAMETER:
      return "ZELK_INVALID_PARAMETER";
    case ZELK_APDU_ERROR:
      return "ZELK_APDU_ERROR";
    case ZELK_BUFFER_ALLOC_FAIL:
      return "ZELK_BUFFER_ALLOC_FAIL";
    case ZELK_BUFFER_NOT_ENOUGH:
      return "ZELK_BUFFER_NOT_ENOUGH";
    case ZELK_COMM_ERROR:
      return "ZELK_COMM_ERROR";
    case ZELK_FW_ERROR:
      return "ZELK_FW_ERROR";
    case ZELK_CORE_ERROR:
      return "ZELK_CORE_ERROR";
    case ZELK_CRYPTO_ERROR:
      return "ZELK_CRYPTO_ERROR";
    case ZELK_CRED_ERROR:
      return "ZELK_CRED_ERROR";
    case ZELK_CRED_DELETED_STATUS_ERROR:
      return "ZELK_CRED_DELETED_STATUS_ERROR";
    case ZELK_CRED_INIT_STATUS_ERROR:
      return "ZELK_CRED_INIT_STATUS_ERROR";
    case ZELK_SC_ERROR:
      return "ZELK_SC_ERROR";
    case ZELK_SC_INVALID_SEC_LEVEL_ERROR:
      return "ZELK_SC_INVALID_SEC_LEVEL_ERROR";
    case ZELK_SC_INIT_UPDATE_ERROR:
      return "ZELK_SC_INIT_UPDATE_ERROR";
    case ZELK_SC_EXT_AUTH_ERROR:
      return "ZELK_SC_EXT_AUTH_ERROR";
    case ZELK_SC_TERM_SESS_ERROR:
      return "ZELK_SC_TERM_SESS_ERROR";
    case ZELK_SC_SEC_NOT_SATISFIED_ERROR:
      return "ZELK_SC_SEC_NOT_SATISFIED_ERROR";
    case ZELK_SC_ENC_DATA_ERROR:
      return "ZELK_SC_ENC_DATA_ERROR";
    case ZELK_SC_COMP_C_MAC_ERROR:
      return "ZELK_SC_COMP_C_MAC_ERROR";
    case ZELK_SC_COMP_R_MAC_ERROR:
      return "ZELK_SC_COMP_R_MAC_ERROR";
    case ZELK_SC_MAC_MISMATCH_ERROR:
      return "ZELK_SC_MAC_MISMATCH_ERROR";
    case ZELK_SC_COMM_ERROR:
      return "ZELK_SC_COMM_ERROR";
  }
  return nullptr;
}

}  // namespace vam

std::string vamResultToStr(const VamResult& result) {
  std::string text = "VAM result is:\n";
  text += "\t\tVAM: " + NameOrNumber(vam::VamCodeName(result.vamCode), result.vamCode);
  text += "\n\t\tFirmware: ";
  if (result.fwCode < 0) {
    text += '-';
  }
  text += NameOrNumber(vam::ZelkCodeName(result.fwCode), Magnitude(result.fwCode));
  return text;
}
