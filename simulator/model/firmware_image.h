#ifndef SIMULATOR_MODEL_FIRMWARE_IMAGE_H_
#define SIMULATOR_MODEL_FIRMWARE_IMAGE_H_

// The firmware image in the device's file system. Freestanding.
//
// An image is a header, the bytes of the system part, the bytes of the app part, and the SHA-256 of
// everything before it. Numbers are 32-bit little-endian.

#include <stdint.h>

#include "simulator/model/chip_memory.h"
#include "simulator/model/environment.h"

namespace vam {

constexpr uint8_t kImageMagic[8] = {'V', 'A', 'M', 'I', 'M', 'G', '0', '1'};

/// The largest part that an image can carry, in bytes.
constexpr uint32_t kPartSizeLimit = 16U * 1024 * 1024;

struct ImageHeader {
  uint8_t magic[8];
  /// The versions that the image claims; parts of them may be wildcards.
  VersionText system;
  VersionText app;
  /// The versions that the chip reports once it runs the parts.
  VersionText runsSystem;
  VersionText runsApp;
  uint32_t systemSize;
  uint32_t appSize;
};
static_assert(sizeof(ImageHeader) == 8 + 4 * 256 + 8, "the header has no gaps");

/// What ReadFirmwareImage() keeps of an image.
struct FirmwareImage {
  ImageHeader header;
  uint8_t systemDigest[kDigestSize];
  uint8_t appDigest[kDigestSize];
  /// The image's own digest, its last bytes.
  uint8_t digest[kDigestSize];
};

enum class ImageStatus {
  kWhole,
  kMissing,
  /// Not an image, cut, or changed.
  kDamaged,
};

/// Reads the image in small pieces and verifies every field, length and digest. Fills `image` when
/// it returns kWhole; otherwise `image` holds nothing to trust.
[[nodiscard]] ImageStatus ReadFirmwareImage(ImageSource& source, Digest& digest,
                                            FirmwareImage& image);

}  // namespace vam

#endif  // SIMULATOR_MODEL_FIRMWARE_IMAGE_H_
