// Sends each command that it is given from a thread of its own, all at the same time, and without a
// marshaller. Then prints what each one got: the result, the origin, and the memory in hexadecimal.
// Usage: tee_threads_probe IDENTIFIER...

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "interface/trusted_application.h"
#include "platform/tee_client.h"

namespace {

struct Exchange {
  std::uint32_t command = 0;
  TEEC_Result result = TEEC_SUCCESS;
  std::uint32_t origin = 0;
  std::uint8_t memory[64] = {};
};

TEEC_UUID Application() {
  TEEC_UUID uuid = {vam::kUuidTimeLow, vam::kUuidTimeMid, vam::kUuidTimeHiAndVersion, {}};
  for (int i = 0; i < 8; ++i) {
    uuid.clockSeqAndNode[i] = vam::kUuidClockSeqAndNode[i];
  }
  return uuid;
}

void Perform(Exchange& exchange) {
  const TEEC_UUID application = Application();
  TEEC_Context context = {};
  TEEC_Session session = {};
  exchange.result = TEEC_InitializeContext(nullptr, &context);
  if (exchange.result != TEEC_SUCCESS) {
    return;
  }
  exchange.result = TEEC_OpenSession(&context, &session, &application, TEEC_LOGIN_PUBLIC, nullptr,
                                     nullptr, &exchange.origin);
  if (exchange.result == TEEC_SUCCESS) {
    TEEC_Operation operation = {};
    operation.paramTypes =
        TEEC_PARAM_TYPES(TEEC_MEMREF_TEMP_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE);
    operation.params[0].tmpref = {exchange.memory, sizeof exchange.memory};
    exchange.result = TEEC_InvokeCommand(&session, exchange.command, &operation, &exchange.origin);
    TEEC_CloseSession(&session);
  }
  TEEC_FinalizeContext(&context);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<Exchange> exchanges(static_cast<std::size_t>(argc - 1));
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < exchanges.size(); ++i) {
    exchanges[i].command = static_cast<std::uint32_t>(std::strtoul(argv[i + 1], nullptr, 10));
    threads.emplace_back(Perform, std::ref(exchanges[i]));
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const Exchange& exchange : exchanges) {
    std::printf("%u: %08x %u ", exchange.command, exchange.result, exchange.origin);
    for (const std::uint8_t byte : exchange.memory) {
      std::printf("%02x", unsigned{byte});
    }
    std::printf("\n");
  }
  return 0;
}
