#include "tee/vam_tee_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/mock_platform.h"

namespace {

using ::testing::_;
using ::testing::DoAll;
using ::testing::ElementsAre;
using ::testing::InSequence;
using ::testing::IsNull;
using ::testing::NotNull;
using ::testing::Pointee;
using ::testing::Return;
using ::testing::SaveArg;
using ::testing::SetArgPointee;
using ::testing::StrictMock;
using ::testing::Truly;

constexpr TEEC_UUID kUuid = {0x01234567, 0x89ab, 0xcdef, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr TEEC_UUID kOtherUuid = {0x89abcdef, 0x0123, 0x4567, {8, 7, 6, 5, 4, 3, 2, 1}};

// The client owns what it holds, and callers rely on each of its steps.
static_assert(!std::is_polymorphic_v<VAMTEEClient>);
static_assert(!std::is_copy_constructible_v<VAMTEEClient>);
static_assert(!std::is_copy_assignable_v<VAMTEEClient>);
static_assert(!std::is_move_constructible_v<VAMTEEClient>);
static_assert(!std::is_move_assignable_v<VAMTEEClient>);
static_assert(std::is_same_v<decltype(&VAMTEEClient::OpenContext), bool (VAMTEEClient::*)()>);
static_assert(std::is_same_v<decltype(&VAMTEEClient::OpenSession), bool (VAMTEEClient::*)()>);
static_assert(std::is_same_v<decltype(&VAMTEEClient::AllocateMemory), bool (VAMTEEClient::*)()>);

/// The client's members in their order.
struct Members {
  TEEC_Context context;
  TEEC_Session session;
  TEEC_SharedMemory sharedMemory;
  TEEC_UUID uuid;
  bool contextInitialized;
  bool sessionOpened;
  bool memoryAllocated;
};
static_assert(sizeof(VAMTEEClient) == sizeof(Members));

/// Compares records byte for byte, padding included, as the library may see them.
bool SameBytes(const void* one, const void* other, std::size_t size) {
  return std::memcmp(one, other, size) == 0;
}

auto Is(const TEEC_UUID& expected) {
  return Truly(
      [expected](const TEEC_UUID& uuid) { return SameBytes(&uuid, &expected, sizeof uuid); });
}

template <typename Record>
bool IsZero(const Record& record) {
  const unsigned char zero[sizeof record] = {};
  return SameBytes(&record, zero, sizeof record);
}

class TeeClientTest : public testing::Test {
 protected:
  /// The calls of an Open() that succeeds, with the records that they must share.
  void ExpectOpen() {
    ExpectContext(TEEC_SUCCESS);
    ExpectSession(TEEC_SUCCESS, TEEC_ORIGIN_TRUSTED_APP);
    ExpectMemory(TEEC_SUCCESS);
    EXPECT_CALL(platform, Line("TEE connection has been set"));
  }

  void ExpectContext(TEEC_Result result) {
    EXPECT_CALL(platform, InitializeContext(IsNull(), NotNull()))
        .WillOnce(DoAll(SaveArg<1>(&context), Return(result)));
  }

  void ExpectSession(TEEC_Result result, std::uint32_t origin, const TEEC_UUID& uuid = kUuid) {
    // The origin that the library finds is 0, and public login takes no data.
    EXPECT_CALL(platform, OpenSession(IsContext(), NotNull(), Pointee(Is(uuid)), TEEC_LOGIN_PUBLIC,
                                      IsNull(), IsNull(), Pointee(0)))
        .WillOnce(DoAll(SaveArg<1>(&session), SetArgPointee<6>(origin), Return(result)));
  }

  void ExpectMemory(TEEC_Result result) {
    const auto asksForTheBlock = [](const TEEC_SharedMemory& block) {
      return block.size == 8192 && block.flags == 3 && block.buffer == nullptr;
    };
    EXPECT_CALL(platform, AllocateSharedMemory(IsContext(), Pointee(Truly(asksForTheBlock))))
        .WillOnce(DoAll(SaveArg<1>(&memory), Return(result)));
  }

  void ExpectRelease() {
    EXPECT_CALL(platform, ReleaseSharedMemory(Truly([this](auto* m) { return m == memory; })));
  }
  void ExpectCloseSession() {
    EXPECT_CALL(platform, CloseSession(Truly([this](auto* s) { return s == session; })));
  }
  void ExpectFinalize() { EXPECT_CALL(platform, FinalizeContext(IsContext())); }

  void ExpectClose() {
    ExpectRelease();
    ExpectCloseSession();
    ExpectFinalize();
  }

  testing::Matcher<TEEC_Context*> IsContext() {
    return Truly([this](auto* c) { return c == context; });
  }

  /// One invocation over the client's block, whatever state the client is in.
  void ExpectInvoke(std::uint32_t identifier, std::size_t size, TEEC_Result result,
                    std::uint32_t origin, VAMTEEClient& client) {
    const auto overTheBlock = [&client, size](const TEEC_Operation& operation) {
      TEEC_Operation expected;
      std::memset(&expected, 0, sizeof expected);
      expected.paramTypes = 15;
      expected.params[0].memref.parent = static_cast<TEEC_SharedMemory*>(client.getSHMPtr());
      expected.params[0].memref.size = size;
      return SameBytes(&operation, &expected, sizeof expected);
    };
    EXPECT_CALL(platform,
                InvokeCommand(NotNull(), identifier, Pointee(Truly(overTheBlock)), Pointee(0)))
        .WillOnce(DoAll(SaveArg<0>(&invokedSession), SetArgPointee<3>(origin), Return(result)));
  }

  InSequence inSequence;
  StrictMock<vam::MockPlatform> platform;
  TEEC_Context* context = nullptr;
  TEEC_Session* session = nullptr;
  TEEC_SharedMemory* memory = nullptr;
  TEEC_Session* invokedSession = nullptr;
};

TEST_F(TeeClientTest, Open_EveryStepSucceeds_ClosesInReverse) {
  ExpectOpen();
  ExpectClose();
  VAMTEEClient client;
  EXPECT_TRUE(client.Open(kUuid));
  EXPECT_EQ(client.getSHMPtr(), memory);
  client.Close();
}

TEST_F(TeeClientTest, Destructor_ConnectionOpen_Closes) {
  ExpectOpen();
  ExpectClose();
  VAMTEEClient client;
  client.Open(kUuid);
}

TEST_F(TeeClientTest, Close_AlreadyClosed_CallsNothing) {
  ExpectOpen();
  ExpectClose();
  VAMTEEClient client;
  client.Open(kUuid);
  client.Close();
  client.Close();
}

TEST_F(TeeClientTest, Close_NeverOpened_CallsNothing) {
  VAMTEEClient client;
  client.Close();
}

TEST_F(TeeClientTest, Constructor_MemoryNotZero_StartsWithRecordsOfZeros) {
  alignas(VAMTEEClient) unsigned char place[sizeof(VAMTEEClient)];
  std::memset(place, 0xA5, sizeof place);
  auto* client = new (place) VAMTEEClient;
  EXPECT_CALL(platform, InitializeContext(_, Pointee(Truly(IsZero<TEEC_Context>))))
      .WillOnce(Return(TEEC_SUCCESS));
  EXPECT_CALL(platform, OpenSession(_, Pointee(Truly(IsZero<TEEC_Session>)), _, _, _, _, _))
      .WillOnce(Return(TEEC_SUCCESS));
  const auto isZeroButForTheRequest = [](TEEC_SharedMemory block) {
    block.size = 0;
    block.flags = 0;
    return IsZero(block);
  };
  EXPECT_CALL(platform, AllocateSharedMemory(_, Pointee(Truly(isZeroButForTheRequest))))
      .WillOnce(Return(TEEC_ERROR_OUT_OF_MEMORY));
  EXPECT_CALL(platform, Line("Failed to allocate shared memory, result = 4294901772"));
  EXPECT_CALL(platform, CloseSession(_));
  EXPECT_CALL(platform, FinalizeContext(_));
  client->Open(kUuid);
  client->~VAMTEEClient();
}

TEST_F(TeeClientTest, Open_ContextFails_HoldsNothing) {
  ExpectContext(TEEC_ERROR_ITEM_NOT_FOUND);
  EXPECT_CALL(platform, Line("Failed to initialize TEE context, result = 4294901768"));
  VAMTEEClient client;
  EXPECT_FALSE(client.Open(kUuid));
}

TEST_F(TeeClientTest, Open_SessionFails_HoldsTheContext) {
  ExpectContext(TEEC_SUCCESS);
  ExpectSession(TEEC_ERROR_ITEM_NOT_FOUND, 3);
  // The result and the origin run together.
  EXPECT_CALL(platform, Line("Failed to open TEE session, result and retOrigin = 42949017683"));
  ExpectFinalize();
  VAMTEEClient client;
  EXPECT_FALSE(client.Open(kUuid));
  client.Close();
}

TEST_F(TeeClientTest, Open_AllocationFails_HoldsContextAndSession) {
  ExpectContext(TEEC_SUCCESS);
  ExpectSession(TEEC_SUCCESS, 4);
  ExpectMemory(TEEC_ERROR_OUT_OF_MEMORY);
  EXPECT_CALL(platform, Line("Failed to allocate shared memory, result = 4294901772"));
  ExpectCloseSession();
  ExpectFinalize();
  VAMTEEClient client;
  EXPECT_FALSE(client.Open(kUuid));
  client.Close();
}

TEST_F(TeeClientTest, Open_AfterAFailedOne_GoesOnWhereThatStopped) {
  ExpectContext(TEEC_SUCCESS);
  ExpectSession(TEEC_ERROR_BUSY, 3);
  EXPECT_CALL(platform, Line("Failed to open TEE session, result and retOrigin = 42949017733"));
  ExpectSession(TEEC_SUCCESS, 4);
  ExpectMemory(TEEC_ERROR_OUT_OF_MEMORY);
  EXPECT_CALL(platform, Line("Failed to allocate shared memory, result = 4294901772"));
  ExpectMemory(TEEC_SUCCESS);
  EXPECT_CALL(platform, Line("TEE connection has been set"));
  ExpectClose();
  VAMTEEClient client;
  EXPECT_FALSE(client.Open(kUuid));
  EXPECT_FALSE(client.Open(kUuid));
  EXPECT_TRUE(client.Open(kUuid));
}

TEST_F(TeeClientTest, Open_AlreadyOpen_PrintsAndRepeatsNoCall) {
  ExpectOpen();
  EXPECT_CALL(platform, Line("TEE connection has been set"));
  ExpectClose();
  VAMTEEClient client;
  EXPECT_TRUE(client.Open(kUuid));
  EXPECT_TRUE(client.Open(kUuid));
}

TEST_F(TeeClientTest, Open_AfterClose_OpensAgain) {
  ExpectOpen();
  ExpectClose();
  ExpectContext(TEEC_SUCCESS);
  ExpectSession(TEEC_SUCCESS, 4);
  // The client does not clear the buffer pointer: it is the library's.
  EXPECT_CALL(platform, AllocateSharedMemory(IsContext(), _)).WillOnce(Return(TEEC_SUCCESS));
  EXPECT_CALL(platform, Line("TEE connection has been set"));
  ExpectClose();
  VAMTEEClient client;
  EXPECT_TRUE(client.Open(kUuid));
  client.Close();
  EXPECT_TRUE(client.Open(kUuid));
}

TEST_F(TeeClientTest, Open_AnotherApplicationAfterClose_OpensThatOne) {
  ExpectOpen();
  ExpectClose();
  ExpectContext(TEEC_SUCCESS);
  ExpectSession(TEEC_ERROR_BUSY, 3, kOtherUuid);
  EXPECT_CALL(platform, Line("Failed to open TEE session, result and retOrigin = 42949017733"));
  ExpectSession(TEEC_ERROR_ITEM_NOT_FOUND, 3);
  EXPECT_CALL(platform, Line("Failed to open TEE session, result and retOrigin = 42949017683"));
  ExpectFinalize();
  VAMTEEClient client;
  EXPECT_TRUE(client.Open(kUuid));
  client.Close();
  EXPECT_FALSE(client.Open(kOtherUuid));
  EXPECT_FALSE(client.Open(kUuid));
}

TEST_F(TeeClientTest, AllocateMemory_RecordChangedByTheLibrary_AsksForTheWholeBlockAgain) {
  const auto changesTheRecord = [](TEEC_Context*, TEEC_SharedMemory* block) {
    block->size = 4096;
    block->flags = 0;
    return TEEC_Result{TEEC_SUCCESS};
  };
  const auto asksForTheBlock = [](const TEEC_SharedMemory& block) {
    return block.size == 8192 && block.flags == 3;
  };
  VAMTEEClient client;
  EXPECT_CALL(platform, AllocateSharedMemory(_, Pointee(Truly(asksForTheBlock))))
      .WillOnce(changesTheRecord);
  // The size of the invocation is the record's, as the library left it.
  ExpectInvoke(18, 4096, TEEC_SUCCESS, 4, client);
  EXPECT_CALL(platform, ReleaseSharedMemory(_));
  EXPECT_CALL(platform, AllocateSharedMemory(_, Pointee(Truly(asksForTheBlock))))
      .WillOnce(Return(TEEC_SUCCESS));
  ExpectInvoke(18, 8192, TEEC_SUCCESS, 4, client);
  EXPECT_CALL(platform, ReleaseSharedMemory(_));
  EXPECT_TRUE(client.AllocateMemory());
  EXPECT_EQ(client.InvokeCommand(18), TEEC_SUCCESS);
  client.FreeMemory();
  EXPECT_TRUE(client.AllocateMemory());
  EXPECT_EQ(client.InvokeCommand(18), TEEC_SUCCESS);
}

TEST_F(TeeClientTest, Steps_OneByOne_HoldEachResource) {
  ExpectContext(TEEC_SUCCESS);
  EXPECT_CALL(platform, OpenSession(IsContext(), _, Pointee(Is(TEEC_UUID{})), _, _, _, _))
      .WillOnce(DoAll(SaveArg<1>(&session), Return(TEEC_SUCCESS)));
  ExpectMemory(TEEC_SUCCESS);
  ExpectClose();
  VAMTEEClient client;
  for (int time = 0; time < 2; ++time) {
    EXPECT_TRUE(client.OpenContext());
    EXPECT_TRUE(client.OpenSession());
    EXPECT_TRUE(client.AllocateMemory());
  }
}

TEST_F(TeeClientTest, Members_InTheClient_StandInTheirOrder) {
  ExpectContext(TEEC_SUCCESS);
  const TEEC_UUID* destination = nullptr;
  EXPECT_CALL(platform, OpenSession(_, _, _, _, _, _, _))
      .WillOnce(DoAll(SaveArg<1>(&session), SaveArg<2>(&destination), Return(TEEC_SUCCESS)));
  ExpectMemory(TEEC_SUCCESS);
  ExpectClose();
  VAMTEEClient client;
  const auto held = [&client] {
    const auto* bytes = reinterpret_cast<const char*>(&client);
    return std::vector<bool>{bytes[offsetof(Members, contextInitialized)] != 0,
                             bytes[offsetof(Members, sessionOpened)] != 0,
                             bytes[offsetof(Members, memoryAllocated)] != 0};
  };
  EXPECT_THAT(held(), ElementsAre(false, false, false));
  client.OpenContext();
  EXPECT_THAT(held(), ElementsAre(true, false, false));
  client.OpenSession();
  EXPECT_THAT(held(), ElementsAre(true, true, false));
  client.AllocateMemory();
  EXPECT_THAT(held(), ElementsAre(true, true, true));

  const auto offset = [&client](const void* member) {
    return static_cast<const char*>(member) - reinterpret_cast<const char*>(&client);
  };
  EXPECT_EQ(offset(context), offsetof(Members, context));
  EXPECT_EQ(offset(session), offsetof(Members, session));
  EXPECT_EQ(offset(memory), offsetof(Members, sharedMemory));
  EXPECT_EQ(offset(destination), offsetof(Members, uuid));
}

TEST_F(TeeClientTest, Releases_OneByOne_AreDoneOnce) {
  ExpectOpen();
  ExpectRelease();
  ExpectCloseSession();
  ExpectFinalize();
  VAMTEEClient client;
  client.Open(kUuid);
  client.FreeMemory();
  client.FreeMemory();
  client.CloseSession();
  client.CloseSession();
  client.CloseContext();
  client.CloseContext();
  client.Close();
}

TEST_F(TeeClientTest, InvokeCommand_ConnectionOpen_TakesTheWholeBlock) {
  VAMTEEClient client;
  ExpectOpen();
  ExpectInvoke(18, 8192, TEEC_SUCCESS, 4, client);
  ExpectInvoke(44, 8192, TEEC_SUCCESS, 4, client);
  ExpectClose();
  client.Open(kUuid);
  EXPECT_EQ(client.InvokeCommand(18), TEEC_SUCCESS);
  EXPECT_EQ(invokedSession, session);
  EXPECT_EQ(client.InvokeCommand(44), TEEC_SUCCESS);
  client.Close();
}

TEST_F(TeeClientTest, InvokeCommand_WithoutConnection_InvokesAnyway) {
  VAMTEEClient client;
  ExpectContext(TEEC_ERROR_GENERIC);
  EXPECT_CALL(platform, Line("Failed to initialize TEE context, result = 4294901760"));
  ExpectInvoke(28, 0, TEEC_ERROR_BAD_PARAMETERS, 1, client);
  EXPECT_CALL(platform,
              Line("TEEC_InvokeCommand() failed for cmd = 28, result = 4294901766, retOrigin = 1"));
  EXPECT_FALSE(client.Open(kUuid));
  EXPECT_EQ(client.InvokeCommand(28), TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_TRUE(IsZero(*invokedSession));
  client.Close();
}

struct FailedInvocation {
  const char* name;
  TEEC_Result result;
  std::uint32_t origin;
  const char* line;
  bool recoverable;
};

class FailedInvocationTest : public TeeClientTest,
                             public testing::WithParamInterface<FailedInvocation> {};

TEST_P(FailedInvocationTest, Result_NotSuccess_IsPrintedAndReturned) {
  VAMTEEClient client;
  ExpectInvoke(18, 0, GetParam().result, GetParam().origin, client);
  EXPECT_CALL(platform, Line(GetParam().line));
  if (GetParam().recoverable) {
    EXPECT_CALL(platform, Line("TZ reported recoverable error, session should be restarted"));
  }
  EXPECT_EQ(client.InvokeCommand(18), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, FailedInvocationTest,
    testing::Values(
        FailedInvocation{
            "GenericFromCommunication", 0xFFFF0000, 2,
            "TEEC_InvokeCommand() failed for cmd = 18, result = 4294901760, retOrigin = 2", true},
        FailedInvocation{
            "GenericFromTee", 0xFFFF0000, 3,
            "TEEC_InvokeCommand() failed for cmd = 18, result = 4294901760, retOrigin = 3", false},
        FailedInvocation{
            "GenericFromApi", 0xFFFF0000, 1,
            "TEEC_InvokeCommand() failed for cmd = 18, result = 4294901760, retOrigin = 1", false},
        FailedInvocation{
            "GenericFromApplication", 0xFFFF0000, 4,
            "TEEC_InvokeCommand() failed for cmd = 18, result = 4294901760, retOrigin = 4", false},
        FailedInvocation{
            "TargetDeadFromCommunication", 0xFFFF3024, 2,
            "TEEC_InvokeCommand() failed for cmd = 18, result = 4294914084, retOrigin = 2", false},
        FailedInvocation{"OneFromNowhere", 1, 0,
                         "TEEC_InvokeCommand() failed for cmd = 18, result = 1, retOrigin = 0",
                         false}),
    [](const auto& param) { return param.param.name; });

}  // namespace
