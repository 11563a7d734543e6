#include "interface/command_frame.h"

#include <optional>
#include <string>

#include "tee/vam_tee_client.h"
#include "util/console_line.h"

namespace vam {

TEEC_Result RunCommand(const TEEC_UUID& uuid, const Command& command) {
  PrintLine(std::string("CA InterfaceSP: ") + command.name);
  if (command.prepare) {
    command.prepare();
  }

  // In this order: the marshaller works in the client's block and is destroyed first.
  VAMTEEClient client;
  std::optional<CNolvWsm> marshaller;

  client.Open(uuid);
  if (command.putRequest) {
    marshaller.emplace(client.getSHMPtr());
    if (!command.putRequest(*marshaller)) {
      PrintLine("WSM error");
      return TEEC_ERROR_NO_DATA;
    }
  }

  const TEEC_Result result = client.InvokeCommand(command.identifier);
  if (result != TEEC_SUCCESS) {
    if (command.invokeErrorLine != nullptr) {
      PrintLine(command.invokeErrorLine);
    }
    return result;
  }
  if (!command.getReply) {
    return result;
  }
  if (!marshaller) {
    marshaller.emplace(client.getSHMPtr());
  }
  marshaller->PrepareReset(1);
  return command.getReply(*marshaller);
}

}  // namespace vam
