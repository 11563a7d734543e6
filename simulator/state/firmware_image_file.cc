#include "simulator/state/firmware_image_file.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/model/firmware_image.h"
#include "simulator/state/pc_environment.h"

namespace vam {

namespace {

void SetVersion(VersionText& version, const std::string& text, const char* what) {
  if (!set_version(version, text.data(), static_cast<std::uint32_t>(text.size()))) {
    throw std::invalid_argument(std::string("the ") + what + " version has " +
                                std::to_string(text.size()) + " bytes; an image holds at most " +
                                std::to_string(kVersionCapacity));
  }
}

std::uint32_t PartSize(const std::vector<std::uint8_t>& part, const char* what) {
  if (part.size() > kPartSizeLimit) {
    throw std::invalid_argument(std::string("the ") + what + " part has " +
                                std::to_string(part.size()) + " bytes; an image holds at most " +
                                std::to_string(kPartSizeLimit));
  }
  return static_cast<std::uint32_t>(part.size());
}

}  // namespace

std::vector<std::uint8_t> MakeFirmwareImage(const ImageContents& contents) {
  const auto header = std::make_unique<ImageHeader>();
  std::memcpy(header->magic, kImageMagic, sizeof kImageMagic);
  SetVersion(header->system, contents.systemVersion, "system");
  SetVersion(header->app, contents.appVersion, "app");
  SetVersion(header->runsSystem, contents.runsSystemVersion, "system part's own");
  SetVersion(header->runsApp, contents.runsAppVersion, "app part's own");
  header->systemSize = PartSize(contents.systemPart, "system");
  header->appSize = PartSize(contents.appPart, "app");

  const auto* headerBytes = reinterpret_cast<const std::uint8_t*>(header.get());
  std::vector<std::uint8_t> image(headerBytes, headerBytes + sizeof *header);
  image.insert(image.end(), contents.systemPart.begin(), contents.systemPart.end());
  image.insert(image.end(), contents.appPart.begin(), contents.appPart.end());

  Sha256Digest sha256;
  std::array<std::uint8_t, kDigestSize> digest{};
  sha256.Begin();
  sha256.Update(image.data(), static_cast<std::uint32_t>(image.size()));
  sha256.End(digest.data());
  image.insert(image.end(), digest.begin(), digest.end());
  return image;
}

}  // namespace vam
