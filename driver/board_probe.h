#ifndef DRIVER_BOARD_PROBE_H_
#define DRIVER_BOARD_PROBE_H_

#include <cstdint>

/// Asks the kernel driver, through "/dev/zelkshield", whether the board carries a VAM. Returns 1
/// when it does and 0 in every other case, errors included. Prints its findings on standard output.
///
/// Each 0 also leaves an entry in "/tmp/VAM_FAIL". Its code is open's result when the node does not
/// open, the ioctl's result when that fails, and otherwise the driver's flag. After a failed ioctl
/// the descriptor is left open.
std::int32_t IsVamSupported();

#endif  // DRIVER_BOARD_PROBE_H_
