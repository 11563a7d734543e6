#include "simulator/model/firmware_image.h"

#include <string.h>

namespace vam {

namespace {

bool Fits(const VersionText& version) { return version.length <= kVersionCapacity; }

bool Plausible(const ImageHeader& header, uint32_t imageSize) {
  return memcmp(header.magic, kImageMagic, sizeof kImageMagic) == 0 && Fits(header.system) &&
         Fits(header.app) && Fits(header.runsSystem) && Fits(header.runsApp) &&
         header.systemSize <= kPartSizeLimit && header.appSize <= kPartSizeLimit &&
         imageSize == sizeof header + header.systemSize + header.appSize + kDigestSize;
}

/// Digests `size` bytes of the image from `offset`.
bool DigestRange(ImageSource& source, Digest& digest, uint32_t offset, uint32_t size,
                 uint8_t value[kDigestSize]) {
  uint8_t piece[512];
  digest.Begin();
  while (size > 0) {
    const uint32_t count = size < sizeof piece ? size : static_cast<uint32_t>(sizeof piece);
    if (!source.Read(offset, piece, count)) {
      return false;
    }
    digest.Update(piece, count);
    offset += count;
    size -= count;
  }
  digest.End(value);
  return true;
}

}  // namespace

ImageStatus ReadFirmwareImage(ImageSource& source, Digest& digest, FirmwareImage& image) {
  uint32_t size = 0;
  if (!source.Size(&size)) {
    return ImageStatus::kMissing;
  }
  const ImageHeader& header = image.header;
  if (size < sizeof header || !source.Read(0, &image.header, sizeof header) ||
      !Plausible(header, size)) {
    return ImageStatus::kDamaged;
  }
  const uint32_t signedSize = size - kDigestSize;
  uint8_t value[kDigestSize];
  if (!source.Read(signedSize, image.digest, kDigestSize) ||
      !DigestRange(source, digest, 0, signedSize, value) ||
      memcmp(value, image.digest, kDigestSize) != 0) {
    return ImageStatus::kDamaged;
  }
  const uint32_t systemOffset = sizeof header;
  const uint32_t appOffset = systemOffset + header.systemSize;
  if (!DigestRange(source, digest, systemOffset, header.systemSize, image.systemDigest) ||
      !DigestRange(source, digest, appOffset, header.appSize, image.appDigest)) {
    return ImageStatus::kDamaged;
  }
  return ImageStatus::kWhole;
}

}  // namespace vam
