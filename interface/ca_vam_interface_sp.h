#ifndef INTERFACE_CA_VAM_INTERFACE_SP_H_
#define INTERFACE_CA_VAM_INTERFACE_SP_H_

#include <cstdint>
#include <string>

#include "platform/tee_client.h"
#include "report/vam_result.h"

/// The commands of the VAM's trusted application, one method each. A method is a complete
/// exchange: it prints "CA InterfaceSP: " and its name, opens a connection of its own, sends its
/// request, reads its reply, and closes the connection on every path. Nothing stays open between
/// two commands, and they may come in any order. Not for use by two threads at once: the lines on
/// standard output would mix.
///
/// Every method returns a result code of the GlobalPlatform TEE Client API v1.0 (a TEEC_Result;
/// some return its bits as a signed integer):
/// - 0 on success;
/// - the code of the invocation when that failed. A connection that does not open prints a line,
///   and the command still invokes;
/// - TEEC_ERROR_NO_DATA (0xFFFF000B, signed -65525) when the marshaller refused the request, which
///   prints "WSM error" and invokes nothing, or when the reply could not be read.
/// Nothing is thrown but what the marshaller and the standard library throw. No method keeps its
/// caller's buffers.
class CaVamInterfaceSp {
 public:
  /// Every command opens `trustedApplication`. Opens nothing itself.
  explicit CaVamInterfaceSp(TEEC_UUID trustedApplication);
  ~CaVamInterfaceSp() = default;

  /// Removes the provisioned AK keys (command 44).
  TEEC_Result vam_removeAkKeys();
  /// Asks whether the chip holds its public key (command 26). The result code is the answer.
  TEEC_Result vam_getPublicKeyStatus();
  /// Provisions the AK record kept in the replay-protected memory block (command 25).
  TEEC_Result vam_akProvisionRPMB();
  /// Forces the recovery of the system part (command 43).
  TEEC_Result vam_forceRecoverySP();
  /// Forces the recovery of the chip (command 42).
  TEEC_Result vam_forceRecovery();
  /// Runs the chip's self test (command 32). The result code is the answer.
  TEEC_Result vam_selfTestAll();
  /// Has the trusted application report on the chip's application (command 29).
  TEEC_Result vam_getAppInfo();
  /// Has the trusted application report on the VAM (command 28).
  TEEC_Result vam_getInfo();

  /// Provisions an AK record of `length` bytes (command 24). The record is opaque here, and even a
  /// null `data` or a `length` of 0 is passed on: the marshaller decides what it takes. `data` is
  /// only read.
  TEEC_Result vam_akProvision(const std::uint8_t* data, std::uint32_t length);
  /// Has an AK record of `length` bytes checked (command 23). Otherwise as vam_akProvision().
  TEEC_Result vam_checkVamAk(const std::uint8_t* data, std::uint32_t length);
  /// Sets the `size` bytes of `buffer` to zero and fetches the hack information record (command 39)
  /// into them. A longer record is cut to `size` without notice. For a `size` of 0 or below, reads
  /// the reply and leaves `buffer` alone. For a record that is missing, or whose byte count is 0 or
  /// negative, prints nothing and returns TEEC_ERROR_NO_DATA.
  TEEC_Result vam_getHackInfo(std::uint8_t* buffer, std::int32_t size);

  /// Fetches the firmware information words (command 19). Writes the first `count` of them to
  /// `words`, or as many as came, and leaves the other elements. The line printed first names
  /// vam_getFWInfo. For a reply without words, prints nothing and returns TEEC_ERROR_NO_DATA. Every
  /// failure leaves `words` untouched.
  std::int32_t vm_getFWInfo(std::uint32_t* words, std::uint32_t count);
  /// The older form of vm_getFWInfo() (command 40).
  std::int32_t vam_getFWInfo(std::uint32_t* words, std::uint32_t count);

  /// Runs the update in `mode` (command 18; any number is passed on). Fetches the result record and
  /// the versions of the system and the application part, byte for byte as they were sent, with a
  /// terminating zero byte where there is one. Returns 0 when all of them came; the record itself
  /// may still say that the update failed.
  ///
  /// A failed invocation prints "InvokeCommand error". When a reply item is missing, or a version's
  /// size is 0, prints a line that names the item and returns TEEC_ERROR_COMMUNICATION (0xFFFF000E,
  /// signed -65522). The strings change only on success. `result` is filled as soon as the record
  /// has been read, even when a later item is missing.
  /// REQUIRES: `result` is not null.
  std::int32_t vm_updateFW(std::int32_t mode, std::string& systemVersion, std::string& appVersion,
                           VamResult* result);
  /// The older form of the update (command 30): sends `mode` and reads no reply.
  std::int32_t vam_updateFW(std::int32_t mode);

 private:
  TEEC_UUID uuid;
};

/// Returns the first `size` bytes of `buffer` as a string, unchanged, zero bytes included. When
/// `size` is 0 or negative, returns an empty string and does not read `buffer`.
std::string convertToString(const std::uint8_t* buffer, std::int32_t size);

namespace vam {

/// Returns the UUID of the VAM's trusted application as the TEE library's record.
TEEC_UUID TrustedApplicationUuid();

}  // namespace vam

#endif  // INTERFACE_CA_VAM_INTERFACE_SP_H_
