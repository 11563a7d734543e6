#include "simulator/stand_ins/vconf.h"

#include <cstring>
#include <string>

#include "simulator/run/run.h"

char* vconf_get_str(const char* key) {
  vam::Run* run = vam::Run::Current();
  if (run == nullptr || key == nullptr) {
    return nullptr;
  }
  const std::uint32_t fault = run->FireCallFault("vconf_get_str");
  const auto found = run->Description().settings.find(key);
  const char* value =
      fault != 0 || found == run->Description().settings.end() ? nullptr : found->second.c_str();
  vam::JournalLine(run, "vconf_get_str").Text("key", key).Text("value", value).FaultNumber(fault);
  return value == nullptr ? nullptr : strdup(value);
}
