#include "simulator/state/pc_environment.h"

#include <openssl/evp.h>

#include <cstdint>
#include <fstream>
#include <ios>
#include <limits>
#include <memory>
#include <new>
#include <string>

#include "simulator/state/file_replacement.h"

namespace vam {

namespace {

/// Opens a file for reading and tells its size; -1 when it cannot be read.
std::streamoff OpenAtEnd(std::ifstream& file, const std::string& path) {
  file.open(path, std::ios::binary | std::ios::ate);
  return file ? static_cast<std::streamoff>(file.tellg()) : -1;
}

bool ReadAt(std::ifstream& file, std::streamoff offset, void* bytes, std::uint32_t count) {
  file.seekg(offset);
  file.read(static_cast<char*>(bytes), count);
  return file.good();
}

}  // namespace

bool FileChipMemoryStore::Load(void* bytes, std::uint32_t size) {
  std::ifstream file;
  return OpenAtEnd(file, path) == std::streamoff{size} && ReadAt(file, 0, bytes, size);
}

bool FileChipMemoryStore::Save(const void* bytes, std::uint32_t size) {
  if (!ReplaceFile(path, bytes, size)) {
    return false;
  }
  if (written) {
    written();
  }
  return true;
}

bool FileImageSource::Size(std::uint32_t* size) {
  std::ifstream file;
  const std::streamoff end = OpenAtEnd(file, path);
  if (end < 0) {
    return false;
  }
  // Larger than any image; the reader then finds it damaged.
  constexpr std::streamoff kLimit = std::numeric_limits<std::uint32_t>::max();
  *size = static_cast<std::uint32_t>(end < kLimit ? end : kLimit);
  return true;
}

bool FileImageSource::Read(std::uint32_t offset, void* bytes, std::uint32_t count) {
  std::ifstream file(path, std::ios::binary);
  return file && ReadAt(file, std::streamoff{offset}, bytes, count);
}

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
  unsigned size = 0;
  if (EVP_DigestFinal_ex(context->handle.get(), digest, &size) != 1) {
    throw std::bad_alloc();
  }
}

}  // namespace vam
