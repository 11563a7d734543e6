// Prints what the two platform services answer that the update tool does not use.

#include <cstdio>
#include <cstdlib>

#include "platform/settings_store.h"
#include "platform/system_information.h"

namespace {

void PrintSetting(const char* label, const char* key) {
  char* value = vconf_get_str(key);
  std::printf("%s: %s\n", label, value == nullptr ? "none" : value);
  std::free(value);
}

void PrintInformation(const char* label, system_info_key_e key) {
  char* value = nullptr;
  const int result = system_info_get_value_string(key, &value);
  std::printf("%s: %d%s%s\n", label, result, value == nullptr ? "" : " ",
              value == nullptr ? "" : value);
  std::free(value);
}

}  // namespace

int main() {
  PrintSetting("serial number", "db/comss/serialnumber");
  PrintSetting("other setting", "db/other");
  PrintInformation("model", SYSTEM_INFO_MODEL_NAME);
  PrintInformation("revision", SYSTEM_INFO_BOARD_REVISION);
  return 0;
}
