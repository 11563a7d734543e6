#ifndef VIRTUAL_DEVICE_DEVICE_BOARD_BALLAST_H_
#define VIRTUAL_DEVICE_DEVICE_BOARD_BALLAST_H_

#include <cstddef>
#include <vector>

#include "platform/tee_client.h"

namespace vam {

/// Occupies the secure world's memory with instances of a trusted application that does nothing,
/// until there is room for no further one. What it took is free again once the process ends.
class Ballast {
 public:
  /// Throws std::runtime_error when the memory was not what stopped it.
  Ballast();
  ~Ballast();
  Ballast(const Ballast&) = delete;
  Ballast& operator=(const Ballast&) = delete;

  std::size_t Instances() const { return sessions.size(); }

 private:
  TEEC_Context context{};
  std::vector<TEEC_Session> sessions;
};

}  // namespace vam

#endif  // VIRTUAL_DEVICE_DEVICE_BOARD_BALLAST_H_
