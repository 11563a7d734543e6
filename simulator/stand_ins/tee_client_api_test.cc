// The stand-in as a program meets it that is on no board, and on one.

#include "simulator/stand_ins/tee_client_api.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
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
    const std::string board = "title = \"Board\"\n[image]\nsystem_version = \"1\"\n[chip]\n";
    vam::PrepareStateFolder(state, vam::ReadBoardText(board, "board.toml"), folder.Path());
    vam::Run::Prepare(run, board, "board.toml", state, "");
    ASSERT_EQ(setenv(vam::Run::kEnvironmentVariable, run.c_str(), 1), 0);
    ASSERT_EQ(TEEC_InitializeContext(nullptr, &context), TEEC_SUCCESS);
    const TEEC_UUID uuid = VamUuid();
    ASSERT_EQ(
        TEEC_OpenSession(&context, &session, &uuid, TEEC_LOGIN_PUBLIC, nullptr, nullptr, nullptr),
        TEEC_SUCCESS);
  }
  void TearDown() override {
    TEEC_CloseSession(&session);
    TEEC_FinalizeContext(&context);
  }

 private:
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
