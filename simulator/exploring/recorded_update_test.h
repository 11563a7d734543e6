#ifndef SIMULATOR_EXPLORING_RECORDED_UPDATE_TEST_H_
#define SIMULATOR_EXPLORING_RECORDED_UPDATE_TEST_H_

// A run of vam-update as its journal tells it, for tests.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "simulator/recording/journal_reader.h"

namespace vam {

inline std::string JournalCallText(const std::string& rest) {
  return R"({"time":1,"pid":7,"tid":7,"call":)" + rest + "}\n";
}

inline std::string Digits(const std::string& bytes) {
  std::string digits;
  for (const char c : bytes) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(c));
    digits += pair;
  }
  return digits;
}

/// One exchange with the trusted application: its number, what it puts and gets, and the result.
inline std::string ExchangeText(int number, const std::string& put, const std::string& command,
                                const std::string& got) {
  const std::string n = std::to_string(number);
  const std::string success = R"("result":{"number":0,"name":"TEEC_SUCCESS"})";
  const std::string origin = R"("origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"})";
  return JournalCallText(R"("TEEC_InitializeContext","name":null,)" + success + R"(,"context":)" +
                         n) +
         JournalCallText(R"("TEEC_OpenSession","context":)" + n +
                         R"(,"destination":"58d50001-1105-000f-9799-7f5af3f9c7bb",)"
                         R"("connectionMethod":0,"connectionData":null,"operation":null,)" +
                         success + "," + origin + R"(,"session":)" + n) +
         JournalCallText(R"("TEEC_AllocateSharedMemory","context":)" + n +
                         R"(,"size":8192,"flags":3,)" + success + R"(,"sharedMemory":)" + n) +
         JournalCallText(R"("CNolvWsm::CNolvWsm","sharedMemory":)" + n + R"(,"marshaller":)" + n) +
         put +
         JournalCallText(R"("TEEC_InvokeCommand","session":)" + n + R"(,"command":)" + command +
                         R"(,"paramTypes":15,"params":[{"sharedMemory":)" + n +
                         R"(,"size":8192,"offset":0}],)" + success + "," + origin) +
         got + JournalCallText(R"("CNolvWsm::~CNolvWsm","marshaller":)" + n) +
         JournalCallText(R"("TEEC_ReleaseSharedMemory","sharedMemory":)" + n) +
         JournalCallText(R"("TEEC_CloseSession","session":)" + n) +
         JournalCallText(R"("TEEC_FinalizeContext","context":)" + n);
}

inline std::string BlobText(int number, const std::string& bytes) {
  return JournalCallText(R"("CNolvWsm::GetBlob","marshaller":)" + std::to_string(number) +
                         R"(,"length":)" + std::to_string(bytes.size()) + R"(,"bytes":")" +
                         Digits(bytes) + "\"");
}

inline std::string CountText(int number, std::size_t value) {
  return JournalCallText(R"("CNolvWsm::GetUint","marshaller":)" + std::to_string(number) +
                         R"(,"value":)" + std::to_string(value) + R"(,"result":true)");
}

/// The update command in one mode, which brings both versions, each with a zero after it.
inline std::string UpdateText(int number, int mode, const std::string& system,
                              const std::string& app) {
  const std::string systemText = system + '\0';
  const std::string appText = app + '\0';
  return ExchangeText(
      number,
      JournalCallText(R"("CNolvWsm::PutInt","marshaller":)" + std::to_string(number) +
                      R"(,"value":)" + std::to_string(mode) + R"(,"result":true)"),
      R"({"number":18,"name":"vm_updateFW"})",
      BlobText(number, std::string(8, '\0')) + CountText(number, systemText.size()) +
          BlobText(number, systemText) + CountText(number, appText.size()) +
          BlobText(number, appText));
}

/// A run on a board whose image claims version 1.1 of the system part, and whose chip reports
/// `chipSystem` after the update. The app part is 2.0.
inline RecordedRun RecordedUpdate(const std::string& chipSystem = "1.1") {
  const std::string text =
      R"({"format":1,"program":"vam-update","arguments":null,"build":"vam-board 1.0.0",)"
      R"("keys":false,"clock":{"bootId":"","bootTime":1,"realTime":2}})"
      "\n" +
      JournalCallText(R"("open","path":"/dev/zelkshield","flags":2,"descriptor":1)") +
      JournalCallText(R"("ioctl","descriptor":1,"request":1,"result":0,"flag":1)") +
      JournalCallText(R"("close","descriptor":1,"result":0)") + UpdateText(1, 7, "1.1", "2.0") +
      UpdateText(2, 3, chipSystem, "2.0") + UpdateText(3, 11, chipSystem, "2.0") +
      ExchangeText(4, "", R"({"number":19,"name":"vm_getFWInfo"})",
                   CountText(4, 1) + BlobText(4, "\x01\x02\x03\x04"));
  RecordedRun run = ReadJournal(text, "journal");
  EXPECT_EQ(run.problem, "");
  return run;
}

}  // namespace vam

#endif  // SIMULATOR_EXPLORING_RECORDED_UPDATE_TEST_H_
