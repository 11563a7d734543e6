#include "simulator/stand_ins/CNolvWsm.h"

#include <cstddef>
#include <cstdint>

#include "platform/tee_client.h"
#include "simulator/model/value_block.h"
#include "simulator/run/run.h"

namespace {

/// Returns the number that the stand-in for the TEE client library gives its shared memory in the
/// journal; 0 where the record is another library's.
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
bool Operate(unsigned char* block, std::size_t size, std::size_t& position, std::uint32_t fault,
             Operation operation) {
  if (fault != 0) {
    return false;
  }
  vam::ValueCursor cursor{block, size, position};
  const bool done = operation(cursor);
  position = cursor.position;
  return done;
}

std::uint32_t FireFault(const char* call) {
  vam::Run* run = vam::Run::Current();
  return run == nullptr ? 0 : run->FireCallFault(call);
}

}  // namespace

CNolvWsm::CNolvWsm(void* sharedMemory)
    : block(static_cast<unsigned char*>(static_cast<TEEC_SharedMemory*>(sharedMemory)->buffer)),
      size(static_cast<TEEC_SharedMemory*>(sharedMemory)->size),
      position(vam::kFirstValue),
      number(NextMarshaller()) {
  vam::JournalLine(vam::Run::Current(), "CNolvWsm")
      .Number("sharedMemory", NumberOf(*static_cast<TEEC_SharedMemory*>(sharedMemory), 0))
      .Number("marshaller", number);
}

CNolvWsm::~CNolvWsm() {
  vam::JournalLine(vam::Run::Current(), "~CNolvWsm").Number("marshaller", number);
}

bool CNolvWsm::PutInt(std::int32_t value) {
  const std::uint32_t fault = FireFault("CNolvWsm::PutInt");
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::put_int(cursor, value);
  });
  vam::JournalLine(vam::Run::Current(), "PutInt")
      .Number("marshaller", number)
      .Number("value", value)
      .Truth("result", done)
      .FaultNumber(fault);
  return done;
}

bool CNolvWsm::PutUint(std::uint32_t value) {
  const std::uint32_t fault = FireFault("CNolvWsm::PutUint");
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::put_uint(cursor, value);
  });
  vam::JournalLine(vam::Run::Current(), "PutUint")
      .Number("marshaller", number)
      .Number("value", value)
      .Truth("result", done)
      .FaultNumber(fault);
  return done;
}

bool CNolvWsm::PutBlob(const void* bytes, std::uint32_t length) {
  const std::uint32_t fault = FireFault("CNolvWsm::PutBlob");
  const bool done = Operate(
      block, size, position, fault,
      [bytes, length](vam::ValueCursor& cursor) { return vam::put_blob(cursor, bytes, length); });
  // A length that was refused may be more than there are bytes.
  vam::JournalLine(vam::Run::Current(), "PutBlob")
      .Number("marshaller", number)
      .Number("length", length)
      .Bytes("bytes", done ? (length == 0 ? this : bytes) : nullptr, length)
      .Truth("result", done)
      .FaultNumber(fault);
  return done;
}

void CNolvWsm::PrepareReset(int mode) {
  position = vam::kFirstValue;
  vam::JournalLine(vam::Run::Current(), "PrepareReset")
      .Number("marshaller", number)
      .Number("mode", mode);
}

bool CNolvWsm::GetInt(std::int32_t* value) {
  const std::uint32_t fault = FireFault("CNolvWsm::GetInt");
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::get_int(cursor, value);
  });
  vam::JournalLine line(vam::Run::Current(), "GetInt");
  line.Number("marshaller", number);
  if (done) {
    line.Number("value", *value);
  }
  line.Truth("result", done).FaultNumber(fault);
  return done;
}

bool CNolvWsm::GetUint(std::uint32_t* value) {
  const std::uint32_t fault = FireFault("CNolvWsm::GetUint");
  const bool done = Operate(block, size, position, fault, [value](vam::ValueCursor& cursor) {
    return vam::get_uint(cursor, value);
  });
  vam::JournalLine line(vam::Run::Current(), "GetUint");
  line.Number("marshaller", number);
  if (done) {
    line.Number("value", *value);
  }
  line.Truth("result", done).FaultNumber(fault);
  return done;
}

void* CNolvWsm::GetBlob(std::uint32_t length) {
  const std::uint32_t fault = FireFault("CNolvWsm::GetBlob");
  void* bytes = nullptr;
  Operate(block, size, position, fault, [&bytes, length](vam::ValueCursor& cursor) {
    bytes = vam::get_blob(cursor, length);
    return bytes != nullptr;
  });
  vam::JournalLine(vam::Run::Current(), "GetBlob")
      .Number("marshaller", number)
      .Number("length", length)
      .Bytes("bytes", bytes, length)
      .FaultNumber(fault);
  return bytes;
}
