#include "simulator/stand_ins/tee_client_api.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "interface/trusted_application.h"
#include "journal/code_names.h"
#include "journal/journal_line.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/model/trusted_application.h"
#include "simulator/run/recorded_call.h"
#include "simulator/run/replay.h"
#include "simulator/run/run.h"
#include "simulator/state/chip_lock.h"
#include "simulator/state/chip_memory_file.h"
#include "simulator/state/firmware_image_file.h"
#include "simulator/state/sha256_digest.h"
#include "simulator/state/state_folder.h"

// The TEE client library of the simulated board. It keeps a table of what is open, and so notices a
// record that was never filled or that was closed.

namespace {

using vam::PlatformCall;

/// The answer faults of the current run's board.
class BoardAnswerFaults final : public vam::AnswerFaults {
 public:
  explicit BoardAnswerFaults(vam::Run& owner) : run(owner) {}

  std::uint32_t Count() override {
    return static_cast<std::uint32_t>(run.Description().faults.size());
  }

  const vam::AnswerFault* Select(std::uint32_t index, std::uint32_t command, bool hasMode,
                                 std::int32_t mode) override {
    const vam::Fault* fault = run.SelectAnswerFault(index, command, hasMode, mode);
    return fault == nullptr ? nullptr : &fault->answer;
  }

  void Applied(std::uint32_t index) override {
    const vam::Fault& fault = run.Description().faults[index];
    run.AnswerFaultApplied(fault);
    if (lastApplied == nullptr || fault.number > lastApplied->number) {
      lastApplied = &fault;
    }
  }

  /// Of the faults that changed the answer, the last one in the board's file; null: none.
  const vam::Fault* lastApplied = nullptr;

 private:
  vam::Run& run;
};

/// The chip's memory of the current run's board. Tells the run of each write, for its power cuts. A
/// file that cannot be used stops the run: no answer of a chip would be true.
class BoardChipMemory final : public vam::ChipMemoryStore {
 public:
  explicit BoardChipMemory(vam::Run& owner)
      : run(owner),
        file(vam::ChipMemoryIn(owner.StateFolder()), owner.StateIsKept()
                                                         ? vam::Keeping::kThroughPowerFailure
                                                         : vam::Keeping::kWhilePowered) {}

  bool Load(void* bytes, std::uint32_t size) override {
    return StopUnlessUsable(file.Load(bytes, size));
  }
  bool Save(const void* bytes, std::uint32_t size) override {
    StopUnlessUsable(file.Save(bytes, size));
    run.ChipMemoryWritten();
    return true;
  }

 private:
  bool StopUnlessUsable(bool done) {
    if (!file.Obstacle().empty()) {
      run.StopForTrouble(file.Obstacle());
    }
    return done;
  }

  vam::Run& run;
  vam::ChipMemoryFile file;
};

/// Whose the bytes of a shared memory are.
enum class Owner { kProgram, kLibrary };

/// The board's secure world, as one process sees it.
class SecureWorld {
 public:
  static SecureWorld& Instance() {
    static SecureWorld world;
    return world;
  }

  ~SecureWorld() {
    Report("context", contexts.size());
    Report("session", sessions.size());
    Report("shared memory", memories.size());
  }
  SecureWorld(const SecureWorld&) = delete;
  SecureWorld& operator=(const SecureWorld&) = delete;

  vam::Run* const run = vam::Run::Current();

  void AddContext(TEEC_Context& context, std::uint32_t number) {
    const std::lock_guard<std::mutex> lock(mutex);
    context.number = number;
    contexts.insert(number);
  }
  void AddSession(TEEC_Session& session, std::uint32_t number, std::uint32_t context) {
    const std::lock_guard<std::mutex> lock(mutex);
    session.number = number;
    sessions[number] = context;
  }
  /// Keeps a memory of the program's own where `owner` is the program, and else makes one.
  void AddMemory(TEEC_SharedMemory& sharedMemory, std::uint32_t number, std::uint32_t context,
                 Owner owner) {
    const std::lock_guard<std::mutex> lock(mutex);
    sharedMemory.number = number;
    Memory& memory = memories[number];
    memory.context = context;
    if (owner == Owner::kLibrary) {
      // One byte more gives an empty block an address too.
      memory.bytes.resize(sharedMemory.size + 1);
      sharedMemory.buffer = memory.bytes.data();
    }
  }

  [[nodiscard]] bool HasContext(std::uint32_t number) const {
    const std::lock_guard<std::mutex> lock(mutex);
    return contexts.count(number) != 0;
  }
  /// Return the context of a session or of a memory; 0 of one that does not live.
  [[nodiscard]] std::uint32_t ContextOfSession(std::uint32_t number) const {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = sessions.find(number);
    return found == sessions.end() ? 0 : found->second;
  }
  [[nodiscard]] std::uint32_t ContextOfMemory(std::uint32_t number) const {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = memories.find(number);
    return found == memories.end() ? 0 : found->second.context;
  }

  /// Returns whether the library made the memory.
  [[nodiscard]] bool IsOwnMemory(std::uint32_t number) const {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = memories.find(number);
    return found != memories.end() && !found->second.bytes.empty();
  }

  /// Return whether it lived.
  bool RemoveContext(std::uint32_t number) { return Remove(contexts, number); }
  bool RemoveSession(std::uint32_t number) { return Remove(sessions, number); }
  bool RemoveMemory(std::uint32_t number) { return Remove(memories, number); }

  std::atomic<std::uint32_t> contextCount{0};
  std::atomic<std::uint32_t> sessionCount{0};
  std::atomic<std::uint32_t> memoryCount{0};

 private:
  SecureWorld() = default;

  struct Memory {
    std::uint32_t context;
    /// Empty: the program's own.
    std::vector<std::uint8_t> bytes;
  };

  template <typename Things>
  bool Remove(Things& things, std::uint32_t number) {
    const std::lock_guard<std::mutex> lock(mutex);
    return things.erase(number) != 0;
  }

  static void Report(const char* what, std::size_t count) {
    if (count != 0) {
      std::fprintf(stderr, "simulated board: %zu %s not given back at the end of the process\n",
                   count, what);
    }
  }

  mutable std::mutex mutex;
  /// Live contexts, by number.
  std::set<std::uint32_t> contexts;
  /// Live sessions and the context of each.
  std::map<std::uint32_t, std::uint32_t> sessions;
  std::map<std::uint32_t, Memory> memories;
};

void Misuse(PlatformCall call, const char* what) {
  const std::string name(vam::PlatformCallName(call));
  std::fprintf(stderr, "simulated board: %s on a %s that is not open\n", name.c_str(), what);
}

/// A result with the origin that goes with it.
struct Outcome {
  TEEC_Result result;
  std::uint32_t origin;
};

constexpr Outcome kBadParameters = {TEEC_ERROR_BAD_PARAMETERS, TEEC_ORIGIN_API};

bool IsTrustedApplication(const TEEC_UUID& uuid) {
  return uuid.timeLow == vam::kUuidTimeLow && uuid.timeMid == vam::kUuidTimeMid &&
         uuid.timeHiAndVersion == vam::kUuidTimeHiAndVersion &&
         std::memcmp(uuid.clockSeqAndNode, vam::kUuidClockSeqAndNode,
                     sizeof uuid.clockSeqAndNode) == 0;
}

/// The memory that a parameter refers to; null bytes when it refers to none.
struct Reference {
  std::uint8_t* bytes;
  std::size_t size;
};

/// Checks one parameter as the standard asks. `reference` receives the memory that it refers to.
bool CheckParameter(SecureWorld& world, std::uint32_t context, std::uint32_t type,
                    const TEEC_Parameter& parameter, Reference& reference) {
  switch (type) {
    case TEEC_NONE:
    case TEEC_VALUE_INPUT:
    case TEEC_VALUE_OUTPUT:
    case TEEC_VALUE_INOUT:
      return true;
    case TEEC_MEMREF_TEMP_INPUT:
    case TEEC_MEMREF_TEMP_OUTPUT:
    case TEEC_MEMREF_TEMP_INOUT:
      reference = {static_cast<std::uint8_t*>(parameter.tmpref.buffer), parameter.tmpref.size};
      return parameter.tmpref.buffer != nullptr || parameter.tmpref.size == 0;
    case TEEC_MEMREF_WHOLE:
    case TEEC_MEMREF_PARTIAL_INPUT:
    case TEEC_MEMREF_PARTIAL_OUTPUT:
    case TEEC_MEMREF_PARTIAL_INOUT:
      break;
    default:
      return false;
  }
  const TEEC_SharedMemory* parent = parameter.memref.parent;
  if (parent == nullptr) {
    return false;
  }
  if (world.ContextOfMemory(parent->number) != context) {
    return false;
  }
  if (type == TEEC_MEMREF_WHOLE) {
    reference = {static_cast<std::uint8_t*>(parent->buffer), parent->size};
    return true;
  }
  const std::uint32_t directions = type & (TEEC_MEM_INPUT | TEEC_MEM_OUTPUT);
  const TEEC_RegisteredMemoryReference& part = parameter.memref;
  if ((directions & ~parent->flags) != 0 || part.offset > parent->size ||
      part.size > parent->size - part.offset) {
    return false;
  }
  reference = {static_cast<std::uint8_t*>(parent->buffer) + part.offset, part.size};
  return true;
}

/// Carries out one command while no other process or thread of the board has one carried out.
std::uint32_t InvokeAlone(vam::Run& run, std::uint32_t command, const Reference& block,
                          const vam::Fault*& fault) {
  const vam::ChipLock lock(run.StateFolder());
  BoardChipMemory store(run);
  vam::FirmwareImageFile image(vam::FirmwareImageIn(run.StateFolder()));
  vam::Sha256Digest digest;
  BoardAnswerFaults faults(run);
  const auto application = std::make_unique<vam::TrustedApplication>(store, image, digest, faults);
  const std::uint32_t result = application->Invoke(command, block.bytes, block.size);
  if (!image.Obstacle().empty()) {
    run.StopForTrouble(image.Obstacle());
  }
  fault = faults.lastApplied;
  return result;
}

/// Hands one command to the trusted application's model. `fault` receives the fault that changed
/// its answer, if one did.
Outcome InvokeModel(SecureWorld& world, std::uint32_t command, const TEEC_Operation* operation,
                    std::uint32_t context, const vam::Fault*& fault) {
  const std::uint32_t types = operation == nullptr ? 0 : operation->paramTypes;
  Reference block{nullptr, 0};
  for (std::uint32_t i = 0; i < TEEC_CONFIG_PAYLOAD_REF_COUNT; ++i) {
    const std::uint32_t type = TEEC_PARAM_TYPE_GET(types, i);
    Reference reference{nullptr, 0};
    if (type != TEEC_NONE &&
        !CheckParameter(world, context, type, operation->params[i], reference)) {
      return kBadParameters;
    }
    if (i == 0) {
      block = reference;
    }
  }
  // The trusted application takes one reference to memory for input and output, and nothing else.
  const std::uint32_t first = TEEC_PARAM_TYPE_GET(types, 0);
  const bool inOut = first == TEEC_MEMREF_PARTIAL_INOUT || first == TEEC_MEMREF_TEMP_INOUT ||
                     first == TEEC_MEMREF_WHOLE;
  if (!inOut || types != first || block.size < vam::kFirstValue) {
    return {TEEC_ERROR_BAD_PARAMETERS, TEEC_ORIGIN_TRUSTED_APP};
  }
  try {
    const std::uint32_t result = InvokeAlone(*world.run, command, block, fault);
    return {result, TEEC_ORIGIN_TRUSTED_APP};
  } catch (const std::exception& error) {
    world.run->StopForTrouble(error.what());
  }
}

/// Returns the outcome that a recording answers with.
Outcome OutcomeIn(const vam::RecordedCall& recorded) {
  return {recorded.Ordinal("result"), recorded.Ordinal("origin")};
}

/// Notes a call that has no answer. `ask` adds what is asked.
template <typename Ask>
void Record(PlatformCall call, Ask ask) {
  vam::FindRecorded(call, ask);
  vam::JournalLine line = vam::LineOf(call);
  ask(line);
}

void StoreOrigin(std::uint32_t* place, std::uint32_t origin) {
  if (place != nullptr) {
    *place = origin;
  }
}

void DescribeUuid(const TEEC_UUID& uuid, char (&text)[37]) {
  const std::uint8_t* node = uuid.clockSeqAndNode;
  std::snprintf(text, sizeof text, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", uuid.timeLow,
                unsigned{uuid.timeMid}, unsigned{uuid.timeHiAndVersion}, node[0], node[1], node[2],
                node[3], node[4], node[5], node[6], node[7]);
}

/// Returns whether a marshaller is loaded into the program. It tells the journal every value that
/// is put and got, and the bytes of the memory are its own affair.
bool HasMarshaller() { return dlsym(RTLD_DEFAULT, "_ZN8CNolvWsm6PutIntEi") != nullptr; }

/// The parameters of an operation: as the program gives them, and, after the call, as they come
/// back.
class Parameters {
 public:
  /// Takes note of what is given. `given` outlives the object.
  Parameters(const TEEC_Operation* given, const SecureWorld& world) : operation(given) {
    if (operation == nullptr) {
      return;
    }
    withBytes = !HasMarshaller();
    for (std::uint32_t i = 0; i < Count(); ++i) {
      const TEEC_Parameter& parameter = operation->params[i];
      Given& copy = givens[i];
      copy.value = parameter;
      copy.type = TEEC_PARAM_TYPE_GET(operation->paramTypes, i);
      copy.reference = MemoryOf(world, copy.type, parameter);
      copy.directions = DirectionsOf(copy.type, parameter);
      if (withBytes && copy.IsMemory() && (copy.directions & TEEC_MEM_INPUT) != 0) {
        copy.before.assign(copy.reference.bytes, copy.reference.bytes + copy.reference.size);
      }
    }
  }

  /// Adds what is asked by them.
  void Ask(vam::Question& question) const {
    if (operation == nullptr) {
      return;
    }
    question.Number("paramTypes", operation->paramTypes);
    for (std::uint32_t i = 0; i < Count(); ++i) {
      const Given& given = givens[i];
      const std::string place = "params." + std::to_string(i) + ".";
      given.ForEachNumber(
          [&](const char* name, std::int64_t number) { question.Number(place + name, number); });
      if (given.IsMemory() && (given.directions & TEEC_MEM_INPUT) != 0) {
        question.Bytes(place + "before", given.reference.bytes, given.reference.size);
      }
    }
  }

  /// Takes what `recorded` answers.
  void Answer(TEEC_Operation* taken, const vam::RecordedCall& recorded) const {
    for (std::uint32_t i = 0; i < Count(); ++i) {
      const Given& given = givens[i];
      const std::string place = "params." + std::to_string(i) + ".";
      TEEC_Parameter& parameter = taken->params[i];
      if (recorded.Has(place + "newA")) {
        parameter.value.a = recorded.Ordinal(place + "newA");
        parameter.value.b = recorded.Ordinal(place + "newB");
      }
      if (recorded.Has(place + "newSize")) {
        const auto size = static_cast<std::size_t>(recorded.Number(place + "newSize"));
        (given.IsTemporary() ? parameter.tmpref.size : parameter.memref.size) = size;
      }
      const Reference& memory = given.reference;
      // Also of withheld bytes it can be known that they are those which are there.
      if (memory.bytes == nullptr ||
          recorded.HasBytes(place + "after", memory.bytes, memory.size)) {
        continue;
      }
      if (const auto bytes = vam::RecordedBytes(recorded, place + "after")) {
        std::memcpy(memory.bytes, bytes->data(), std::min(bytes->size(), memory.size));
      }
    }
  }

  /// Adds the types of the parameters, and each parameter up to the last one that is there, with
  /// what has come back.
  void AddTo(vam::JournalLine& line, bool areKeys) const {
    if (operation == nullptr) {
      return;
    }
    line.Number("paramTypes", operation->paramTypes).BeginList("params");
    for (std::uint32_t i = 0; i < Count(); ++i) {
      line.BeginObject();
      AddParameter(line, givens[i], operation->params[i], areKeys);
      line.EndObject();
    }
    line.EndList();
  }

 private:
  /// A parameter before the call.
  struct Given {
    std::uint32_t type = TEEC_NONE;
    TEEC_Parameter value = {};
    std::uint32_t directions = 0;
    /// The memory that it refers to, where that is the program's.
    Reference reference = {nullptr, 0};
    std::vector<std::uint8_t> before;

    [[nodiscard]] bool IsValue() const {
      return type >= TEEC_VALUE_INPUT && type <= TEEC_VALUE_INOUT;
    }
    [[nodiscard]] bool IsTemporary() const {
      return type >= TEEC_MEMREF_TEMP_INPUT && type <= TEEC_MEMREF_TEMP_INOUT;
    }
    [[nodiscard]] bool IsRegistered() const { return type >= TEEC_MEMREF_WHOLE; }
    [[nodiscard]] bool IsMemory() const { return reference.bytes != nullptr; }
    [[nodiscard]] std::size_t Size() const {
      return IsTemporary() ? value.tmpref.size : value.memref.size;
    }

    /// Gives `take` each number that is asked, with its name.
    template <typename Take>
    void ForEachNumber(Take take) const {
      if (IsValue() && (directions & TEEC_MEM_INPUT) != 0) {
        take("a", value.value.a);
        take("b", value.value.b);
      }
      if (IsRegistered()) {
        take("sharedMemory", value.memref.parent == nullptr ? 0 : value.memref.parent->number);
      }
      if (IsTemporary() || (IsRegistered() && type != TEEC_MEMREF_WHOLE)) {
        take("size", static_cast<std::int64_t>(Size()));
      }
      if (IsRegistered() && type != TEEC_MEMREF_WHOLE) {
        take("offset", static_cast<std::int64_t>(value.memref.offset));
      }
    }
  };

  static std::uint32_t DirectionsOf(std::uint32_t type, const TEEC_Parameter& parameter) {
    constexpr std::uint32_t kBoth = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
    if (type == TEEC_MEMREF_WHOLE) {
      return parameter.memref.parent == nullptr ? 0 : parameter.memref.parent->flags & kBoth;
    }
    return type & kBoth;
  }

  /// Returns the memory that a parameter refers to; null bytes where it refers to none that the
  /// library knows.
  static Reference MemoryOf(const SecureWorld& world, std::uint32_t type,
                            const TEEC_Parameter& parameter) {
    if (type >= TEEC_MEMREF_TEMP_INPUT && type <= TEEC_MEMREF_TEMP_INOUT) {
      return {static_cast<std::uint8_t*>(parameter.tmpref.buffer), parameter.tmpref.size};
    }
    const TEEC_SharedMemory* parent = type >= TEEC_MEMREF_WHOLE ? parameter.memref.parent : nullptr;
    if (parent == nullptr || world.ContextOfMemory(parent->number) == 0) {
      return {nullptr, 0};
    }
    if (type == TEEC_MEMREF_WHOLE) {
      return {static_cast<std::uint8_t*>(parent->buffer), parent->size};
    }
    const TEEC_RegisteredMemoryReference& part = parameter.memref;
    if (part.offset > parent->size || part.size > parent->size - part.offset) {
      return {nullptr, 0};
    }
    return {static_cast<std::uint8_t*>(parent->buffer) + part.offset, part.size};
  }

  static void AddBytes(vam::JournalLine& line, const char* key, const void* bytes,
                       std::size_t count, bool areKeys) {
    areKeys ? line.KeyBytes(key, bytes, count) : line.Bytes(key, bytes, count);
  }

  void AddParameter(vam::JournalLine& line, const Given& given, const TEEC_Parameter& returned,
                    bool areKeys) const {
    given.ForEachNumber([&](const char* name, std::int64_t number) { line.Number(name, number); });
    const bool isOutput = (given.directions & TEEC_MEM_OUTPUT) != 0;
    if (given.IsValue()) {
      if (isOutput) {
        line.Number("newA", returned.value.a).Number("newB", returned.value.b);
      }
      return;
    }
    if (!given.IsTemporary() && !given.IsRegistered()) {
      return;
    }
    const std::size_t newSize = given.IsTemporary() ? returned.tmpref.size : returned.memref.size;
    if (isOutput && newSize != given.Size()) {
      line.Number("newSize", static_cast<std::int64_t>(newSize));
    }
    const Reference& memory = given.reference;
    if (withBytes && (given.directions & TEEC_MEM_INPUT) != 0) {
      AddBytes(line, "before", given.IsMemory() ? AddressOf(given.before) : nullptr,
               given.before.size(), areKeys);
    }
    if (withBytes && isOutput) {
      AddBytes(line, "after", memory.bytes, memory.size, areKeys);
    }
  }

  /// Of no bytes too there is an address.
  static const void* AddressOf(const std::vector<std::uint8_t>& bytes) {
    return bytes.empty() ? static_cast<const void*>(&bytes) : bytes.data();
  }

  /// Up to the last one that is there.
  [[nodiscard]] std::uint32_t Count() const {
    std::uint32_t count = 0;
    while (operation != nullptr && (operation->paramTypes & 0xFFFF) >> 4 * count != 0) {
      ++count;
    }
    return count;
  }

  const TEEC_Operation* operation;
  bool withBytes = false;
  Given givens[TEEC_CONFIG_PAYLOAD_REF_COUNT];
};

/// Makes a shared memory, and records that as `call`.
TEEC_Result MakeSharedMemory(PlatformCall call, TEEC_Context* context,
                             TEEC_SharedMemory* sharedMemory, Owner owner) {
  SecureWorld& world = SecureWorld::Instance();
  const std::uint32_t contextNumber = context == nullptr ? 0 : context->number;
  const auto ask = [=](auto& asked) {
    asked.Number("context", contextNumber);
    if (sharedMemory != nullptr) {
      asked.Number("size", static_cast<std::int64_t>(sharedMemory->size))
          .Number("flags", sharedMemory->flags);
    }
  };
  const vam::Fault* fault = vam::FireFaultOn(call);
  constexpr std::uint32_t kDirections = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  TEEC_Result result = TEEC_SUCCESS;
  if (const vam::RecordedCall* recorded = vam::FindRecorded(call, ask)) {
    result = recorded->Ordinal("result");
    if (recorded->Has("sharedMemory") && sharedMemory != nullptr) {
      world.AddMemory(*sharedMemory, recorded->Ordinal("sharedMemory"), contextNumber, owner);
    }
  } else if (fault != nullptr) {
    result = fault->result;
  } else if (!world.HasContext(contextNumber) || sharedMemory == nullptr ||
             sharedMemory->flags == 0 || (sharedMemory->flags & ~kDirections) != 0 ||
             (owner == Owner::kProgram && sharedMemory->buffer == nullptr)) {
    result = TEEC_ERROR_BAD_PARAMETERS;
  } else if (sharedMemory->size > TEEC_CONFIG_SHAREDMEM_MAX_SIZE) {
    result = TEEC_ERROR_OUT_OF_MEMORY;
  } else {
    world.AddMemory(*sharedMemory, ++world.memoryCount, contextNumber, owner);
  }
  vam::JournalLine line = vam::LineOf(call);
  ask(line);
  line.Result(result);
  if (result == TEEC_SUCCESS && sharedMemory != nullptr) {
    line.Number("sharedMemory", sharedMemory->number);
  }
  line.ChangedBy(vam::NumberOf(fault));
  return result;
}

}  // namespace

TEEC_Result TEEC_InitializeContext(const char* name, TEEC_Context* context) {
  SecureWorld& world = SecureWorld::Instance();
  const auto ask = [name](auto& asked) { asked.Text("name", name); };
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kInitializeContext);
  TEEC_Result result = TEEC_SUCCESS;
  if (const vam::RecordedCall* recorded =
          vam::FindRecorded(PlatformCall::kInitializeContext, ask)) {
    result = recorded->Ordinal("result");
    if (recorded->Has("context") && context != nullptr) {
      world.AddContext(*context, recorded->Ordinal("context"));
    }
  } else if (fault != nullptr) {
    result = fault->result;
  } else if (context == nullptr) {
    result = TEEC_ERROR_BAD_PARAMETERS;
  } else if (name != nullptr || world.run == nullptr ||
             !world.run->Description().secureWorld.present) {
    // A board with a secure world has the default TEE and no other.
    result = TEEC_ERROR_ITEM_NOT_FOUND;
  } else {
    world.AddContext(*context, ++world.contextCount);
  }
  vam::JournalLine line = vam::LineOf(PlatformCall::kInitializeContext);
  ask(line);
  line.Result(result);
  if (result == TEEC_SUCCESS && context != nullptr) {
    line.Number("context", context->number);
  }
  line.ChangedBy(vam::NumberOf(fault));
  return result;
}

void TEEC_FinalizeContext(TEEC_Context* context) {
  SecureWorld& world = SecureWorld::Instance();
  const std::uint32_t number = context == nullptr ? 0 : context->number;
  Record(PlatformCall::kFinalizeContext,
         [number](auto& asked) { asked.Number("context", number); });
  if (!world.RemoveContext(number)) {
    Misuse(PlatformCall::kFinalizeContext, "context");
  }
}

TEEC_Result TEEC_OpenSession(TEEC_Context* context, TEEC_Session* session,
                             const TEEC_UUID* destination, std::uint32_t connectionMethod,
                             const void* connectionData, TEEC_Operation* operation,
                             std::uint32_t* returnOrigin) {
  SecureWorld& world = SecureWorld::Instance();
  const std::uint32_t contextNumber = context == nullptr ? 0 : context->number;
  char uuid[37] = "";
  if (destination != nullptr) {
    DescribeUuid(*destination, uuid);
  }
  const Parameters parameters(operation, world);
  const auto ask = [&](auto& asked) {
    asked.Number("context", contextNumber)
        .Text("destination", destination == nullptr ? nullptr : uuid)
        .Number("connectionMethod", connectionMethod)
        .Text("connectionData", connectionData == nullptr ? nullptr : "given")
        .Text("operation", operation == nullptr ? nullptr : "given");
  };
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kOpenSession);
  Outcome outcome = {TEEC_SUCCESS, TEEC_ORIGIN_TRUSTED_APP};
  if (const vam::RecordedCall* recorded =
          vam::FindRecorded(PlatformCall::kOpenSession, [&](vam::Question& question) {
            ask(question);
            parameters.Ask(question);
          })) {
    outcome = OutcomeIn(*recorded);
    parameters.Answer(operation, *recorded);
    if (recorded->Has("session") && session != nullptr) {
      world.AddSession(*session, recorded->Ordinal("session"), contextNumber);
    }
  } else if (fault != nullptr) {
    outcome = {fault->result, fault->origin};
  } else if (world.run == nullptr || !world.HasContext(contextNumber) || session == nullptr ||
             destination == nullptr || connectionMethod != TEEC_LOGIN_PUBLIC ||
             connectionData != nullptr ||
             (operation != nullptr && operation->paramTypes != TEEC_NONE)) {
    // The trusted application takes only public logins without parameters.
    outcome = kBadParameters;
  } else if (!IsTrustedApplication(*destination) ||
             !world.run->Description().secureWorld.trustedApplication) {
    outcome = {TEEC_ERROR_ITEM_NOT_FOUND, TEEC_ORIGIN_TEE};
  } else {
    world.AddSession(*session, ++world.sessionCount, contextNumber);
  }
  StoreOrigin(returnOrigin, outcome.origin);

  vam::JournalLine line = vam::LineOf(PlatformCall::kOpenSession);
  ask(line);
  parameters.AddTo(line, false);
  line.Result(outcome.result).Origin(outcome.origin);
  if (outcome.result == TEEC_SUCCESS && session != nullptr) {
    line.Number("session", session->number);
  }
  line.ChangedBy(vam::NumberOf(fault));
  return outcome.result;
}

void TEEC_CloseSession(TEEC_Session* session) {
  SecureWorld& world = SecureWorld::Instance();
  const std::uint32_t number = session == nullptr ? 0 : session->number;
  Record(PlatformCall::kCloseSession, [number](auto& asked) { asked.Number("session", number); });
  if (!world.RemoveSession(number)) {
    Misuse(PlatformCall::kCloseSession, "session");
  }
}

TEEC_Result TEEC_RegisterSharedMemory(TEEC_Context* context, TEEC_SharedMemory* sharedMemory) {
  return MakeSharedMemory(PlatformCall::kRegisterSharedMemory, context, sharedMemory,
                          Owner::kProgram);
}

TEEC_Result TEEC_AllocateSharedMemory(TEEC_Context* context, TEEC_SharedMemory* sharedMemory) {
  return MakeSharedMemory(PlatformCall::kAllocateSharedMemory, context, sharedMemory,
                          Owner::kLibrary);
}

void TEEC_ReleaseSharedMemory(TEEC_SharedMemory* sharedMemory) {
  SecureWorld& world = SecureWorld::Instance();
  const std::uint32_t number = sharedMemory == nullptr ? 0 : sharedMemory->number;
  Record(PlatformCall::kReleaseSharedMemory,
         [number](auto& asked) { asked.Number("sharedMemory", number); });
  const bool isOwn = world.IsOwnMemory(number);
  if (sharedMemory == nullptr || !world.RemoveMemory(number)) {
    Misuse(PlatformCall::kReleaseSharedMemory, "shared memory");
    return;
  }
  if (isOwn) {
    sharedMemory->buffer = nullptr;
    sharedMemory->size = 0;
  }
}

TEEC_Result TEEC_InvokeCommand(TEEC_Session* session, std::uint32_t commandID,
                               TEEC_Operation* operation, std::uint32_t* returnOrigin) {
  SecureWorld& world = SecureWorld::Instance();
  const std::uint32_t sessionNumber = session == nullptr ? 0 : session->number;
  const Parameters parameters(operation, world);
  const auto ask = [=](auto& asked) { asked.Number("session", sessionNumber).Command(commandID); };
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kInvokeCommand);
  const vam::RecordedCall* recorded =
      vam::FindRecorded(PlatformCall::kInvokeCommand, [&](vam::Question& question) {
        ask(question);
        parameters.Ask(question);
      });
  const std::uint32_t context = world.ContextOfSession(sessionNumber);
  Outcome outcome = kBadParameters;
  if (recorded != nullptr) {
    outcome = OutcomeIn(*recorded);
    parameters.Answer(operation, *recorded);
  } else if (fault != nullptr) {
    outcome = {fault->result, fault->origin};
  } else if (context != 0) {
    outcome = InvokeModel(world, commandID, operation, context, fault);
  }
  StoreOrigin(returnOrigin, outcome.origin);

  vam::JournalLine line = vam::LineOf(PlatformCall::kInvokeCommand);
  ask(line);
  parameters.AddTo(line, vam::CarriesKeys(commandID));
  line.Result(outcome.result).Origin(outcome.origin).ChangedBy(vam::NumberOf(fault));
  return outcome.result;
}

void TEEC_RequestCancellation(TEEC_Operation* operation) {
  Record(PlatformCall::kRequestCancellation, [operation](auto& asked) {
    asked.Text("operation", operation == nullptr ? nullptr : "given");
  });
}
