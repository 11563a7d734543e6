#include "simulator/state/firmware_image_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/files/whole_file.h"
#include "simulator/model/firmware_image.h"
#include "simulator/state/sha256_digest.h"

namespace vam {

namespace {

VersionText MakeVersion(const std::string& text, const char* what) {
  VersionText version;
  if (!SetVersion(version, text.data(), static_cast<std::uint32_t>(text.size()))) {
    throw std::invalid_argument(std::string("the ") + what + " version has " +
                                std::to_string(text.size()) + " bytes; an image holds at most " +
                                std::to_string(kVersionCapacity));
  }
  return version;
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

FirmwareImageFile::FirmwareImageFile(const std::string& path) : file(path) {
  struct stat found;
  if (stat(path.c_str(), &found) == 0) {
    if (S_ISREG(found.st_mode)) {
      const int opened = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
      if (opened >= 0) {
        descriptor = opened;
      }
    } else {
      errno = S_ISDIR(found.st_mode) ? EISDIR : ESPIPE;
    }
  }
  if (!descriptor && errno != ENOENT) {
    FailFor(errno);
  }
}

FirmwareImageFile::~FirmwareImageFile() {
  if (descriptor) {
    close(*descriptor);
  }
}

bool FirmwareImageFile::Size(std::uint32_t* size) {
  if (!descriptor) {
    return false;
  }
  const off_t end = lseek(*descriptor, 0, SEEK_END);
  if (end < 0) {
    return false;
  }
  // A size beyond 32 bits is larger than any image; the reader then finds it damaged.
  constexpr std::uint64_t kLimit = std::numeric_limits<std::uint32_t>::max();
  *size = static_cast<std::uint32_t>(std::min(static_cast<std::uint64_t>(end), kLimit));
  return true;
}

bool FirmwareImageFile::Read(std::uint32_t offset, void* bytes, std::uint32_t count) {
  auto* place = static_cast<std::uint8_t*>(bytes);
  auto from = static_cast<off_t>(offset);
  while (descriptor && count > 0) {
    const ssize_t got = pread(*descriptor, place, count, from);
    if (got > 0) {
      place += got;
      from += got;
      count -= static_cast<std::uint32_t>(got);
    } else if (got == 0) {
      return false;
    } else if (errno != EINTR) {
      FailFor(errno);
      return false;
    }
  }
  return descriptor.has_value();
}

void FirmwareImageFile::FailFor(int error) {
  obstacle = file + ": the firmware image cannot be read: " + FileErrorInWords(error);
}

std::vector<std::uint8_t> MakeFirmwareImage(const ImageContents& contents) {
  const auto header = std::make_unique<ImageHeader>();
  std::memcpy(header->magic, kImageMagic, sizeof kImageMagic);
  header->system = MakeVersion(contents.systemVersion, "system");
  header->app = MakeVersion(contents.appVersion, "app");
  header->runsSystem = MakeVersion(contents.runsSystemVersion, "system part's own");
  header->runsApp = MakeVersion(contents.runsAppVersion, "app part's own");
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
