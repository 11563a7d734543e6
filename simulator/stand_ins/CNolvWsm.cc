#include "simulator/stand_ins/CNolvWsm.h"

#include <cstddef>
#include <cstdint>

#include "platform/tee_client.h"
#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/model/value_block.h"
#include "simulator/run/journal_line.h"
#include "simulator/run/run.h"

namespace {

using vam::PlatformCall;

/// Returns the journal's number of a shared memory. Only the stand-in for the TEE client library
/// gives its records one; it is 0 with another library.
template <typename Record>
auto NumberOf(const Record& record, int) -> decltype(std::uint32_t{record.number}) {
  return record.number;
}
template <typename Record>
std::uint32_t NumberOf(const Record& /*record*/, long) {
  return 0;
}

std::uint32_t NextMarshaller() {
  static std::uint32_t count = 0;
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
  vam::JournalLine(PlatformCall::kMakeMarshaller)
      .Number("sharedMemory", NumberOf(*static_cast<TEEC_SharedMemory*>(sharedMemory), 0))
      .Number("marshaller", number);
}

CNolvWsm::~CNolvWsm() {
  vam::JournalLine(PlatformCall::kDestroyMarshaller).Number("marshaller", number);
}

bool CNolvWsm::PutInt(std::int32_t value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kPutInt);
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::put_int(cursor, value);
  });
  vam::JournalLine(PlatformCall::kPutInt)
      .Number("marshaller", number)
      .Number("value", value)
      .Truth("result", done)
      .ChangedBy(fault);
  return done;
}

bool CNolvWsm::PutUint(std::uint32_t value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kPutUint);
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::put_uint(cursor, value);
  });
  vam::JournalLine(PlatformCall::kPutUint)
      .Number("marshaller", number)
      .Number("value", value)
      .Truth("result", done)
      .ChangedBy(fault);
  return done;
}

bool CNolvWsm::PutBlob(const void* bytes, std::uint32_t length) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kPutBlob);
  const bool done = Operate(
      block, size, position, fault,
      [bytes, length](vam::ValueCursor& cursor) { return vam::put_blob(cursor, bytes, length); });
  // After a refusal the length may be more than the caller's bytes.
  vam::JournalLine(PlatformCall::kPutBlob)
      .Number("marshaller", number)
      .Number("length", length)
      .Bytes("bytes", done ? (length == 0 ? this : bytes) : nullptr, length)
      .Truth("result", done)
      .ChangedBy(fault);
  return done;
}

void CNolvWsm::PrepareReset(int mode) {
  position = vam::kFirstValue;
  vam::JournalLine(PlatformCall::kPrepareReset).Number("marshaller", number).Number("mode", mode);
}

bool CNolvWsm::GetInt(std::int32_t* value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kGetInt);
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::get_int(cursor, value);
  });
  vam::JournalLine line(PlatformCall::kGetInt);
  line.Number("marshaller", number);
  if (done) {
    line.Number("value", *value);
  }
  line.Truth("result", done).ChangedBy(fault);
  return done;
}

bool CNolvWsm::GetUint(std::uint32_t* value) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kGetUint);
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::get_uint(cursor, value);
  });
  vam::JournalLine line(PlatformCall::kGetUint);
  line.Number("marshaller", number);
  if (done) {
    line.Number("value", *value);
  }
  line.Truth("result", done).ChangedBy(fault);
  return done;
}

void* CNolvWsm::GetBlob(std::uint32_t length) {
  const vam::Fault* fault = vam::FireFaultOn(PlatformCall::kGetBlob);
  void* bytes = nullptr;
  Operate(block, size, position, fault, [&bytes, length](vam::ValueCursor& cursor) {
    bytes = vam::get_blob(cursor, length);
    return bytes != nullptr;
  });
  vam::JournalLine(PlatformCall::kGetBlob)
      .Number("marshaller", number)
      .Number("length", length)
      .Bytes("bytes", bytes, length)
      .ChangedBy(fault);
  return bytes;
}
