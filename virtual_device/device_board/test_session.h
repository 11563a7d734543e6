#ifndef VIRTUAL_DEVICE_DEVICE_BOARD_TEST_SESSION_H_
#define VIRTUAL_DEVICE_DEVICE_BOARD_TEST_SESSION_H_

#include <cstdint>
#include <vector>

#include "platform/tee_client.h"
#include "simulator/model/answer_fault.h"
#include "virtual_device/trusted_application/test_commands.h"

namespace vam {

/// A session with the VAM's trusted application for its test commands. Every method throws
/// std::runtime_error, with one line for the user, when the secure world refuses.
class TestSession {
 public:
  TestSession();
  ~TestSession();
  TestSession(const TestSession&) = delete;
  TestSession& operator=(const TestSession&) = delete;

  /// Replaces a stored object, which may be missing.
  void Replace(StoredObject object, const std::vector<std::uint8_t>& bytes);
  /// Returns the bytes of a stored object: none when it is missing.
  std::vector<std::uint8_t> Read(StoredObject object);
  /// Removes a stored object, which may be missing.
  void Remove(StoredObject object);

  /// Replaces the faults of the answers, and forgets a stop.
  void SetFaults(const std::vector<AnswerFault>& faults);
  /// Returns how often each fault was applied, in the order of SetFaults().
  std::vector<std::uint32_t> Applied();
  /// Stops the trusted application after `writes` writes of the chip's memory, counted from now.
  void StopAfterWrites(std::uint32_t writes, StopKind kind);

 private:
  /// Runs one test command. `value` and `memory` are its parameters 0 and 1, or null; the size in
  /// `memory` becomes what the command made of it.
  void Invoke(TestCommand command, const TEEC_Value* value, std::uint32_t memoryType,
              TEEC_TempMemoryReference* memory);

  TEEC_Context context{};
  TEEC_Session session{};
};

}  // namespace vam

#endif  // VIRTUAL_DEVICE_DEVICE_BOARD_TEST_SESSION_H_
