#ifndef INTERFACE_COMMAND_FRAME_H_
#define INTERFACE_COMMAND_FRAME_H_

#include <cstdint>
#include <functional>

#include "platform/marshaller.h"
#include "platform/tee_client.h"

namespace vam {

/// What is a command's own in its exchange with the trusted application. All but the first two
/// members may be left out.
struct Command {
  std::uint32_t identifier;
  /// Printed behind "CA InterfaceSP: " before anything else happens.
  const char* name;
  /// Prepares the caller's buffers, before the connection is opened.
  std::function<void()> prepare = nullptr;
  /// Puts the request's values, every one of them also after one has failed; returns whether all
  /// were taken.
  std::function<bool(CNolvWsm&)> putRequest = nullptr;
  /// Gets the reply's values from a marshaller that stands at the reply's beginning; returns the
  /// command's result.
  std::function<TEEC_Result(CNolvWsm&)> getReply = nullptr;
  /// Printed when the invocation failed, behind the client's own lines.
  const char* invokeErrorLine = nullptr;
};

/// Runs one command as a complete exchange: line, preparation, connection, request, invocation,
/// reply. Returns the invocation's result where it is not 0, else the reply's where the command
/// has one. A request that the marshaller does not take is not invoked: prints "WSM error" and
/// returns TEEC_ERROR_NO_DATA (0xFFFF000B).
///
/// A connection that failed to open is not looked at: the invocation goes on and its result tells.
/// The marshaller is destroyed before the connection is closed, and both before this returns or
/// throws.
[[nodiscard]] TEEC_Result RunCommand(const TEEC_UUID& uuid, const Command& command);

}  // namespace vam

#endif  // INTERFACE_COMMAND_FRAME_H_
