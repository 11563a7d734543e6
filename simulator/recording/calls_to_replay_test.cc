#include "simulator/recording/calls_to_replay.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "simulator/recording/recorded_calls_test.h"
#include "simulator/run/recorded_call.h"

namespace vam {
namespace {

std::string Call(int process, int thread, const std::string& rest) {
  return R"({"time":1,"pid":)" + std::to_string(process) + ",\"tid\":" + std::to_string(thread) +
         ",\"call\":" + rest + "}\n";
}

/// Returns the calls that are replayed of a journal, as a run's folder keeps them.
std::string Replayed(const std::string& calls, std::uint32_t first = 1) {
  return TextOfRecordedThreads(CallsToReplay(ReadCalls(calls), first));
}

/// The fields of a line are apart by tabulators.
std::string Line(std::string fields) {
  for (char& byte : fields) {
    byte = byte == '|' ? '\t' : byte;
  }
  return fields + "\n";
}

TEST(CallsToReplayTest, Members_AreValuesByTheirNames) {
  EXPECT_EQ(Replayed(Call(7, 7, R"("vconf_get_str","key":"a\u00ff","value":null,"fault":3)") +
                     Call(7, 7, R"("CNolvWsm::GetInt","marshaller":2,"value":-5,"result":true)") +
                     Call(7, 7, R"("CNolvWsm::GetBlob","marshaller":2,"length":2,"bytes":"00ff")")),
            Line("thread|0|1|0") +
                Line("1|vconf_get_str|vconf_get_str key=\"a\\u00ff\" value=null fault=3|fault=3|"
                     "key=b61ff|value=null") +
                Line("2|CNolvWsm::GetInt|CNolvWsm::GetInt marshaller=2 value=-5 result=true|"
                     "marshaller=2|result=1|value=-5") +
                Line("3|CNolvWsm::GetBlob|CNolvWsm::GetBlob marshaller=2 length=2 bytes=\"00ff\"|"
                     "bytes=b00ff|length=2|marshaller=2"));
}

TEST(CallsToReplayTest, NumberWithAName_IsItsNumber) {
  EXPECT_EQ(Replayed(Call(7, 7,
                          R"("ioctl","descriptor":1,"request":1,"result":-1,)"
                          R"("errno":{"number":5,"name":"EIO"})") +
                     Call(7, 7, R"("CNolvWsm::GetUint","marshaller":1,"result":false)")),
            Line("thread|0|1|0") +
                Line("1|ioctl|ioctl descriptor=1 request=1 result=-1 errno=EIO|descriptor=1|"
                     "errno=5|request=1|result=-1") +
                Line("2|CNolvWsm::GetUint|CNolvWsm::GetUint marshaller=1 result=false|"
                     "marshaller=1|result=0"));
}

TEST(CallsToReplayTest, Parameters_AreNamedByTheirPlaces) {
  const std::string digest(64, '0');
  const std::string params = R"([{"a":1,"b":2},{"sharedMemory":1,"before":"0a","after":)"
                             R"({"length":1,"sha256":")" +
                             digest + R"("}}])";
  EXPECT_EQ(Replayed(Call(7, 7,
                          R"("TEEC_InvokeCommand","session":1,"command":{"number":99},)"
                          R"("paramTypes":193,"params":)" +
                              params +
                              R"(,"result":{"number":0,"name":"TEEC_SUCCESS"},)"
                              R"("origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})")),
            Line("thread|0|1|0") +
                Line("1|TEEC_InvokeCommand|TEEC_InvokeCommand session=1 command=99 "
                     "paramTypes=193 params=" +
                     params +
                     " result=TEEC_SUCCESS origin=TEEC_ORIGIN_TRUSTED_APP|command=99|origin=4|"
                     "paramTypes=193|params.0.a=1|params.0.b=2|params.1.after=d1:" +
                     digest + "|params.1.before=b0a|params.1.sharedMemory=1|result=0|session=1"));
}

TEST(CallsToReplayTest, Threads_StandByProcessAndAge) {
  const std::string reset = R"("CNolvWsm::PrepareReset","marshaller":1,"mode":1)";
  const std::string words =
      "|CNolvWsm::PrepareReset|CNolvWsm::PrepareReset marshaller=1 mode=1|"
      "marshaller=1|mode=1";
  const std::string calls = Call(9, 12, reset) + Call(5, 5, reset) + Call(9, 9, reset) +
                            Call(9, 12, reset) + Call(9, 10, reset);
  EXPECT_EQ(Replayed(calls), Line("thread|0|1|0") + Line("3" + words) + Line("thread|0|0|0") +
                                 Line("5" + words) + Line("thread|0|0|0") + Line("1" + words) +
                                 Line("4" + words) + Line("thread|1|1|0") + Line("2" + words));
  // What came before the fourth call is each thread's beginning.
  EXPECT_EQ(Replayed(calls, 4), Line("thread|0|1|1") + Line("3" + words) + Line("thread|0|0|0") +
                                    Line("5" + words) + Line("thread|0|0|1") + Line("1" + words) +
                                    Line("4" + words) + Line("thread|1|1|1") + Line("2" + words));
}

}  // namespace
}  // namespace vam
