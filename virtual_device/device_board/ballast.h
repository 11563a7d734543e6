#ifndef VIRTUAL_DEVICE_DEVICE_BOARD_BALLAST_H_
#define VIRTUAL_DEVICE_DEVICE_BOARD_BALLAST_H_

namespace vam {

/// Occupies the secure world's memory with instances of a trusted application that does nothing,
/// until there is no room for another one. The memory is free again when this process has ended.
/// Throws std::runtime_error when something else than a lack of memory stops it.
void OccupySecureMemory();

}  // namespace vam

#endif  // VIRTUAL_DEVICE_DEVICE_BOARD_BALLAST_H_
