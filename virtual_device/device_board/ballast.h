#ifndef VIRTUAL_DEVICE_DEVICE_BOARD_BALLAST_H_
#define VIRTUAL_DEVICE_DEVICE_BOARD_BALLAST_H_

#include <cstddef>
#include <vector>

#include "platform/tee_client.h"

namespace vam {

/// Occupies the secure world's memory with instances of a trusted application that does nothing,
/// until there is no room for another one. The memory is free again when the object or the process
/// is gone.
class Ballast {
 public:
  /// Throws std::runtime_error when something else than a lack of memory stopped it.
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
