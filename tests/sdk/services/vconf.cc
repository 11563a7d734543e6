#include "vconf.h"

#include <cstring>

char* vconf_get_str(const char* in_key) {
  return std::strcmp(in_key, "db/comss/serialnumber") == 0 ? strdup("SDK-17") : nullptr;
}
