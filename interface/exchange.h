#ifndef INTERFACE_EXCHANGE_H_
#define INTERFACE_EXCHANGE_H_

#include <cstdint>
#include <optional>

#include "platform/marshaller.h"
#include "platform/tee_client.h"
#include "tee/vam_tee_client.h"

namespace vam {

/// One exchange with the trusted application, which every command is made of. A command calls the
/// steps from top to bottom and leaves out those that it does not need:
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

  /// Opens the connection to the trusted application `uuid`. A connection that does not open
  /// prints its line and changes nothing else: the result of Invoke() tells the command.
  Exchange& Open(const TEEC_UUID& uuid);

  /// Appends a value to the request. Every put is performed, also after one that the marshaller
  /// refused. The caller keeps `bytes`, which are only read.
  Exchange& PutInt(std::int32_t value);
  Exchange& PutUint(std::uint32_t value);
  Exchange& PutBlob(const std::uint8_t* bytes, std::uint32_t length);

  /// Invokes command `identifier` and returns the invocation's result; where that is not
  /// TEEC_SUCCESS, prints `failureLine`, unless it is null, after the connection's own lines. When
  /// the marshaller refused a value of the request, prints "WSM error", invokes nothing and returns
  /// TEEC_ERROR_NO_DATA (0xFFFF000B).
  [[nodiscard]] TEEC_Result Invoke(std::uint32_t identifier, const char* failureLine = nullptr);

  /// Returns the marshaller at the beginning of the reply; it lives as long as the exchange.
  /// REQUIRES: Invoke() returned TEEC_SUCCESS. Called at most once.
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
