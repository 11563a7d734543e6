#ifndef DRIVER_BOARD_PROBE_H_
#define DRIVER_BOARD_PROBE_H_

#include <cstdint>

/// Asks the kernel driver, through "/dev/zelkshield", whether the board carries a VAM. Returns 1
/// when it does and 0 in every other case. Each 0 is told twice: in a line on standard output and
/// in an entry of "/tmp/VAM_FAIL", whose code is open's result, the ioctl's result, or the flag
/// that the driver gave.
///
/// A descriptor whose ioctl failed is left open.
std::int32_t IsVamSupported();

#endif  // DRIVER_BOARD_PROBE_H_
