#include "simulator/recording/journal_words.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "simulator/recording/recorded_calls_test.h"

namespace vam {
namespace {

/// The calls of a run, each with its time, process and thread.
class JournalWordsTest : public ::testing::Test {
 protected:
  void Add(const std::string& rest, int process = 7) {
    const std::string number = std::to_string(process);
    time += 1000000;
    text += "{\"time\":" + std::to_string(time) + ",\"pid\":" + number + ",\"tid\":" + number +
            ",\"call\":" + rest + "}\n";
  }

  void Connect(int process = 7) {
    Add(R"("TEEC_InitializeContext","name":null,"result":{"number":0,"name":"TEEC_SUCCESS"},)"
        R"("context":1)",
        process);
  }

  void Invoke(const std::string& command, const std::string& result, const std::string& rest = "") {
    Add(R"("TEEC_InvokeCommand","session":1,"command":)" + command + ",\"result\":" + result +
        R"(,"origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})" + rest);
  }

  void Close(int process = 7) { Add(R"("TEEC_FinalizeContext","context":1)", process); }

  RecordedRun Run() const { return ReadCalls(text); }

  /// The blocks without the line on the run.
  std::string Blocks() const {
    const std::string words = RunInWords(Run());
    return words.substr(words.find('\n') + 1);
  }

  std::string text;
  int time = 0;
};

constexpr char kSuccess[] = R"({"number":0,"name":"TEEC_SUCCESS"})";
constexpr char kUpdate[] = R"({"number":18,"name":"vm_updateFW"})";

TEST_F(JournalWordsTest, ProgramWithoutAMarshaller_HasItsMemoryShown) {
  Connect();
  Add(R"("TEEC_InvokeCommand","session":1,"command":{"number":99},"paramTypes":55,"params":[)"
      R"({"size":2,"before":"00ff","after":"6100"},{"a":1,"b":2,"newA":3,"newB":4}],"result":)" +
      std::string(kSuccess) + R"(,"origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})");
  Close();
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  command 99\n"
            "    sent           00ff, 1, 2\n"
            "    answered       TEEC_SUCCESS from TEEC_ORIGIN_TRUSTED_APP, after 0.001000 s\n"
            "    got            \"a\", 3, 4\n"
            "    returned       TEEC_SUCCESS\n");
}

TEST_F(JournalWordsTest, Head_SaysWhatRanAndWhen) {
  EXPECT_EQ(RunInWords(Run()),
            "A run of tool, recorded by vam-board 1.0 at 2026-11-18 11:06:40 UTC.\n");
  EXPECT_EQ(RunInWords(RecordedRun()), "");
}

TEST_F(JournalWordsTest, Probe_IsOneBlock) {
  Add(R"("open","path":"/dev/zelkshield","flags":2,"descriptor":1)");
  Add(R"("ioctl","descriptor":1,"request":1,"result":-1,"errno":{"number":5,"name":"EIO"})");
  Add(R"("open","path":"/dev/zelkshield","flags":2,"descriptor":2)");
  Add(R"("ioctl","descriptor":2,"request":1,"result":0,"flag":1)");
  Add(R"("close","descriptor":2,"result":0)");
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  the device node\n"
            "    open           done\n"
            "    ioctl          EIO\n"
            "\n    0.003000 s  the device node\n"
            "    open           done\n"
            "    ioctl          flag 1\n"
            "    close          done\n");
}

TEST_F(JournalWordsTest, Update_ShowsModeRecordAndVersions) {
  Connect();
  Add(R"("CNolvWsm::PutInt","marshaller":1,"value":3,"result":true)");
  Invoke(kUpdate, kSuccess, ",\"fault\":2");
  Add(R"("CNolvWsm::GetBlob","marshaller":1,"length":8,"bytes":"03000000cdffffff")");
  Add(R"("CNolvWsm::GetUint","marshaller":1,"value":4,"result":true)");
  Add(R"("CNolvWsm::GetBlob","marshaller":1,"length":4,"bytes":"312e3200")");
  Close();
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  vm_updateFW, mode 3 (update)\n"
            "    sent           3\n"
            "    answered       TEEC_SUCCESS from TEEC_ORIGIN_TRUSTED_APP, after 0.001000 s\n"
            "    got            VAM_RET_CORE_ERROR -ZELK_FW_ERROR, 4, \"1.2\"\n"
            "    returned       TEEC_SUCCESS\n"
            "    changed by     fault 2 of the board\n");
}

TEST_F(JournalWordsTest, ReplyThatLacksAnItem_IsWhatTheCommandMakesOfIt) {
  Connect();
  Add(R"("CNolvWsm::PutInt","marshaller":1,"value":11,"result":true)");
  Invoke(kUpdate, kSuccess);
  Add(R"("CNolvWsm::GetBlob","marshaller":1,"length":8,"bytes":null)");
  Close();
  Connect();
  Invoke(R"({"number":19,"name":"vm_getFWInfo"})", kSuccess);
  Add(R"("CNolvWsm::GetUint","marshaller":2,"result":false)");
  Close();
  const std::vector<RunStep> steps = StepsOf(Run());
  ASSERT_EQ(steps.size(), 2U);
  EXPECT_EQ(steps[0].title, "vm_updateFW, mode 11 (chip)");
  EXPECT_EQ(steps[0].details.back().text, "TEEC_ERROR_COMMUNICATION, for the reply lacks an item");
  EXPECT_EQ(steps[1].title, "vm_getFWInfo");
  EXPECT_EQ(steps[1].details.back().text, "TEEC_ERROR_NO_DATA, for the reply lacks an item");
}

TEST_F(JournalWordsTest, RefusedCommand_ReturnsItsResult) {
  Connect();
  Invoke(R"({"number":77})", R"({"number":4294906420})");
  Close();
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  command 77\n"
            "    answered       4294906420 from TEEC_ORIGIN_TRUSTED_APP, after 0.001000 s\n"
            "    returned       4294906420\n");
}

TEST_F(JournalWordsTest, ExchangeWithoutConnection_SaysWhichStepFailed) {
  Add(R"("TEEC_InitializeContext","name":null,)"
      R"("result":{"number":4294901768,"name":"TEEC_ERROR_ITEM_NOT_FOUND"})");
  Add(R"("CNolvWsm::CNolvWsm","sharedMemory":0,"marshaller":1)");
  Add(R"("CNolvWsm::PutInt","marshaller":1,"value":7,"result":false)");
  Add(R"("CNolvWsm::~CNolvWsm","marshaller":1)");
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  a command that was not invoked\n"
            "    not connected  TEEC_InitializeContext TEEC_ERROR_ITEM_NOT_FOUND\n"
            "    sent           a value that the marshaller refused\n"
            "    returned       TEEC_ERROR_NO_DATA, for the request was not taken\n");
}

TEST_F(JournalWordsTest, RunThatWasEnded_EndsInItsLastBlock) {
  Connect();
  Add(R"("CNolvWsm::PutInt","marshaller":1,"value":3,"result":true)");
  EXPECT_EQ(StepsOf(Run()).back().details.back().text,
            "the recording ends before the connection is closed");
}

TEST_F(JournalWordsTest, KeysThatWereWithheld_AreCounted) {
  Connect();
  Add(R"("CNolvWsm::PutBlob","marshaller":1,"length":3,"bytes":{"length":3,"sha256":")" +
      std::string(64, '0') + R"("},"result":true)");
  EXPECT_EQ(StepsOf(Run()).back().details.front().text, "3 bytes that were withheld");
}

TEST_F(JournalWordsTest, Services_AreBlocksOfTheirOwn) {
  Add(R"("vconf_get_str","key":"k","value":null)");
  Add(R"("system_info_get_value_string","key":0,"result":0,"value":"m\u0001")");
  Add(R"("system_info_get_value_string","key":1,"result":-1)");
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  the setting \"k\"\n    value          none\n"
            "\n    0.002000 s  the system information 0\n    value          \"m\\x01\"\n"
            "\n    0.003000 s  the system information 1\n    value          none, result -1\n");
}

TEST_F(JournalWordsTest, Cancellation_StandsWithItsExchangeOrAlone) {
  Connect();
  Add(R"("TEEC_RequestCancellation","operation":"given")");
  Add(R"("TEEC_RequestCancellation","operation":"given")", 8);
  // What the same thread does next is no part of it.
  Close(8);
  Close();
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  a connection without a command  [process 7, thread 7]\n"
            "    cancellation   asked for\n"
            "\n    0.003000 s  a cancellation  [process 8, thread 8]\n"
            "    operation      one of another thread's\n"
            "\n    0.004000 s  a connection without a command  [process 8, thread 8]\n");
}

TEST_F(JournalWordsTest, MemoryThatWasNotRegistered_IsTheStepThatFailed) {
  Connect();
  Add(R"("TEEC_RegisterSharedMemory","context":1,"size":1,"flags":3,"result":{"number":4294901772,)"
      R"("name":"TEEC_ERROR_OUT_OF_MEMORY"})");
  Close();
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  a connection without a command\n"
            "    not connected  TEEC_RegisterSharedMemory TEEC_ERROR_OUT_OF_MEMORY\n");
}

TEST_F(JournalWordsTest, Processes_HaveTheirOwnBlocks) {
  Connect(7);
  Connect(8);
  Close(7);
  Close(8);
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  a connection without a command  [process 7, thread 7]\n"
            "\n    0.002000 s  a connection without a command  [process 8, thread 8]\n");
}

TEST_F(JournalWordsTest, Json_HasTheSameSteps) {
  Add(R"("vconf_get_str","key":"k","value":"v")");
  RecordedRun run = Run();
  run.problem = "journal:3: is cut";
  const Json json = Json::parse(RunAsJson(run));
  EXPECT_EQ(json["head"]["program"], "tool");
  EXPECT_EQ(json["steps"], Json::parse(R"([{"time":1000000,"pid":7,"tid":7,"line":2,)"
                                       R"("title":"the setting \"k\"",)"
                                       R"("details":[{"label":"value","text":"\"v\""}]}])"));
  EXPECT_EQ(json["problem"], "journal:3: is cut");
  EXPECT_TRUE(Json::parse(RunAsJson(Run()))["problem"].is_null());
}

TEST_F(JournalWordsTest, Call_IsOneLine) {
  Invoke(kUpdate, R"({"number":4294901773,"name":"TEEC_ERROR_BUSY"})");
  EXPECT_EQ(CallInWords(Run().calls[0]),
            "TEEC_InvokeCommand session=1 command=vm_updateFW result=TEEC_ERROR_BUSY "
            "origin=TEEC_ORIGIN_TRUSTED_APP");
}

std::string PutBlob(const std::string& digits) {
  return R"("CNolvWsm::PutBlob","marshaller":1,"length":)" + std::to_string(digits.size() / 2) +
         R"(,"bytes":")" + digits + R"(","result":true)";
}

std::string GetBlob(const std::string& digits) {
  return R"("CNolvWsm::GetBlob","marshaller":1,"length":)" + std::to_string(digits.size() / 2) +
         R"(,"bytes":")" + digits + "\"";
}

std::string Put(const std::string& kind, const std::string& value, bool done = true) {
  return "\"CNolvWsm::Put" + kind + R"(","marshaller":1,"value":)" + value + R"(,"result":)" +
         (done ? "true" : "false");
}

std::string Get(const std::string& kind, const std::string& value) {
  return "\"CNolvWsm::Get" + kind + R"(","marshaller":1,"value":)" + value + R"(,"result":true)";
}

std::string Repeated(const std::string& text, int times) {
  std::string whole;
  for (int i = 0; i < times; ++i) {
    whole += text;
  }
  return whole;
}

TEST_F(JournalWordsTest, Bytes_AreATextWhereAllCanBePrinted) {
  Connect();
  for (const std::string& digits : {std::string("207e"), std::string("6100"), std::string(),
                                    std::string("00"), std::string("610000"), std::string("1f"),
                                    std::string("7f"), Repeated("80", 64), Repeated("80", 65)}) {
    Add(PutBlob(digits));
  }
  EXPECT_EQ(StepsOf(Run())[0].details[0].text, R"(" ~", "a", "", "", 610000, 1f, 7f, )" +
                                                   Repeated("80", 64) + ", " + Repeated("80", 64) +
                                                   "...");
}

TEST_F(JournalWordsTest, WhatWasSent_IsShownInItsOrder) {
  Connect();
  Add(Put("Int", "-1"));
  Add(Put("Uint", "4294967295"));
  Add(Put("Uint", "1", false));
  Add(PutBlob("6162"));
  Add(R"("CNolvWsm::PutBlob","marshaller":1,"length":9,"bytes":null,"result":false)");
  Close();
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  a command that was not invoked\n"
            "    sent           -1, 4294967295, a value that the marshaller refused, \"ab\", "
            "a value that the marshaller refused\n"
            "    returned       TEEC_ERROR_NO_DATA, for the request was not taken\n");
}

TEST_F(JournalWordsTest, CommandWhoseNumberWasPut_IsNotInvokedThough) {
  Connect();
  Add(Put("Int", "7"));
  Close();
  Connect();
  Add(Put("Uint", "7"));
  Close();
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  a command that was not invoked\n    sent           7\n"
            "\n    0.004000 s  a connection without a command\n    sent           7\n");
}

TEST_F(JournalWordsTest, Modes_AreToldOfUpdatesAlone) {
  const auto title = [this](const std::string& command, const std::string& mode) {
    text.clear();
    Connect();
    Add(Put("Int", mode));
    Add(Put("Int", "3"));
    Invoke(command, kSuccess);
    return StepsOf(Run())[0].title;
  };
  EXPECT_EQ(title(kUpdate, "3"), "vm_updateFW, mode 3 (update)");
  EXPECT_EQ(title(kUpdate, "7"), "vm_updateFW, mode 7 (image)");
  EXPECT_EQ(title(kUpdate, "11"), "vm_updateFW, mode 11 (chip)");
  EXPECT_EQ(title(kUpdate, "4"), "vm_updateFW, mode 4");
  const std::string older = R"({"number":30,"name":"vam_updateFW"})";
  EXPECT_EQ(title(older, "3"), "vam_updateFW, mode 3 (update)");
  EXPECT_EQ(title(R"({"number":28,"name":"vam_getInfo"})", "3"), "vam_getInfo");
  text.clear();
  Connect();
  Invoke(kUpdate, kSuccess);
  EXPECT_EQ(StepsOf(Run())[0].title, "vm_updateFW") << "no mode was put";
}

TEST_F(JournalWordsTest, Record_IsTheFirstOfAnUpdatesReplyAlone) {
  const auto got = [this](const std::string& command, const std::vector<std::string>& gets) {
    text.clear();
    Connect();
    Invoke(command, kSuccess);
    for (const std::string& get : gets) {
      Add(get);
    }
    return StepsOf(Run())[0].details[1].text;
  };
  EXPECT_EQ(got(kUpdate, {GetBlob("0400000020000000")}),
            "VAM_RET_STORAGE_ERROR ZELK_BUFFER_NOT_ENOUGH");
  EXPECT_EQ(got(kUpdate, {GetBlob("04000000e0ffffff")}),
            "VAM_RET_STORAGE_ERROR -ZELK_BUFFER_NOT_ENOUGH");
  EXPECT_EQ(got(kUpdate, {GetBlob("0600000005000000")}), "6 5");
  EXPECT_EQ(got(kUpdate, {GetBlob("fafffffffbffffff")}), "-6 -5");
  EXPECT_EQ(got(kUpdate, {GetBlob("0000000000000000"), GetBlob("0000000000000000")}),
            "VAM_RET_SUCCESS ZELK_NO_ERROR, 0000000000000000");
  EXPECT_EQ(got(kUpdate, {GetBlob("010203040506")}), "010203040506");
  EXPECT_EQ(got(R"({"number":19,"name":"vm_getFWInfo"})", {GetBlob("0000000000000000")}),
            "0000000000000000");
  EXPECT_EQ(got(kUpdate, {R"("CNolvWsm::GetBlob","marshaller":1,"length":8,"bytes":null)",
                          R"("CNolvWsm::GetUint","marshaller":1,"result":false)"}),
            "nothing, no number");
}

TEST_F(JournalWordsTest, ReplyOfNoBytes_LacksAnItem) {
  const auto returned = [this](const std::string& command, const std::string& get,
                               const std::string& result = kSuccess) {
    text.clear();
    Connect();
    Invoke(command, result);
    Add(get);
    Close();
    return StepsOf(Run())[0].details.back().text;
  };
  EXPECT_EQ(returned(kUpdate, Get("Uint", "0")),
            "TEEC_ERROR_COMMUNICATION, for the reply lacks an item");
  EXPECT_EQ(returned(kUpdate, Get("Uint", "1")), "TEEC_SUCCESS");
  const std::string hack = R"({"number":39,"name":"vam_getHackInfo"})";
  EXPECT_EQ(returned(hack, Get("Int", "0")), "TEEC_ERROR_NO_DATA, for the reply lacks an item");
  EXPECT_EQ(returned(hack, Get("Int", "0"), R"({"number":4294901773,"name":"TEEC_ERROR_BUSY"})"),
            "TEEC_ERROR_BUSY");
}

TEST_F(JournalWordsTest, SessionThatWasRefused_IsToldWithItsOrigin) {
  Connect();
  Add(R"("TEEC_OpenSession","context":1,"destination":null,"connectionMethod":0,)"
      R"("connectionData":null,"operation":null,)"
      R"("result":{"number":4294901773,"name":"TEEC_ERROR_BUSY"},)"
      R"("origin":{"number":3,"name":"TEEC_ORIGIN_TEE"},"fault":2)");
  Close();
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  a connection without a command\n"
            "    not connected  TEEC_OpenSession TEEC_ERROR_BUSY from TEEC_ORIGIN_TEE\n"
            "    changed by     fault 2 of the board\n");
}

TEST_F(JournalWordsTest, MemoryThatWasNotAllocated_IsTheStepThatFailed) {
  Connect();
  Add(R"("TEEC_AllocateSharedMemory","context":1,"size":1,"flags":3,"result":{"number":4294901772,)"
      R"("name":"TEEC_ERROR_OUT_OF_MEMORY"})");
  Close();
  EXPECT_EQ(StepsOf(Run())[0].details[0].text,
            "TEEC_AllocateSharedMemory TEEC_ERROR_OUT_OF_MEMORY");
}

TEST_F(JournalWordsTest, Marshaller_EndsAnExchangeWithoutAConnectionAlone) {
  constexpr char kDestroyed[] = R"("CNolvWsm::~CNolvWsm","marshaller":1)";
  Connect();
  Add(kDestroyed);
  EXPECT_EQ(StepsOf(Run())[0].details.back().label, "ends");
  Close();
  Add(kDestroyed);
  EXPECT_TRUE(StepsOf(Run())[0].details.empty());
}

TEST_F(JournalWordsTest, TimeOfAnAnswer_IsNeverNegative) {
  Connect();
  time = 999999 - 1000000;
  Invoke(kUpdate, kSuccess);
  EXPECT_EQ(StepsOf(Run())[0].details[0].text,
            "TEEC_SUCCESS from TEEC_ORIGIN_TRUSTED_APP, after 0.000000 s");
  time = 4000000 - 1000000;
  Invoke(kUpdate, kSuccess);
  EXPECT_EQ(StepsOf(Run())[0].details[0].text,
            "TEEC_SUCCESS from TEEC_ORIGIN_TRUSTED_APP, after 0.003000 s");
}

TEST_F(JournalWordsTest, FaultsOfAnExchange_AreToldOnceEach) {
  Connect();
  Add(Put("Int", "7", false) + ",\"fault\":3");
  Add(Put("Int", "7", false) + ",\"fault\":1");
  Add(Put("Int", "7", false) + ",\"fault\":3");
  Close();
  const RunStep step = StepsOf(Run())[0];
  ASSERT_EQ(step.details.size(), 4U);
  EXPECT_EQ(step.details[2].label, "changed by");
  EXPECT_EQ(step.details[2].text, "fault 1 of the board");
  EXPECT_EQ(step.details[3].text, "fault 3 of the board");
}

TEST_F(JournalWordsTest, NodeThatGivesNoFlag_IsSaidToGiveNone) {
  Add(R"("ioctl","descriptor":1,"request":1,"result":0)");
  Add(R"("close","descriptor":1,"result":0)");
  Add(R"("open","path":"/dev/zelkshield","flags":2,"result":-1,"errno":{"number":4095})");
  EXPECT_EQ(Blocks(),
            "\n    0.001000 s  the device node\n"
            "    ioctl          no flag\n    close          done\n"
            "\n    0.003000 s  the device node\n    open           4095\n");
}

TEST_F(JournalWordsTest, EachSortOfCall_BeginsABlockOfItsOwn) {
  Add(R"("open","path":"/dev/zelkshield","flags":2,"descriptor":1)");
  Connect();
  Add(R"("close","descriptor":1,"result":0)");
  Add(R"("vconf_get_str","key":"k","value":"v")");
  Add(R"("close","descriptor":1,"result":0)");
  Close();
  Connect();
  Connect();
  std::vector<std::string> titles;
  std::vector<std::size_t> lines;
  for (const RunStep& step : StepsOf(Run())) {
    titles.push_back(step.title);
    lines.push_back(step.line);
  }
  const std::string connection = "a connection without a command";
  EXPECT_EQ(titles, (std::vector<std::string>{"the device node", connection, "the device node",
                                              "the setting \"k\"", "the device node", connection,
                                              connection, connection}));
  EXPECT_EQ(lines, (std::vector<std::size_t>{2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(JournalWordsTest, CancellationOfNothing_IsSaidToBeOne) {
  Add(R"("TEEC_RequestCancellation","operation":null)");
  EXPECT_EQ(Blocks(), "\n    0.001000 s  a cancellation\n    operation      none\n");
}

TEST_F(JournalWordsTest, Json_IsOneText) {
  Add(R"("TEEC_RequestCancellation","operation":null)");
  EXPECT_EQ(RunAsJson(Run()), R"({
  "head": {
    "format": 1,
    "program": "tool",
    "arguments": null,
    "build": "vam-board 1.0",
    "keys": false,
    "clock": {
      "bootId": "",
      "bootTime": 1,
      "realTime": 1795000000000000000
    }
  },
  "steps": [
    {
      "time": 1000000,
      "pid": 7,
      "tid": 7,
      "line": 2,
      "title": "a cancellation",
      "details": [
        {
          "label": "operation",
          "text": "none"
        }
      ]
    }
  ],
  "problem": null
}
)");
}

TEST_F(JournalWordsTest, Call_OfAnySort_IsInAscii) {
  Add(R"("vconf_get_str","key":"\u00e9","value":null)");
  Add(PutBlob("00ff"));
  EXPECT_EQ(CallInWords(Run().calls[0]), "vconf_get_str key=\"\\u00e9\" value=null");
  EXPECT_EQ(CallInWords(Run().calls[1]),
            "CNolvWsm::PutBlob marshaller=1 length=2 bytes=\"00ff\" result=true");
}

}  // namespace
}  // namespace vam
