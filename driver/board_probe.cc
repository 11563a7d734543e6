#include "driver/board_probe.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "platform/device_node.h"
#include "report/status_files.h"
#include "report/status_messages.h"
#include "util/console_line.h"

std::int32_t IsVamSupported() {
  // A driver that answers without writing the flag reads as "not supported".
  std::int32_t flag = -1;

  const int descriptor = open(kVamDeviceNode, O_RDWR, 0777);
  if (descriptor < 0) {
    vam::PrintLine("Zelkshield open failed in function: IsVamSupported");
    WriteToErrorFile(vam::kNodeOpenFailed, descriptor);
    return 0;
  }
  const int result = ioctl(descriptor, GET_VAM_SUPPORT, &flag);
  if (result < 0) {
    vam::PrintLine({"error ioctl ", std::to_string(result)});
    WriteToErrorFile(vam::kNodeQueryFailed, result);
    // The descriptor stays open: the run ends here and the device is not touched again.
    return 0;
  }
  close(descriptor);

  vam::PrintLine({"isvam = ", std::to_string(flag)});
  if (flag == 1) {
    vam::PrintLine("Vam present on this board");
    return 1;
  }
  WriteToErrorFile(vam::kNotImplemented, flag);
  vam::PrintLine("Vam not supported");
  return 0;
}
