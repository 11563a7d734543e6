// Stands in front of the vendor's marshaller, whose header says which types its methods take and
// return. The object is the vendor's alone: its address is passed on, and nothing of it is read.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "marshaller_symbols.h"
#include "platform/marshaller.h"
#include "recorder/call.h"
#include "recorder/live_numbers.h"
#include "recorder/numbers_of_tee.h"

namespace {

using vam::Call;
using vam::JournalLine;
using vam::KeyOf;
using vam::LiveNumbers;

constexpr std::size_t kLongestName =
    std::max({sizeof VAM_CONSTRUCTOR_1, sizeof VAM_CONSTRUCTOR_2, sizeof VAM_DESTRUCTOR_0,
              sizeof VAM_DESTRUCTOR_1, sizeof VAM_DESTRUCTOR_2, sizeof VAM_PUTINT,
              sizeof VAM_PUTUINT, sizeof VAM_PUTBLOB, sizeof VAM_PREPARERESET, sizeof VAM_GETINT,
              sizeof VAM_GETUINT, sizeof VAM_GETBLOB});
using NextSymbol = vam::NextSymbol<kLongestName>;

LiveNumbers marshallers;

/// Returns the number of the marshaller at `object`. One whose constructor is in the vendor's
/// header gets its number here.
std::uint32_t NumberOf(const void* object) {
  const std::uint32_t number = marshallers.Of(KeyOf(object));
  return number != 0 ? number : marshallers.Make(KeyOf(object));
}

/// A method with one argument, as a function that takes the object first: one and the same to the
/// machine.
template <typename Method>
struct MethodTypes;
template <typename Class, typename Returned, typename Taken>
struct MethodTypes<Returned (Class::*)(Taken)> {
  using Result = Returned;
  using Argument = Taken;
  using Function = Returned(void*, Taken);
};
template <typename Class, typename Returned, typename Taken>
struct MethodTypes<Returned (Class::*)(Taken) const> : MethodTypes<Returned (Class::*)(Taken)> {};
template <typename Class, typename Returned, typename Taken>
struct MethodTypes<Returned (Class::*)(Taken) noexcept> : MethodTypes<Returned (Class::*)(Taken)> {
};
template <typename Class, typename Returned, typename Taken>
struct MethodTypes<Returned (Class::*)(Taken) const noexcept>
    : MethodTypes<Returned (Class::*)(Taken)> {};
/// The length stands second only here.
template <typename Class, typename Returned, typename Taken, typename Length>
struct MethodTypes<Returned (Class::*)(Taken, Length)> {
  using Result = Returned;
  using Argument = Taken;
  using Second = Length;
  using Function = Returned(void*, Taken, Length);
};

using PutInt = MethodTypes<decltype(&CNolvWsm::PutInt)>;
using PutUint = MethodTypes<decltype(&CNolvWsm::PutUint)>;
using PutBlob = MethodTypes<decltype(&CNolvWsm::PutBlob)>;
using PrepareReset = MethodTypes<decltype(&CNolvWsm::PrepareReset)>;
using GetInt = MethodTypes<decltype(&CNolvWsm::GetInt)>;
using GetUint = MethodTypes<decltype(&CNolvWsm::GetUint)>;
using GetBlob = MethodTypes<decltype(&CNolvWsm::GetBlob)>;

NextSymbol nextConstructor1(VAM_CONSTRUCTOR_1);
NextSymbol nextConstructor2(VAM_CONSTRUCTOR_2);
NextSymbol nextDestructor0(VAM_DESTRUCTOR_0);
NextSymbol nextDestructor1(VAM_DESTRUCTOR_1);
NextSymbol nextDestructor2(VAM_DESTRUCTOR_2);
NextSymbol nextPutInt(VAM_PUTINT);
NextSymbol nextPutUint(VAM_PUTUINT);
NextSymbol nextPutBlob(VAM_PUTBLOB);
NextSymbol nextPrepareReset(VAM_PREPARERESET);
NextSymbol nextGetInt(VAM_GETINT);
NextSymbol nextGetUint(VAM_GETUINT);
NextSymbol nextGetBlob(VAM_GETBLOB);

/// What a constructor may be given besides the object: one to three arguments, each of which is in
/// a register on the processors of this system. Those that it does not have hold anything.
struct Arguments {
  void* sharedMemory;
  void* second;
  void* third;
};

/// On 32-bit ARM constructors and destructors return the object.
void* Construct(NextSymbol& next, void* object, const Arguments& given) {
  const Call call;
  void* returned = next.As<void*(void*, void*, void*, void*)>()(object, given.sharedMemory,
                                                                given.second, given.third);
  call.Record("CNolvWsm::CNolvWsm", [=](JournalLine& line) {
    line.Number("sharedMemory", vam::SharedMemories().Of(KeyOf(given.sharedMemory)))
        .Number("marshaller", marshallers.Make(KeyOf(object)));
  });
  return returned;
}

void* Destroy(NextSymbol& next, void* object) {
  const Call call;
  const std::uint32_t number = call.IsRecorded() ? NumberOf(object) : 0;
  marshallers.Take(KeyOf(object));
  void* returned = next.As<void*(void*)>()(object);
  call.Record("CNolvWsm::~CNolvWsm", [=](JournalLine& line) { line.Number("marshaller", number); });
  return returned;
}

template <typename Method>
typename Method::Result Put(NextSymbol& next, const char* name, void* object,
                            typename Method::Argument value) {
  const Call call;
  const auto result = next.As<typename Method::Function>()(object, value);
  call.Record(name, [=](JournalLine& line) {
    line.Number("marshaller", NumberOf(object))
        .Number("value", static_cast<std::int64_t>(value))
        .Truth("result", static_cast<bool>(result));
  });
  return result;
}

template <typename Method>
typename Method::Result Get(NextSymbol& next, const char* name, void* object,
                            typename Method::Argument value) {
  const Call call;
  const auto result = next.As<typename Method::Function>()(object, value);
  call.Record(name, [=](JournalLine& line) {
    line.Number("marshaller", NumberOf(object));
    if (result) {
      line.Number("value", static_cast<std::int64_t>(*value));
    }
    line.Truth("result", static_cast<bool>(result));
  });
  return result;
}

/// Its result is the vendor's, if there is one.
template <typename Method>
typename Method::Result Reset(NextSymbol& next, void* object, typename Method::Argument mode) {
  const Call call;
  const auto record = [&] {
    call.Record("CNolvWsm::PrepareReset", [=](JournalLine& line) {
      line.Number("marshaller", NumberOf(object)).Number("mode", static_cast<std::int64_t>(mode));
    });
  };
  if constexpr (std::is_void_v<typename Method::Result>) {
    next.As<typename Method::Function>()(object, mode);
    record();
  } else {
    const auto result = next.As<typename Method::Function>()(object, mode);
    record();
    return result;
  }
}

}  // namespace

namespace vam {

bool HasMarshaller() { return marshallers.IsUsed() || nextPutInt.IsThere(); }

}  // namespace vam

#pragma GCC visibility push(default)
extern "C" {

void* RecordedConstructor1(void* object, void* sharedMemory, void* second,
                           void* third) __asm__(VAM_CONSTRUCTOR_1);
void* RecordedConstructor2(void* object, void* sharedMemory, void* second,
                           void* third) __asm__(VAM_CONSTRUCTOR_2);
void* RecordedDestructor0(void* object) __asm__(VAM_DESTRUCTOR_0);
void* RecordedDestructor1(void* object) __asm__(VAM_DESTRUCTOR_1);
void* RecordedDestructor2(void* object) __asm__(VAM_DESTRUCTOR_2);
PutInt::Result RecordedPutInt(void* object, PutInt::Argument value) __asm__(VAM_PUTINT);
PutUint::Result RecordedPutUint(void* object, PutUint::Argument value) __asm__(VAM_PUTUINT);
PutBlob::Result RecordedPutBlob(void* object, PutBlob::Argument bytes,
                                PutBlob::Second length) __asm__(VAM_PUTBLOB);
PrepareReset::Result RecordedPrepareReset(void* object,
                                          PrepareReset::Argument mode) __asm__(VAM_PREPARERESET);
GetInt::Result RecordedGetInt(void* object, GetInt::Argument value) __asm__(VAM_GETINT);
GetUint::Result RecordedGetUint(void* object, GetUint::Argument value) __asm__(VAM_GETUINT);
GetBlob::Result RecordedGetBlob(void* object, GetBlob::Argument length) __asm__(VAM_GETBLOB);

void* RecordedConstructor1(void* object, void* sharedMemory, void* second, void* third) {
  return Construct(nextConstructor1, object, {sharedMemory, second, third});
}

void* RecordedConstructor2(void* object, void* sharedMemory, void* second, void* third) {
  return Construct(nextConstructor2, object, {sharedMemory, second, third});
}

void* RecordedDestructor0(void* object) { return Destroy(nextDestructor0, object); }

void* RecordedDestructor1(void* object) { return Destroy(nextDestructor1, object); }

void* RecordedDestructor2(void* object) { return Destroy(nextDestructor2, object); }

PutInt::Result RecordedPutInt(void* object, PutInt::Argument value) {
  return Put<PutInt>(nextPutInt, "CNolvWsm::PutInt", object, value);
}

PutUint::Result RecordedPutUint(void* object, PutUint::Argument value) {
  return Put<PutUint>(nextPutUint, "CNolvWsm::PutUint", object, value);
}

PutBlob::Result RecordedPutBlob(void* object, PutBlob::Argument bytes, PutBlob::Second length) {
  const Call call;
  const auto result = nextPutBlob.As<PutBlob::Function>()(object, bytes, length);
  // After a refusal the length may be more than the program's bytes. Only key records are put as
  // blobs.
  call.Record("CNolvWsm::PutBlob", [=](JournalLine& line) {
    const void* taken = length == 0 ? object : bytes;
    line.Number("marshaller", NumberOf(object))
        .Number("length", static_cast<std::int64_t>(length))
        .KeyBytes("bytes", result ? taken : nullptr, static_cast<std::size_t>(length))
        .Truth("result", static_cast<bool>(result));
  });
  return result;
}

PrepareReset::Result RecordedPrepareReset(void* object, PrepareReset::Argument mode) {
  return Reset<PrepareReset>(nextPrepareReset, object, mode);
}

GetInt::Result RecordedGetInt(void* object, GetInt::Argument value) {
  return Get<GetInt>(nextGetInt, "CNolvWsm::GetInt", object, value);
}

GetUint::Result RecordedGetUint(void* object, GetUint::Argument value) {
  return Get<GetUint>(nextGetUint, "CNolvWsm::GetUint", object, value);
}

GetBlob::Result RecordedGetBlob(void* object, GetBlob::Argument length) {
  const Call call;
  const auto bytes = nextGetBlob.As<GetBlob::Function>()(object, length);
  call.Record("CNolvWsm::GetBlob", [=](JournalLine& line) {
    line.Number("marshaller", NumberOf(object))
        .Number("length", static_cast<std::int64_t>(length))
        .Bytes("bytes", bytes, static_cast<std::size_t>(length));
  });
  return bytes;
}

}  // extern "C"
#pragma GCC visibility pop
