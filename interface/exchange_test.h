#ifndef INTERFACE_EXCHANGE_TEST_H_
#define INTERFACE_EXCHANGE_TEST_H_

// What the tests of the commands share: the calls of one exchange, strict in order and arguments.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "interface/ca_vam_interface_sp.h"
#include "interface/trusted_application.h"
#include "tests/support/mock_platform.h"

namespace vam {

constexpr TEEC_UUID kTestUuid = {0x01234567, 0x89ab, 0xcdef, {1, 2, 3, 4, 5, 6, 7, 8}};

/// A failed invocation: its result, its origin and the line that reports them.
struct InvokeFailure {
  TEEC_Result result;
  std::uint32_t origin;
  std::string line;
};

/// Expectations are set in the order in which the calls must come. Any other call fails the test.
class ExchangeTest : public testing::Test {
 protected:
  void ExpectLine(const std::string& line) { EXPECT_CALL(platform, Line(line)); }

  /// The command's line and a connection that opens.
  void ExpectOpen(const std::string& command) {
    using testing::_;
    using testing::IsNull;
    using testing::NotNull;
    ExpectLine("CA InterfaceSP: " + command);
    EXPECT_CALL(platform, InitializeContext(IsNull(), NotNull()))
        .WillOnce(testing::DoAll(testing::SaveArg<1>(&context), testing::Return(TEEC_SUCCESS)));
    const auto isUuid = [](const TEEC_UUID& uuid) {
      return std::memcmp(&uuid, &kTestUuid, sizeof uuid) == 0;
    };
    EXPECT_CALL(platform, OpenSession(IsContext(), NotNull(), Pointee(testing::Truly(isUuid)), 0,
                                      IsNull(), IsNull(), NotNull()))
        .WillOnce(testing::DoAll(testing::SaveArg<1>(&session), testing::Return(TEEC_SUCCESS)));
    EXPECT_CALL(platform, AllocateSharedMemory(IsContext(), NotNull()))
        .WillOnce(testing::DoAll(testing::SaveArg<1>(&memory), testing::Return(TEEC_SUCCESS)));
    ExpectLine("TEE connection has been set");
  }

  /// The command's line and a connection that does not open and leaves nothing to close.
  void ExpectFailedOpen(const std::string& command) {
    ExpectLine("CA InterfaceSP: " + command);
    EXPECT_CALL(platform, InitializeContext(testing::_, testing::_))
        .WillOnce(testing::Return(TEEC_ERROR_ITEM_NOT_FOUND));
    ExpectLine("Failed to initialize TEE context, result = 4294901768");
  }

  void ExpectClose() {
    EXPECT_CALL(platform,
                ReleaseSharedMemory(testing::Truly([this](auto* m) { return m == memory; })));
    EXPECT_CALL(platform, CloseSession(IsSession()));
    EXPECT_CALL(platform, FinalizeContext(IsContext()));
  }

  void ExpectInvoke(std::uint32_t identifier) {
    EXPECT_CALL(platform, InvokeCommand(IsSession(), identifier, testing::NotNull(), testing::_))
        .WillOnce(testing::Return(TEEC_SUCCESS));
  }

  void ExpectInvoke(std::uint32_t identifier, const InvokeFailure& failure) {
    EXPECT_CALL(platform, InvokeCommand(testing::NotNull(), identifier, testing::NotNull(),
                                        testing::NotNull()))
        .WillOnce(testing::DoAll(testing::SetArgPointee<3>(failure.origin),
                                 testing::Return(failure.result)));
    ExpectLine(failure.line);
  }

  /// The marshaller works on the record of the client's shared memory, not on its buffer.
  void ExpectMarshaller() {
    EXPECT_CALL(platform,
                ConstructMarshaller(testing::Truly([this](void* m) { return m == memory; })));
  }
  /// The same without a connection, where the library has seen no memory.
  void ExpectMarshallerWithoutMemory() {
    EXPECT_CALL(platform, ConstructMarshaller(testing::NotNull()));
  }
  void ExpectMarshallerDestroyed() { EXPECT_CALL(platform, DestroyMarshaller()); }

  void ExpectPutInt(std::int32_t value, bool taken = true) {
    EXPECT_CALL(platform, PutInt(value)).WillOnce(testing::Return(taken));
  }
  void ExpectPutUint(std::uint32_t value, bool taken = true) {
    EXPECT_CALL(platform, PutUint(value)).WillOnce(testing::Return(taken));
  }
  void ExpectPutBlob(const void* bytes, std::uint32_t length, bool taken = true) {
    EXPECT_CALL(platform, PutBlob(bytes, length)).WillOnce(testing::Return(taken));
  }

  void ExpectReading() { EXPECT_CALL(platform, PrepareReset(1)); }
  void ExpectGetInt(std::int32_t value) {
    EXPECT_CALL(platform, GetInt(testing::NotNull()))
        .WillOnce(testing::DoAll(testing::SetArgPointee<0>(value), testing::Return(true)));
  }
  void ExpectGetUint(std::uint32_t value) {
    EXPECT_CALL(platform, GetUint(testing::NotNull()))
        .WillOnce(testing::DoAll(testing::SetArgPointee<0>(value), testing::Return(true)));
  }
  /// A get that fails, although it has written a value.
  void ExpectNoInt() {
    EXPECT_CALL(platform, GetInt(testing::NotNull()))
        .WillOnce(testing::DoAll(testing::SetArgPointee<0>(5), testing::Return(false)));
  }
  void ExpectNoUint() {
    EXPECT_CALL(platform, GetUint(testing::NotNull()))
        .WillOnce(testing::DoAll(testing::SetArgPointee<0>(5U), testing::Return(false)));
  }
  /// A get that succeeds, although it has written nothing.
  void ExpectUnwrittenInt() {
    EXPECT_CALL(platform, GetInt(testing::NotNull())).WillOnce(testing::Return(true));
  }
  void ExpectUnwrittenUint() {
    EXPECT_CALL(platform, GetUint(testing::NotNull())).WillOnce(testing::Return(true));
  }
  /// A get of a blob of this size, which returns the address of `bytes`.
  void ExpectGetBlob(std::vector<std::uint8_t>& bytes) {
    EXPECT_CALL(platform, GetBlob(static_cast<std::uint32_t>(bytes.size())))
        .WillOnce(testing::Return(bytes.data()));
  }
  void ExpectNoBlob(std::uint32_t length) {
    EXPECT_CALL(platform, GetBlob(length)).WillOnce(testing::Return(nullptr));
  }

  testing::InSequence inSequence;
  testing::StrictMock<MockPlatform> platform;
  CaVamInterfaceSp interface = CaVamInterfaceSp(kTestUuid);

 private:
  testing::Matcher<TEEC_Context*> IsContext() {
    return testing::Truly([this](auto* c) { return c == context; });
  }
  testing::Matcher<TEEC_Session*> IsSession() {
    return testing::Truly([this](auto* s) { return s == session; });
  }

  TEEC_Context* context = nullptr;
  TEEC_Session* session = nullptr;
  TEEC_SharedMemory* memory = nullptr;
};

}  // namespace vam

#endif  // INTERFACE_EXCHANGE_TEST_H_
