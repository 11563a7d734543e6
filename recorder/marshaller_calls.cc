// Calls each function of the vendor's marshaller once, as the command interface does. The build
// reads from the object file what the linker calls them. Nothing in this file is ever run.

#include <cstdint>

#include "platform/marshaller.h"

void CallMarshaller(void* sharedMemoryRecord, std::uint8_t* bytes, std::int32_t number,
                    std::uint32_t length);

void CallMarshaller(void* sharedMemoryRecord, std::uint8_t* bytes, std::int32_t number,
                    std::uint32_t length) {
  CNolvWsm marshaller(sharedMemoryRecord);
  [[maybe_unused]] const auto putInt = marshaller.PutInt(number);
  [[maybe_unused]] const auto putUint = marshaller.PutUint(length);
  [[maybe_unused]] const auto putBlob = marshaller.PutBlob(bytes, length);
  marshaller.PrepareReset(number);
  [[maybe_unused]] const auto gotInt = marshaller.GetInt(&number);
  [[maybe_unused]] const auto gotUint = marshaller.GetUint(&length);
  [[maybe_unused]] const auto gotBlob = marshaller.GetBlob(length);
}
