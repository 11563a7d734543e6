// vam-image: makes and shows firmware images of the simulated board.

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/program.h"
#include "simulator/files/whole_file.h"
#include "simulator/model/firmware_image.h"
#include "simulator/state/firmware_image_file.h"
#include "simulator/state/sha256_digest.h"
#include "util/standard_output.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

std::vector<std::uint8_t> ReadPart(const std::string& path) {
  if (path.empty()) {
    return {};
  }
  const std::optional<std::string> bytes = vam::ReadWholeFile(path, vam::kPartSizeLimit);
  if (!bytes && errno == EFBIG) {
    throw std::runtime_error(path + ": more than " + std::to_string(vam::kPartSizeLimit) +
                             " bytes; no part of an image is larger");
  }
  if (!bytes) {
    throw std::runtime_error(path + ": cannot be read: " + vam::FileErrorInWords(errno) +
                             "; give a file with the part's bytes");
  }
  return {bytes->begin(), bytes->end()};
}

std::string Text(const vam::VersionText& version) {
  return std::string(reinterpret_cast<const char*>(version.text), version.length);
}

void Show(const std::string& path) {
  vam::FirmwareImageFile source(path);
  vam::Sha256Digest digest;
  const auto image = std::make_unique<vam::FirmwareImage>();
  switch (vam::ReadFirmwareImage(source, digest, *image)) {
    case vam::ImageStatus::kMissing:
      throw std::runtime_error(
          (source.Obstacle().empty() ? path + ": there is no such file" : source.Obstacle()) +
          "; give the path of an image");
    case vam::ImageStatus::kDamaged:
      if (!source.Obstacle().empty()) {
        throw std::runtime_error(source.Obstacle());
      }
      throw std::runtime_error(path + ": not a whole firmware image; make it anew");
    case vam::ImageStatus::kWhole:
      break;
  }
  const vam::ImageHeader& header = image->header;
  vam::Print("system version: " + Text(header.system) + "\napp version: " + Text(header.app) +
             "\nsystem part: " + std::to_string(header.systemSize) + " bytes, runs as " +
             Text(header.runsSystem) + "\napp part: " + std::to_string(header.appSize) +
             " bytes, runs as " + Text(header.runsApp) + "\n");
}

int Perform(int argc, char** argv) {
  CLI::App app("Makes and shows firmware images for the simulated board.", "vam-image");
  app.set_version_flag("--version", "vam-image " VAM_VERSION);

  vam::ImageContents contents;
  std::string systemFile;
  std::string appFile;
  std::string output;
  CLI::App* make = app.add_subcommand("make", "Make an image");
  make->add_option("--system-version", contents.systemVersion, "Version of the system part")
      ->required();
  make->add_option("--app-version", contents.appVersion, "Version of the app part")->required();
  CLI::Option* runsSystem = make->add_option(
      "--runs-system-version", contents.runsSystemVersion,
      "Version that the chip reports once it runs the system part; the same by default");
  CLI::Option* runsApp =
      make->add_option("--runs-app-version", contents.runsAppVersion,
                       "Version that the chip reports once it runs the app part");
  make->add_option("--system-part", systemFile, "File with the bytes of the system part");
  make->add_option("--app-part", appFile, "File with the bytes of the app part");
  make->add_option("-o,--output", output, "The image to write")->required();

  std::string shown;
  CLI::App* show = app.add_subcommand("show", "Verify an image and show it in words");
  show->add_option("FILE", shown, "The image")->required();

  if (!vam::Parse(app, argc, argv)) {
    return 0;
  }
  if (*show) {
    Show(shown);
    return 0;
  }
  if (runsSystem->empty()) {
    contents.runsSystemVersion = contents.systemVersion;
  }
  if (runsApp->empty()) {
    contents.runsAppVersion = contents.appVersion;
  }
  for (const std::string& part : {systemFile, appFile}) {
    if (!part.empty() && vam::IsSameFile(output, part)) {
      throw std::runtime_error(output + ": is a part of this image; give another file with -o");
    }
  }
  contents.systemPart = ReadPart(systemFile);
  contents.appPart = ReadPart(appFile);
  const std::vector<std::uint8_t> image = vam::MakeFirmwareImage(contents);
  if (!vam::ReplaceFile(output, image.data(), image.size())) {
    throw std::runtime_error(output + ": cannot be written: " + vam::FileErrorInWords(errno) +
                             "; give a file that you can write to with -o");
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  vam::HoldClosedStandardStreams();
  try {
    return Perform(argc, argv);
  } catch (const vam::WrongUsage& error) {
    vam::Tell("vam-image", error.what());
    return kUsage;
  } catch (const std::exception& error) {
    vam::Tell("vam-image", error.what());
    return kFailed;
  }
}
