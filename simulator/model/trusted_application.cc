#include "simulator/model/trusted_application.h"

#include <string.h>

#include "interface/trusted_application.h"
#include "report/result_codes.h"

namespace vam {

class Reply {
 public:
  Reply(uint8_t* block, size_t size, const ActiveFaults& activeFaults, AnswerFaults& allFaults)
      : cursor{block, size, kFirstValue}, faults(activeFaults), declared(allFaults) {}

  void PutInt(int32_t value) {
    if (BeginItem() && !Replaced(true)) {
      EndItem(put_int(cursor, value));
    }
  }

  void PutUint(uint32_t value) {
    if (BeginItem() && !Replaced(false)) {
      EndItem(put_uint(cursor, value));
    }
  }

  void PutBlob(const void* bytes, uint32_t length) {
    if (BeginItem() && !Replaced(false)) {
      EndItem(put_blob(cursor, bytes, length));
    }
  }

  /// Puts a version with its size, the terminating zero included in both.
  void PutVersion(const VersionText& version) {
    uint8_t text[kVersionCapacity + 1];
    memcpy(text, version.text, version.length);
    text[version.length] = 0;
    PutUint(version.length + 1);
    PutBlob(text, version.length + 1);
  }

  void PutRecord(VamResult record) {
    if (!BeginItem() || Replaced(false)) {
      return;
    }
    // The last one decides.
    for (uint32_t i = faults.count; i-- > 0;) {
      if (faults.fault[i]->kind == kReplaceRecord) {
        record.vamCode = faults.fault[i]->vamCode;
        record.fwCode = faults.fault[i]->fwCode;
        declared.Applied(faults.index[i]);
        break;
      }
    }
    EndItem(put_blob(cursor, &record, sizeof record));
  }

 private:
  /// Returns the fault of this kind that applies to the item, or null.
  const AnswerFault* ApplyToItem(uint32_t kind) {
    for (uint32_t i = 0; i < faults.count; ++i) {
      const AnswerFault* fault = faults.fault[i];
      // A cut after the item's last byte is none.
      const bool changes = kind != kCutItem || fault->number < cursor.position - itemStart;
      if (fault->kind == kind && fault->item == item && changes) {
        declared.Applied(faults.index[i]);
        return fault;
      }
    }
    return nullptr;
  }

  /// Starts the next item. Returns false when the reply has ended before it.
  bool BeginItem() {
    if (ended) {
      return false;
    }
    ++item;
    itemStart = cursor.position;
    if (item == 1) {
      end_values(cursor, kFirstValue);
    }
    if (ApplyToItem(kOmitItem) != nullptr) {
      ended = true;
    }
    return !ended;
  }

  /// Puts what a fault declares instead of the item. Returns false when no fault does. A number is
  /// signed where the item is.
  bool Replaced(bool isSigned) {
    if (const AnswerFault* fault = ApplyToItem(kReplaceByNumber)) {
      EndItem(isSigned ? put_int(cursor, static_cast<int32_t>(fault->number))
                       : put_uint(cursor, fault->number));
      return true;
    }
    if (const AnswerFault* fault = ApplyToItem(kReplaceByBytes)) {
      EndItem(put_blob(cursor, fault->bytes, fault->byteCount));
      return true;
    }
    return false;
  }

  void EndItem(bool put) {
    if (!put) {
      ended = true;
    } else if (const AnswerFault* fault = ApplyToItem(kCutItem)) {
      const size_t middle = (cursor.position - itemStart) / 2;
      end_values(cursor, itemStart + (fault->number == 0 ? middle : fault->number));
      ended = true;
    }
  }

  ValueCursor cursor;
  const ActiveFaults& faults;
  AnswerFaults& declared;
  size_t itemStart = kFirstValue;
  uint32_t item = 0;
  bool ended = false;
};

namespace {

constexpr VamResult kSuccessRecord = {VAM_RET_SUCCESS, ZELK_NO_ERROR};

bool IsSuccess(const VamResult& record) { return record.vamCode == 0 && record.fwCode == 0; }

// A function for each command but the updates; CarryOut() calls them.

uint32_t GetInformationWords(Chip& chip, Reply& reply) {
  if (!chip.Load()) {
    return kTeeErrorBadState;
  }
  reply.PutUint(chip.Memory().informationCount);
  if (chip.Memory().informationCount != 0) {
    reply.PutBlob(chip.Memory().information,
                  chip.Memory().informationCount * static_cast<uint32_t>(sizeof(uint32_t)));
  }
  return kTeeSuccess;
}

uint32_t GetHackInformation(Chip& chip, Reply& reply) {
  if (!chip.Load()) {
    return kTeeErrorBadState;
  }
  reply.PutInt(static_cast<int32_t>(chip.Memory().hackInformationSize));
  if (chip.Memory().hackInformationSize != 0) {
    reply.PutBlob(chip.Memory().hackInformation, chip.Memory().hackInformationSize);
  }
  return kTeeSuccess;
}

/// Reads an AK record: its length, then that many bytes.
uint32_t ReadAkRecord(ValueCursor& request, const uint8_t*& record, uint32_t& length) {
  if (!get_uint(request, &length)) {
    return kTeeErrorBadFormat;
  }
  record = get_blob(request, length);
  if (record == nullptr) {
    return kTeeErrorBadFormat;
  }
  return length >= 1 && length <= kAkRecordCapacity ? kTeeSuccess : kTeeErrorBadParameters;
}

uint32_t ProvisionAk(Chip& chip, ValueCursor& request) {
  const uint8_t* record = nullptr;
  uint32_t length = 0;
  const uint32_t result = ReadAkRecord(request, record, length);
  if (result != kTeeSuccess) {
    return result;
  }
  if (!chip.Load()) {
    return kTeeErrorBadState;
  }
  memcpy(chip.Memory().akRecord, record, length);
  memset(chip.Memory().akRecord + length, 0, kAkRecordCapacity - length);
  chip.Memory().akRecordSize = length;
  return chip.Save() ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t CheckAk(Chip& chip, ValueCursor& request) {
  const uint8_t* record = nullptr;
  uint32_t length = 0;
  const uint32_t result = ReadAkRecord(request, record, length);
  if (result != kTeeSuccess) {
    return result;
  }
  if (!chip.Load()) {
    return kTeeErrorBadState;
  }
  if (chip.Memory().akRecordSize == 0) {
    return kTeeErrorItemNotFound;
  }
  const bool same =
      chip.Memory().akRecordSize == length && memcmp(chip.Memory().akRecord, record, length) == 0;
  return same ? kTeeSuccess : kTeeErrorSecurity;
}

uint32_t ProvisionAkFromRpmb(Chip& chip) {
  if (!chip.Load()) {
    return kTeeErrorBadState;
  }
  if (chip.Memory().rpmbRecordSize == 0) {
    return kTeeErrorItemNotFound;
  }
  memcpy(chip.Memory().akRecord, chip.Memory().rpmbRecord, kAkRecordCapacity);
  chip.Memory().akRecordSize = chip.Memory().rpmbRecordSize;
  return chip.Save() ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t GetPublicKeyStatus(Chip& chip) {
  if (!chip.Load()) {
    return kTeeErrorBadState;
  }
  return chip.Memory().akRecordSize != 0 ? kTeeSuccess : kTeeErrorItemNotFound;
}

uint32_t RemoveAkKeys(Chip& chip) {
  if (!chip.Load()) {
    return kTeeErrorBadState;
  }
  if (chip.Memory().akRecordSize == 0) {
    return kTeeErrorItemNotFound;
  }
  memset(chip.Memory().akRecord, 0, kAkRecordCapacity);
  chip.Memory().akRecordSize = 0;
  return chip.Save() ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t SelfTest(Chip& chip) {
  if (!chip.Load() || chip.Memory().state == kChipInterrupted) {
    return kTeeErrorBadState;
  }
  return chip.Memory().selfTestPasses != 0 ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t GetInfo(Chip& chip) { return chip.Load() ? kTeeSuccess : kTeeErrorBadState; }

uint32_t ForceRecovery(Chip& chip) {
  const bool readable = chip.Load();
  if (readable && chip.Memory().state != kChipInterrupted) {
    return kTeeSuccess;
  }
  if (!readable) {
    // A damaged memory holds nothing to trust, so the chip starts as one that was never written.
    memset(&chip.Memory(), 0, sizeof chip.Memory());
    chip.Memory().implementsUpdates = 1;
    chip.Memory().selfTestPasses = 1;
    chip.Memory().partCapacity = kPartSizeLimit;
  }
  memset(&chip.Memory().system, 0, sizeof chip.Memory().system);
  memset(&chip.Memory().app, 0, sizeof chip.Memory().app);
  chip.Memory().state = kChipRecovered;
  return chip.Save() ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t ForceRecoverySystemPart(Chip& chip) {
  if (!chip.Load()) {
    return kTeeErrorBadState;
  }
  if (chip.Memory().state != kChipInterrupted) {
    return kTeeSuccess;
  }
  memset(&chip.Memory().system, 0, sizeof chip.Memory().system);
  chip.Memory().state = kChipRecovered;
  return chip.Save() ? kTeeSuccess : kTeeErrorGeneric;
}

}  // namespace

uint32_t TrustedApplication::Invoke(uint32_t command, uint8_t* block, size_t size) {
  ValueCursor request{block, size, kFirstValue};
  ValueCursor peeked = request;
  int32_t mode = 0;
  const NamedCommand* known = FindCommand(command);
  const bool hasMode = known != nullptr && known->carriesMode && get_int(peeked, &mode);

  ActiveFaults active{};
  for (uint32_t i = 0; i < faults.Count(); ++i) {
    const AnswerFault* fault = faults.Select(i, command, hasMode, mode);
    if (fault == nullptr) {
      continue;
    }
    if (fault->kind == kFailCommand) {
      faults.Applied(i);
      return fault->result;
    }
    if (active.count < kFaultsPerCommand) {
      active.fault[active.count] = fault;
      active.index[active.count++] = i;
    }
  }
  Reply reply(block, size, active, faults);
  return CarryOut(command, request, reply);
}

uint32_t TrustedApplication::CarryOut(uint32_t command, ValueCursor& request, Reply& reply) {
  switch (command) {
    case kVmUpdateFw:
      return RunUpdate(request, reply);
    case kVamUpdateFw:
      return RunOlderUpdate(request);
    case kVmGetFwInfo:
    case kVamGetFwInfo:
      return GetInformationWords(chip, reply);
    case kVamGetHackInfo:
      return GetHackInformation(chip, reply);
    case kVamAkProvision:
      return ProvisionAk(chip, request);
    case kVamCheckVamAk:
      return CheckAk(chip, request);
    case kVamAkProvisionRpmb:
      return ProvisionAkFromRpmb(chip);
    case kVamGetPublicKeyStatus:
      return GetPublicKeyStatus(chip);
    case kVamRemoveAkKeys:
      return RemoveAkKeys(chip);
    case kVamSelfTestAll:
      return SelfTest(chip);
    case kVamGetInfo:
    case kVamGetAppInfo:
      return GetInfo(chip);
    case kVamForceRecovery:
      return ForceRecovery(chip);
    case kVamForceRecoverySp:
      return ForceRecoverySystemPart(chip);
    default:
      return kTeeErrorNotSupported;
  }
}

uint32_t TrustedApplication::RunUpdate(ValueCursor& request, Reply& reply) {
  int32_t mode = 0;
  if (!get_int(request, &mode)) {
    return kTeeErrorBadFormat;
  }
  Versions versions{};
  const VamResult record = CarryOutMode(mode, versions);
  reply.PutRecord(record);
  if (versions.system == nullptr) {
    // Without versions to report the reply ends with a size of 0; the record tells why.
    reply.PutUint(0);
    return kTeeSuccess;
  }
  reply.PutVersion(*versions.system);
  reply.PutVersion(*versions.app);
  return kTeeSuccess;
}

uint32_t TrustedApplication::RunOlderUpdate(ValueCursor& request) {
  int32_t mode = 0;
  if (!get_int(request, &mode)) {
    return kTeeErrorBadFormat;
  }
  Versions versions{};
  return IsSuccess(CarryOutMode(mode, versions)) ? kTeeSuccess : kTeeErrorGeneric;
}

VamResult TrustedApplication::CarryOutMode(int32_t mode, Versions& versions) {
  switch (mode) {
    case kReportFileSystem: {
      const VamResult record = ReportImage(versions);
      const bool unimplemented = chip.Load() && chip.Memory().implementsUpdates == 0;
      return unimplemented ? VamResult{VAM_RET_NOT_IMPLEMENTED, ZELK_NO_ERROR} : record;
    }
    case kUpdateAll:
      return UpdateChip(versions);
    case kReportChip:
      return ReportChip(versions);
    default:
      return {VAM_RET_INVALID_PARAM, ZELK_NO_ERROR};
  }
}

VamResult TrustedApplication::ReportImage(Versions& versions) {
  switch (ReadFirmwareImage(image, digest, firmware)) {
    case ImageStatus::kWhole:
      versions = {&firmware.header.system, &firmware.header.app};
      return kSuccessRecord;
    case ImageStatus::kMissing:
      return {VAM_RET_DATA_NOT_FOUND, ZELK_NO_ERROR};
    default:
      return {VAM_RET_INVALID_INPUT_DATA, ZELK_NO_ERROR};
  }
}

VamResult TrustedApplication::ReportChip(Versions& versions) {
  if (!chip.Load()) {
    return {VAM_RET_STORAGE_ERROR, -ZELK_CORE_ERROR};
  }
  if (chip.Memory().state == kChipInterrupted) {
    return {VAM_RET_CORE_ERROR, -ZELK_FW_ERROR};
  }
  versions = {&chip.Memory().system.version, &chip.Memory().app.version};
  if (chip.Memory().implementsUpdates == 0) {
    return {VAM_RET_NOT_IMPLEMENTED, ZELK_NO_ERROR};
  }
  return kSuccessRecord;
}

VamResult TrustedApplication::UpdateChip(Versions& versions) {
  const VamResult chipRecord = ReportChip(versions);
  if (!IsSuccess(chipRecord)) {
    return chipRecord;
  }
  Versions ofImage{};
  const VamResult imageRecord = ReportImage(ofImage);
  if (!IsSuccess(imageRecord)) {
    versions = {};
    return imageRecord;
  }
  const bool upToDate = chip.Memory().state == kChipWhole &&
                        memcmp(chip.Memory().imageDigest, firmware.digest, kDigestSize) == 0;
  if (upToDate) {
    return kSuccessRecord;
  }
  if (firmware.header.systemSize > chip.Memory().partCapacity ||
      firmware.header.appSize > chip.Memory().partCapacity) {
    versions = {};
    return {VAM_RET_STORAGE_ERROR, -ZELK_BUFFER_NOT_ENOUGH};
  }
  if (!WriteFirmware()) {
    versions = {};
    return {VAM_RET_STORAGE_ERROR, -ZELK_CORE_ERROR};
  }
  return kSuccessRecord;
}

bool TrustedApplication::WriteFirmware() {
  ChipMemory& memory = chip.Memory();
  // Marks the chip first: a power failure after any of these writes leaves a chip that knows of it.
  memory.state = kChipInterrupted;
  memset(memory.imageDigest, 0, sizeof memory.imageDigest);
  if (!chip.Save()) {
    return false;
  }
  memory.system.version = firmware.header.runsSystem;
  memory.system.size = firmware.header.systemSize;
  memcpy(memory.system.digest, firmware.systemDigest, kDigestSize);
  if (!chip.Save()) {
    return false;
  }
  memory.app.version = firmware.header.runsApp;
  memory.app.size = firmware.header.appSize;
  memcpy(memory.app.digest, firmware.appDigest, kDigestSize);
  if (!chip.Save()) {
    return false;
  }
  memory.state = kChipWhole;
  memcpy(memory.imageDigest, firmware.digest, kDigestSize);
  return chip.Save();
}

}  // namespace vam
