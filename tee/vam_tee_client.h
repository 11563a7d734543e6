#ifndef TEE_VAM_TEE_CLIENT_H_
#define TEE_VAM_TEE_CLIENT_H_

#include <cstdint>

#include "platform/tee_client.h"

/// One connection to a trusted application over the GlobalPlatform TEE Client API v1.0: a context,
/// a session, and one block of kSharedBlockSize bytes of shared memory that carries a request there
/// and its reply back. Knows nothing of what a command means or how the block is laid out.
///
/// The three resources are acquired in the order context, session, memory and released in the
/// reverse order, each exactly once and only if it is held. A closed client may be opened again. A
/// failure prints one line on standard output, with its codes in unsigned decimal, and is returned.
/// Nothing is thrown.
class VAMTEEClient {
 public:
  /// Holds nothing; calls no library function.
  VAMTEEClient();
  /// Calls Close().
  ~VAMTEEClient();
  VAMTEEClient(const VAMTEEClient&) = delete;
  VAMTEEClient& operator=(const VAMTEEClient&) = delete;

  /// Opens the whole connection to `trustedApplication`, prints "TEE connection has been set" and
  /// returns true. Stops at the first step that fails and returns false; resources acquired before
  /// stay held until Close(). A resource that is already held is not acquired again.
  bool Open(TEEC_UUID trustedApplication);

  /// Releases whatever is held: FreeMemory(), CloseSession(), CloseContext().
  void Close();

  /// Invokes command `identifier` with the whole block as one partial in-out memory reference, and
  /// returns the library's result unchanged. The block holds the request before and the reply
  /// after. Prints any result but TEEC_SUCCESS with its return origin. For TEEC_ERROR_GENERIC from
  /// TEEC_ORIGIN_COMMS, prints a second line and takes no action. Invokes even when the connection
  /// is not open; the library then answers with its own error.
  TEEC_Result InvokeCommand(std::uint32_t identifier);

  /// Returns the address of the shared memory's record, not of its buffer: a marshaller is
  /// constructed on the record. The client owns it, and it lives as long as the client.
  void* getSHMPtr();

  /// Initialises the context of the default TEE. Returns true if the context is held.
  bool OpenContext();
  /// Opens a session with the trusted application given to Open(), with public login. Returns true
  /// if the session is held. In the line of a failure the result and the return origin run
  /// together; log readers depend on it.
  bool OpenSession();
  /// Allocates the block of kSharedBlockSize bytes, for input and output. Returns true if it is
  /// held.
  bool AllocateMemory();

  /// Releases the block if it is held.
  void FreeMemory();
  /// Closes the session if it is held.
  void CloseSession();
  /// Finalises the context if it is held.
  void CloseContext();

 private:
  TEEC_Context context;
  TEEC_Session session;
  TEEC_SharedMemory sharedMemory;
  TEEC_UUID uuid;
  bool contextInitialized = false;
  bool sessionOpened = false;
  bool memoryAllocated = false;
};

#endif  // TEE_VAM_TEE_CLIENT_H_
