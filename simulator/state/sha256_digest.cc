#include "simulator/state/sha256_digest.h"

#include <openssl/evp.h>

#include <cstdint>
#include <memory>
#include <new>

namespace vam {

struct Sha256Digest::Context {
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> handle{EVP_MD_CTX_new(),
                                                                 &EVP_MD_CTX_free};
};

Sha256Digest::Sha256Digest() : context(std::make_unique<Context>()) {
  if (context->handle == nullptr) {
    throw std::bad_alloc();
  }
}

Sha256Digest::~Sha256Digest() = default;

void Sha256Digest::Begin() {
  if (EVP_DigestInit_ex(context->handle.get(), EVP_sha256(), nullptr) != 1) {
    throw std::bad_alloc();
  }
}

void Sha256Digest::Update(const void* bytes, std::uint32_t count) {
  if (EVP_DigestUpdate(context->handle.get(), bytes, count) != 1) {
    throw std::bad_alloc();
  }
}

void Sha256Digest::End(std::uint8_t digest[kDigestSize]) {
  if (EVP_DigestFinal_ex(context->handle.get(), digest, nullptr) != 1) {
    throw std::bad_alloc();
  }
}

}  // namespace vam
