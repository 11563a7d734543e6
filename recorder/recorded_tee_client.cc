// Stands in front of the TEE client library. Is compiled against the vendor's header, and reads of
// its records what the standard names.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "journal/code_names.h"
#include "platform/tee_client.h"
#include "recorder/call.h"
#include "recorder/live_numbers.h"
#include "recorder/memory_of_program.h"
#include "recorder/numbers_of_tee.h"

namespace {

using vam::Call;
using vam::JournalLine;
using vam::KeyOf;
using vam::LiveNumbers;
using NextSymbol = vam::NextSymbol<32>;

LiveNumbers contexts;
LiveNumbers sessions;

// The standard's values. A header need not name those that no command uses.
constexpr std::uint32_t kValueInput = 1;
constexpr std::uint32_t kValueInOut = 3;
constexpr std::uint32_t kTemporaryInput = 5;
constexpr std::uint32_t kTemporaryInOut = 7;
constexpr std::uint32_t kWholeMemory = 12;
constexpr std::uint32_t kPartialInput = 13;
constexpr std::uint32_t kPartialInOut = 15;
constexpr std::uint32_t kInput = 1;
constexpr std::uint32_t kOutput = 2;
constexpr std::uint32_t kDirections = kInput | kOutput;
constexpr std::uint32_t kTypeBits = 4;
constexpr std::uint32_t kTypeMask = 15;

/// A parameter as the program gave it, and, after the call, as it came back.
struct Parameter {
  enum class Kind { kNone, kValue, kTemporary, kPart, kWhole };

  Kind kind = Kind::kNone;
  /// kInput, kOutput or both.
  std::uint32_t directions = 0;
  std::uint32_t a = 0;
  std::uint32_t b = 0;
  std::uint32_t newA = 0;
  std::uint32_t newB = 0;
  std::uint32_t sharedMemory = 0;
  std::size_t offset = 0;
  std::size_t size = 0;
  std::size_t newSize = 0;
  /// The memory that it refers to.
  const void* memory = nullptr;
  std::size_t length = 0;
  std::string before;
  bool hasBefore = false;
};

// A header need not have the members that no command uses.
template <typename Given>
auto ReadValue(const Given& given, std::uint32_t& a, std::uint32_t& b, int)
    -> decltype(void(given.value.a)) {
  a = given.value.a;
  b = given.value.b;
}
template <typename Given>
void ReadValue(const Given& /*given*/, std::uint32_t& /*a*/, std::uint32_t& /*b*/, long) {}

template <typename Given>
auto ReadTemporary(const Given& given, Parameter& read, int)
    -> decltype(void(given.tmpref.buffer)) {
  read.size = given.tmpref.size;
  read.memory = given.tmpref.buffer;
  read.length = read.size;
}
template <typename Given>
void ReadTemporary(const Given& /*given*/, Parameter& /*read*/, long) {}

void ReadRegistered(const TEEC_Parameter& given, Parameter& read) {
  const auto* parent = given.memref.parent;
  read.size = given.memref.size;
  read.offset = given.memref.offset;
  if (parent == nullptr) {
    return;
  }
  read.sharedMemory = vam::SharedMemories().Of(KeyOf(parent));
  if (read.kind == Parameter::Kind::kWhole) {
    read.directions = parent->flags & kDirections;
    read.memory = parent->buffer;
    read.length = parent->size;
  } else if (parent->buffer != nullptr) {
    read.memory = static_cast<const char*>(parent->buffer) + read.offset;
    read.length = read.size;
  }
}

Parameter ReadGiven(const TEEC_Parameter& given, std::uint32_t type) {
  Parameter read;
  read.directions = type & kDirections;
  if (type >= kValueInput && type <= kValueInOut) {
    read.kind = Parameter::Kind::kValue;
    ReadValue(given, read.a, read.b, 0);
  } else if (type >= kTemporaryInput && type <= kTemporaryInOut) {
    read.kind = Parameter::Kind::kTemporary;
    ReadTemporary(given, read, 0);
  } else if (type == kWholeMemory || (type >= kPartialInput && type <= kPartialInOut)) {
    read.kind = type == kWholeMemory ? Parameter::Kind::kWhole : Parameter::Kind::kPart;
    ReadRegistered(given, read);
  }
  return read;
}

/// Reads what the call has changed of the parameter itself.
void ReadReturned(const TEEC_Parameter& returned, Parameter& parameter) {
  Parameter now;
  switch (parameter.kind) {
    case Parameter::Kind::kValue:
      ReadValue(returned, parameter.newA, parameter.newB, 0);
      break;
    case Parameter::Kind::kTemporary:
      ReadTemporary(returned, now, 0);
      parameter.newSize = now.size;
      break;
    case Parameter::Kind::kPart:
    case Parameter::Kind::kWhole:
      parameter.newSize = returned.memref.size;
      break;
    case Parameter::Kind::kNone:
      break;
  }
}

/// Adds bytes; null where there are none.
void AddBytes(JournalLine& line, const char* key, const std::string& bytes, bool areThere,
              bool areKeys) {
  const void* data = areThere ? bytes.data() : nullptr;
  if (areKeys) {
    line.KeyBytes(key, data, bytes.size());
  } else {
    line.Bytes(key, data, bytes.size());
  }
}

void AddParameter(JournalLine& line, const Parameter& parameter, bool withBytes, bool areKeys) {
  const bool isInput = (parameter.directions & kInput) != 0;
  const bool isOutput = (parameter.directions & kOutput) != 0;
  if (parameter.kind == Parameter::Kind::kNone) {
    return;
  }
  if (parameter.kind == Parameter::Kind::kValue) {
    if (isInput) {
      line.Number("a", parameter.a).Number("b", parameter.b);
    }
    if (isOutput) {
      line.Number("newA", parameter.newA).Number("newB", parameter.newB);
    }
    return;
  }
  if (parameter.kind != Parameter::Kind::kTemporary) {
    line.Number("sharedMemory", parameter.sharedMemory);
  }
  if (parameter.kind != Parameter::Kind::kWhole) {
    line.Number("size", static_cast<std::int64_t>(parameter.size));
  }
  if (parameter.kind == Parameter::Kind::kPart) {
    line.Number("offset", static_cast<std::int64_t>(parameter.offset));
  }
  if (isOutput && parameter.newSize != parameter.size) {
    line.Number("newSize", static_cast<std::int64_t>(parameter.newSize));
  }
  if (withBytes && isInput) {
    AddBytes(line, "before", parameter.before, parameter.hasBefore, areKeys);
  }
  if (withBytes && isOutput) {
    std::string after;
    const bool isThere = vam::ReadProgram(parameter.memory, parameter.length, after);
    AddBytes(line, "after", after, isThere, areKeys);
  }
}

/// The parameters of an operation.
class Parameters {
 public:
  explicit Parameters(const TEEC_Operation* given) : operation(given) {}

  /// Reads what the program gives to the call.
  void ReadBefore() {
    if (operation == nullptr) {
      return;
    }
    types = operation->paramTypes;
    withBytes = !vam::HasMarshaller();
    for (std::size_t i = 0; i < Count(); ++i) {
      parameters[i] = ReadGiven(operation->params[i], types >> kTypeBits * i & kTypeMask);
      const bool isRead = withBytes && (parameters[i].directions & kInput) != 0;
      if (isRead && parameters[i].kind != Parameter::Kind::kValue) {
        parameters[i].hasBefore =
            vam::ReadProgram(parameters[i].memory, parameters[i].length, parameters[i].before);
      }
    }
  }

  /// Adds them with what has come back.
  void AddTo(JournalLine& line, bool areKeys) {
    if (operation == nullptr) {
      return;
    }
    line.Number("paramTypes", types).BeginList("params");
    for (std::size_t i = 0; i < Count(); ++i) {
      ReadReturned(operation->params[i], parameters[i]);
      line.BeginObject();
      AddParameter(line, parameters[i], withBytes, areKeys);
      line.EndObject();
    }
    line.EndList();
  }

 private:
  /// Up to the last one that is there.
  [[nodiscard]] std::size_t Count() const {
    constexpr std::uint32_t kAllTypes = 0xFFFF;
    std::size_t count = 0;
    while ((types & kAllTypes) >> kTypeBits * count != 0) {
      ++count;
    }
    return count;
  }

  const TEEC_Operation* operation;
  std::uint32_t types = 0;
  bool withBytes = false;
  std::array<Parameter, 4> parameters;
};

std::string UuidText(const TEEC_UUID& uuid) {
  char text[37];
  const auto* node = uuid.clockSeqAndNode;
  std::snprintf(text, sizeof text, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                static_cast<unsigned>(uuid.timeLow), unsigned{uuid.timeMid},
                unsigned{uuid.timeHiAndVersion}, node[0], node[1], node[2], node[3], node[4],
                node[5], node[6], node[7]);
  return text;
}

NextSymbol nextInitializeContext("TEEC_InitializeContext");
NextSymbol nextFinalizeContext("TEEC_FinalizeContext");
NextSymbol nextOpenSession("TEEC_OpenSession");
NextSymbol nextCloseSession("TEEC_CloseSession");
NextSymbol nextAllocateSharedMemory("TEEC_AllocateSharedMemory");
NextSymbol nextReleaseSharedMemory("TEEC_ReleaseSharedMemory");
NextSymbol nextInvokeCommand("TEEC_InvokeCommand");
NextSymbol nextRegisterSharedMemory("TEEC_RegisterSharedMemory");
NextSymbol nextRequestCancellation("TEEC_RequestCancellation");
LiveNumbers sharedMemories;

/// Makes a shared memory by `next`, and records that as the call `name`.
TEEC_Result MakeSharedMemory(NextSymbol& next, const char* name, TEEC_Context* context,
                             TEEC_SharedMemory* sharedMemory) {
  const Call call;
  const std::size_t size = sharedMemory == nullptr ? 0 : sharedMemory->size;
  const std::uint32_t flags = sharedMemory == nullptr ? 0 : sharedMemory->flags;
  const TEEC_Result result = next.As<decltype(TEEC_AllocateSharedMemory)>()(context, sharedMemory);
  call.Record(name, [=](JournalLine& line) {
    line.Number("context", contexts.Of(KeyOf(context)));
    if (sharedMemory != nullptr) {
      line.Number("size", static_cast<std::int64_t>(size)).Number("flags", flags);
    }
    line.Result(result);
    if (result == TEEC_SUCCESS) {
      line.Number("sharedMemory", vam::SharedMemories().Make(KeyOf(sharedMemory)));
    }
  });
  return result;
}

}  // namespace

namespace vam {

LiveNumbers& SharedMemories() { return sharedMemories; }

}  // namespace vam

#pragma GCC visibility push(default)

TEEC_Result TEEC_InitializeContext(const char* name, TEEC_Context* context) {
  const Call call;
  const TEEC_Result result =
      nextInitializeContext.As<decltype(TEEC_InitializeContext)>()(name, context);
  call.Record("TEEC_InitializeContext", [=](JournalLine& line) {
    line.Text("name", name).Result(result);
    if (result == TEEC_SUCCESS) {
      line.Number("context", contexts.Make(KeyOf(context)));
    }
  });
  return result;
}

void TEEC_FinalizeContext(TEEC_Context* context) {
  const Call call;
  const std::uint32_t number = call.IsRecorded() ? contexts.Take(KeyOf(context)) : 0;
  nextFinalizeContext.As<decltype(TEEC_FinalizeContext)>()(context);
  call.Record("TEEC_FinalizeContext", [=](JournalLine& line) { line.Number("context", number); });
}

TEEC_Result TEEC_OpenSession(TEEC_Context* context, TEEC_Session* session,
                             const TEEC_UUID* destination, std::uint32_t connectionMethod,
                             const void* connectionData, TEEC_Operation* operation,
                             std::uint32_t* returnOrigin) {
  const Call call;
  Parameters parameters(operation);
  call.Prepare([&] { parameters.ReadBefore(); });
  std::uint32_t ownOrigin = 0;
  std::uint32_t* origin = returnOrigin == nullptr ? &ownOrigin : returnOrigin;
  const TEEC_Result result = nextOpenSession.As<decltype(TEEC_OpenSession)>()(
      context, session, destination, connectionMethod, connectionData, operation, origin);
  call.Record("TEEC_OpenSession", [&](JournalLine& line) {
    line.Number("context", contexts.Of(KeyOf(context)))
        .Text("destination", destination == nullptr ? nullptr : UuidText(*destination).c_str())
        .Number("connectionMethod", connectionMethod)
        .Text("connectionData", connectionData == nullptr ? nullptr : "given")
        .Text("operation", operation == nullptr ? nullptr : "given");
    parameters.AddTo(line, false);
    line.Result(result).Origin(*origin);
    if (result == TEEC_SUCCESS) {
      line.Number("session", sessions.Make(KeyOf(session)));
    }
  });
  return result;
}

void TEEC_CloseSession(TEEC_Session* session) {
  const Call call;
  const std::uint32_t number = call.IsRecorded() ? sessions.Take(KeyOf(session)) : 0;
  nextCloseSession.As<decltype(TEEC_CloseSession)>()(session);
  call.Record("TEEC_CloseSession", [=](JournalLine& line) { line.Number("session", number); });
}

TEEC_Result TEEC_AllocateSharedMemory(TEEC_Context* context, TEEC_SharedMemory* sharedMemory) {
  return MakeSharedMemory(nextAllocateSharedMemory, "TEEC_AllocateSharedMemory", context,
                          sharedMemory);
}

void TEEC_ReleaseSharedMemory(TEEC_SharedMemory* sharedMemory) {
  const Call call;
  const std::uint32_t number =
      call.IsRecorded() ? vam::SharedMemories().Take(KeyOf(sharedMemory)) : 0;
  nextReleaseSharedMemory.As<decltype(TEEC_ReleaseSharedMemory)>()(sharedMemory);
  call.Record("TEEC_ReleaseSharedMemory",
              [=](JournalLine& line) { line.Number("sharedMemory", number); });
}

TEEC_Result TEEC_InvokeCommand(TEEC_Session* session, std::uint32_t commandID,
                               TEEC_Operation* operation, std::uint32_t* returnOrigin) {
  const Call call;
  Parameters parameters(operation);
  call.Prepare([&] { parameters.ReadBefore(); });
  std::uint32_t ownOrigin = 0;
  std::uint32_t* origin = returnOrigin == nullptr ? &ownOrigin : returnOrigin;
  const TEEC_Result result =
      nextInvokeCommand.As<decltype(TEEC_InvokeCommand)>()(session, commandID, operation, origin);
  call.Record("TEEC_InvokeCommand", [&](JournalLine& line) {
    line.Number("session", sessions.Of(KeyOf(session))).Command(commandID);
    parameters.AddTo(line, vam::CarriesKeys(commandID));
    line.Result(result).Origin(*origin);
  });
  return result;
}

// A header need not declare these, which no command uses.
extern "C" {

TEEC_Result RecordedRegisterSharedMemory(
    TEEC_Context* context, TEEC_SharedMemory* sharedMemory) __asm__("TEEC_RegisterSharedMemory");
void RecordedRequestCancellation(TEEC_Operation* operation) __asm__("TEEC_RequestCancellation");

TEEC_Result RecordedRegisterSharedMemory(TEEC_Context* context, TEEC_SharedMemory* sharedMemory) {
  return MakeSharedMemory(nextRegisterSharedMemory, "TEEC_RegisterSharedMemory", context,
                          sharedMemory);
}

void RecordedRequestCancellation(TEEC_Operation* operation) {
  const Call call;
  nextRequestCancellation.As<void(TEEC_Operation*)>()(operation);
  call.Record("TEEC_RequestCancellation", [=](JournalLine& line) {
    line.Text("operation", operation == nullptr ? nullptr : "given");
  });
}

}  // extern "C"
#pragma GCC visibility pop
