// Calls each function of the vendor's marshaller once, as the command interface does. The build
// reads from the object file what the linker calls them. Nothing in this file is ever run.

#include <cstdint>

#include "platform/marshaller.h"

bool CallMarshaller(void* sharedMemoryRecord, std::uint8_t* bytes, std::uint32_t length);

bool CallMarshaller(void* sharedMemoryRecord, std::uint8_t* bytes, std::uint32_t length) {
  CNolvWsm marshaller(sharedMemoryRecord);
  std::int32_t number = 0;
  std::uint32_t count = 0;
  const bool put =
      marshaller.PutInt(number) && marshaller.PutUint(count) && marshaller.PutBlob(bytes, length);
  marshaller.PrepareReset(1);
  const bool got = marshaller.GetInt(&number) && marshaller.GetUint(&count);
  const void* blob = marshaller.GetBlob(length);
  return put && got && blob != nullptr;
}
