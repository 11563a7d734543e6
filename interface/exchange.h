#ifndef INTERFACE_EXCHANGE_H_
#define INTERFACE_EXCHANGE_H_

#include <cstdint>
#include <optional>

#include "platform/marshaller.h"
#include "platform/tee_client.h"
#include "tee/vam_tee_client.h"

namespace vam {

/// One exchange with the trusted application. Every command is one: it calls the steps from top to
/// bottom and leaves out those that it does not need:
///
///     vam::Exchange exchange("vam_name");
///     exchange.Open(uuid).PutInt(number);
///     const TEEC_Result result = exchange.Invoke(kVamName);
///     if (result != TEEC_SUCCESS) {
///       return result;
///     }
///     CNolvWsm& reply = exchange.Reply();
///
/// The end of the scope destroys the marshaller and then closes the connection, on every path out
/// of a command, exceptions included. Nothing is thrown but what the marshaller and the standard
/// library throw.
class Exchange {
 public:
  /// Prints "CA InterfaceSP: " and `command`. Opens nothing: a command that prepares its caller's
  /// buffers does so between its line and its connection.
  explicit Exchange(const char* command);
  ~Exchange() = default;
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  /// Opens the connection to the trusted application `uuid`. A connection that does not open prints
  /// its line, and the exchange goes on: Invoke() then returns the failure.
  Exchange& Open(const TEEC_UUID& uuid);

  /// Appends a value to the request, even after the marshaller has refused one. `bytes` are only
  /// read, and stay the caller's.
  Exchange& PutInt(std::int32_t value);
  Exchange& PutUint(std::uint32_t value);
  Exchange& PutBlob(const std::uint8_t* bytes, std::uint32_t length);

  /// Invokes command `identifier` and returns the invocation's result. When that is not
  /// TEEC_SUCCESS, the connection prints its lines, and then `failureLine` is printed unless it is
  /// null. When the marshaller has refused a value, prints "WSM error", invokes nothing and returns
  /// TEEC_ERROR_NO_DATA (0xFFFF000B).
  [[nodiscard]] TEEC_Result Invoke(std::uint32_t identifier, const char* failureLine = nullptr);

  /// Returns the marshaller, set to the beginning of the reply. It lives as long as the exchange.
  /// REQUIRES: Invoke() returned TEEC_SUCCESS, and Reply() was not called before.
  CNolvWsm& Reply();

 private:
  CNolvWsm& Marshaller();

  // In this order: the marshaller works in the client's block and is destroyed first.
  VAMTEEClient client;
  std::optional<CNolvWsm> marshaller;
  bool requestTaken = true;
};

}  // namespace vam

#endif  // INTERFACE_EXCHANGE_H_
