#include "simulator/model/trusted_application.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "interface/trusted_application.h"
#include "report/result_codes.h"
#include "report/tee_codes.h"
#include "simulator/model/environment_test.h"

namespace vam {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Faults that apply to every invocation of their command and mode.
class ListedFaults final : public AnswerFaults {
 public:
  uint32_t Count() override { return static_cast<uint32_t>(faults.size()); }
  const AnswerFault* Select(uint32_t index, uint32_t command, bool hasMode, int32_t mode) override {
    const AnswerFault& fault = faults.at(index);
    const bool applies =
        fault.command == command && (fault.hasMode == 0 || (hasMode && fault.mode == mode));
    return applies ? &fault : nullptr;
  }
  void Applied(uint32_t index) override { applied.push_back(index); }

  std::vector<AnswerFault> faults;
  /// The places of those that changed an answer, in that order.
  std::vector<uint32_t> applied;
};

std::string Text(const VersionText& version) {
  return std::string(version.text, version.text + version.length);
}

/// An image with parts of these sizes.
std::vector<uint8_t> ImageOfSizes(uint32_t systemSize, uint32_t appSize) {
  return Image(std::vector<uint8_t>(systemSize, 0x5A), std::vector<uint8_t>(appSize, 0x5A));
}

/// What an update command answers.
struct UpdateAnswer {
  uint32_t result = 0xDEADBEEF;
  int32_t vamCode = 0;
  int32_t fwCode = 0;
  std::string system;
  std::string app;
  /// Bytes that the system version's size announces.
  uint32_t systemSize = 0;
};

class TrustedApplicationTest : public testing::Test {
 protected:
  TrustedApplicationTest() {
    image.bytes = ImageOfSizes(3, 2);
    StoredChipMemory chip{};
    chip.memory.implementsUpdates = 1;
    chip.memory.selfTestPasses = 1;
    chip.memory.partCapacity = 1024;
    chip.memory.system.version = Version("1.0,17");
    chip.memory.app.version = Version("1.9");
    Store(chip);
  }

  void Store(StoredChipMemory& chip) {
    EXPECT_TRUE(SaveChipMemory(store, digest, chip));
    store.writes = 0;
  }
  StoredChipMemory Chip() {
    StoredChipMemory chip{};
    EXPECT_TRUE(LoadChipMemory(store, digest, chip));
    return chip;
  }
  /// Changes one thing of the chip's memory.
  template <typename Change>
  void ChangeChip(Change change) {
    StoredChipMemory chip = Chip();
    change(chip.memory);
    Store(chip);
  }

  void BeginRequest() { block.assign(8192, 0); }
  ValueCursor Cursor() { return {block.data(), block.size(), kFirstValue}; }

  uint32_t Invoke(uint32_t command) {
    TrustedApplication application(store, image, digest, faults);
    return application.Invoke(command, block.data(), block.size());
  }
  /// Invokes a command that has neither request nor reply.
  uint32_t InvokeAlone(uint32_t command) {
    BeginRequest();
    return Invoke(command);
  }

  uint32_t SendMode(uint32_t command, int32_t mode) {
    BeginRequest();
    ValueCursor request = Cursor();
    EXPECT_TRUE(put_int(request, mode));
    return Invoke(command);
  }

  UpdateAnswer Update(int32_t mode) {
    UpdateAnswer answer;
    answer.result = SendMode(kVmUpdateFw, mode);
    ValueCursor reply = Cursor();
    const uint8_t* record = get_blob(reply, 8);
    if (record == nullptr) {
      return answer;
    }
    std::memcpy(&answer.vamCode, record, 4);
    std::memcpy(&answer.fwCode, record + 4, 4);
    answer.system = GetVersion(reply, answer.systemSize);
    uint32_t appSize = 0;
    answer.app = GetVersion(reply, appSize);
    return answer;
  }

  static std::string GetVersion(ValueCursor& reply, uint32_t& size) {
    if (!get_uint(reply, &size)) {
      return "(no size)";
    }
    const uint8_t* text = get_blob(reply, size);
    return text == nullptr ? "(no version)" : std::string(text, text + size);
  }

  uint32_t SendRecord(uint32_t command, const std::vector<uint8_t>& record) {
    BeginRequest();
    ValueCursor request = Cursor();
    const auto length = static_cast<uint32_t>(record.size());
    EXPECT_TRUE(put_uint(request, length));
    EXPECT_TRUE(put_blob(request, record.data(), length));
    return Invoke(command);
  }

  static void ExpectVersions(const UpdateAnswer& answer, const std::string& system,
                             const std::string& app) {
    EXPECT_EQ(answer.result, kTeeSuccess);
    EXPECT_EQ(answer.vamCode, 0);
    EXPECT_EQ(answer.fwCode, 0);
    // They travel with a terminating zero that the size counts.
    EXPECT_EQ(answer.system, system + '\0');
    EXPECT_EQ(answer.app, app + '\0');
  }
  /// A record of failure, and a system size of 0 at which the reply ends.
  static void ExpectFailure(const UpdateAnswer& answer, int32_t vamCode, int32_t fwCode) {
    EXPECT_EQ(answer.result, kTeeSuccess);
    EXPECT_EQ(answer.vamCode, vamCode);
    EXPECT_EQ(answer.fwCode, fwCode);
    EXPECT_EQ(answer.systemSize, 0U);
    EXPECT_EQ(answer.app, "(no size)");
  }

  MemoryStore store;
  MemoryImage image;
  Sha256 digest;
  ListedFaults faults;
  std::vector<uint8_t> block;
};

TEST_F(TrustedApplicationTest, Mode7_ReportsTheImageAndWritesNothing) {
  ExpectVersions(Update(7), "1.1,XX", "2.0");
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, Mode11_ReportsTheChip) {
  ExpectVersions(Update(11), "1.0,17", "1.9");
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, Mode3_WritesTheImageInFourSteps) {
  ExpectVersions(Update(3), "1.1,04", "2.0");
  EXPECT_EQ(store.writes, 4);
  const ChipMemory memory = Chip().memory;
  EXPECT_EQ(memory.state, kChipWhole);
  EXPECT_EQ(Text(memory.system.version), "1.1,04");
  EXPECT_EQ(memory.system.size, 3U);
  EXPECT_EQ(Text(memory.app.version), "2.0");
  EXPECT_EQ(memory.app.size, 2U);
  // The chip keeps the digests of what it was given.
  uint8_t expected[kDigestSize];
  SHA256(image.bytes.data() + sizeof(ImageHeader), 3, expected);
  EXPECT_EQ(std::memcmp(memory.system.digest, expected, kDigestSize), 0);
  SHA256(image.bytes.data() + sizeof(ImageHeader) + 3, 2, expected);
  EXPECT_EQ(std::memcmp(memory.app.digest, expected, kDigestSize), 0);
  EXPECT_EQ(std::memcmp(memory.imageDigest, image.bytes.data() + image.bytes.size() - kDigestSize,
                        kDigestSize),
            0);
  ExpectVersions(Update(11), "1.1,04", "2.0");
}

TEST_F(TrustedApplicationTest, LongestVersions_AreReportedWhole) {
  const std::string longest(kVersionCapacity, 'v');
  image.bytes = Image({1}, {2}, {longest, longest, longest, longest});
  ExpectVersions(Update(7), longest, longest);
  ExpectVersions(Update(3), longest, longest);
  ExpectVersions(Update(11), longest, longest);
}

TEST_F(TrustedApplicationTest, RecoveredChipThatRanTheImage_IsWrittenAgain) {
  Update(3);
  ChangeChip([](ChipMemory& memory) { memory.state = kChipRecovered; });
  ExpectVersions(Update(3), "1.1,04", "2.0");
  EXPECT_EQ(store.writes, 4);
}

TEST_F(TrustedApplicationTest, UpdateThatBegan_ForgetsTheImageBefore) {
  Update(3);
  image.bytes = ImageOfSizes(4, 4);
  for (int writes = 1; writes < 4; ++writes) {
    store.writes = 0;
    store.writesTaken = writes;
    Update(3);
    EXPECT_THAT(Chip().memory.imageDigest, Each(0)) << writes;
    store.writesTaken = 1000;
    EXPECT_EQ(InvokeAlone(kVamForceRecoverySp), kTeeSuccess);
  }
}

TEST_F(TrustedApplicationTest, Mode3Again_WritesTheSameImageOnce) {
  Update(3);
  store.writes = 0;
  ExpectVersions(Update(3), "1.1,04", "2.0");
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, Mode3_PayloadDiffersInOneByte_WritesTheImage) {
  Update(3);
  store.writes = 0;
  image.bytes = Image({0x5A, 0x5A, 0x5B}, {0x5A, 0x5A});
  ExpectVersions(Update(3), "1.1,04", "2.0");
  EXPECT_EQ(store.writes, 4);
}

TEST_F(TrustedApplicationTest, MissingImage_IsDataNotFound) {
  image.present = false;
  ExpectFailure(Update(7), VAM_RET_DATA_NOT_FOUND, 0);
  ExpectFailure(Update(3), VAM_RET_DATA_NOT_FOUND, 0);
  EXPECT_EQ(store.writes, 0);
  ExpectVersions(Update(11), "1.0,17", "1.9");
}

TEST_F(TrustedApplicationTest, DamagedImage_IsInvalidInputData) {
  image.bytes.back() ^= 1;
  ExpectFailure(Update(7), VAM_RET_INVALID_INPUT_DATA, 0);
  ExpectFailure(Update(3), VAM_RET_INVALID_INPUT_DATA, 0);
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, DamagedChip_IsAStorageError) {
  store.stored.back() ^= 1;
  ExpectVersions(Update(7), "1.1,XX", "2.0");
  ExpectFailure(Update(3), VAM_RET_STORAGE_ERROR, -ZELK_CORE_ERROR);
  ExpectFailure(Update(11), VAM_RET_STORAGE_ERROR, -ZELK_CORE_ERROR);
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, InterruptedChip_WaitsForARecovery) {
  ChangeChip([](ChipMemory& memory) { memory.state = kChipInterrupted; });
  ExpectFailure(Update(3), VAM_RET_CORE_ERROR, -ZELK_FW_ERROR);
  ExpectFailure(Update(11), VAM_RET_CORE_ERROR, -ZELK_FW_ERROR);
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, PartBeyondTheChipsRoom_IsAStorageError) {
  for (const bool system : {true, false}) {
    image.bytes = system ? ImageOfSizes(1025, 1) : ImageOfSizes(1, 1025);
    ExpectFailure(Update(3), VAM_RET_STORAGE_ERROR, -ZELK_BUFFER_NOT_ENOUGH);
  }
  EXPECT_EQ(store.writes, 0);
  image.bytes = ImageOfSizes(1024, 1024);
  ExpectVersions(Update(3), "1.1,04", "2.0");
}

TEST_F(TrustedApplicationTest, ChipThatTakesNoWrite_IsAStorageErrorAndStaysAsItWas) {
  store.writesTaken = 0;
  ExpectFailure(Update(3), VAM_RET_STORAGE_ERROR, -ZELK_CORE_ERROR);
  ExpectVersions(Update(11), "1.0,17", "1.9");
}

TEST_F(TrustedApplicationTest, BranchWithoutUpdates_SaysSoInEveryModeWithVersions) {
  ChangeChip([](ChipMemory& memory) { memory.implementsUpdates = 0; });
  for (const int mode : {7, 3, 11}) {
    const UpdateAnswer answer = Update(mode);
    EXPECT_EQ(answer.result, kTeeSuccess);
    EXPECT_EQ(answer.vamCode, VAM_RET_NOT_IMPLEMENTED);
    EXPECT_EQ(answer.fwCode, 0);
    EXPECT_EQ(answer.app, (mode == 7 ? std::string("2.0") : std::string("1.9")) + '\0');
  }
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, UnknownMode_IsAnInvalidParameter) {
  for (const int mode : {0, -1, 4, 15}) {
    ExpectFailure(Update(mode), VAM_RET_INVALID_PARAM, 0);
  }
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, UpdateWithoutMode_IsABadFormat) {
  for (const uint32_t command : {kVmUpdateFw, kVamUpdateFw}) {
    EXPECT_EQ(InvokeAlone(command), kTeeErrorBadFormat);
  }
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, OlderUpdate_WorksAndAnswersByItsResult) {
  EXPECT_EQ(SendMode(kVamUpdateFw, 3), kTeeSuccess);
  EXPECT_EQ(store.writes, 4);
  EXPECT_EQ(SendMode(kVamUpdateFw, 11), kTeeSuccess);
  EXPECT_EQ(SendMode(kVamUpdateFw, 4), kTeeErrorGeneric);
  image.present = false;
  EXPECT_EQ(SendMode(kVamUpdateFw, 7), kTeeErrorGeneric);
}

TEST_F(TrustedApplicationTest, InformationWords_AreSentWithTheirNumber) {
  for (const uint32_t command : {kVmGetFwInfo, kVamGetFwInfo}) {
    ChangeChip([](ChipMemory& memory) {
      memory.informationCount = 2;
      memory.information[0] = 0x01020304;
      memory.information[1] = 0xFFFFFFFF;
    });
    EXPECT_EQ(InvokeAlone(command), kTeeSuccess);
    ValueCursor reply = Cursor();
    uint32_t total = 0;
    EXPECT_TRUE(get_uint(reply, &total));
    EXPECT_EQ(total, 2U);
    const uint8_t* words = get_blob(reply, 8);
    ASSERT_NE(words, nullptr);
    EXPECT_THAT(std::vector<uint8_t>(words, words + 8),
                ElementsAre(4, 3, 2, 1, 0xFF, 0xFF, 0xFF, 0xFF));

    ChangeChip([](ChipMemory& memory) { memory.informationCount = 0; });
    EXPECT_EQ(InvokeAlone(command), kTeeSuccess);
    reply = Cursor();
    EXPECT_TRUE(get_uint(reply, &total));
    EXPECT_EQ(total, 0U);
  }
}

TEST_F(TrustedApplicationTest, HackInformation_IsSentWithItsLength) {
  ChangeChip([](ChipMemory& memory) {
    memory.hackInformationSize = 2;
    memory.hackInformation[0] = 7;
    memory.hackInformation[1] = 8;
  });
  EXPECT_EQ(InvokeAlone(kVamGetHackInfo), kTeeSuccess);
  ValueCursor reply = Cursor();
  int32_t count = 0;
  EXPECT_TRUE(get_int(reply, &count));
  EXPECT_EQ(count, 2);
  const uint8_t* record = get_blob(reply, 2);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record[1], 8);

  ChangeChip([](ChipMemory& memory) { memory.hackInformationSize = 0; });
  EXPECT_EQ(InvokeAlone(kVamGetHackInfo), kTeeSuccess);
  reply = Cursor();
  EXPECT_TRUE(get_int(reply, &count));
  EXPECT_EQ(count, 0);
}

TEST_F(TrustedApplicationTest, AkRecord_IsProvisionedCheckedAndRemoved) {
  const std::vector<uint8_t> record = {1, 2, 3};
  EXPECT_EQ(InvokeAlone(kVamGetPublicKeyStatus), kTeeErrorItemNotFound);
  EXPECT_EQ(SendRecord(kVamCheckVamAk, record), kTeeErrorItemNotFound);
  EXPECT_EQ(InvokeAlone(kVamRemoveAkKeys), kTeeErrorItemNotFound);

  EXPECT_EQ(SendRecord(kVamAkProvision, record), kTeeSuccess);
  EXPECT_EQ(InvokeAlone(kVamGetPublicKeyStatus), kTeeSuccess);
  EXPECT_EQ(SendRecord(kVamCheckVamAk, record), kTeeSuccess);
  EXPECT_EQ(SendRecord(kVamCheckVamAk, {1, 2, 4}), kTeeErrorSecurity);
  EXPECT_EQ(SendRecord(kVamCheckVamAk, {1, 2}), kTeeErrorSecurity);
  EXPECT_EQ(SendRecord(kVamCheckVamAk, {1, 2, 3, 0}), kTeeErrorSecurity);

  // A shorter record leaves nothing of the longer one.
  EXPECT_EQ(SendRecord(kVamAkProvision, {9}), kTeeSuccess);
  EXPECT_EQ(SendRecord(kVamCheckVamAk, {9}), kTeeSuccess);
  EXPECT_EQ(SendRecord(kVamCheckVamAk, {9, 2, 3}), kTeeErrorSecurity);
  EXPECT_EQ(Chip().memory.akRecord[1], 0);

  EXPECT_EQ(InvokeAlone(kVamRemoveAkKeys), kTeeSuccess);
  EXPECT_EQ(InvokeAlone(kVamGetPublicKeyStatus), kTeeErrorItemNotFound);
  EXPECT_THAT(Chip().memory.akRecord, Each(0));
}

TEST_F(TrustedApplicationTest, AkRecordOfAWrongLength_IsRefused) {
  for (const uint32_t command : {kVamAkProvision, kVamCheckVamAk}) {
    EXPECT_EQ(SendRecord(command, {}), kTeeErrorBadParameters);
    EXPECT_EQ(SendRecord(command, std::vector<uint8_t>(2049, 1)), kTeeErrorBadParameters);
    EXPECT_EQ(InvokeAlone(command), kTeeErrorBadFormat);
    // A length that the blob does not have.
    BeginRequest();
    ValueCursor request = Cursor();
    ASSERT_TRUE(put_uint(request, 3) && put_blob(request, "ab", 2));
    EXPECT_EQ(Invoke(command), kTeeErrorBadFormat);
  }
  EXPECT_EQ(store.writes, 0);
  EXPECT_EQ(SendRecord(kVamAkProvision, std::vector<uint8_t>(2048, 1)), kTeeSuccess);
}

TEST_F(TrustedApplicationTest, RecordOfTheReplayProtectedBlock_BecomesTheAkRecord) {
  EXPECT_EQ(InvokeAlone(kVamAkProvisionRpmb), kTeeErrorItemNotFound);
  ChangeChip([](ChipMemory& memory) {
    memory.rpmbRecordSize = 2;
    memory.rpmbRecord[0] = 0xA0;
    memory.rpmbRecord[1] = 0xA1;
  });
  EXPECT_EQ(InvokeAlone(kVamAkProvisionRpmb), kTeeSuccess);
  EXPECT_EQ(SendRecord(kVamCheckVamAk, {0xA0, 0xA1}), kTeeSuccess);
}

TEST_F(TrustedApplicationTest, ProvisionedRecord_LeavesTheRestOfTheMemory) {
  ChangeChip([](ChipMemory& memory) {
    memory.rpmbRecordSize = kAkRecordCapacity;
    std::memset(memory.akRecord, 0xA5, sizeof memory.akRecord);
    std::memset(memory.rpmbRecord, 0xB6, sizeof memory.rpmbRecord);
    memory.informationCount = 1;
    memory.hackInformationSize = kHackInformationCapacity;
    std::memset(memory.hackInformation, 0xC7, sizeof memory.hackInformation);
  });
  ChipMemory expected = Chip().memory;
  EXPECT_EQ(SendRecord(kVamAkProvision, {9}), kTeeSuccess);
  expected.akRecordSize = 1;
  std::memset(expected.akRecord, 0, sizeof expected.akRecord);
  expected.akRecord[0] = 9;
  ChipMemory after = Chip().memory;
  EXPECT_EQ(std::memcmp(&after, &expected, sizeof expected), 0);

  EXPECT_EQ(InvokeAlone(kVamAkProvisionRpmb), kTeeSuccess);
  expected.akRecordSize = kAkRecordCapacity;
  std::memset(expected.akRecord, 0xB6, sizeof expected.akRecord);
  after = Chip().memory;
  EXPECT_EQ(std::memcmp(&after, &expected, sizeof expected), 0);

  EXPECT_EQ(InvokeAlone(kVamRemoveAkKeys), kTeeSuccess);
  expected.akRecordSize = 0;
  std::memset(expected.akRecord, 0, sizeof expected.akRecord);
  after = Chip().memory;
  EXPECT_EQ(std::memcmp(&after, &expected, sizeof expected), 0);
}

TEST_F(TrustedApplicationTest, SelfTest_AnswersAsTheChipIs) {
  EXPECT_EQ(InvokeAlone(kVamSelfTestAll), kTeeSuccess);
  ChangeChip([](ChipMemory& memory) { memory.selfTestPasses = 0; });
  EXPECT_EQ(InvokeAlone(kVamSelfTestAll), kTeeErrorGeneric);
  ChangeChip([](ChipMemory& memory) { memory.state = kChipInterrupted; });
  EXPECT_EQ(InvokeAlone(kVamSelfTestAll), kTeeErrorBadState);
}

TEST_F(TrustedApplicationTest, InformationReports_SucceedOnAChipThatIsReadable) {
  for (const uint32_t command : {kVamGetInfo, kVamGetAppInfo}) {
    EXPECT_EQ(InvokeAlone(command), kTeeSuccess);
  }
}

TEST_F(TrustedApplicationTest, DamagedChip_AnswersBadStateToEveryOtherCommand) {
  store.stored[100] ^= 1;
  for (const uint32_t command :
       {kVmGetFwInfo, kVamGetFwInfo, kVamGetHackInfo, kVamAkProvisionRpmb, kVamGetPublicKeyStatus,
        kVamRemoveAkKeys, kVamSelfTestAll, kVamGetInfo, kVamGetAppInfo, kVamForceRecoverySp}) {
    EXPECT_EQ(InvokeAlone(command), kTeeErrorBadState) << command;
  }
  EXPECT_EQ(SendRecord(kVamAkProvision, {1}), kTeeErrorBadState);
  EXPECT_EQ(SendRecord(kVamCheckVamAk, {1}), kTeeErrorBadState);
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, WriteThatTheStoreRefuses_IsAGenericError) {
  ChangeChip([](ChipMemory& memory) {
    memory.akRecordSize = 1;
    memory.rpmbRecordSize = 1;
  });
  store.writesTaken = 0;
  EXPECT_EQ(SendRecord(kVamAkProvision, {1}), kTeeErrorGeneric);
  EXPECT_EQ(InvokeAlone(kVamAkProvisionRpmb), kTeeErrorGeneric);
  EXPECT_EQ(InvokeAlone(kVamRemoveAkKeys), kTeeErrorGeneric);
  store.stored.clear();
  EXPECT_EQ(InvokeAlone(kVamForceRecovery), kTeeErrorGeneric);
}

TEST_F(TrustedApplicationTest, RecoveryOfAWholeChip_ChangesNothing) {
  for (const uint32_t command : {kVamForceRecovery, kVamForceRecoverySp}) {
    EXPECT_EQ(InvokeAlone(command), kTeeSuccess);
  }
  EXPECT_EQ(store.writes, 0);
}

TEST_F(TrustedApplicationTest, RecoveryOfADamagedChip_LeavesAnEmptyOneThatTakesAnUpdate) {
  store.stored.back() ^= 1;
  EXPECT_EQ(InvokeAlone(kVamForceRecovery), kTeeSuccess);
  ExpectVersions(Update(11), "", "");
  ExpectVersions(Update(3), "1.1,04", "2.0");
  ExpectVersions(Update(11), "1.1,04", "2.0");
}

TEST_F(TrustedApplicationTest, RecoveryOfADamagedChip_KeepsNothingOfIt) {
  ChangeChip([](ChipMemory& memory) {
    memory.akRecordSize = 3;
    std::memset(memory.akRecord, 0xA5, sizeof memory.akRecord);
    memory.informationCount = 2;
    memory.state = kChipInterrupted;
  });
  store.stored.back() ^= 1;
  EXPECT_EQ(InvokeAlone(kVamForceRecovery), kTeeSuccess);
  ChipMemory expected{};
  expected.state = kChipRecovered;
  expected.implementsUpdates = 1;
  expected.selfTestPasses = 1;
  expected.partCapacity = kPartSizeLimit;
  const ChipMemory after = Chip().memory;
  EXPECT_EQ(std::memcmp(&after, &expected, sizeof expected), 0);
}

TEST_F(TrustedApplicationTest, RecoveryOfAnInterruptedChip_KeepsWhatIsNoFirmware) {
  ChangeChip([](ChipMemory& memory) {
    memory.state = kChipInterrupted;
    memory.akRecordSize = 3;
    memory.akRecord[0] = 0xA5;
    memory.system.size = 7;
    memory.system.digest[0] = 7;
    memory.app.size = 8;
    memory.app.digest[0] = 8;
  });
  const std::vector<uint8_t> before = store.stored;
  for (const uint32_t recovery : {kVamForceRecovery, kVamForceRecoverySp}) {
    store.stored = before;
    ChipMemory expected = Chip().memory;
    expected.state = kChipRecovered;
    expected.system = {};
    if (recovery == kVamForceRecovery) {
      expected.app = {};
    }
    EXPECT_EQ(InvokeAlone(recovery), kTeeSuccess);
    const ChipMemory after = Chip().memory;
    EXPECT_EQ(std::memcmp(&after, &expected, sizeof expected), 0) << recovery;
  }
}

TEST_F(TrustedApplicationTest, RecoveryOfTheSystemPart_KeepsTheAppPart) {
  ChangeChip([](ChipMemory& memory) { memory.state = kChipInterrupted; });
  EXPECT_EQ(InvokeAlone(kVamForceRecoverySp), kTeeSuccess);
  ExpectVersions(Update(11), "", "1.9");
}

TEST_F(TrustedApplicationTest, RecoveryOfTheChip_ErasesBothParts) {
  ChangeChip([](ChipMemory& memory) { memory.state = kChipInterrupted; });
  EXPECT_EQ(InvokeAlone(kVamForceRecovery), kTeeSuccess);
  ExpectVersions(Update(11), "", "");
}

TEST_F(TrustedApplicationTest, PowerCutAtAnyWrite_LeavesAChipThatCanBeRecovered) {
  const std::vector<uint8_t> before = store.stored;
  for (const uint32_t recovery : {kVamForceRecovery, kVamForceRecoverySp}) {
    for (int writes = 0; writes <= 4; ++writes) {
      store.stored = before;
      store.writes = 0;
      // What the store no longer takes is what the power no longer wrote.
      store.writesTaken = writes;
      Update(3);
      store.writesTaken = 1000;
      EXPECT_EQ(Chip().memory.state, writes == 0 || writes == 4 ? kChipWhole : kChipInterrupted);
      EXPECT_EQ(InvokeAlone(recovery), kTeeSuccess);
      ExpectVersions(Update(3), "1.1,04", "2.0");
      ExpectVersions(Update(11), "1.1,04", "2.0");
      EXPECT_EQ(Chip().memory.state, kChipWhole);
    }
  }
}

TEST_F(TrustedApplicationTest, UnknownCommand_IsNotSupported) {
  uint32_t known = 0;
  for (uint32_t command = 0; command < 256; ++command) {
    const bool named =
        std::any_of(std::begin(kCommands), std::end(kCommands),
                    [=](const NamedCommand& each) { return each.identifier == command; });
    EXPECT_EQ(InvokeAlone(command) != kTeeErrorNotSupported, named) << command;
    known += named ? 1 : 0;
  }
  EXPECT_EQ(known, std::size(kCommands)) << "a command above 255 is not looked at";
  EXPECT_EQ(InvokeAlone(0xFFFFFFFF), kTeeErrorNotSupported);
}

TEST_F(TrustedApplicationTest, BlockWithoutARequest_IsRefusedAndUnchanged) {
  for (const size_t size : {size_t{0}, size_t{1}, size_t{4}, size_t{8}}) {
    std::vector<uint8_t> small(size, 0xFF);
    TrustedApplication application(store, image, digest, faults);
    EXPECT_EQ(application.Invoke(kVmUpdateFw, small.data(), size), kTeeErrorBadFormat);
    EXPECT_THAT(small, Each(0xFF));
  }
}

TEST(TeeResultTest, Result_IsTheCodeOfItsName) {
  struct NamedResult {
    TeeResult result;
    const char* name;
  };
  constexpr NamedResult kResults[] = {
      {kTeeSuccess, "TEEC_SUCCESS"},
      {kTeeErrorGeneric, "TEEC_ERROR_GENERIC"},
      {kTeeErrorBadFormat, "TEEC_ERROR_BAD_FORMAT"},
      {kTeeErrorBadParameters, "TEEC_ERROR_BAD_PARAMETERS"},
      {kTeeErrorBadState, "TEEC_ERROR_BAD_STATE"},
      {kTeeErrorItemNotFound, "TEEC_ERROR_ITEM_NOT_FOUND"},
      {kTeeErrorNotSupported, "TEEC_ERROR_NOT_SUPPORTED"},
      {kTeeErrorSecurity, "TEEC_ERROR_SECURITY"},
  };
  for (const NamedResult& each : kResults) {
    EXPECT_EQ(TeeCodeByName(each.name), std::optional<uint32_t>(each.result)) << each.name;
  }
}

TEST_F(TrustedApplicationTest, ReplyThatDoesNotFit_EndsBeforeTheItem) {
  // The record and the version's size fit, and after them another number would.
  constexpr size_t kRecord = 5 + 8;
  constexpr size_t kNumber = 5;
  block.assign(kFirstValue + kRecord + kNumber + kNumber, 0);
  ValueCursor request = Cursor();
  ASSERT_TRUE(put_int(request, 7));
  EXPECT_EQ(Invoke(kVmUpdateFw), kTeeSuccess);
  EXPECT_EQ(block[0], kFirstValue + kRecord + kNumber);
}

AnswerFault UpdateFault(AnswerFaultKind kind, uint32_t item = 0) {
  AnswerFault fault{};
  fault.kind = kind;
  fault.command = kVmUpdateFw;
  fault.hasMode = 1;
  fault.mode = 3;
  fault.item = item;
  return fault;
}

TEST_F(TrustedApplicationTest, FaultWithAResult_FailsTheCommandUndone) {
  AnswerFault fault = UpdateFault(kFailCommand);
  fault.result = 0xFFFF000D;
  faults.faults = {fault};
  EXPECT_EQ(SendMode(kVmUpdateFw, 3), 0xFFFF000D);
  EXPECT_EQ(store.writes, 0);
  ExpectVersions(Update(11), "1.0,17", "1.9");
}

TEST_F(TrustedApplicationTest, FaultWithARecord_ReplacesTheRecordAlone) {
  AnswerFault fault = UpdateFault(kReplaceRecord);
  fault.vamCode = 7;
  fault.fwCode = -11;
  faults.faults = {fault};
  const UpdateAnswer answer = Update(3);
  EXPECT_EQ(answer.vamCode, 7);
  EXPECT_EQ(answer.fwCode, -11);
  EXPECT_EQ(answer.system, std::string("1.1,04") + '\0');
  EXPECT_EQ(store.writes, 4);
}

TEST_F(TrustedApplicationTest, FaultThatOmitsOrCutsAnItem_EndsTheReplyThere) {
  for (const AnswerFaultKind kind : {kOmitItem, kCutItem}) {
    for (uint32_t item = 1; item <= 5; ++item) {
      faults.faults = {UpdateFault(kind, item)};
      EXPECT_EQ(SendMode(kVmUpdateFw, 3), kTeeSuccess);
      ValueCursor reply = Cursor();
      int32_t mode = 0;
      EXPECT_FALSE(get_int(reply, &mode)) << "the request is no reply";
      uint32_t size = 0;
      uint32_t items = 0;
      items += get_blob(reply, 8) != nullptr ? 1 : 0;
      items += get_uint(reply, &size) ? 1 : 0;
      items += get_blob(reply, size) != nullptr ? 1 : 0;
      items += get_uint(reply, &size) ? 1 : 0;
      items += get_blob(reply, size) != nullptr ? 1 : 0;
      EXPECT_EQ(items, item - 1);
    }
  }
}

TEST_F(TrustedApplicationTest, FaultsWithValues_ReplaceTheirItems) {
  AnswerFault size = UpdateFault(kReplaceByNumber, 2);
  size.number = 2;
  AnswerFault version = UpdateFault(kReplaceByBytes, 3);
  version.byteCount = 2;
  std::memcpy(version.bytes, "ab", 2);
  faults.faults = {size, version};
  const UpdateAnswer answer = Update(3);
  EXPECT_EQ(answer.systemSize, 2U);
  EXPECT_EQ(answer.system, "ab");
  EXPECT_EQ(answer.app, std::string("2.0") + '\0');
}

TEST_F(TrustedApplicationTest, FaultWithANumberForASignedItem_IsSigned) {
  ChangeChip([](ChipMemory& memory) { memory.hackInformationSize = 1; });
  AnswerFault fault{};
  fault.kind = kReplaceByNumber;
  fault.command = kVamGetHackInfo;
  fault.item = 1;
  fault.number = 0xFFFFFFFB;
  faults.faults = {fault};
  EXPECT_EQ(InvokeAlone(kVamGetHackInfo), kTeeSuccess);
  ValueCursor reply = Cursor();
  int32_t count = 0;
  EXPECT_TRUE(get_int(reply, &count));
  EXPECT_EQ(count, -5);
}

TEST_F(TrustedApplicationTest, FaultOfAnotherMode_ChangesNothing) {
  AnswerFault fault = UpdateFault(kFailCommand);
  fault.result = 0xFFFF000D;
  faults.faults = {fault};
  ExpectVersions(Update(7), "1.1,XX", "2.0");
  EXPECT_THAT(faults.applied, IsEmpty());
}

TEST_F(TrustedApplicationTest, FaultThatCutsAfterAByte_LeavesThatManyBytesOfTheItem) {
  // The record has a tag, its length and 8 bytes.
  for (uint32_t kept = 1; kept < 13; ++kept) {
    faults.faults = {UpdateFault(kCutItem, 1)};
    faults.faults[0].number = kept;
    EXPECT_EQ(SendMode(kVmUpdateFw, 3), kTeeSuccess);
    EXPECT_EQ(block[0], kFirstValue + kept);
  }
}

TEST_F(TrustedApplicationTest, FaultThatCutsWithoutAPlace_LeavesHalfOfTheItem) {
  faults.faults = {UpdateFault(kCutItem, 1)};
  EXPECT_EQ(SendMode(kVmUpdateFw, 3), kTeeSuccess);
  EXPECT_EQ(block[0], kFirstValue + 13 / 2);
}

TEST_F(TrustedApplicationTest, FaultsBeyondTheMost_ChangeNothing) {
  // Each cuts a later item than the reply has, so that the next one may change it.
  faults.faults.assign(kFaultsPerCommand - 1, UpdateFault(kCutItem, 9));
  AnswerFault last = UpdateFault(kReplaceRecord);
  last.vamCode = 7;
  faults.faults.push_back(last);
  AnswerFault tooMany = UpdateFault(kReplaceRecord);
  tooMany.vamCode = 8;
  faults.faults.push_back(tooMany);
  EXPECT_EQ(Update(3).vamCode, 7);
  EXPECT_THAT(faults.applied, ElementsAre(kFaultsPerCommand - 1));
}

TEST_F(TrustedApplicationTest, FaultThatCutsAfterTheLastByte_IsNotApplied) {
  faults.faults = {UpdateFault(kCutItem, 1)};
  faults.faults[0].number = 13;
  ExpectVersions(Update(7), "1.1,XX", "2.0");
  EXPECT_THAT(faults.applied, IsEmpty());
}

TEST_F(TrustedApplicationTest, Fault_WhoseItemTheReplyLacks_IsNotApplied) {
  faults.faults = {UpdateFault(kCutItem, 4), UpdateFault(kReplaceRecord)};
  ChangeChip([](ChipMemory& memory) { memory.state = kChipInterrupted; });
  EXPECT_EQ(SendMode(kVmUpdateFw, 3), kTeeSuccess);
  EXPECT_THAT(faults.applied, ElementsAre(1));
}

TEST_F(TrustedApplicationTest, Fault_AfterTheEndOfTheReply_IsNotApplied) {
  faults.faults = {UpdateFault(kCutItem, 4), UpdateFault(kOmitItem, 2),
                   UpdateFault(kReplaceByNumber, 2), UpdateFault(kOmitItem, 2)};
  EXPECT_EQ(SendMode(kVmUpdateFw, 3), kTeeSuccess);
  EXPECT_THAT(faults.applied, ElementsAre(1));
}

TEST_F(TrustedApplicationTest, TwoFaultsWithARecord_LastDecidesAndIsApplied) {
  AnswerFault first = UpdateFault(kReplaceRecord);
  first.vamCode = 7;
  AnswerFault second = UpdateFault(kReplaceRecord);
  second.vamCode = 8;
  faults.faults = {first, second};
  EXPECT_EQ(Update(3).vamCode, 8);
  EXPECT_THAT(faults.applied, ElementsAre(1));
}

TEST_F(TrustedApplicationTest, TableOfCommands_SaysWhatEachRequestAndReplyHas) {
  ChangeChip([](ChipMemory& memory) {
    memory.informationCount = 1;
    memory.hackInformationSize = 1;
  });
  for (const NamedCommand& command : kCommands) {
    SCOPED_TRACE(command.method);
    // Applies the fault to a whole request and reply of the command.
    const auto isApplied = [&](AnswerFault fault) {
      fault.command = command.identifier;
      faults.faults = {fault};
      faults.applied.clear();
      BeginRequest();
      ValueCursor request = Cursor();
      if (command.carriesMode) {
        EXPECT_TRUE(put_int(request, 3));
      } else {
        EXPECT_TRUE(put_uint(request, 1));
        EXPECT_TRUE(put_blob(request, "r", 1));
      }
      static_cast<void>(Invoke(command.identifier));
      return !faults.applied.empty();
    };
    AnswerFault fault{};
    fault.kind = kOmitItem;
    for (fault.item = 1; fault.item <= 8; ++fault.item) {
      EXPECT_EQ(isApplied(fault), fault.item <= command.replyItems) << fault.item;
    }
    fault = {};
    fault.kind = kReplaceRecord;
    EXPECT_EQ(isApplied(fault), command.repliesWithRecord);
    EXPECT_EQ(isApplied(UpdateFault(kFailCommand)), command.carriesMode);
  }
}

}  // namespace
}  // namespace vam
