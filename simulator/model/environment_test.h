#ifndef SIMULATOR_MODEL_ENVIRONMENT_TEST_H_
#define SIMULATOR_MODEL_ENVIRONMENT_TEST_H_

// The world of the trusted application's model, kept in memory for tests.

#include <openssl/sha.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/model/chip_memory.h"
#include "simulator/model/environment.h"
#include "simulator/model/firmware_image.h"

namespace vam {

/// The chip's memory; takes no more writes after `writesTaken`.
class MemoryStore final : public ChipMemoryStore {
 public:
  bool Load(void* bytes, std::uint32_t size) override {
    if (stored.size() != size) {
      return false;
    }
    std::copy(stored.begin(), stored.end(), static_cast<std::uint8_t*>(bytes));
    return true;
  }
  bool Save(const void* bytes, std::uint32_t size) override {
    if (writes >= writesTaken) {
      return false;
    }
    ++writes;
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    stored.assign(first, first + size);
    return true;
  }

  std::vector<std::uint8_t> stored;
  int writes = 0;
  int writesTaken = 1000;
};

/// The firmware image; `present` tells whether there is one. Fails to read after `readsTaken`.
class MemoryImage final : public ImageSource {
 public:
  bool Size(std::uint32_t* size) override {
    *size = static_cast<std::uint32_t>(bytes.size());
    return present;
  }
  bool Read(std::uint32_t offset, void* to, std::uint32_t count) override {
    if (!present || reads >= readsTaken || offset > bytes.size() || count > bytes.size() - offset) {
      return false;
    }
    ++reads;
    std::copy_n(bytes.begin() + offset, count, static_cast<std::uint8_t*>(to));
    return true;
  }

  bool present = true;
  std::vector<std::uint8_t> bytes;
  int reads = 0;
  int readsTaken = 1000000;
};

/// Collects what it digests.
class Sha256 final : public Digest {
 public:
  void Begin() override { data.clear(); }
  void Update(const void* bytes, std::uint32_t count) override {
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    data.insert(data.end(), first, first + count);
  }
  void End(std::uint8_t digest[kDigestSize]) override { SHA256(data.data(), data.size(), digest); }

 private:
  std::vector<std::uint8_t> data;
};

inline VersionText Version(const std::string& text) {
  VersionText version{};
  if (!SetVersion(version, text.data(), static_cast<std::uint32_t>(text.size()))) {
    throw std::invalid_argument("a version text that is too long");
  }
  return version;
}

/// Appends the SHA-256 of `bytes` to them.
inline std::vector<std::uint8_t> Sealed(std::vector<std::uint8_t> bytes) {
  std::uint8_t digest[kDigestSize];
  SHA256(bytes.data(), bytes.size(), digest);
  bytes.insert(bytes.end(), digest, digest + kDigestSize);
  return bytes;
}

/// What an image claims, and what the chip reports once it runs the parts.
struct ImageVersions {
  std::string system = "1.1,XX";
  std::string app = "2.0";
  std::string runsSystem = "1.1,04";
  std::string runsApp = "2.0";
};

/// Lays out an image of these parts and versions.
inline std::vector<std::uint8_t> Image(const std::vector<std::uint8_t>& systemPart,
                                       const std::vector<std::uint8_t>& appPart,
                                       const ImageVersions& versions = {}) {
  ImageHeader header{};
  std::memcpy(header.magic, "VAMIMG01", 8);
  header.system = Version(versions.system);
  header.app = Version(versions.app);
  header.runsSystem = Version(versions.runsSystem);
  header.runsApp = Version(versions.runsApp);
  header.systemSize = static_cast<std::uint32_t>(systemPart.size());
  header.appSize = static_cast<std::uint32_t>(appPart.size());
  std::vector<std::uint8_t> bytes(sizeof header);
  std::memcpy(bytes.data(), &header, sizeof header);
  bytes.insert(bytes.end(), systemPart.begin(), systemPart.end());
  bytes.insert(bytes.end(), appPart.begin(), appPart.end());
  return Sealed(bytes);
}

}  // namespace vam

#endif  // SIMULATOR_MODEL_ENVIRONMENT_TEST_H_
