#ifndef SIMULATOR_STAND_INS_CNOLVWSM_H_
#define SIMULATOR_STAND_INS_CNOLVWSM_H_

#include <cstddef>
#include <cstdint>

/// The simulated board's marshaller. It puts typed values into a shared-memory block and gets them
/// from it, in an encoding that the simulated trusted application shares. An operation that does
/// not fit the block, or meets a value of another type or length, fails and changes nothing.
class CNolvWsm {
 public:
  /// Works in the buffer of the TEEC_SharedMemory record at `sharedMemory`, within its size. A
  /// record without a buffer takes and holds nothing.
  explicit CNolvWsm(void* sharedMemory);
  ~CNolvWsm();
  CNolvWsm(const CNolvWsm&) = delete;
  CNolvWsm& operator=(const CNolvWsm&) = delete;

  /// Append one value to the request. Return false when it does not fit.
  bool PutInt(std::int32_t value);
  bool PutUint(std::uint32_t value);
  bool PutBlob(const void* bytes, std::uint32_t length);

  /// Starts reading at the beginning of the reply. Ignores `mode`.
  void PrepareReset(int mode);

  /// Read the next value of the reply. Return false, with `*value` unchanged, when it is of another
  /// type.
  bool GetInt(std::int32_t* value);
  bool GetUint(std::uint32_t* value);
  /// Returns the next blob in place, or null when the next value is not a blob of `length` bytes.
  void* GetBlob(std::uint32_t length);

 private:
  unsigned char* block;
  std::size_t size;
  std::size_t position;
  /// The journal's number of this marshaller: the process's first is 1.
  std::uint32_t number;
};

#endif  // SIMULATOR_STAND_INS_CNOLVWSM_H_
