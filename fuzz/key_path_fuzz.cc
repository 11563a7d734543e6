// Reads arbitrary bytes as a key path. The first byte is the level asked for; with its top bit set,
// the record is null.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "util/signatures_and_key_paths.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::vector<std::uint8_t> buffer(data + 1, data + size);
  const std::uint32_t level = data[0];
  hd_path_param record{{1, 2, 3, 4, 5}};
  hd_path_param* target = (data[0] & 0x80) != 0 ? nullptr : &record;
  const std::int32_t result =
      BufferToHdParamS(buffer.data(), static_cast<std::uint32_t>(buffer.size()), target);

  const bool taken = buffer.size() == 20 && target != nullptr;
  vam::Require(result == (taken ? 0 : -1));
  for (std::size_t i = 0; i < 5; ++i) {
    std::uint64_t expected = i + 1;
    if (taken) {
      expected = ((buffer[4 * i] * 256ULL + buffer[4 * i + 1]) * 256 + buffer[4 * i + 2]) * 256 +
                 buffer[4 * i + 3];
    }
    vam::Require(record.indexes[i] == expected);
  }
  vam::Require(getHDPathIndex(record, level) == record.indexes[std::min(level, 4U)]);
  return 0;
}
