#include "simulator/stand_ins/CNolvWsm.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "journal/journal_line.h"
#include "platform/tee_client.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/model/value_block.h"
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
      position(vam::kFirstValue),
      number(NextMarshaller()) {
  vam::LineOf(PlatformCall::kMakeMarshaller)
      .Number("sharedMemory", MemoryNumber(*static_cast<TEEC_SharedMemory*>(sharedMemory), 0))
      .Number("marshaller", number);
}

CNolvWsm::~CNolvWsm() {
  vam::LineOf(PlatformCall::kDestroyMarshaller).Number("marshaller", number);
}

bool CNolvWsm::PutInt(std::int32_t value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kPutInt);
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::put_int(cursor, value);
  });
  vam::LineOf(PlatformCall::kPutInt)
      .Number("marshaller", number)
      .Number("value", value)
      .Truth("result", done)
      .ChangedBy(vam::NumberOf(fault));
  return done;
}

bool CNolvWsm::PutUint(std::uint32_t value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kPutUint);
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::put_uint(cursor, value);
  });
  vam::LineOf(PlatformCall::kPutUint)
      .Number("marshaller", number)
      .Number("value", value)
      .Truth("result", done)
      .ChangedBy(vam::NumberOf(fault));
  return done;
}

bool CNolvWsm::PutBlob(const void* bytes, std::uint32_t length) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kPutBlob);
  const bool done = Operate(
      block, size, position, fault,
      [bytes, length](vam::ValueCursor& cursor) { return vam::put_blob(cursor, bytes, length); });
  // After a refusal the length may be more than the caller's bytes. Only key records are put as
  // blobs.
  vam::LineOf(PlatformCall::kPutBlob)
      .Number("marshaller", number)
      .Number("length", length)
      .KeyBytes("bytes", done ? (length == 0 ? this : bytes) : nullptr, length)
      .Truth("result", done)
      .ChangedBy(vam::NumberOf(fault));
  return done;
}

void CNolvWsm::PrepareReset(int mode) {
  position = vam::kFirstValue;
  vam::LineOf(PlatformCall::kPrepareReset).Number("marshaller", number).Number("mode", mode);
}

bool CNolvWsm::GetInt(std::int32_t* value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kGetInt);
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::get_int(cursor, value);
  });
  vam::JournalLine line = vam::LineOf(PlatformCall::kGetInt);
  line.Number("marshaller", number);
  if (done) {
    line.Number("value", *value);
  }
  line.Truth("result", done).ChangedBy(vam::NumberOf(fault));
  return done;
}

bool CNolvWsm::GetUint(std::uint32_t* value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kGetUint);
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::get_uint(cursor, value);
  });
  vam::JournalLine line = vam::LineOf(PlatformCall::kGetUint);
  line.Number("marshaller", number);
  if (done) {
    line.Number("value", *value);
  }
  line.Truth("result", done).ChangedBy(vam::NumberOf(fault));
  return done;
}

void* CNolvWsm::GetBlob(std::uint32_t length) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kGetBlob);
  void* bytes = nullptr;
  Operate(block, size, position, fault, [&bytes, length](vam::ValueCursor& cursor) {
    bytes = vam::get_blob(cursor, length);
    return bytes != nullptr;
  });
  vam::LineOf(PlatformCall::kGetBlob)
      .Number("marshaller", number)
      .Number("length", length)
      .Bytes("bytes", bytes, length)
      .ChangedBy(vam::NumberOf(fault));
  return bytes;
}
