#include "virtual_device/device_board/node.h"

#include <cuse_lowlevel.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/device_node.h"

namespace vam {
namespace {

void Open(fuse_req_t request, fuse_file_info* file) { fuse_reply_open(request, file); }

void Control(fuse_req_t request, int command, void* argument, fuse_file_info* /*file*/,
             unsigned /*flags*/, const void* /*input*/, std::size_t /*inputSize*/,
             std::size_t outputSize) {
  const auto& probe = *static_cast<const ProbeSection*>(fuse_req_userdata(request));
  if (static_cast<unsigned>(command) != GET_VAM_SUPPORT) {
    fuse_reply_err(request, ENOTTY);
  } else if (!probe.ioctlAnswers) {
    fuse_reply_err(request, EIO);
  } else if (!probe.flag) {
    fuse_reply_ioctl(request, 0, nullptr, 0);
  } else if (outputSize == 0) {
    // The request's number does not tell the kernel where the argument is. This does, and the
    // kernel asks again.
    const iovec output{argument, sizeof *probe.flag};
    fuse_reply_ioctl_retry(request, nullptr, 0, &output, 1);
  } else {
    fuse_reply_ioctl(request, 0, &*probe.flag, sizeof *probe.flag);
  }
}

}  // namespace

void ServeNode(const ProbeSection& probe) {
  if (!probe.nodePresent) {
    return;
  }
  // The kernel makes /dev/ and this name.
  std::string name = "DEVNAME=" + std::string(kVamDeviceNode).substr(sizeof "/dev/" - 1);
  const char* deviceInformation[] = {name.c_str()};
  cuse_info information{};
  information.dev_info_argc = 1;
  information.dev_info_argv = deviceInformation;
  information.flags = CUSE_UNRESTRICTED_IOCTL;

  cuse_lowlevel_ops operations{};
  operations.open = Open;
  operations.ioctl = Control;

  // libfuse does not look at it.
  std::string program;
  std::string foreground = "-f";
  std::string oneThread = "-s";
  char* arguments[] = {program.data(), foreground.data(), oneThread.data()};
  // libfuse wants a pointer without const; Control() only reads what it points to.
  if (cuse_lowlevel_main(3, arguments, &information, &operations,
                         const_cast<ProbeSection*>(&probe)) != 0) {
    throw std::runtime_error(std::string(kVamDeviceNode) +
                             " cannot be served; load the kernel's module cuse");
  }
}

}  // namespace vam
