// Reads arbitrary firmware images. The first byte of an input tells whether the digest at the end
// is made right; without that nothing but the first checks would be reached.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "simulator/model/environment.h"
#include "simulator/model/firmware_image.h"
#include "simulator/state/sha256_digest.h"

namespace {

class ImageInMemory final : public vam::ImageSource {
 public:
  explicit ImageInMemory(const std::vector<std::uint8_t>& contents) : bytes(contents) {}

  bool Size(std::uint32_t* size) override {
    *size = static_cast<std::uint32_t>(bytes.size());
    return true;
  }
  bool Read(std::uint32_t offset, void* place, std::uint32_t count) override {
    // The reader keeps within the size that it was told.
    vam::Require(offset <= bytes.size() && count <= bytes.size() - offset);
    std::memcpy(place, bytes.data() + offset, count);
    return true;
  }

 private:
  const std::vector<std::uint8_t>& bytes;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  std::vector<std::uint8_t> bytes(data + 1, data + size);
  vam::Sha256Digest digest;
  if (data[0] % 2 != 0 && bytes.size() >= vam::kDigestSize) {
    const std::size_t digested = bytes.size() - vam::kDigestSize;
    digest.Begin();
    digest.Update(bytes.data(), static_cast<std::uint32_t>(digested));
    digest.End(bytes.data() + digested);
  }
  ImageInMemory source(bytes);
  vam::FirmwareImage image;
  if (vam::ReadFirmwareImage(source, digest, image) == vam::ImageStatus::kWhole) {
    const vam::ImageHeader& header = image.header;
    vam::Require(bytes.size() ==
                 sizeof header + header.systemSize + header.appSize + vam::kDigestSize);
    for (const vam::VersionText* version :
         {&header.system, &header.app, &header.runsSystem, &header.runsApp}) {
      vam::Require(version->length <= vam::kVersionCapacity);
    }
  }
  return 0;
}
