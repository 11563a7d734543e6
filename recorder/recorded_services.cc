// Stands in front of the settings store and of the system-information service. Their headers may be
// missing where only the update tool is built, so what they declare is repeated here.

#include "recorder/call.h"

namespace {

using vam::Call;
using vam::JournalLine;
using NextSymbol = vam::NextSymbol<32>;

NextSymbol nextGetStr("vconf_get_str");
NextSymbol nextGetValueString("system_info_get_value_string");

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

char* RecordedGetStr(const char* key) __asm__("vconf_get_str");
int RecordedGetValueString(int key, char** value) __asm__("system_info_get_value_string");

char* RecordedGetStr(const char* key) {
  const Call call;
  char* value = nextGetStr.As<char*(const char*)>()(key);
  if (key != nullptr) {
    call.Record("vconf_get_str",
                [=](JournalLine& line) { line.Text("key", key).Text("value", value); });
  }
  return value;
}

int RecordedGetValueString(int key, char** value) {
  const Call call;
  const int result = nextGetValueString.As<int(int, char**)>()(key, value);
  call.Record("system_info_get_value_string", [=](JournalLine& line) {
    line.Number("key", key).Number("result", result);
    if (result == 0 && value != nullptr && *value != nullptr) {
      line.Text("value", *value);
    }
  });
  return result;
}

}  // extern "C"
#pragma GCC visibility pop
