// A marshaller that costs nothing: it takes every request, and every reply says that the chip holds
// the firmware of the image.

#include <cstdint>

#include "platform/marshaller.h"

namespace {

// Both numbers that a reply carries: the bytes of a version with its zero, and the words.
constexpr std::uint32_t kNumber = 10;
char version[kNumber] = "1.0,2/7,3";
std::int32_t words[kNumber] = {3, 1, 4, 1, 5, 9, 2, 6, 5, -1};
std::int32_t record[2] = {0, 0};

}  // namespace

CNolvWsm::CNolvWsm(void* /*sharedMemory*/) : block(nullptr), size(0), position(0), number(0) {}
CNolvWsm::~CNolvWsm() {}

bool CNolvWsm::PutInt(std::int32_t /*value*/) { return true; }
bool CNolvWsm::PutUint(std::uint32_t /*value*/) { return true; }
bool CNolvWsm::PutBlob(const void* /*bytes*/, std::uint32_t /*length*/) { return true; }

void CNolvWsm::PrepareReset(int /*mode*/) {}

bool CNolvWsm::GetInt(std::int32_t* value) {
  *value = kNumber;
  return true;
}
bool CNolvWsm::GetUint(std::uint32_t* value) {
  *value = kNumber;
  return true;
}
void* CNolvWsm::GetBlob(std::uint32_t length) {
  if (length == sizeof record) {
    return record;
  }
  return length == sizeof version ? static_cast<void*>(version) : words;
}
