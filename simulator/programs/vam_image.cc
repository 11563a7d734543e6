// vam-image: makes and shows firmware images of the simulated board.

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "command_line/parsing.h"
#include "command_line/program.h"
#include "command_line/values.h"
#include "simulator/files/whole_file.h"
#include "simulator/model/environment.h"
#include "simulator/model/firmware_image.h"
#include "simulator/state/firmware_image_file.h"
#include "simulator/state/sha256_digest.h"
#include "util/standard_output.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

/// Adds an option or argument that is a file's name, or kStandardStream.
CLI::Option* AddFile(CLI::App* command, const std::string& name, std::string& file,
                     const std::string& description) {
  CLI::Option* option = command->add_option(name, file, description);
  vam::TakeNamed(option, vam::kFileType);
  return option;
}

std::vector<std::uint8_t> ReadPart(const std::string& path) {
  if (path.empty()) {
    return {};
  }
  const bool isInput = path == vam::kStandardStream;
  const std::optional<std::string> bytes =
      isInput ? vam::ReadStandardInput() : vam::ReadWholeFile(path, vam::kPartSizeLimit);
  if (bytes ? bytes->size() > vam::kPartSizeLimit : errno == EFBIG) {
    throw std::runtime_error((isInput ? "standard input" : path) + ": more than " +
                             std::to_string(vam::kPartSizeLimit) +
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

/// An image that standard input brought.
class ReadImage final : public vam::ImageSource {
 public:
  explicit ReadImage(std::string read) : image(std::move(read)) {}

  bool Size(std::uint32_t* size) override {
    *size = static_cast<std::uint32_t>(image.size());
    return true;
  }
  bool Read(std::uint32_t offset, void* bytes, std::uint32_t count) override {
    if (offset > image.size() || count > image.size() - offset) {
      return false;
    }
    std::memcpy(bytes, image.data() + offset, count);
    return true;
  }

 private:
  std::string image;
};

std::runtime_error NotWhole(const std::string& name) {
  return std::runtime_error(name + ": not a whole firmware image; make it anew");
}

void ReadFromInput(vam::FirmwareImage& image) {
  ReadImage source(vam::ReadStandardInput());
  vam::Sha256Digest digest;
  if (vam::ReadFirmwareImage(source, digest, image) != vam::ImageStatus::kWhole) {
    throw NotWhole("standard input");
  }
}

void ReadFromFile(const std::string& path, vam::FirmwareImage& image) {
  vam::FirmwareImageFile source(path);
  vam::Sha256Digest digest;
  switch (vam::ReadFirmwareImage(source, digest, image)) {
    case vam::ImageStatus::kMissing:
      throw std::runtime_error(
          (source.Obstacle().empty() ? path + ": there is no such file" : source.Obstacle()) +
          "; give the path of an image");
    case vam::ImageStatus::kDamaged:
      if (!source.Obstacle().empty()) {
        throw std::runtime_error(source.Obstacle());
      }
      throw NotWhole(path);
    case vam::ImageStatus::kWhole:
      break;
  }
}

void Show(const std::string& path) {
  const auto image = std::make_unique<vam::FirmwareImage>();
  if (path == vam::kStandardStream) {
    ReadFromInput(*image);
  } else {
    ReadFromFile(path, *image);
  }
  const vam::ImageHeader& header = image->header;
  vam::Print("system version: " + Text(header.system) + "\napp version: " + Text(header.app) +
             "\nsystem part: " + std::to_string(header.systemSize) + " bytes, runs as " +
             Text(header.runsSystem) + "\napp part: " + std::to_string(header.appSize) +
             " bytes, runs as " + Text(header.runsApp) + "\n");
}

/// Puts the parts into `contents` and writes the image.
void Make(vam::ImageContents& contents, const std::string& systemFile, const std::string& appFile,
          const std::string& output) {
  if (systemFile == vam::kStandardStream && appFile == vam::kStandardStream) {
    throw vam::WrongUsage("standard input is one part only; give a file for the other");
  }
  const bool isPrinted = output == vam::kStandardStream;
  for (const std::string& part : {systemFile, appFile}) {
    if (!isPrinted && !part.empty() && part != vam::kStandardStream &&
        vam::IsSameFile(output, part)) {
      throw std::runtime_error(output + ": is a part of this image; give another file with -o");
    }
  }
  contents.systemPart = ReadPart(systemFile);
  contents.appPart = ReadPart(appFile);
  const std::vector<std::uint8_t> image = vam::MakeFirmwareImage(contents);
  if (isPrinted) {
    vam::Print({image.begin(), image.end()});
  } else if (!vam::ReplaceFile(output, image.data(), image.size())) {
    throw std::runtime_error(output + ": cannot be written: " + vam::FileErrorInWords(errno) +
                             "; give a file that you can write to with -o");
  }
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
  AddFile(make, "--system-part", systemFile,
          "File with the bytes of the system part; - reads them from standard input");
  AddFile(make, "--app-part", appFile,
          "File with the bytes of the app part; - reads them from standard input");
  AddFile(make, "-o,--output", output, "The image to write; - writes it to standard output")
      ->required();

  std::string shown;
  CLI::App* show = app.add_subcommand("show", "Verify an image and show it in words");
  AddFile(show, "FILE", shown, "The image; - reads it from standard input")->required();

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
  Make(contents, systemFile, appFile, output);
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
    vam::Tell("vam-image", vam::ProblemInWords(error));
    return kFailed;
  }
}
