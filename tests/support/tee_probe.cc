// Uses the TEE client library alone, as a program without the marshaller does. Each argument is one
// thing to do.
// Usage: tee_probe ACTION...

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/tee_client.h"

namespace {

constexpr TEEC_UUID kUuid = {
    0x58d50001, 0x1105, 0x000f, {0x97, 0x99, 0x7f, 0x5a, 0xf3, 0xf9, 0xc7, 0xbb}};
constexpr std::uint32_t kAkProvision = 24;
constexpr std::uint32_t kGetInfo = 28;
constexpr std::uint32_t kGetFirmwareInformation = 19;
constexpr std::size_t kBlock = 64;

struct Connection {
  Connection() {
    TEEC_InitializeContext(nullptr, &context);
    TEEC_OpenSession(&context, &session, &kUuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, nullptr);
  }
  ~Connection() {
    TEEC_CloseSession(&session);
    TEEC_FinalizeContext(&context);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void Invoke(std::uint32_t command, TEEC_Operation& operation) {
    std::uint32_t origin = 0;
    const TEEC_Result result = TEEC_InvokeCommand(&session, command, &operation, &origin);
    std::printf("%x %u", static_cast<unsigned>(result), static_cast<unsigned>(origin));
  }

  TEEC_Context context = {};
  TEEC_Session session = {};
};

void Print(const unsigned char* bytes, std::size_t count) {
  std::printf(" ");
  for (std::size_t i = 0; i < count; ++i) {
    std::printf("%02x", bytes[i]);
  }
}

void InvokeOnTemporary(std::uint32_t command) {
  Connection connection;
  unsigned char block[kBlock] = {1, 2, 3};
  TEEC_Operation operation = {};
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_MEMREF_TEMP_INOUT, 0, 0, 0);
  operation.params[0].tmpref = {block, sizeof block};
  connection.Invoke(command, operation);
  Print(block, operation.params[0].tmpref.size);
  std::printf("\n");
}

void Registered(std::uint32_t type, std::uint32_t flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT) {
  Connection connection;
  TEEC_SharedMemory memory = {};
  memory.size = kBlock;
  memory.flags = flags;
  TEEC_AllocateSharedMemory(&connection.context, &memory);
  auto* bytes = static_cast<unsigned char*>(memory.buffer);
  std::memset(bytes, 7, kBlock);
  TEEC_Operation operation = {};
  operation.paramTypes = TEEC_PARAM_TYPES(type, 0, 0, 0);
  constexpr std::size_t kOffset = 4;
  operation.params[0].memref = {&memory, kBlock - kOffset, kOffset};
  connection.Invoke(kGetFirmwareInformation, operation);
  Print(bytes, kBlock);
  std::printf("\n");
  TEEC_ReleaseSharedMemory(&memory);
}

/// On memory of the program's own.
void OwnMemory() {
  Connection connection;
  unsigned char block[kBlock] = {8, 9};
  TEEC_SharedMemory memory = {};
  memory.buffer = block;
  memory.size = sizeof block;
  memory.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  std::printf("%x ",
              static_cast<unsigned>(TEEC_RegisterSharedMemory(&connection.context, &memory)));
  TEEC_Operation operation = {};
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_MEMREF_WHOLE, 0, 0, 0);
  operation.params[0].memref.parent = &memory;
  connection.Invoke(kGetFirmwareInformation, operation);
  Print(block, kBlock);
  TEEC_ReleaseSharedMemory(&memory);
  std::printf("%s\n", memory.buffer == block ? "" : " is gone");
}

/// Asks for the end of a command from this thread and from another.
void Cancelled() {
  Connection connection;
  unsigned char block[kBlock] = {};
  TEEC_Operation operation = {};
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_MEMREF_TEMP_INOUT, 0, 0, 0);
  operation.params[0].tmpref = {block, sizeof block};
  TEEC_RequestCancellation(&operation);
  std::thread([&operation] { TEEC_RequestCancellation(&operation); }).join();
  connection.Invoke(kGetFirmwareInformation, operation);
  std::printf("\n");
}

void Values() {
  Connection connection;
  TEEC_Operation operation = {};
  operation.paramTypes =
      TEEC_PARAM_TYPES(TEEC_VALUE_INPUT, TEEC_VALUE_OUTPUT, TEEC_VALUE_INOUT, TEEC_NONE);
  operation.params[0].value = {1, 2};
  operation.params[1].value = {3, 4};
  operation.params[2].value = {5, UINT32_MAX};
  connection.Invoke(kGetInfo, operation);
  std::printf(" %u %u\n", static_cast<unsigned>(operation.params[1].value.a),
              static_cast<unsigned>(operation.params[2].value.a));
}

void BadMemory() {
  Connection connection;
  TEEC_Operation operation = {};
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_MEMREF_TEMP_INOUT, TEEC_MEMREF_PARTIAL_INOUT, 0, 0);
  operation.params[0].tmpref = {nullptr, SIZE_MAX};
  connection.Invoke(kGetInfo, operation);
  std::printf("\n");
}

/// Gives each call nothing where it takes a pointer.
void NullArguments() {
  TEEC_Context context = {};
  TEEC_InitializeContext("other", &context);
  TEEC_InitializeContext(nullptr, nullptr);
  TEEC_OpenSession(nullptr, nullptr, nullptr, TEEC_LOGIN_USER, nullptr, nullptr, nullptr);
  TEEC_AllocateSharedMemory(nullptr, nullptr);
  TEEC_RegisterSharedMemory(nullptr, nullptr);
  TEEC_InvokeCommand(nullptr, kGetInfo, nullptr, nullptr);
  TEEC_RequestCancellation(nullptr);
  TEEC_ReleaseSharedMemory(nullptr);
  TEEC_CloseSession(nullptr);
  TEEC_FinalizeContext(nullptr);
}

/// Gives nothing back.
void Kept() {
  static TEEC_Context context = {};
  static TEEC_Session sessions[2] = {};
  static TEEC_SharedMemory memories[3] = {};
  TEEC_InitializeContext(nullptr, &context);
  for (TEEC_Session& session : sessions) {
    TEEC_OpenSession(&context, &session, &kUuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, nullptr);
  }
  for (TEEC_SharedMemory& memory : memories) {
    memory.size = 1;
    memory.flags = TEEC_MEM_INPUT;
    TEEC_AllocateSharedMemory(&context, &memory);
  }
}

/// Nothing before a value, and types that the standard does not have.
void OddParameters() {
  Connection connection;
  TEEC_Operation operation = {};
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_NONE, TEEC_VALUE_INPUT, 4, 11);
  operation.params[1].value = {1, 2};
  connection.Invoke(kGetInfo, operation);
  operation.paramTypes = 0x10000;
  connection.Invoke(kGetInfo, operation);
  std::printf("\n");
}

void Threads() {
  constexpr int kThreads = 2;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 20; ++round) {
        const Connection connection;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

void SessionWithParameters() {
  TEEC_Context context = {};
  TEEC_Session session = {};
  unsigned char bytes[] = {9, 8, 7, 6};
  TEEC_Operation operation = {};
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_VALUE_INPUT, TEEC_MEMREF_TEMP_INPUT, 0, 0);
  operation.params[0].value = {1, 2};
  operation.params[1].tmpref = {bytes, sizeof bytes};
  std::uint32_t origin = 0;
  TEEC_InitializeContext(nullptr, &context);
  const TEEC_Result result =
      TEEC_OpenSession(&context, &session, &kUuid, TEEC_LOGIN_PUBLIC, bytes, &operation, &origin);
  TEEC_FinalizeContext(&context);
  std::printf("%x %u\n", static_cast<unsigned>(result), static_cast<unsigned>(origin));
}

void Fork() {
  const Connection connection;
  const pid_t child = fork();
  if (child == 0) {
    { const Connection own; }
    _exit(0);
  }
  waitpid(child, nullptr, 0);
}

/// Prints the first two that the program gets.
void Descriptors() {
  const int first = open("/dev/null", O_RDONLY);
  const int second = open("/dev/null", O_RDONLY);
  std::printf("%d %d\n", first, second);
}

/// Leaves no descriptor to open.
void UseUpDescriptors() {
  // Some machines allow as many as the memory holds.
  const rlimit few = {64, 64};
  setrlimit(RLIMIT_NOFILE, &few);
  while (open("/dev/null", O_RDONLY) >= 0) {
  }
}

void CloseAll() {
  constexpr int kMany = 1024;
  for (int descriptor = STDERR_FILENO + 1; descriptor < kMany; ++descriptor) {
    close(descriptor);
  }
}

void Killed() {
  const Connection connection;
  std::fflush(stdout);
  raise(SIGKILL);
}

const std::map<std::string, std::function<void()>>& Actions() {
  static const std::map<std::string, std::function<void()>> kActions = {
      {"temporary", [] { InvokeOnTemporary(kGetFirmwareInformation); }},
      {"keys", [] { InvokeOnTemporary(kAkProvision); }},
      {"part", [] { Registered(TEEC_MEMREF_PARTIAL_INOUT); }},
      {"input-part", [] { Registered(TEEC_MEMREF_PARTIAL_INPUT); }},
      {"whole", [] { Registered(TEEC_MEMREF_WHOLE); }},
      {"input-whole", [] { Registered(TEEC_MEMREF_WHOLE, TEEC_MEM_INPUT); }},
      {"own-memory", &OwnMemory},
      {"cancelled", &Cancelled},
      {"values", &Values},
      {"session-with-parameters", &SessionWithParameters},
      {"bad-memory", &BadMemory},
      {"null-arguments", &NullArguments},
      {"kept", &Kept},
      {"odd-parameters", &OddParameters},
      {"threads", &Threads},
      {"fork", &Fork},
      {"killed", &Killed},
      {"close-all", &CloseAll},
      {"descriptors", &Descriptors},
      {"use-up-descriptors", &UseUpDescriptors},
      {"make-room", [] { unlink("/tmp/room"); }},
  };
  return kActions;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    Actions().at(argv[i])();
  }
  return 0;
}
