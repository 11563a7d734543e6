#include "interface/exchange.h"

#include <cstdint>

#include "util/console_line.h"

namespace vam {

Exchange::Exchange(const char* command) { PrintLine({"CA InterfaceSP: ", command}); }

Exchange& Exchange::Open(const TEEC_UUID& uuid) {
  client.Open(uuid);
  return *this;
}

Exchange& Exchange::PutInt(std::int32_t value) {
  requestTaken = Marshaller().PutInt(value) && requestTaken;
  return *this;
}

Exchange& Exchange::PutUint(std::uint32_t value) {
  requestTaken = Marshaller().PutUint(value) && requestTaken;
  return *this;
}

Exchange& Exchange::PutBlob(const std::uint8_t* bytes, std::uint32_t length) {
  // The marshaller only reads the blob; not every vendor's header says so.
  requestTaken = Marshaller().PutBlob(const_cast<std::uint8_t*>(bytes), length) && requestTaken;
  return *this;
}

TEEC_Result Exchange::Invoke(std::uint32_t identifier, const char* failureLine) {
  if (!requestTaken) {
    PrintLine("WSM error");
    return TEEC_ERROR_NO_DATA;
  }
  const TEEC_Result result = client.InvokeCommand(identifier);
  if (result != TEEC_SUCCESS && failureLine != nullptr) {
    PrintLine(failureLine);
  }
  return result;
}

CNolvWsm& Exchange::Reply() {
  Marshaller().PrepareReset(1);
  return *marshaller;
}

CNolvWsm& Exchange::Marshaller() {
  if (!marshaller) {
    marshaller.emplace(client.getSHMPtr());
  }
  return *marshaller;
}

}  // namespace vam
