// Drives the simulated board's marshaller over a block of its own. The marshaller must give back
// the values that the input makes it take, and must read the input's bytes as a reply in any order
// of types. It must stay inside the block, and an operation that fails must change nothing.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "platform/marshaller.h"
#include "platform/tee_client.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

enum Type : std::uint8_t { kInt, kUint, kBlob, kTypes };

/// Hands out the input from its beginning, and zeros after its end.
class Input {
 public:
  Input(const std::uint8_t* inputData, std::size_t inputSize) : data(inputData), size(inputSize) {}
  bool Ended() const { return size == 0; }
  std::uint8_t Byte() {
    if (size == 0) {
      return 0;
    }
    --size;
    return *data++;
  }
  std::uint32_t Word() {
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i) {
      word = word << 8 | Byte();
    }
    return word;
  }
  Bytes Rest() const { return Bytes(data, data + size); }

 private:
  const std::uint8_t* data;
  std::size_t size;
};

struct Value {
  Type type;
  std::uint32_t word;
  Bytes blob;
};

TEEC_SharedMemory Record(Bytes& block) {
  TEEC_SharedMemory record{};
  record.buffer = block.data();
  record.size = block.size();
  return record;
}

void PutAndGetBack(Input input) {
  Bytes block(input.Byte() * 4U + 1U, 0);
  TEEC_SharedMemory record = Record(block);
  CNolvWsm marshaller(&record);
  std::vector<Value> taken;
  while (!input.Ended()) {
    Value value{static_cast<Type>(input.Byte() % kTypes), 0, {}};
    const Bytes before(block.begin(), block.end());
    bool done = false;
    if (value.type == kBlob) {
      value.blob.assign(input.Byte(), input.Byte());
      done = marshaller.PutBlob(value.blob.data(), static_cast<std::uint32_t>(value.blob.size()));
    } else {
      value.word = input.Word();
      done = value.type == kInt ? marshaller.PutInt(static_cast<std::int32_t>(value.word))
                                : marshaller.PutUint(value.word);
    }
    if (done) {
      taken.push_back(value);
    } else {
      vam::Require(block == before);
    }
  }

  marshaller.PrepareReset(1);
  for (const Value& value : taken) {
    if (value.type == kInt) {
      std::int32_t number = 0;
      vam::Require(marshaller.GetInt(&number) && static_cast<std::uint32_t>(number) == value.word);
    } else if (value.type == kUint) {
      std::uint32_t number = 0;
      vam::Require(marshaller.GetUint(&number) && number == value.word);
    } else {
      const void* blob = marshaller.GetBlob(static_cast<std::uint32_t>(value.blob.size()));
      vam::Require(blob != nullptr);
      vam::Require(value.blob.empty() ||
                   std::memcmp(blob, value.blob.data(), value.blob.size()) == 0);
    }
  }
}

void ReadAnyReply(Input input) {
  std::uint32_t order = input.Word();
  std::uint32_t blobLength = input.Word();
  Bytes block = input.Rest();
  const Bytes before(block.begin(), block.end());
  TEEC_SharedMemory record = Record(block);
  CNolvWsm marshaller(&record);
  marshaller.PrepareReset(1);
  for (int reads = 0; reads < 16; ++reads, order >>= 2) {
    if (order % 4 == kInt) {
      std::int32_t number = 7;
      if (!marshaller.GetInt(&number)) {
        vam::Require(number == 7);
      } else if (number >= 0) {
        blobLength = static_cast<std::uint32_t>(number);
      }
    } else if (order % 4 == kUint) {
      std::uint32_t number = 7;
      if (!marshaller.GetUint(&number)) {
        vam::Require(number == 7);
      } else {
        blobLength = number;
      }
    } else if (const auto* blob =
                   static_cast<const std::uint8_t*>(marshaller.GetBlob(blobLength))) {
      vam::Require(blob >= block.data() && blob <= block.data() + block.size() &&
                   blobLength <= static_cast<std::size_t>(block.data() + block.size() - blob));
    }
  }
  vam::Require(block == before);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  PutAndGetBack(Input(data, size));
  ReadAnyReply(Input(data, size));
  return 0;
}
