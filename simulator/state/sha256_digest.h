#ifndef SIMULATOR_STATE_SHA256_DIGEST_H_
#define SIMULATOR_STATE_SHA256_DIGEST_H_

#include <cstdint>
#include <memory>

#include "simulator/model/environment.h"

namespace vam {

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

#endif  // SIMULATOR_STATE_SHA256_DIGEST_H_
