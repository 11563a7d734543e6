#include "simulator/stand_ins/vconf.h"

#include <cstring>
#include <optional>
#include <string>

#include "journal/journal_line.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/recorded_call.h"
#include "simulator/run/run.h"

char* vconf_get_str(const char* key) {
  vam::Run* run = vam::Run::Current();
  if (run == nullptr || key == nullptr) {
    return nullptr;
  }
  const auto ask = [key](auto& asked) { asked.Text("key", key); };
  const vam::Fault* fault = run->FireCallFault(vam::PlatformCall::kVconfGetStr);
  const auto found = run->Description().settings.find(key);
  std::optional<std::string> value;
  if (const vam::RecordedCall* recorded = vam::FindRecorded(vam::PlatformCall::kVconfGetStr, ask)) {
    value = recorded->Bytes("value");
  } else if (fault == nullptr && found != run->Description().settings.end()) {
    value = found->second;
  }
  const char* text = value ? value->c_str() : nullptr;
  vam::JournalLine line = vam::LineOf(vam::PlatformCall::kVconfGetStr);
  ask(line);
  line.Text("value", text).ChangedBy(vam::NumberOf(fault));
  return text == nullptr ? nullptr : strdup(text);
}
