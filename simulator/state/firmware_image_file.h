#ifndef SIMULATOR_STATE_FIRMWARE_IMAGE_FILE_H_
#define SIMULATOR_STATE_FIRMWARE_IMAGE_FILE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/model/environment.h"

namespace vam {

/// The firmware image in a file, which stays open for as long as the object lives.
class FirmwareImageFile final : public ImageSource {
 public:
  /// A file that is not there is a missing image.
  explicit FirmwareImageFile(const std::string& path);
  ~FirmwareImageFile();
  FirmwareImageFile(const FirmwareImageFile&) = delete;
  FirmwareImageFile& operator=(const FirmwareImageFile&) = delete;

  bool Size(std::uint32_t* size) override;
  bool Read(std::uint32_t offset, void* bytes, std::uint32_t count) override;

  /// What kept a file that is there from being read, in a line for the user; empty: nothing. Then
  /// what Size() and Read() say is not true of any image.
  const std::string& Obstacle() const { return obstacle; }

 private:
  void FailFor(int error);

  std::string file;
  std::string obstacle;
  /// None: there is no file to read.
  std::optional<int> descriptor;
};

/// What a firmware image is made of.
struct ImageContents {
  /// The versions that the image claims, and those that the chip reports once it runs the parts.
  std::string systemVersion;
  std::string appVersion;
  std::string runsSystemVersion;
  std::string runsAppVersion;
  /// The bytes of the two parts.
  std::vector<std::uint8_t> systemPart;
  std::vector<std::uint8_t> appPart;
};

/// Returns the image as it lies in the file system. Throws std::invalid_argument, with a line for
/// the user, for a version or a part beyond what an image holds.
[[nodiscard]] std::vector<std::uint8_t> MakeFirmwareImage(const ImageContents& contents);

}  // namespace vam

#endif  // SIMULATOR_STATE_FIRMWARE_IMAGE_FILE_H_
