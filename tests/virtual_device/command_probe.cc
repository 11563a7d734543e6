// Sends the VAM's trusted application one command with any parameters, and prints the answer.
// Usage: command_probe COMMAND [PARAMETER...]
// A PARAMETER is
//   none
//   value:A,B or value-inout:A,B or value-out
//   input:FILE or inout:FILE          memory with the file's bytes
//   output:SIZE or output:SIZE:FILE   memory of so many bytes, which go to the file
// Prints the result and its origin, and of each output its size and its bytes, those without a file
// in hexadecimal. "overrun" after them tells of a byte that was written after the output's end.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "interface/trusted_application.h"
#include "platform/tee_client.h"

namespace {

constexpr unsigned char kUntouched = 0xEE;
/// Bytes after an output that must stay untouched.
constexpr std::size_t kGuard = 64;
constexpr std::size_t kParameters = 4;

void Require(TEEC_Result result, const std::string& what) {
  if (result != TEEC_SUCCESS) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
    throw std::runtime_error(what + ": " + code);
  }
}

std::uint32_t NumberIn(const std::string& text) {
  std::size_t end = 0;
  const unsigned long number = std::stoul(text, &end, 0);
  if (end != text.size() || number > UINT32_MAX) {
    throw std::runtime_error("no number: " + text);
  }
  return static_cast<std::uint32_t>(number);
}

/// Returns what stands before the first `separator`, and lets `text` start after it.
std::string TakeUntil(char separator, std::string& text) {
  const std::size_t end = text.find(separator);
  std::string taken = text.substr(0, end);
  text = end == std::string::npos ? "" : text.substr(end + 1);
  return taken;
}

TEEC_Value ValueIn(std::string text) {
  const std::uint32_t a = NumberIn(TakeUntil(',', text));
  return {a, NumberIn(text)};
}

std::vector<char> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error(path + ": cannot be read");
  }
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class Session {
 public:
  Session() {
    TEEC_UUID uuid{vam::kUuidTimeLow, vam::kUuidTimeMid, vam::kUuidTimeHiAndVersion, {}};
    std::copy(std::begin(vam::kUuidClockSeqAndNode), std::end(vam::kUuidClockSeqAndNode),
              std::begin(uuid.clockSeqAndNode));
    Require(TEEC_InitializeContext(nullptr, &context), "the context");
    Require(
        TEEC_OpenSession(&context, &session, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, nullptr),
        "the session");
  }
  ~Session() {
    for (Memory& memory : memories) {
      TEEC_ReleaseSharedMemory(&memory.shared);
    }
    TEEC_CloseSession(&session);
    TEEC_FinalizeContext(&context);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void SetParameter(std::size_t place, std::string text) {
    TEEC_Parameter& parameter = operation.params[place];
    const std::string kind = TakeUntil(':', text);
    std::uint32_t type = TEEC_NONE;
    if (kind == "value" || kind == "value-inout") {
      type = kind == "value" ? TEEC_VALUE_INPUT : TEEC_VALUE_INOUT;
      parameter.value = ValueIn(text);
    } else if (kind == "value-out") {
      type = TEEC_VALUE_OUTPUT;
    } else if (kind == "input" || kind == "inout") {
      type = kind == "input" ? TEEC_MEMREF_PARTIAL_INPUT : TEEC_MEMREF_PARTIAL_INOUT;
      const std::vector<char> bytes = ReadFile(text);
      Share(place, bytes.size(), "");
      memories[place].filled = bytes.size();
      std::copy(bytes.begin(), bytes.end(), static_cast<char*>(memories[place].shared.buffer));
    } else if (kind == "output") {
      type = TEEC_MEMREF_PARTIAL_OUTPUT;
      const std::uint32_t size = NumberIn(TakeUntil(':', text));
      Share(place, size, text);
    } else if (kind != "none") {
      throw std::runtime_error("no kind of parameter: " + kind);
    }
    operation.paramTypes |= type << 4 * place;
  }

  void Invoke(std::uint32_t command) {
    std::uint32_t origin = 0;
    const TEEC_Result result = TEEC_InvokeCommand(&session, command, &operation, &origin);
    std::printf("0x%08X %u", static_cast<unsigned>(result), static_cast<unsigned>(origin));
    for (std::size_t place = 0; place < kParameters; ++place) {
      PrintOutput(place);
    }
    std::printf("\n");
  }

 private:
  struct Memory {
    TEEC_SharedMemory shared{};
    /// Bytes that the command is given.
    std::size_t size = 0;
    /// How many of them had the bytes of a file.
    std::size_t filled = 0;
    std::string file;
  };

  void Share(std::size_t place, std::size_t size, const std::string& file) {
    Memory& memory = memories[place];
    memory.size = size;
    memory.file = file;
    memory.shared.size = size + kGuard;
    memory.shared.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
    Require(TEEC_AllocateSharedMemory(&context, &memory.shared), "the shared memory");
    std::memset(memory.shared.buffer, kUntouched, memory.shared.size);
    operation.params[place].memref = {&memory.shared, size, 0};
  }

  void PrintOutput(std::size_t place) const {
    const std::uint32_t type = operation.paramTypes >> 4 * place & 0xF;
    if (type == TEEC_VALUE_OUTPUT || type == TEEC_VALUE_INOUT) {
      const TEEC_Value& value = operation.params[place].value;
      std::printf(" %u,%u", static_cast<unsigned>(value.a), static_cast<unsigned>(value.b));
    }
    if (type == TEEC_MEMREF_PARTIAL_OUTPUT || type == TEEC_MEMREF_PARTIAL_INOUT) {
      PrintMemory(memories[place], operation.params[place].memref.size);
    }
  }

  /// `used` is what the command says that it wrote, or that it needs.
  static void PrintMemory(const Memory& memory, std::size_t used) {
    const auto* bytes = static_cast<const unsigned char*>(memory.shared.buffer);
    const std::size_t written = used <= memory.size ? used : 0;
    std::printf(" %zu:", used);
    if (memory.file.empty()) {
      for (std::size_t i = 0; i < written; ++i) {
        std::printf("%02x", bytes[i]);
      }
    } else {
      std::ofstream(memory.file, std::ios::binary)
          .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(written));
    }
    const auto isTouched = [](unsigned char byte) { return byte != kUntouched; };
    if (std::any_of(bytes + std::max(written, memory.filled), bytes + memory.shared.size,
                    isTouched)) {
      std::printf(" overrun");
    }
  }

  TEEC_Context context{};
  TEEC_Session session{};
  TEEC_Operation operation{};
  Memory memories[kParameters];
};

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty() || arguments.size() > 1 + kParameters) {
      throw std::runtime_error("give a command and at most four parameters");
    }
    Session session;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
      session.SetParameter(i - 1, arguments[i]);
    }
    session.Invoke(NumberIn(arguments[0]));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "command_probe: %s\n", error.what());
    return 2;
  }
}
