#ifndef SIMULATOR_STATE_PC_ENVIRONMENT_H_
#define SIMULATOR_STATE_PC_ENVIRONMENT_H_

// The world of the trusted application's model on a PC: files and libcrypto.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "simulator/model/environment.h"

namespace vam {

/// The chip's memory in a file that is replaced atomically.
class FileChipMemoryStore final : public ChipMemoryStore {
 public:
  /// Calls `afterWrite`, when given, behind each write that reached the disk.
  explicit FileChipMemoryStore(std::string file, std::function<void()> afterWrite = nullptr)
      : path(std::move(file)), written(std::move(afterWrite)) {}

  bool Load(void* bytes, std::uint32_t size) override;
  bool Save(const void* bytes, std::uint32_t size) override;

 private:
  std::string path;
  std::function<void()> written;
};

/// The firmware image in a file.
class FileImageSource final : public ImageSource {
 public:
  explicit FileImageSource(std::string file) : path(std::move(file)) {}

  bool Size(std::uint32_t* size) override;
  bool Read(std::uint32_t offset, void* bytes, std::uint32_t count) override;

 private:
  std::string path;
};

/// SHA-256 by libcrypto. Throws std::bad_alloc where libcrypto cannot allocate.
class Sha256Digest final : public Digest {
 public:
  Sha256Digest();
  ~Sha256Digest();
  Sha256Digest(const Sha256Digest&) = delete;
  Sha256Digest& operator=(const Sha256Digest&) = delete;

  void Begin() override;
  void Update(const void* bytes, std::uint32_t count) override;
  void End(std::uint8_t digest[kDigestSize]) override;

 private:
  struct Context;
  std::unique_ptr<Context> context;
};

}  // namespace vam

#endif  // SIMULATOR_STATE_PC_ENVIRONMENT_H_
