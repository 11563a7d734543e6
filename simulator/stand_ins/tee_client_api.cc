#include "simulator/stand_ins/tee_client_api.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "interface/trusted_application.h"
#include "journal/journal_line.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/model/trusted_application.h"
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

  vam::Run* run = vam::Run::Current();
  /// Live contexts, by number.
  std::map<std::uint32_t, bool> contexts;
  /// Live sessions and the context of each.
  std::map<std::uint32_t, std::uint32_t> sessions;
  struct Memory {
    std::uint32_t context;
    std::vector<std::uint8_t> bytes;
  };
  std::map<std::uint32_t, Memory> memories;
  std::uint32_t contextCount = 0;
  std::uint32_t sessionCount = 0;
  std::uint32_t memoryCount = 0;

 private:
  SecureWorld() = default;

  static void Report(const char* what, std::size_t count) {
    if (count != 0) {
      std::fprintf(stderr, "simulated board: %zu %s not given back at the end of the process\n",
                   count, what);
    }
  }
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
  const auto memory = world.memories.find(parent->number);
  if (memory == world.memories.end() || memory->second.context != context) {
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

void AddParameter(vam::JournalLine& line, std::uint32_t type, const TEEC_Parameter& parameter) {
  switch (type) {
    case TEEC_VALUE_INPUT:
    case TEEC_VALUE_OUTPUT:
    case TEEC_VALUE_INOUT:
      line.Number("a", parameter.value.a).Number("b", parameter.value.b);
      break;
    case TEEC_MEMREF_TEMP_INPUT:
    case TEEC_MEMREF_TEMP_OUTPUT:
    case TEEC_MEMREF_TEMP_INOUT:
      line.Number("size", static_cast<std::int64_t>(parameter.tmpref.size));
      break;
    case TEEC_MEMREF_WHOLE:
    case TEEC_MEMREF_PARTIAL_INPUT:
    case TEEC_MEMREF_PARTIAL_OUTPUT:
    case TEEC_MEMREF_PARTIAL_INOUT: {
      const TEEC_RegisteredMemoryReference& part = parameter.memref;
      line.Number("sharedMemory", part.parent == nullptr ? 0 : part.parent->number);
      if (type != TEEC_MEMREF_WHOLE) {
        line.Number("size", static_cast<std::int64_t>(part.size))
            .Number("offset", static_cast<std::int64_t>(part.offset));
      }
      break;
    }
    default:
      break;
  }
}

/// Adds the types of the parameters, and each parameter up to the last one that is there.
void AddParameters(vam::JournalLine& line, const TEEC_Operation& operation) {
  line.Number("paramTypes", operation.paramTypes).BeginList("params");
  for (std::uint32_t i = 0; i < TEEC_CONFIG_PAYLOAD_REF_COUNT; ++i) {
    if ((operation.paramTypes & 0xFFFF) >> 4 * i == 0) {
      break;
    }
    line.BeginObject();
    AddParameter(line, TEEC_PARAM_TYPE_GET(operation.paramTypes, i), operation.params[i]);
    line.EndObject();
  }
  line.EndList();
}

}  // namespace

TEEC_Result TEEC_InitializeContext(const char* name, TEEC_Context* context) {
  SecureWorld& world = SecureWorld::Instance();
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kInitializeContext);
  TEEC_Result result = TEEC_SUCCESS;
  if (fault != nullptr) {
    result = fault->result;
  } else if (context == nullptr) {
    result = TEEC_ERROR_BAD_PARAMETERS;
  } else if (name != nullptr || world.run == nullptr ||
             !world.run->Description().secureWorld.present) {
    // A board with a secure world has the default TEE and no other.
    result = TEEC_ERROR_ITEM_NOT_FOUND;
  } else {
    context->number = ++world.contextCount;
    world.contexts[context->number] = true;
  }
  vam::JournalLine line = vam::LineOf(PlatformCall::kInitializeContext);
  line.Text("name", name).Result(result);
  if (result == TEEC_SUCCESS && context != nullptr) {
    line.Number("context", context->number);
  }
  line.ChangedBy(vam::NumberOf(fault));
  return result;
}

void TEEC_FinalizeContext(TEEC_Context* context) {
  SecureWorld& world = SecureWorld::Instance();
  const std::uint32_t number = context == nullptr ? 0 : context->number;
  vam::LineOf(PlatformCall::kFinalizeContext).Number("context", number);
  if (world.contexts.erase(number) == 0) {
    Misuse(PlatformCall::kFinalizeContext, "context");
  }
}

TEEC_Result TEEC_OpenSession(TEEC_Context* context, TEEC_Session* session,
                             const TEEC_UUID* destination, std::uint32_t connectionMethod,
                             const void* connectionData, TEEC_Operation* operation,
                             std::uint32_t* returnOrigin) {
  SecureWorld& world = SecureWorld::Instance();
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kOpenSession);
  const std::uint32_t contextNumber = context == nullptr ? 0 : context->number;
  Outcome outcome = {TEEC_SUCCESS, TEEC_ORIGIN_TRUSTED_APP};
  if (fault != nullptr) {
    outcome = {fault->result, fault->origin};
  } else if (world.run == nullptr || world.contexts.count(contextNumber) == 0 ||
             session == nullptr || destination == nullptr ||
             connectionMethod != TEEC_LOGIN_PUBLIC || connectionData != nullptr ||
             (operation != nullptr && operation->paramTypes != TEEC_NONE)) {
    // The trusted application takes only public logins without parameters.
    outcome = kBadParameters;
  } else if (!IsTrustedApplication(*destination) ||
             !world.run->Description().secureWorld.trustedApplication) {
    outcome = {TEEC_ERROR_ITEM_NOT_FOUND, TEEC_ORIGIN_TEE};
  } else {
    session->number = ++world.sessionCount;
    world.sessions[session->number] = contextNumber;
  }
  StoreOrigin(returnOrigin, outcome.origin);

  char uuid[37] = "";
  if (destination != nullptr) {
    DescribeUuid(*destination, uuid);
  }
  vam::JournalLine line = vam::LineOf(PlatformCall::kOpenSession);
  line.Number("context", contextNumber)
      .Text("destination", destination == nullptr ? nullptr : uuid)
      .Number("connectionMethod", connectionMethod)
      .Text("connectionData", connectionData == nullptr ? nullptr : "given")
      .Text("operation", operation == nullptr ? nullptr : "given")
      .Result(outcome.result)
      .Origin(outcome.origin);
  if (outcome.result == TEEC_SUCCESS && session != nullptr) {
    line.Number("session", session->number);
  }
  line.ChangedBy(vam::NumberOf(fault));
  return outcome.result;
}

void TEEC_CloseSession(TEEC_Session* session) {
  SecureWorld& world = SecureWorld::Instance();
  const std::uint32_t number = session == nullptr ? 0 : session->number;
  vam::LineOf(PlatformCall::kCloseSession).Number("session", number);
  if (world.sessions.erase(number) == 0) {
    Misuse(PlatformCall::kCloseSession, "session");
  }
}

TEEC_Result TEEC_AllocateSharedMemory(TEEC_Context* context, TEEC_SharedMemory* sharedMemory) {
  SecureWorld& world = SecureWorld::Instance();
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kAllocateSharedMemory);
  const std::uint32_t contextNumber = context == nullptr ? 0 : context->number;
  constexpr std::uint32_t kDirections = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  TEEC_Result result = TEEC_SUCCESS;
  if (fault != nullptr) {
    result = fault->result;
  } else if (world.contexts.count(contextNumber) == 0 || sharedMemory == nullptr ||
             sharedMemory->flags == 0 || (sharedMemory->flags & ~kDirections) != 0) {
    result = TEEC_ERROR_BAD_PARAMETERS;
  } else if (sharedMemory->size > TEEC_CONFIG_SHAREDMEM_MAX_SIZE) {
    result = TEEC_ERROR_OUT_OF_MEMORY;
  } else {
    sharedMemory->number = ++world.memoryCount;
    SecureWorld::Memory& memory = world.memories[sharedMemory->number];
    memory.context = contextNumber;
    // One byte more gives an empty block an address too.
    memory.bytes.resize(sharedMemory->size + 1);
    sharedMemory->buffer = memory.bytes.data();
  }
  vam::JournalLine line = vam::LineOf(PlatformCall::kAllocateSharedMemory);
  line.Number("context", contextNumber);
  if (sharedMemory != nullptr) {
    line.Number("size", static_cast<std::int64_t>(sharedMemory->size))
        .Number("flags", sharedMemory->flags);
  }
  line.Result(result);
  if (result == TEEC_SUCCESS && sharedMemory != nullptr) {
    line.Number("sharedMemory", sharedMemory->number);
  }
  line.ChangedBy(vam::NumberOf(fault));
  return result;
}

void TEEC_ReleaseSharedMemory(TEEC_SharedMemory* sharedMemory) {
  SecureWorld& world = SecureWorld::Instance();
  const std::uint32_t number = sharedMemory == nullptr ? 0 : sharedMemory->number;
  vam::LineOf(PlatformCall::kReleaseSharedMemory).Number("sharedMemory", number);
  if (sharedMemory == nullptr || world.memories.erase(number) == 0) {
    Misuse(PlatformCall::kReleaseSharedMemory, "shared memory");
    return;
  }
  sharedMemory->buffer = nullptr;
}

TEEC_Result TEEC_InvokeCommand(TEEC_Session* session, std::uint32_t commandID,
                               TEEC_Operation* operation, std::uint32_t* returnOrigin) {
  SecureWorld& world = SecureWorld::Instance();
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kInvokeCommand);
  const std::uint32_t sessionNumber = session == nullptr ? 0 : session->number;
  const auto opened = world.sessions.find(sessionNumber);
  Outcome outcome = kBadParameters;
  if (fault != nullptr) {
    outcome = {fault->result, fault->origin};
  } else if (opened != world.sessions.end()) {
    outcome = InvokeModel(world, commandID, operation, opened->second, fault);
  }
  StoreOrigin(returnOrigin, outcome.origin);

  vam::JournalLine line = vam::LineOf(PlatformCall::kInvokeCommand);
  line.Number("session", sessionNumber).Command(commandID);
  if (operation != nullptr) {
    AddParameters(line, *operation);
  }
  line.Result(outcome.result).Origin(outcome.origin).ChangedBy(vam::NumberOf(fault));
  return outcome.result;
}
