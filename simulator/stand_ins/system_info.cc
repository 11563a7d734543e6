#include "simulator/stand_ins/system_info.h"

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "journal/journal_line.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/run/recorded_call.h"
#include "simulator/run/run.h"

namespace {

/// The result for a key that the board does not have.
constexpr int kUnknownKey = -1;

}  // namespace

int system_info_get_value_string(system_info_key_e key, char** value) {
  vam::Run* run = vam::Run::Current();
  if (run == nullptr || value == nullptr) {
    return kUnknownKey;
  }
  const vam::Fault* fault = run->FireCallFault(vam::PlatformCall::kSystemInfoGetValueString);
  const auto& values = run->Description().systemInformation;
  const auto found = values.find(static_cast<std::int32_t>(key));
  const auto ask = [key](auto& asked) { asked.Number("key", key); };
  int result = 0;
  std::optional<std::string> text;
  if (const vam::RecordedCall* recorded =
          vam::FindRecorded(vam::PlatformCall::kSystemInfoGetValueString, ask)) {
    result = static_cast<int>(recorded->Number("result"));
    text = recorded->Bytes("value");
  } else if (fault != nullptr) {
    result = static_cast<int>(fault->result);
  } else if (found == values.end()) {
    result = kUnknownKey;
  } else {
    text = found->second;
  }
  vam::JournalLine line = vam::LineOf(vam::PlatformCall::kSystemInfoGetValueString);
  ask(line);
  line.Number("result", result);
  if (text) {
    line.Text("value", text->c_str());
    *value = strdup(text->c_str());
  }
  line.ChangedBy(vam::NumberOf(fault));
  return result;
}
