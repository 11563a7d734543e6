#ifndef REPORT_RESULT_CODES_H_
#define REPORT_RESULT_CODES_H_

// The result of a command of the trusted application: the codes of the two levels at which it can
// fail, and the record that carries one of each. Includes C headers only, so that the trusted
// application's own build takes it too.

#include <stdint.h>

/// Codes of the VAM service. The value 6 has no name.
enum VamRetCode : int32_t {
  VAM_RET_SUCCESS = 0,
  VAM_RET_FAIL = 1,
  VAM_RET_INIT_ERROR = 2,
  VAM_RET_CORE_ERROR = 3,
  VAM_RET_STORAGE_ERROR = 4,
  VAM_RET_DATA_NOT_FOUND = 5,
  VAM_RET_INVALID_PARAM = 7,
  VAM_RET_BUFFER_NOT_ENOUGH = 8,
  VAM_RET_MALLOC_ERROR = 9,
  VAM_RET_INVALID_INPUT_DATA = 10,
  VAM_RET_INVALID_OUTPUT_DATA = 11,
  VAM_RET_ACCESS_DENIED = 12,
  VAM_RET_NOT_IMPLEMENTED = 13,
};

/// Codes of the secure element's firmware, grouped by tens. From 101 on they name the steps of a
/// GlobalPlatform secure channel.
enum ZelkCode : int32_t {
  ZELK_NO_ERROR = 0,
  ZELK_UNKNOWN_ERROR = 1,
  ZELK_INIT_ERROR = 2,
  ZELK_DEINIT_ERROR = 3,
  ZELK_INVALID_PARAMETER = 11,
  ZELK_APDU_ERROR = 21,
  ZELK_BUFFER_ALLOC_FAIL = 31,
  ZELK_BUFFER_NOT_ENOUGH = 32,
  ZELK_COMM_ERROR = 41,
  ZELK_FW_ERROR = 51,
  ZELK_CORE_ERROR = 61,
  ZELK_CRYPTO_ERROR = 71,
  ZELK_CRED_ERROR = 81,
  ZELK_CRED_DELETED_STATUS_ERROR = 82,
  ZELK_CRED_INIT_STATUS_ERROR = 83,
  ZELK_SC_ERROR = 101,
  ZELK_SC_INVALID_SEC_LEVEL_ERROR = 102,
  ZELK_SC_INIT_UPDATE_ERROR = 103,
  ZELK_SC_EXT_AUTH_ERROR = 104,
  ZELK_SC_TERM_SESS_ERROR = 105,
  ZELK_SC_SEC_NOT_SATISFIED_ERROR = 121,
  ZELK_SC_ENC_DATA_ERROR = 122,
  ZELK_SC_COMP_C_MAC_ERROR = 123,
  ZELK_SC_COMP_R_MAC_ERROR = 124,
  ZELK_SC_MAC_MISMATCH_ERROR = 125,
  ZELK_SC_COMM_ERROR = 141,
};

/// Result of one command: a code of the VAM service in the secure world and one of the secure
/// element's firmware below it. 0 in both is success. Received from the trusted application as 8
/// bytes, two 32-bit little-endian integers in this order.
struct VamResult {
  /// A VAM_RET_ code.
  int32_t vamCode;
  /// A ZELK_ code, reported either as the code or as its negative.
  int32_t fwCode;
};
static_assert(sizeof(VamResult) == 8, "VamResult travels as an 8-byte block");

#endif  // REPORT_RESULT_CODES_H_
