#include "system_info.h"

#include <cstring>

int system_info_get_value_string(system_info_key_e key, char** value) {
  if (key != SYSTEM_INFO_MODEL_NAME) {
    return -1;
  }
  *value = strdup("made-up");
  return 0;
}
