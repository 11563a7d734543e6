#ifndef PLATFORM_DEVICE_NODE_H_
#define PLATFORM_DEVICE_NODE_H_

// The kernel driver's device node of the secure element.

/// Path of the node, opened read-write.
constexpr char kVamDeviceNode[] = "/dev/zelkshield";

/// Request number of the ioctl that fills a 32-bit signed flag; 1 means that the board carries a
/// VAM. The driver takes the bare number: it has none of the kernel's direction, type and size
/// bits.
constexpr unsigned long GET_VAM_SUPPORT = 1;

#endif  // PLATFORM_DEVICE_NODE_H_
