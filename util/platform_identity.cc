#include "util/platform_identity.h"

#include <cstdlib>
#include <memory>
#include <string>

#include "platform/settings_store.h"
#include "util/console_line.h"

namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

/// A text that a service handed over to its caller.
using ServiceText = std::unique_ptr<char, FreeText>;

}  // namespace

std::string GetSerialNumber() {
  const ServiceText serialNumber(vconf_get_str("db/comss/serialnumber"));
  if (!serialNumber) {
    vam::PrintLine("GetSerialNumber from vconf error");
    return {};
  }
  return serialNumber.get();
}

std::string GetSysInfoStringValue(system_info_key_e key) {
  char* text = nullptr;
  if (system_info_get_value_string(key, &text) != 0 || text == nullptr) {
    // A text that comes with an error is not ours to free: only success hands one over.
    vam::PrintLine("Failed to read string option");
    return {};
  }
  const ServiceText value(text);
  return value.get();
}
