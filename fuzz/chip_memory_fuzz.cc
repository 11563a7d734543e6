// Lets the trusted application carry out every command on a chip with an arbitrary memory. The
// first byte of an input tells whether the memory is filled up to its size and its digest made
// right; the second one is the command's argument.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "interface/trusted_application.h"
#include "simulator/model/chip_memory.h"
#include "simulator/model/environment.h"
#include "simulator/model/trusted_application.h"
#include "simulator/model/value_block.h"
#include "simulator/state/sha256_digest.h"
#include "tee/shared_block.h"

namespace {

class MemoryStore final : public vam::ChipMemoryStore {
 public:
  explicit MemoryStore(std::vector<std::uint8_t> contents) : bytes(std::move(contents)) {}

  bool Load(void* place, std::uint32_t size) override {
    if (bytes.size() != size) {
      return false;
    }
    std::memcpy(place, bytes.data(), size);
    return true;
  }
  bool Save(const void* place, std::uint32_t size) override {
    const auto* from = static_cast<const std::uint8_t*>(place);
    bytes.assign(from, from + size);
    wasSaved = true;
    return true;
  }

  std::vector<std::uint8_t> bytes;
  bool wasSaved = false;
};

class NoImage final : public vam::ImageSource {
 public:
  bool Size(std::uint32_t* /*size*/) override { return false; }
  bool Read(std::uint32_t /*offset*/, void* /*bytes*/, std::uint32_t /*count*/) override {
    return false;
  }
};

class NoFaults final : public vam::AnswerFaults {
 public:
  std::uint32_t Count() override { return 0; }
  const vam::AnswerFault* Select(std::uint32_t /*index*/, std::uint32_t /*command*/,
                                 bool /*hasMode*/, std::int32_t /*mode*/) override {
    return nullptr;
  }
  void Applied(std::uint32_t /*index*/) override {}
};

/// Makes `bytes` a memory that passes for whole as far as its numbers do.
void Complete(std::vector<std::uint8_t>& bytes, vam::Digest& digest) {
  bytes.resize(sizeof(vam::StoredChipMemory));
  std::copy(std::begin(vam::kChipMemoryMagic), std::end(vam::kChipMemoryMagic), bytes.begin());
  const std::size_t digested = bytes.size() - vam::kDigestSize;
  digest.Begin();
  digest.Update(bytes.data(), static_cast<std::uint32_t>(digested));
  digest.End(bytes.data() + digested);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  std::vector<std::uint8_t> bytes(data + 2, data + size);
  vam::Sha256Digest digest;
  if (data[0] % 2 != 0) {
    Complete(bytes, digest);
  }
  NoImage image;
  NoFaults faults;
  for (const vam::NamedCommand& named : vam::kCommands) {
    const std::uint32_t command = named.identifier;
    MemoryStore store(bytes);
    std::vector<std::uint8_t> block(vam::kSharedBlockSize);
    vam::ValueCursor request{block.data(), block.size(), vam::kFirstValue};
    const bool isUpdate = command == vam::kVmUpdateFw || command == vam::kVamUpdateFw;
    vam::Require(isUpdate ? vam::put_int(request, data[1])
                          : vam::put_uint(request, data[1]) &&
                                vam::put_blob(request, block.data(), data[1]));
    const auto application =
        std::make_unique<vam::TrustedApplication>(store, image, digest, faults);
    static_cast<void>(application->Invoke(command, block.data(), block.size()));
    // Whatever the chip was, what a command wrote is a whole memory.
    const auto stored = std::make_unique<vam::StoredChipMemory>();
    vam::Require(!store.wasSaved || vam::LoadChipMemory(store, digest, *stored));
  }
  return 0;
}
