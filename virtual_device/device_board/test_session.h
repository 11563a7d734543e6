#ifndef VIRTUAL_DEVICE_DEVICE_BOARD_TEST_SESSION_H_
#define VIRTUAL_DEVICE_DEVICE_BOARD_TEST_SESSION_H_

#include <cstdint>
#include <vector>

#include "platform/tee_client.h"
#include "simulator/model/answer_fault.h"
#include "virtual_device/trusted_application/test_commands.h"

namespace vam {

/// A session with the VAM's trusted application for its test commands. Everything throws
/// std::runtime_error with one line when the secure world refuses.
class TestSession {
 public:
  TestSession();
  ~TestSession();
  TestSession(const TestSession&) = delete;
  TestSession& operator=(const TestSession&) = delete;

  /// Replaces a stored object.
  void Replace(StoredObject object, const std::vector<std::uint8_t>& bytes);
  /// Returns a stored object; one that is missing is empty.
  std::vector<std::uint8_t> Read(StoredObject object);
  /// Removes a stored object; it may be missing.
  void Remove(StoredObject object);

  /// Replaces the faults of the answers.
  void SetFaults(const std::vector<AnswerFault>& faults);
  /// Returns how often each of the faults was applied.
  std::vector<std::uint32_t> Applied();
  /// Stops the trusted application behind so many writes of the chip's memory.
  void StopAfterWrites(std::uint32_t writes, StopKind kind);

 private:
  /// Runs one test command with a value and a memory reference, each of which may be null.
  void Invoke(TestCommand command, const TEEC_Value* value, std::uint32_t memoryType,
              TEEC_TempMemoryReference* memory);

  TEEC_Context context{};
  TEEC_Session session{};
};

}  // namespace vam

#endif  // VIRTUAL_DEVICE_DEVICE_BOARD_TEST_SESSION_H_
