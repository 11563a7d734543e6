#include "simulator/stand_ins/vconf.h"

#include <cstring>
#include <string>

#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/run.h"

char* vconf_get_str(const char* key) {
  vam::Run* run = vam::Run::Current();
  if (run == nullptr || key == nullptr) {
    return nullptr;
  }
  const vam::Fault* fault = run->FireCallFault(vam::PlatformCall::kVconfGetStr);
  const auto found = run->Description().settings.find(key);
  const char* value = fault != nullptr || found == run->Description().settings.end()
                          ? nullptr
                          : found->second.c_str();
  vam::LineOf(vam::PlatformCall::kVconfGetStr)
      .Text("key", key)
      .Text("value", value)
      .ChangedBy(vam::NumberOf(fault));
  return value == nullptr ? nullptr : strdup(value);
}
