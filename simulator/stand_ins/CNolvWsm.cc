#include "simulator/stand_ins/CNolvWsm.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "journal/journal_line.h"
#include "platform/tee_client.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/model/value_block.h"
#include "simulator/run/recorded_call.h"
#include "simulator/run/replay.h"
#include "simulator/run/run.h"

namespace {

using vam::PlatformCall;

/// Returns the journal's number of a shared memory. Only the stand-in for the TEE client library
/// gives its records one; it is 0 with another library.
template <typename Record>
auto MemoryNumber(const Record& record, int) -> decltype(std::uint32_t{record.number}) {
  return record.number;
}
template <typename Record>
std::uint32_t MemoryNumber(const Record& /*record*/, long) {
  return 0;
}

std::uint32_t NextMarshaller() {
  static std::atomic<std::uint32_t> count{0};
  return ++count;
}

/// The blobs that a recording answered with, as long as their marshaller lives.
class RecordedBlobs {
 public:
  static RecordedBlobs& Instance() {
    static RecordedBlobs blobs;
    return blobs;
  }

  void* Keep(const CNolvWsm* owner, const std::string& bytes) {
    const std::lock_guard<std::mutex> lock(mutex);
    // An empty blob has an address too.
    return kept[owner].emplace_back(bytes).data();
  }

  void Forget(const CNolvWsm* owner) {
    const std::lock_guard<std::mutex> lock(mutex);
    kept.erase(owner);
  }

 private:
  std::mutex mutex;
  std::map<const CNolvWsm*, std::list<std::string>> kept;
};

/// Runs one operation on the marshaller's position, unless a fault of the board makes it fail.
template <typename Operation>
bool Operate(unsigned char* block, std::size_t size, std::size_t& position, const vam::Fault* fault,
             Operation operation) {
  if (fault != nullptr) {
    return false;
  }
  vam::ValueCursor cursor{block, size, position};
  const bool done = operation(cursor);
  position = cursor.position;
  return done;
}

}  // namespace

CNolvWsm::CNolvWsm(void* sharedMemory)
    : block(static_cast<unsigned char*>(static_cast<TEEC_SharedMemory*>(sharedMemory)->buffer)),
      size(static_cast<TEEC_SharedMemory*>(sharedMemory)->size),
      position(vam::kFirstValue) {
  const std::uint32_t memory = MemoryNumber(*static_cast<TEEC_SharedMemory*>(sharedMemory), 0);
  const auto ask = [memory](auto& asked) { asked.Number("sharedMemory", memory); };
  const vam::RecordedCall* recorded = vam::FindRecorded(PlatformCall::kMakeMarshaller, ask);
  number = recorded != nullptr ? recorded->Ordinal("marshaller") : NextMarshaller();
  vam::JournalLine line = vam::LineOf(PlatformCall::kMakeMarshaller);
  ask(line);
  line.Number("marshaller", number);
}

CNolvWsm::~CNolvWsm() {
  const auto ask = [this](auto& asked) { asked.Number("marshaller", number); };
  vam::FindRecorded(PlatformCall::kDestroyMarshaller, ask);
  RecordedBlobs::Instance().Forget(this);
  vam::JournalLine line = vam::LineOf(PlatformCall::kDestroyMarshaller);
  ask(line);
}

bool CNolvWsm::PutInt(std::int32_t value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kPutInt);
  const auto ask = [=](auto& asked) { asked.Number("marshaller", number).Number("value", value); };
  const vam::RecordedCall* recorded = vam::FindRecorded(PlatformCall::kPutInt, ask);
  const bool done = recorded != nullptr
                        ? recorded->Truth("result")
                        : Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
                            return vam::put_int(cursor, value);
                          });
  vam::JournalLine line = vam::LineOf(PlatformCall::kPutInt);
  ask(line);
  line.Truth("result", done).ChangedBy(vam::NumberOf(fault));
  return done;
}

bool CNolvWsm::PutUint(std::uint32_t value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kPutUint);
  const auto ask = [=](auto& asked) { asked.Number("marshaller", number).Number("value", value); };
  const vam::RecordedCall* recorded = vam::FindRecorded(PlatformCall::kPutUint, ask);
  const bool done = recorded != nullptr
                        ? recorded->Truth("result")
                        : Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
                            return vam::put_uint(cursor, value);
                          });
  vam::JournalLine line = vam::LineOf(PlatformCall::kPutUint);
  ask(line);
  line.Truth("result", done).ChangedBy(vam::NumberOf(fault));
  return done;
}

bool CNolvWsm::PutBlob(const void* bytes, std::uint32_t length) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kPutBlob);
  const auto ask = [=](auto& asked) {
    asked.Number("marshaller", number).Number("length", length);
  };
  const void* given = length == 0 ? this : bytes;
  const vam::RecordedCall* recorded =
      vam::FindRecorded(PlatformCall::kPutBlob, [&](vam::Question& asked) {
        ask(asked);
        asked.Bytes("bytes", given, length);
      });
  const bool done = recorded != nullptr ? recorded->Truth("result")
                                        : Operate(block, size, position, fault,
                                                  [bytes, length](vam::ValueCursor& cursor) {
                                                    return vam::put_blob(cursor, bytes, length);
                                                  });
  vam::JournalLine line = vam::LineOf(PlatformCall::kPutBlob);
  ask(line);
  // After a refusal the length may be more than the caller's bytes. Only key records are put as
  // blobs.
  line.KeyBytes("bytes", done ? given : nullptr, length)
      .Truth("result", done)
      .ChangedBy(vam::NumberOf(fault));
  return done;
}

void CNolvWsm::PrepareReset(int mode) {
  position = vam::kFirstValue;
  const auto ask = [=](auto& asked) { asked.Number("marshaller", number).Number("mode", mode); };
  vam::FindRecorded(PlatformCall::kPrepareReset, ask);
  vam::JournalLine line = vam::LineOf(PlatformCall::kPrepareReset);
  ask(line);
}

bool CNolvWsm::GetInt(std::int32_t* value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kGetInt);
  const auto ask = [this](auto& asked) { asked.Number("marshaller", number); };
  bool done = false;
  if (const vam::RecordedCall* recorded = vam::FindRecorded(PlatformCall::kGetInt, ask)) {
    done = recorded->Truth("result");
    *value = done ? static_cast<std::int32_t>(recorded->Number("value")) : *value;
  } else {
    done = Operate(block, size, position, fault,
                   [value](vam::ValueCursor& cursor) { return vam::get_int(cursor, value); });
  }
  vam::JournalLine line = vam::LineOf(PlatformCall::kGetInt);
  ask(line);
  if (done) {
    line.Number("value", *value);
  }
  line.Truth("result", done).ChangedBy(vam::NumberOf(fault));
  return done;
}

bool CNolvWsm::GetUint(std::uint32_t* value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kGetUint);
  const auto ask = [this](auto& asked) { asked.Number("marshaller", number); };
  bool done = false;
  if (const vam::RecordedCall* recorded = vam::FindRecorded(PlatformCall::kGetUint, ask)) {
    done = recorded->Truth("result");
    *value = done ? static_cast<std::uint32_t>(recorded->Number("value")) : *value;
  } else {
    done = Operate(block, size, position, fault,
                   [value](vam::ValueCursor& cursor) { return vam::get_uint(cursor, value); });
  }
  vam::JournalLine line = vam::LineOf(PlatformCall::kGetUint);
  ask(line);
  if (done) {
    line.Number("value", *value);
  }
  line.Truth("result", done).ChangedBy(vam::NumberOf(fault));
  return done;
}

void* CNolvWsm::GetBlob(std::uint32_t length) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kGetBlob);
  const auto ask = [=](auto& asked) {
    asked.Number("marshaller", number).Number("length", length);
  };
  void* bytes = nullptr;
  if (const vam::RecordedCall* recorded = vam::FindRecorded(PlatformCall::kGetBlob, ask)) {
    const std::optional<std::string> answer = vam::RecordedBytes(*recorded, "bytes");
    bytes = answer ? RecordedBlobs::Instance().Keep(this, *answer) : nullptr;
  } else {
    Operate(block, size, position, fault, [&bytes, length](vam::ValueCursor& cursor) {
      bytes = vam::get_blob(cursor, length);
      return bytes != nullptr;
    });
  }
  vam::JournalLine line = vam::LineOf(PlatformCall::kGetBlob);
  ask(line);
  line.Bytes("bytes", bytes, length).ChangedBy(vam::NumberOf(fault));
  return bytes;
}
