#include "simulator/stand_ins/mock_node.h"

#include <sys/un.h>
#include <umockdev.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/device_node.h"

namespace vam {

namespace {

template <typename Object>
struct Unref {
  void operator()(Object* object) const { g_object_unref(object); }
};

void ThrowOn(GError* error, const char* what) {
  if (error != nullptr) {
    const std::string reason = error->message;
    g_error_free(error);
    throw std::runtime_error(std::string(what) + ": " + reason);
  }
}

/// Answers one ioctl of a program. Returning false would leave it to umockdev.
gboolean HandleIoctl(UMockdevIoctlBase* /*base*/, UMockdevIoctlClient* client, gpointer data) {
  const auto& probe = *static_cast<const ProbeSection*>(data);
  int result = 0;
  int error = 0;
  if (umockdev_ioctl_client_get_request(client) != GET_VAM_SUPPORT) {
    result = -1;
    error = ENOTTY;
  } else if (!probe.ioctlAnswers) {
    result = -1;
    error = EIO;
  } else if (probe.flag) {
    const std::int32_t flag = *probe.flag;
    UMockdevIoctlData* argument = umockdev_ioctl_client_get_arg(client);
    UMockdevIoctlData* place = umockdev_ioctl_data_resolve(argument, 0, sizeof flag, nullptr);
    if (place == nullptr) {
      result = -1;
      error = EFAULT;
    } else {
      guint8 bytes[sizeof flag];
      std::memcpy(bytes, &flag, sizeof flag);
      umockdev_ioctl_data_update(place, 0, bytes, sizeof bytes);
      g_object_unref(place);
    }
  }
  umockdev_ioctl_client_complete(client, result, error);
  return TRUE;
}

}  // namespace

struct MockNode::Implementation {
  ProbeSection probe;
  std::unique_ptr<UMockdevTestbed, Unref<UMockdevTestbed>> testbed;
  std::unique_ptr<UMockdevIoctlBase, Unref<UMockdevIoctlBase>> handler;
};

MockNode::MockNode(const ProbeSection& probe) : implementation(std::make_unique<Implementation>()) {
  implementation->probe = probe;
  implementation->testbed.reset(umockdev_testbed_new());
  if (!probe.nodePresent) {
    return;
  }
  UMockdevTestbed* testbed = implementation->testbed.get();
  // umockdev itself would only warn, and leave every ioctl unanswered.
  gchar* root = umockdev_testbed_get_root_dir(testbed);
  const std::string ioctlSocket = std::string(root) + "/ioctl" + kVamDeviceNode;
  g_free(root);
  if (ioctlSocket.size() >= sizeof sockaddr_un::sun_path) {
    throw std::runtime_error(
        ioctlSocket + ": too long for a socket; point TMPDIR to a folder with a shorter name");
  }
  GError* error = nullptr;
  umockdev_testbed_add_from_string(testbed,
                                   "P: /devices/virtual/misc/zelkshield\n"
                                   "N: zelkshield\n"
                                   "E: DEVNAME=/dev/zelkshield\n"
                                   "E: SUBSYSTEM=misc\n",
                                   &error);
  ThrowOn(error, "the mock of the device node cannot be put up");
  implementation->handler.reset(umockdev_ioctl_base_new());
  g_signal_connect(implementation->handler.get(), "handle-ioctl", G_CALLBACK(&HandleIoctl),
                   &implementation->probe);
  umockdev_testbed_attach_ioctl(testbed, kVamDeviceNode, implementation->handler.get(), &error);
  ThrowOn(error, "the mock of the device node cannot answer");
}

MockNode::~MockNode() {
  if (implementation->handler != nullptr) {
    umockdev_testbed_detach_ioctl(implementation->testbed.get(), kVamDeviceNode, nullptr);
  }
}

}  // namespace vam
