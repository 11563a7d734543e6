#ifndef INTERFACE_CA_VAM_INTERFACE_SP_H_
#define INTERFACE_CA_VAM_INTERFACE_SP_H_

#include <cstdint>
#include <string>

#include "platform/tee_client.h"
#include "report/vam_result.h"

/// The commands of the VAM's trusted application, one method each. A method is a complete
/// exchange: it prints "CA InterfaceSP: " and its name, opens a connection of its own, sends its
/// request, reads its reply and closes the connection, on every path. Nothing stays open between
/// two commands, and callers need not order them. Not for use by two threads at once: the lines
/// on standard output would mix.
///
/// Every method returns a result code of the GlobalPlatform TEE Client API v1.0 (a TEEC_Result;
/// some return its bits as a signed integer): 0 on success, the code of the invocation where that
/// failed, or TEEC_ERROR_NO_DATA (0xFFFF000B, signed -65525) when the request could not be
/// marshalled ("WSM error" is printed and nothing is invoked) or the reply could not be read. A
/// connection that cannot be opened is described on standard output and shows as the code of the
/// invocation. Nothing is thrown but what the marshaller and the standard library throw. Caller's
/// buffers are not kept.
class CaVamInterfaceSp {
 public:
  /// Every command opens `trustedApplication`. Opens nothing itself.
  explicit CaVamInterfaceSp(TEEC_UUID trustedApplication);
  ~CaVamInterfaceSp() = default;

  /// Removes the provisioned AK keys (command 44).
  TEEC_Result vam_removeAkKeys();
  /// Asks whether the chip holds its public key (command 26); the answer is the result code.
  TEEC_Result vam_getPublicKeyStatus();
  /// Provisions the AK record kept in the replay-protected memory block (command 25).
  TEEC_Result vam_akProvisionRPMB();
  /// Forces the recovery of the system part (command 43).
  TEEC_Result vam_forceRecoverySP();
  /// Forces the recovery of the chip (command 42).
  TEEC_Result vam_forceRecovery();
  /// Runs the chip's self test (command 32); the answer is the result code.
  TEEC_Result vam_selfTestAll();
  /// Has the trusted application report on the chip's application (command 29).
  TEEC_Result vam_getAppInfo();
  /// Has the trusted application report on the VAM (command 28).
  TEEC_Result vam_getInfo();

  /// Provisions an AK record of `length` bytes (command 24). The record is opaque here, and
  /// neither a null `data` nor a `length` of 0 is refused: whether the record fits the block is
  /// the marshaller's verdict. `data` is only read.
  TEEC_Result vam_akProvision(const std::uint8_t* data, std::uint32_t length);
  /// Has an AK record of `length` bytes checked (command 23). As vam_akProvision() otherwise.
  TEEC_Result vam_checkVamAk(const std::uint8_t* data, std::uint32_t length);
  /// Fetches the hack information record (command 39) into `buffer` of `size` bytes, which is set
  /// to zero first. A longer record is cut to `size` without notice. With a `size` of 0 or below
  /// `buffer` is not touched and the reply is read all the same. Returns TEEC_ERROR_NO_DATA, and
  /// prints nothing, for a record that is missing or whose byte count is 0 or negative.
  TEEC_Result vam_getHackInfo(std::uint8_t* buffer, std::int32_t size);

  /// Fetches the firmware information words (command 19) and writes the first `count` of them, or
  /// as many as came, to `words`; elements behind those are left as they were. Returns
  /// TEEC_ERROR_NO_DATA, and prints nothing, for a reply without words; `words` is untouched on
  /// every failure. The line printed first names vam_getFWInfo.
  std::int32_t vm_getFWInfo(std::uint32_t* words, std::uint32_t count);
  /// The older form of vm_getFWInfo() (command 40).
  std::int32_t vam_getFWInfo(std::uint32_t* words, std::uint32_t count);

  /// Runs the update in `mode` (command 18; any number is passed on) and brings back the result
  /// record and the versions of the system and the application part, byte for byte as they were
  /// sent, a terminating zero byte included. Returns 0 when all came, whatever the record says.
  ///
  /// A reply item that is missing, or a version size of 0, prints a line that names it and returns
  /// TEEC_ERROR_COMMUNICATION (0xFFFF000E, signed -65522); a failed invocation prints
  /// "InvokeCommand error". The strings change only on success; `result` is filled as soon as the
  /// record has been read, also when a later item then fails.
  /// REQUIRES: `result` is not null.
  std::int32_t vm_updateFW(std::int32_t mode, std::string& systemVersion, std::string& appVersion,
                           VamResult* result);
  /// The older form of the update (command 30): sends `mode` and reads no reply.
  std::int32_t vam_updateFW(std::int32_t mode);

 private:
  TEEC_UUID uuid;
};

/// Returns the first `size` bytes of `buffer` as a string, each byte as it is, zero bytes
/// included; an empty string, without a look at `buffer`, when `size` is 0 or negative.
std::string convertToString(const std::uint8_t* buffer, std::int32_t size);

namespace vam {

/// Returns the UUID of the VAM's trusted application as the TEE library's record.
TEEC_UUID TrustedApplicationUuid();

}  // namespace vam

#endif  // INTERFACE_CA_VAM_INTERFACE_SP_H_
