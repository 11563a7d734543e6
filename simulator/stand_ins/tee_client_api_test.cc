// The stand-in as a program meets it that is on no board, and on one.

#include "simulator/stand_ins/tee_client_api.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "interface/trusted_application.h"
#include "report/tee_codes.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/run/run.h"
#include "simulator/state/state_folder.h"

namespace {

TEEC_UUID VamUuid() {
  TEEC_UUID uuid = {vam::kUuidTimeLow, vam::kUuidTimeMid, vam::kUuidTimeHiAndVersion, {}};
  std::memcpy(uuid.clockSeqAndNode, vam::kUuidClockSeqAndNode, sizeof uuid.clockSeqAndNode);
  return uuid;
}

/// One board for all tests of the program: it is found once, through the environment.
class BoardEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    const std::string run = folder.Path() + "/run";
    const std::string state = folder.Path() + "/state";
    ASSERT_TRUE(std::filesystem::create_directory(run));
    const std::string board =
        "title = \"Board\"\n[image]\nsystem_version = \"1\"\n[chip]\n"
        "[[fault]]\ncall = \"TEEC_RegisterSharedMemory\"\noccurrence = 1\n"
        "result = \"TEEC_ERROR_BUSY\"\n";
    vam::PrepareStateFolder(state, vam::ReadBoardText(board, "board.toml"), folder.Path());
    journal = folder.Path() + "/journal";
    std::ofstream(journal).close();
    vam::Run::Prepare(run, board, "board.toml", state, journal);
    ASSERT_EQ(setenv(vam::Run::kEnvironmentVariable, run.c_str(), 1), 0);
    ASSERT_EQ(TEEC_InitializeContext(nullptr, &context), TEEC_SUCCESS);
    const TEEC_UUID uuid = VamUuid();
    ASSERT_EQ(
        TEEC_OpenSession(&context, &session, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, nullptr),
        TEEC_SUCCESS);
    TEEC_SharedMemory memory = {};
    ASSERT_EQ(TEEC_RegisterSharedMemory(&context, &memory), TEEC_ERROR_BUSY);
    EXPECT_EQ(Said(), R"({"call":"TEEC_InitializeContext","name":null,)"
                      R"("result":{"number":0,"name":"TEEC_SUCCESS"},"context":1}
{"call":"TEEC_OpenSession","context":1,"destination":"58d50001-1105-000f-9799-7f5af3f9c7bb",)"
                      R"("connectionMethod":0,"connectionData":null,"operation":null,)"
                      R"("result":{"number":0,"name":"TEEC_SUCCESS"},)"
                      R"("origin":{"number":4,"name":"TEEC_ORIGIN_TRUSTED_APP"},"session":1}
{"call":"TEEC_RegisterSharedMemory","context":1,"size":0,"flags":0,)"
                      R"("result":{"number":4294901773,"name":"TEEC_ERROR_BUSY"},"fault":1}
)");
  }
  void TearDown() override {
    TEEC_CloseSession(&session);
    TEEC_FinalizeContext(&context);
  }

  /// Returns what the journal says that it did not say before, without times and threads.
  static std::string Said() {
    static const std::regex kBeginning(R"re("time":\d+,"pid":\d+,"tid":\d+,)re");
    std::ifstream file(journal);
    file.seekg(static_cast<std::streamoff>(read));
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    read += text.size();
    return std::regex_replace(text, kBeginning, "");
  }

 private:
  static inline std::string journal;
  static inline std::size_t read = 0;
  const vam::TemporaryFolder folder{"vam-teec-test"};
  // The first ones live as long as the program. A null pointer must not be taken for one of them.
  TEEC_Context context = {};
  TEEC_Session session = {};
};

const auto* const kBoard = testing::AddGlobalTestEnvironment(new BoardEnvironment);

class TeecTest : public testing::Test {
 protected:
  void SetUp() override {
    EXPECT_EQ(TEEC_InitializeContext(nullptr, &context), TEEC_SUCCESS);
    EXPECT_EQ(OpenSession(session), TEEC_SUCCESS);
    memory.size = 8192;
    memory.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
    EXPECT_EQ(TEEC_AllocateSharedMemory(&context, &memory), TEEC_SUCCESS);
    operation.paramTypes =
        TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE);
    operation.params[0].memref = {&memory, 8192, 0};
  }
  void TearDown() override {
    TEEC_ReleaseSharedMemory(&memory);
    TEEC_CloseSession(&session);
    TEEC_FinalizeContext(&context);
  }

  TEEC_Result OpenSession(TEEC_Session& opened) {
    const TEEC_UUID uuid = VamUuid();
    return TEEC_OpenSession(&context, &opened, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, &origin);
  }

  void ExpectInvoke(TEEC_Result result, std::uint32_t expectedOrigin) {
    origin = 99;
    EXPECT_EQ(TEEC_InvokeCommand(&session, vam::kVamGetInfo, &operation, &origin), result);
    EXPECT_EQ(origin, expectedOrigin);
  }

  TEEC_Context context = {};
  TEEC_Session session = {};
  TEEC_SharedMemory memory = {};
  TEEC_Operation operation = {};
  std::uint32_t origin = 0;
};

constexpr std::uint32_t kApi = TEEC_ORIGIN_API;
constexpr std::uint32_t kApplication = TEEC_ORIGIN_TRUSTED_APP;

TEST_F(TeecTest, Invocation_ReachesTheTrustedApplication) {
  ExpectInvoke(TEEC_SUCCESS, kApplication);
}

TEST_F(TeecTest, UnknownCommand_IsRefusedByTheTrustedApplication) {
  EXPECT_EQ(TEEC_InvokeCommand(&session, 1, &operation, &origin), TEEC_ERROR_NOT_SUPPORTED);
  EXPECT_EQ(origin, kApplication);
}

TEST_F(TeecTest, ContextOfAnotherTee_IsNotFound) {
  TEEC_Context other = {};
  EXPECT_EQ(TEEC_InitializeContext("other", &other), TEEC_ERROR_ITEM_NOT_FOUND);
  EXPECT_EQ(TEEC_InitializeContext(nullptr, nullptr), TEEC_ERROR_BAD_PARAMETERS);
}

TEST_F(TeecTest, UnknownTrustedApplication_IsNotFound) {
  TEEC_UUID uuid = VamUuid();
  uuid.clockSeqAndNode[7] ^= 1;
  TEEC_Session other = {};
  EXPECT_EQ(TEEC_OpenSession(&context, &other, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, &origin),
            TEEC_ERROR_ITEM_NOT_FOUND);
  EXPECT_EQ(origin, static_cast<std::uint32_t>(TEEC_ORIGIN_TEE));
}

TEST_F(TeecTest, SessionButAPublicLoginWithoutParameters_IsRefused) {
  const TEEC_UUID uuid = VamUuid();
  TEEC_Session other = {};
  TEEC_Operation empty = {};
  const char data[] = "data";
  EXPECT_EQ(TEEC_OpenSession(&context, &other, &uuid, TEEC_LOGIN_USER, nullptr, nullptr, &origin),
            TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(origin, kApi);
  EXPECT_EQ(TEEC_OpenSession(&context, &other, &uuid, TEEC_LOGIN_PUBLIC, data, nullptr, &origin),
            TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(
      TEEC_OpenSession(&context, &other, &uuid, TEEC_LOGIN_PUBLIC, nullptr, &operation, &origin),
      TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(
      TEEC_OpenSession(&context, &other, nullptr, TEEC_LOGIN_PUBLIC, nullptr, nullptr, &origin),
      TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(
      TEEC_OpenSession(&context, nullptr, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, &origin),
      TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(TEEC_OpenSession(nullptr, &other, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, &origin),
            TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(TEEC_OpenSession(&context, &other, &uuid, TEEC_LOGIN_PUBLIC, nullptr, &empty, nullptr),
            TEEC_SUCCESS)
      << "the origin may be left out";
  TEEC_CloseSession(&other);
}

TEST_F(TeecTest, SharedMemoryWithoutADirectionOrTooLarge_IsRefused) {
  TEEC_SharedMemory other = {};
  other.size = 16;
  EXPECT_EQ(TEEC_AllocateSharedMemory(&context, &other), TEEC_ERROR_BAD_PARAMETERS);
  other.flags = 4;
  EXPECT_EQ(TEEC_AllocateSharedMemory(&context, &other), TEEC_ERROR_BAD_PARAMETERS);
  other.flags = TEEC_MEM_INPUT;
  other.size = TEEC_CONFIG_SHAREDMEM_MAX_SIZE + 1;
  EXPECT_EQ(TEEC_AllocateSharedMemory(&context, &other), TEEC_ERROR_OUT_OF_MEMORY);
  other.size = TEEC_CONFIG_SHAREDMEM_MAX_SIZE;
  ASSERT_EQ(TEEC_AllocateSharedMemory(&context, &other), TEEC_SUCCESS);
  TEEC_ReleaseSharedMemory(&other);
  EXPECT_EQ(TEEC_AllocateSharedMemory(&context, nullptr), TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(TEEC_AllocateSharedMemory(nullptr, &other), TEEC_ERROR_BAD_PARAMETERS);
  other.size = 0;
  ASSERT_EQ(TEEC_AllocateSharedMemory(&context, &other), TEEC_SUCCESS);
  EXPECT_NE(other.buffer, nullptr);
  TEEC_ReleaseSharedMemory(&other);
  EXPECT_EQ(other.buffer, nullptr);
}

TEST_F(TeecTest, RegisteredMemory_StaysTheProgramsOwn) {
  std::vector<std::uint8_t> bytes(8192);
  TEEC_SharedMemory own = {};
  own.buffer = bytes.data();
  own.size = bytes.size();
  own.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  ASSERT_EQ(TEEC_RegisterSharedMemory(&context, &own), TEEC_SUCCESS);
  operation.params[0].memref = {&own, 8192, 0};
  EXPECT_EQ(TEEC_InvokeCommand(&session, vam::kVmGetFwInfo, &operation, &origin), TEEC_SUCCESS);
  EXPECT_NE(bytes, std::vector<std::uint8_t>(8192)) << "the trusted application answers there";
  TEEC_ReleaseSharedMemory(&own);
  EXPECT_EQ(own.buffer, bytes.data());
  EXPECT_EQ(own.size, bytes.size());
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
}

TEST_F(TeecTest, MemoryThatCannotBeRegistered_IsRefused) {
  std::uint8_t byte = 0;
  TEEC_SharedMemory own = {};
  own.size = 1;
  own.flags = TEEC_MEM_INPUT;
  EXPECT_EQ(TEEC_RegisterSharedMemory(&context, &own), TEEC_ERROR_BAD_PARAMETERS);
  own.buffer = &byte;
  own.flags = 0;
  EXPECT_EQ(TEEC_RegisterSharedMemory(&context, &own), TEEC_ERROR_BAD_PARAMETERS);
  own.flags = TEEC_MEM_INPUT;
  EXPECT_EQ(TEEC_RegisterSharedMemory(nullptr, &own), TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(TEEC_RegisterSharedMemory(&context, nullptr), TEEC_ERROR_BAD_PARAMETERS);
  own.size = TEEC_CONFIG_SHAREDMEM_MAX_SIZE + 1;
  EXPECT_EQ(TEEC_RegisterSharedMemory(&context, &own), TEEC_ERROR_OUT_OF_MEMORY);
  own.size = 0;
  ASSERT_EQ(TEEC_RegisterSharedMemory(&context, &own), TEEC_SUCCESS);
  TEEC_ReleaseSharedMemory(&own);
}

TEST_F(TeecTest, CancelledCommand_GoesOn) {
  TEEC_RequestCancellation(&operation);
  ExpectInvoke(TEEC_SUCCESS, kApplication);
}

TEST_F(TeecTest, ReferenceBeyondItsMemory_IsRefused) {
  operation.params[0].memref.size = 8193;
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
  operation.params[0].memref = {&memory, 8192, 1};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
  operation.params[0].memref = {&memory, 2, SIZE_MAX};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
  operation.params[0].memref = {nullptr, 0, 0};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
  operation.params[0].memref = {&memory, 8000, 192};
  ExpectInvoke(TEEC_SUCCESS, kApplication);
}

TEST_F(TeecTest, ReferenceToAPart_IsAnsweredInThatPart) {
  auto* const bytes = static_cast<std::uint8_t*>(memory.buffer);
  std::memset(bytes, 0xA5, memory.size);
  ASSERT_EQ(TEEC_InvokeCommand(&session, vam::kVmGetFwInfo, &operation, &origin), TEEC_SUCCESS);
  const std::vector<std::uint8_t> answer(bytes, bytes + 64);
  std::memset(bytes, 0xA5, memory.size);
  operation.params[0].memref = {&memory, 8000, 192};
  ASSERT_EQ(TEEC_InvokeCommand(&session, vam::kVmGetFwInfo, &operation, &origin), TEEC_SUCCESS);
  EXPECT_EQ(std::vector<std::uint8_t>(bytes, bytes + 192), std::vector<std::uint8_t>(192, 0xA5));
  EXPECT_EQ(std::vector<std::uint8_t>(bytes + 192, bytes + 192 + 64), answer);
}

TEST_F(TeecTest, ReferenceToTheEnd_IsOfNoBytes) {
  operation.params[0].memref = {&memory, 0, 8192};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApplication);
  operation.params[0].memref = {&memory, 1, 8192};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
  operation.params[0].memref = {&memory, 0, 8193};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
}

TEST_F(TeecTest, ReferenceToTheHeadOfABlockAlone_IsTaken) {
  operation.params[0].memref = {&memory, 4, 0};
  ExpectInvoke(TEEC_SUCCESS, kApplication);
  operation.params[0].memref = {&memory, 3, 0};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApplication);
}

TEST_F(TeecTest, ReferenceToTheWholeMemory_IsTaken) {
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_MEMREF_WHOLE, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  operation.params[0].memref = {&memory, 0, 9999};
  ExpectInvoke(TEEC_SUCCESS, kApplication);
  operation.params[0].memref = {nullptr, 0, 0};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
}

TEST_F(TeecTest, TemporaryReference_IsAnsweredInTheProgramsBytes) {
  std::vector<std::uint8_t> bytes(8192);
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_MEMREF_TEMP_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  operation.params[0].tmpref = {bytes.data(), bytes.size()};
  EXPECT_EQ(TEEC_InvokeCommand(&session, vam::kVmGetFwInfo, &operation, &origin), TEEC_SUCCESS);
  EXPECT_NE(bytes, std::vector<std::uint8_t>(8192));
  operation.params[0].tmpref = {bytes.data(), 3};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApplication);
  operation.params[0].tmpref = {nullptr, 0};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApplication);
  operation.params[0].tmpref = {nullptr, 1};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
}

TEST_F(TeecTest, TemporaryReferenceInOneDirection_IsRefusedByTheTrustedApplication) {
  std::uint8_t byte = 0;
  for (const std::uint32_t type :
       {std::uint32_t{TEEC_MEMREF_TEMP_INPUT}, std::uint32_t{TEEC_MEMREF_TEMP_OUTPUT}}) {
    operation.paramTypes = TEEC_PARAM_TYPES(type, TEEC_NONE, TEEC_NONE, TEEC_NONE);
    operation.params[0].tmpref = {&byte, 1};
    ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApplication);
    operation.params[0].tmpref = {nullptr, 1};
    ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
  }
}

TEST_F(TeecTest, ReferenceOfAnotherDirectionThanItsMemory_IsRefused) {
  TEEC_SharedMemory inputOnly = {};
  inputOnly.size = 8192;
  inputOnly.flags = TEEC_MEM_INPUT;
  ASSERT_EQ(TEEC_AllocateSharedMemory(&context, &inputOnly), TEEC_SUCCESS);
  operation.params[0].memref = {&inputOnly, 8192, 0};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
  TEEC_ReleaseSharedMemory(&inputOnly);
}

TEST_F(TeecTest, OtherParameterTypes_AreRefusedByTheTrustedApplication) {
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_NONE, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApplication);
  operation.paramTypes =
      TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INOUT, TEEC_VALUE_INPUT, TEEC_NONE, TEEC_NONE);
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApplication);
  // A type that the standard does not have is the library's to refuse.
  operation.paramTypes = TEEC_PARAM_TYPES(4, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
}

TEST_F(TeecTest, ReferenceToNoMemory_IsRefusedInEveryPlace) {
  const std::uint32_t none = TEEC_NONE;
  for (std::size_t place = 0; place < 4; ++place) {
    std::uint32_t types[] = {none, none, none, none};
    types[place] = TEEC_MEMREF_WHOLE;
    operation.paramTypes = TEEC_PARAM_TYPES(types[0], types[1], types[2], types[3]);
    operation.params[place].memref = {nullptr, 0, 0};
    ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
  }
}

TEST_F(TeecTest, SessionThatWasNeverOpened_IsRefused) {
  TEEC_Session zero = {};
  TEEC_SharedMemory none = {};
  operation.params[0].memref = {&none, 0, 0};
  EXPECT_EQ(TEEC_InvokeCommand(&zero, 28, &operation, &origin), 0xFFFF0006);
  EXPECT_EQ(origin, kApi);
  EXPECT_EQ(TEEC_InvokeCommand(nullptr, 28, &operation, &origin), 0xFFFF0006);
  origin = 99;
  EXPECT_EQ(TEEC_InvokeCommand(nullptr, 28, nullptr, &origin), 0xFFFF0006);
  EXPECT_EQ(origin, kApi);
  EXPECT_EQ(TEEC_InvokeCommand(&session, 28, nullptr, nullptr), 0xFFFF0006)
      << "the trusted application wants its block";
}

TEST_F(TeecTest, ClosedSession_IsRefused) {
  TEEC_Session other = {};
  ASSERT_EQ(OpenSession(other), TEEC_SUCCESS);
  TEEC_CloseSession(&other);
  EXPECT_EQ(TEEC_InvokeCommand(&other, 28, &operation, &origin), TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(origin, kApi);
  ExpectInvoke(TEEC_SUCCESS, kApplication);
}

TEST_F(TeecTest, ReleasedMemory_IsRefused) {
  TEEC_SharedMemory other = {};
  other.size = 8192;
  other.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  ASSERT_EQ(TEEC_AllocateSharedMemory(&context, &other), TEEC_SUCCESS);
  TEEC_ReleaseSharedMemory(&other);
  EXPECT_EQ(other.buffer, nullptr);
  EXPECT_EQ(other.size, 0U);
  operation.params[0].memref = {&other, 8192, 0};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
}

TEST_F(TeecTest, FinalizedContext_IsRefused) {
  TEEC_Context other = {};
  ASSERT_EQ(TEEC_InitializeContext(nullptr, &other), TEEC_SUCCESS);
  TEEC_FinalizeContext(&other);
  TEEC_SharedMemory none = {};
  none.size = 1;
  none.flags = TEEC_MEM_INPUT;
  EXPECT_EQ(TEEC_AllocateSharedMemory(&other, &none), TEEC_ERROR_BAD_PARAMETERS);
}

TEST_F(TeecTest, MemoryOfAnotherContext_IsRefused) {
  TEEC_Context other = {};
  ASSERT_EQ(TEEC_InitializeContext(nullptr, &other), TEEC_SUCCESS);
  TEEC_SharedMemory foreign = {};
  foreign.size = 8192;
  foreign.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
  ASSERT_EQ(TEEC_AllocateSharedMemory(&other, &foreign), TEEC_SUCCESS);
  operation.params[0].memref = {&foreign, 8192, 0};
  ExpectInvoke(TEEC_ERROR_BAD_PARAMETERS, kApi);
  TEEC_ReleaseSharedMemory(&foreign);
  TEEC_FinalizeContext(&other);
}

TEST_F(TeecTest, DoubleRelease_IsToldOnStandardError) {
  TEEC_SharedMemory other = {};
  other.size = 1;
  other.flags = TEEC_MEM_INPUT;
  ASSERT_EQ(TEEC_AllocateSharedMemory(&context, &other), TEEC_SUCCESS);
  TEEC_ReleaseSharedMemory(&other);
  TEEC_Session never = {};
  TEEC_Context none = {};
  testing::internal::CaptureStderr();
  TEEC_ReleaseSharedMemory(&other);
  TEEC_CloseSession(&never);
  TEEC_FinalizeContext(&none);
  TEEC_ReleaseSharedMemory(nullptr);
  TEEC_CloseSession(nullptr);
  TEEC_FinalizeContext(nullptr);
  const std::string told =
      "simulated board: TEEC_ReleaseSharedMemory on a shared memory that is not open\n"
      "simulated board: TEEC_CloseSession on a session that is not open\n"
      "simulated board: TEEC_FinalizeContext on a context that is not open\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), told + told);
}

/// The journal's lines on calls, which the trusted application's model answers.
class TeecJournalTest : public TeecTest {
 protected:
  void SetUp() override {
    TeecTest::SetUp();
    small.size = kSmall;
    small.flags = TEEC_MEM_INPUT | TEEC_MEM_OUTPUT;
    ASSERT_EQ(TEEC_AllocateSharedMemory(&context, &small), TEEC_SUCCESS);
    std::memset(small.buffer, 0xA5, kSmall);
    operation = {};
    BoardEnvironment::Said();
  }
  void TearDown() override {
    TEEC_ReleaseSharedMemory(&small);
    TeecTest::TearDown();
  }

  static std::string Line(const std::string& call) { return "{\"call\":\"" + call + "}\n"; }
  static std::string Numbered(const char* name, std::uint32_t number) {
    return std::string(",\"") + name + "\":" + std::to_string(number);
  }
  static std::string Result(std::uint32_t number, const char* name) {
    return ",\"result\":{\"number\":" + std::to_string(number) + ",\"name\":\"" + name + "\"}";
  }
  static std::string BadParameters() { return Result(0xFFFF0006, "TEEC_ERROR_BAD_PARAMETERS"); }
  static std::string Success() { return Result(0, "TEEC_SUCCESS"); }
  static std::string Origin(std::uint32_t number, const std::string& name) {
    return ",\"origin\":{\"number\":" + std::to_string(number) + ",\"name\":\"TEEC_ORIGIN_" + name +
           "\"}";
  }

  /// Invokes a command that the trusted application refuses, and returns the line's parameters.
  std::string ParametersOf(std::uint32_t types) {
    operation.paramTypes = types;
    EXPECT_EQ(TEEC_InvokeCommand(&session, vam::kVamGetInfo, &operation, nullptr),
              TEEC_ERROR_BAD_PARAMETERS);
    const std::string said = BoardEnvironment::Said();
    const std::string start = Line("TEEC_InvokeCommand\"" + Numbered("session", session.number) +
                                   R"(,"command":{"number":28,"name":"vam_getInfo"})" +
                                   Numbered("paramTypes", types) + ",\"params\":");
    const std::string beginning = start.substr(0, start.size() - 2);
    EXPECT_EQ(said.substr(0, beginning.size()), beginning);
    const std::size_t end = said.find(",\"result\"");
    EXPECT_EQ(said.substr(end, BadParameters().size()), BadParameters());
    return said.substr(beginning.size(), end - beginning.size());
  }

  static constexpr std::size_t kSmall = 4;
  TEEC_SharedMemory small = {};
};

TEST_F(TeecJournalTest, Contexts_AreToldWithTheirNumbers) {
  TEEC_Context other = {};
  EXPECT_EQ(TEEC_InitializeContext("other", &other), TEEC_ERROR_ITEM_NOT_FOUND);
  EXPECT_EQ(TEEC_InitializeContext(nullptr, nullptr), TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(BoardEnvironment::Said(),
            Line("TEEC_InitializeContext\",\"name\":\"other\"" +
                 Result(0xFFFF0008, "TEEC_ERROR_ITEM_NOT_FOUND")) +
                Line("TEEC_InitializeContext\",\"name\":null" + BadParameters()));
  EXPECT_EQ(TEEC_InitializeContext(nullptr, &other), TEEC_SUCCESS);
  EXPECT_EQ(other.number, context.number + 1);
  const std::uint32_t number = other.number;
  TEEC_FinalizeContext(&other);
  EXPECT_EQ(
      BoardEnvironment::Said(),
      Line("TEEC_InitializeContext\",\"name\":null" + Success() + Numbered("context", number)) +
          Line("TEEC_FinalizeContext\"" + Numbered("context", number)));
}

TEST_F(TeecJournalTest, WhatNobodyMade_HasNoNumber) {
  testing::internal::CaptureStderr();
  TEEC_FinalizeContext(nullptr);
  TEEC_CloseSession(nullptr);
  TEEC_ReleaseSharedMemory(nullptr);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(TEEC_AllocateSharedMemory(nullptr, nullptr), TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(TEEC_RegisterSharedMemory(nullptr, nullptr), TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(TEEC_OpenSession(nullptr, nullptr, nullptr, 7, nullptr, nullptr, nullptr),
            TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(TEEC_InvokeCommand(nullptr, 99, nullptr, nullptr), TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(BoardEnvironment::Said(),
            Line(R"(TEEC_FinalizeContext","context":0)") +
                Line(R"(TEEC_CloseSession","session":0)") +
                Line(R"(TEEC_ReleaseSharedMemory","sharedMemory":0)") +
                Line(R"(TEEC_AllocateSharedMemory","context":0)" + BadParameters()) +
                Line(R"(TEEC_RegisterSharedMemory","context":0)" + BadParameters()) +
                Line(R"(TEEC_OpenSession","context":0,"destination":null,"connectionMethod":7,)"
                     R"("connectionData":null,"operation":null)" +
                     BadParameters() + Origin(1, "API")) +
                Line(R"(TEEC_InvokeCommand","session":0,"command":{"number":99})" +
                     BadParameters() + Origin(1, "API")));
}

TEST_F(TeecJournalTest, SharedMemories_AreToldWithTheirSizeAndFlags) {
  TEEC_SharedMemory made = {};
  made.size = TEEC_CONFIG_SHAREDMEM_MAX_SIZE + 1;
  made.flags = TEEC_MEM_INPUT;
  EXPECT_EQ(TEEC_AllocateSharedMemory(&context, &made), TEEC_ERROR_OUT_OF_MEMORY);
  made.size = 5;
  EXPECT_EQ(TEEC_AllocateSharedMemory(&context, &made), TEEC_SUCCESS);
  const std::uint32_t allocated = made.number;
  EXPECT_EQ(allocated, small.number + 1);
  TEEC_ReleaseSharedMemory(&made);
  std::uint8_t byte = 0;
  made = {&byte, 1, TEEC_MEM_OUTPUT, 0};
  EXPECT_EQ(TEEC_RegisterSharedMemory(&context, &made), TEEC_SUCCESS);
  EXPECT_EQ(made.number, allocated + 1);
  TEEC_ReleaseSharedMemory(&made);
  const std::string in = Numbered("context", context.number);
  EXPECT_EQ(BoardEnvironment::Said(),
            Line("TEEC_AllocateSharedMemory\"" + in + R"(,"size":524289,"flags":1)" +
                 Result(0xFFFF000C, "TEEC_ERROR_OUT_OF_MEMORY")) +
                Line("TEEC_AllocateSharedMemory\"" + in + R"(,"size":5,"flags":1)" + Success() +
                     Numbered("sharedMemory", allocated)) +
                Line("TEEC_ReleaseSharedMemory\"" + Numbered("sharedMemory", allocated)) +
                Line("TEEC_RegisterSharedMemory\"" + in + R"(,"size":1,"flags":2)" + Success() +
                     Numbered("sharedMemory", allocated + 1)) +
                Line("TEEC_ReleaseSharedMemory\"" + Numbered("sharedMemory", allocated + 1)));
}

TEST_F(TeecJournalTest, Sessions_AreToldWithWhatTheyWereAskedFor) {
  TEEC_UUID uuid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 255}};
  TEEC_Session other = {};
  operation.paramTypes = TEEC_PARAM_TYPES(TEEC_VALUE_INPUT, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  operation.params[0].value = {8, 9};
  EXPECT_EQ(TEEC_OpenSession(&context, &other, &uuid, TEEC_LOGIN_USER, "data", &operation, nullptr),
            TEEC_ERROR_BAD_PARAMETERS);
  EXPECT_EQ(TEEC_OpenSession(&context, &other, &uuid, 0, nullptr, nullptr, nullptr),
            TEEC_ERROR_ITEM_NOT_FOUND);
  const std::string asked = "TEEC_OpenSession\"" + Numbered("context", context.number) +
                            R"(,"destination":"00000001-0002-0003-0405-060708090aff")";
  EXPECT_EQ(BoardEnvironment::Said(),
            Line(asked +
                 R"(,"connectionMethod":1,"connectionData":"given","operation":"given",)"
                 R"("paramTypes":1,"params":[{"a":8,"b":9}])" +
                 BadParameters() + Origin(1, "API")) +
                Line(asked + R"(,"connectionMethod":0,"connectionData":null,"operation":null)" +
                     Result(0xFFFF0008, "TEEC_ERROR_ITEM_NOT_FOUND") + Origin(3, "TEE")));
  EXPECT_EQ(OpenSession(other), TEEC_SUCCESS);
  EXPECT_EQ(other.number, session.number + 1);
  const std::uint32_t number = other.number;
  BoardEnvironment::Said();
  TEEC_CloseSession(&other);
  EXPECT_EQ(BoardEnvironment::Said(), Line("TEEC_CloseSession\"" + Numbered("session", number)));
}

TEST_F(TeecJournalTest, Cancellations_AreToldWithWhetherThereIsAnOperation) {
  TEEC_RequestCancellation(nullptr);
  TEEC_RequestCancellation(&operation);
  EXPECT_EQ(BoardEnvironment::Said(), Line(R"(TEEC_RequestCancellation","operation":null)") +
                                          Line(R"(TEEC_RequestCancellation","operation":"given")"));
}

TEST_F(TeecJournalTest, Values_AreToldInTheirDirections) {
  operation.params[0].value = {1, 2};
  operation.params[1].value = {3, 4};
  operation.params[2].value = {5, 0xFFFFFFFF};
  EXPECT_EQ(ParametersOf(
                TEEC_PARAM_TYPES(TEEC_VALUE_INPUT, TEEC_VALUE_OUTPUT, TEEC_VALUE_INOUT, TEEC_NONE)),
            R"([{"a":1,"b":2},{"newA":3,"newB":4},)"
            R"({"a":5,"b":4294967295,"newA":5,"newB":4294967295}])");
}

TEST_F(TeecJournalTest, Parameters_AreToldUpToTheLastOne) {
  operation.params[3].value = {1, 2};
  EXPECT_EQ(ParametersOf(TEEC_PARAM_TYPES(TEEC_NONE, TEEC_NONE, TEEC_NONE, TEEC_VALUE_INPUT)),
            R"([{},{},{},{"a":1,"b":2}])");
  EXPECT_EQ(ParametersOf(TEEC_PARAM_TYPES(TEEC_NONE, TEEC_NONE, TEEC_NONE, TEEC_NONE)), "[]");
  EXPECT_EQ(ParametersOf(0x10000), "[]") << "there are four at most";
}

TEST_F(TeecJournalTest, TemporaryMemories_AreToldWithTheirBytes) {
  std::uint8_t bytes[] = {0x00, 0xFF};
  for (TEEC_Parameter& parameter : operation.params) {
    parameter.tmpref = {bytes, sizeof bytes};
  }
  operation.params[3].tmpref = {nullptr, 0};
  EXPECT_EQ(ParametersOf(TEEC_PARAM_TYPES(TEEC_MEMREF_TEMP_INPUT, TEEC_MEMREF_TEMP_OUTPUT,
                                          TEEC_MEMREF_TEMP_INOUT, TEEC_MEMREF_TEMP_INOUT)),
            R"([{"size":2,"before":"00ff"},{"size":2,"after":"00ff"},)"
            R"({"size":2,"before":"00ff","after":"00ff"},{"size":0,"before":null,"after":null}])");
  operation.params[0].tmpref = {bytes, 0};
  EXPECT_EQ(ParametersOf(TEEC_PARAM_TYPES(TEEC_MEMREF_TEMP_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE)),
            R"([{"size":0,"before":"","after":""}])");
}

TEST_F(TeecJournalTest, PartsOfAMemory_AreToldWithTheirPlace) {
  operation.params[0].memref = {&small, 2, 1};
  operation.params[1].memref = {&small, 1, 3};
  operation.params[2].memref = {&small, 4, 0};
  const std::string in = R"("sharedMemory":)" + std::to_string(small.number);
  EXPECT_EQ(ParametersOf(TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INPUT, TEEC_MEMREF_PARTIAL_OUTPUT,
                                          TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE)),
            "[{" + in + R"(,"size":2,"offset":1,"before":"a5a5"},{)" + in +
                R"(,"size":1,"offset":3,"after":"a5"},{)" + in +
                R"(,"size":4,"offset":0,"before":"a5a5a5a5","after":"a5a5a5a5"}])");
  // Parts that the memory does not have.
  operation.params[0].memref = {&small, 1, 4};
  operation.params[1].memref = {&small, 0, 5};
  operation.params[2].memref = {nullptr, 1, 2};
  EXPECT_EQ(ParametersOf(TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INPUT, TEEC_MEMREF_PARTIAL_OUTPUT,
                                          TEEC_MEMREF_PARTIAL_INPUT, TEEC_NONE)),
            "[{" + in + R"(,"size":1,"offset":4,"before":null},{)" + in +
                R"(,"size":0,"offset":5,"after":null},)"
                R"({"sharedMemory":0,"size":1,"offset":2,"before":null}])");
  // The end of the memory is a part of no bytes.
  operation.params[0].memref = {&small, 0, 4};
  EXPECT_EQ(
      ParametersOf(TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE)),
      "[{" + in + R"(,"size":0,"offset":4,"before":"","after":""}])");
}

TEST_F(TeecJournalTest, WholeMemories_AreToldInTheDirectionsOfTheirFlags) {
  TEEC_SharedMemory memories[2] = {};
  for (TEEC_SharedMemory& each : memories) {
    each.size = 1;
    each.flags = &each == memories ? TEEC_MEM_INPUT : TEEC_MEM_OUTPUT;
    ASSERT_EQ(TEEC_AllocateSharedMemory(&context, &each), TEEC_SUCCESS);
    *static_cast<std::uint8_t*>(each.buffer) = 0xB6;
  }
  BoardEnvironment::Said();
  operation.params[0].memref.parent = &memories[0];
  operation.params[1].memref.parent = &memories[1];
  operation.params[2].memref.parent = nullptr;
  EXPECT_EQ(ParametersOf(TEEC_PARAM_TYPES(TEEC_MEMREF_WHOLE, TEEC_MEMREF_WHOLE, TEEC_MEMREF_WHOLE,
                                          TEEC_NONE)),
            R"([{"sharedMemory":)" + std::to_string(memories[0].number) +
                R"(,"before":"b6"},{"sharedMemory":)" + std::to_string(memories[1].number) +
                R"(,"after":"b6"},{"sharedMemory":0}])");
  for (TEEC_SharedMemory& each : memories) {
    TEEC_ReleaseSharedMemory(&each);
  }
}

TEST_F(TeecJournalTest, MemoryOfACommandOnKeys_IsWithheld) {
  operation.paramTypes =
      TEEC_PARAM_TYPES(TEEC_MEMREF_PARTIAL_INOUT, TEEC_NONE, TEEC_NONE, TEEC_NONE);
  operation.params[0].memref = {&small, 1, 0};
  EXPECT_EQ(TEEC_InvokeCommand(&session, vam::kVamAkProvision, &operation, nullptr),
            TEEC_ERROR_BAD_PARAMETERS);
  const std::string said = BoardEnvironment::Said();
  EXPECT_NE(said.find(R"("before":{"length":1,"sha256":")"), std::string::npos) << said;
  EXPECT_NE(said.find(R"("after":{"length":1,"sha256":")"), std::string::npos) << said;
  EXPECT_EQ(said.find("\"a5\""), std::string::npos);
}

TEST(TeecHeader, ResultConstants_AreTheTableOfCodes) {
  std::map<std::string, std::uint32_t> constants;
  std::ifstream header(VAM_TEEC_HEADER);
  std::string word;
  while (header >> word) {
    std::string name;
    std::string value;
    if (word == "#define" && header >> name >> value &&
        (name == "TEEC_SUCCESS" || name.rfind("TEEC_ERROR_", 0) == 0)) {
      constants[name] = static_cast<std::uint32_t>(std::stoul(value, nullptr, 16));
    }
  }
  std::map<std::string, std::uint32_t> table;
  for (const vam::TeeCode& code : vam::kTeeCodes) {
    table[code.name] = code.value;
  }
  EXPECT_EQ(constants, table);
}

}  // namespace
