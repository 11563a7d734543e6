#include <cstring>

#include "CNolvWsm.h"
#include "tee_client_api.h"

// The block holds the values one after the other, without tags.

CNolvWsm::CNolvWsm(void* sharedMemory, int version) : position(0) {
  const auto* record = static_cast<const TEEC_SharedMemory*>(sharedMemory);
  block = static_cast<unsigned char*>(record->buffer);
  size = version == 2 ? record->size : 0;
}

CNolvWsm::~CNolvWsm() = default;

int CNolvWsm::PutInt(long value) {
  auto word = static_cast<int>(value);
  return PutBlob(reinterpret_cast<unsigned char*>(&word), sizeof word);
}

int CNolvWsm::PutUint(unsigned long value) { return PutInt(static_cast<long>(value)); }

int CNolvWsm::PutBlob(unsigned char* bytes, unsigned long length) {
  unsigned char* place = GetBlob(length);
  if (place == nullptr) {
    return 0;
  }
  std::memcpy(place, bytes, length);
  return 1;
}

void CNolvWsm::PrepareReset(int mode) { position = mode == 1 ? 0 : size; }

int CNolvWsm::GetInt(int* value) {
  const unsigned char* place = GetBlob(sizeof *value);
  if (place == nullptr) {
    return 0;
  }
  std::memcpy(value, place, sizeof *value);
  return 1;
}

int CNolvWsm::GetUint(unsigned int* value) { return GetInt(reinterpret_cast<int*>(value)); }

unsigned char* CNolvWsm::GetBlob(unsigned long length) {
  if (length > size - position) {
    return nullptr;
  }
  unsigned char* place = block + position;
  position += length;
  return place;
}
