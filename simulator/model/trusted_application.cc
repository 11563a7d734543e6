#include "simulator/model/trusted_application.h"

#include <string.h>

#include "interface/trusted_application.h"
#include "report/result_codes.h"

namespace vam {

class Reply {
 public:
  Reply(uint8_t* block, size_t size, const ActiveFaults& activeFaults)
      : cursor{block, size, kFirstValue}, faults(activeFaults) {}

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
    for (uint32_t i = 0; i < faults.count; ++i) {
      if (faults.fault[i]->kind == kReplaceRecord) {
        record.vamCode = faults.fault[i]->vamCode;
        record.fwCode = faults.fault[i]->fwCode;
      }
    }
    PutBlob(&record, sizeof record);
  }

 private:
  const AnswerFault* FaultOfItem(uint32_t kind) const {
    for (uint32_t i = 0; i < faults.count; ++i) {
      if (faults.fault[i]->kind == kind && faults.fault[i]->item == item) {
        return faults.fault[i];
      }
    }
    return nullptr;
  }

  /// Returns whether the next item is put at all.
  bool BeginItem() {
    ++item;
    itemStart = cursor.position;
    if (item == 1) {
      end_values(cursor, kFirstValue);
    }
    if (FaultOfItem(kOmitItem) != nullptr) {
      ended = true;
    }
    return !ended;
  }

  /// Puts the item that a fault declares instead; false when there is none. A number takes the
  /// signedness of the item in whose place it stands.
  bool Replaced(bool isSigned) {
    if (const AnswerFault* fault = FaultOfItem(kReplaceByNumber)) {
      EndItem(isSigned ? put_int(cursor, static_cast<int32_t>(fault->number))
                       : put_uint(cursor, fault->number));
      return true;
    }
    if (const AnswerFault* fault = FaultOfItem(kReplaceByBytes)) {
      EndItem(put_blob(cursor, fault->bytes, fault->byteCount));
      return true;
    }
    return false;
  }

  void EndItem(bool put) {
    if (!put) {
      ended = true;
    } else if (FaultOfItem(kCutItem) != nullptr) {
      end_values(cursor, itemStart + (cursor.position - itemStart) / 2);
      ended = true;
    }
  }

  ValueCursor cursor;
  const ActiveFaults& faults;
  size_t itemStart = kFirstValue;
  uint32_t item = 0;
  bool ended = false;
};

namespace {

constexpr VamResult kSuccessRecord = {VAM_RET_SUCCESS, ZELK_NO_ERROR};

bool IsSuccess(const VamResult& record) { return record.vamCode == 0 && record.fwCode == 0; }

bool CarriesMode(uint32_t command) { return command == kVmUpdateFw || command == kVamUpdateFw; }

}  // namespace

uint32_t TrustedApplication::Invoke(uint32_t command, uint8_t* block, size_t size) {
  ValueCursor request{block, size, kFirstValue};
  ValueCursor peeked = request;
  int32_t mode = 0;
  const bool hasMode = CarriesMode(command) && get_int(peeked, &mode);

  ActiveFaults active{};
  for (uint32_t i = 0; i < faults.Count(); ++i) {
    const AnswerFault* fault = faults.Fire(i, command, hasMode, mode);
    if (fault == nullptr) {
      continue;
    }
    if (fault->kind == kFailCommand) {
      return fault->result;
    }
    if (active.count < kFaultsPerCommand) {
      active.fault[active.count++] = fault;
    }
  }
  Reply reply(block, size, active);
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
      return GetInformationWords(reply);
    case kVamGetHackInfo:
      return GetHackInformation(reply);
    case kVamAkProvision:
      return ProvisionAk(request);
    case kVamCheckVamAk:
      return CheckAk(request);
    case kVamAkProvisionRpmb:
      return ProvisionAkFromRpmb();
    case kVamGetPublicKeyStatus:
      return GetPublicKeyStatus();
    case kVamRemoveAkKeys:
      return RemoveAkKeys();
    case kVamSelfTestAll:
      return SelfTest();
    case kVamGetInfo:
    case kVamGetAppInfo:
      return GetInfo();
    case kVamForceRecovery:
      return ForceRecovery();
    case kVamForceRecoverySp:
      return ForceRecoverySystemPart();
    default:
      return kTeeErrorNotSupported;
  }
}

bool TrustedApplication::LoadChip() { return LoadChipMemory(store, digest, chip); }

bool TrustedApplication::SaveChip() { return SaveChipMemory(store, digest, chip); }

uint32_t TrustedApplication::RunUpdate(ValueCursor& request, Reply& reply) {
  int32_t mode = 0;
  if (!get_int(request, &mode)) {
    return kTeeErrorBadFormat;
  }
  Versions versions{};
  const VamResult record = CarryOutMode(mode, versions);
  reply.PutRecord(record);
  if (versions.system == nullptr) {
    // No version to report: the size of 0 ends the reply, and the record tells why.
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
      const bool unimplemented = LoadChip() && Memory().implementsUpdates == 0;
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
  if (!LoadChip()) {
    return {VAM_RET_STORAGE_ERROR, -ZELK_CORE_ERROR};
  }
  if (Memory().state == kChipInterrupted) {
    return {VAM_RET_CORE_ERROR, -ZELK_FW_ERROR};
  }
  versions = {&Memory().system.version, &Memory().app.version};
  if (Memory().implementsUpdates == 0) {
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
  const bool upToDate = Memory().state == kChipWhole &&
                        memcmp(Memory().imageDigest, firmware.digest, kDigestSize) == 0;
  if (upToDate) {
    return kSuccessRecord;
  }
  if (firmware.header.systemSize > Memory().partCapacity ||
      firmware.header.appSize > Memory().partCapacity) {
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
  ChipMemory& memory = Memory();
  // Marked first: power that fails behind any of these writes leaves a chip that knows it.
  memory.state = kChipInterrupted;
  memset(memory.imageDigest, 0, sizeof memory.imageDigest);
  if (!SaveChip()) {
    return false;
  }
  memory.system.version = firmware.header.runsSystem;
  memory.system.size = firmware.header.systemSize;
  memcpy(memory.system.digest, firmware.systemDigest, kDigestSize);
  if (!SaveChip()) {
    return false;
  }
  memory.app.version = firmware.header.runsApp;
  memory.app.size = firmware.header.appSize;
  memcpy(memory.app.digest, firmware.appDigest, kDigestSize);
  if (!SaveChip()) {
    return false;
  }
  memory.state = kChipWhole;
  memcpy(memory.imageDigest, firmware.digest, kDigestSize);
  return SaveChip();
}

uint32_t TrustedApplication::GetInformationWords(Reply& reply) {
  if (!LoadChip()) {
    return kTeeErrorBadState;
  }
  reply.PutUint(Memory().informationCount);
  if (Memory().informationCount != 0) {
    reply.PutBlob(Memory().information,
                  Memory().informationCount * static_cast<uint32_t>(sizeof(uint32_t)));
  }
  return kTeeSuccess;
}

uint32_t TrustedApplication::GetHackInformation(Reply& reply) {
  if (!LoadChip()) {
    return kTeeErrorBadState;
  }
  reply.PutInt(static_cast<int32_t>(Memory().hackInformationSize));
  if (Memory().hackInformationSize != 0) {
    reply.PutBlob(Memory().hackInformation, Memory().hackInformationSize);
  }
  return kTeeSuccess;
}

namespace {

/// Reads an AK record: its length, then as many bytes.
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

}  // namespace

uint32_t TrustedApplication::ProvisionAk(ValueCursor& request) {
  const uint8_t* record = nullptr;
  uint32_t length = 0;
  const uint32_t result = ReadAkRecord(request, record, length);
  if (result != kTeeSuccess) {
    return result;
  }
  if (!LoadChip()) {
    return kTeeErrorBadState;
  }
  memcpy(Memory().akRecord, record, length);
  memset(Memory().akRecord + length, 0, kAkRecordCapacity - length);
  Memory().akRecordSize = length;
  return SaveChip() ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t TrustedApplication::CheckAk(ValueCursor& request) {
  const uint8_t* record = nullptr;
  uint32_t length = 0;
  const uint32_t result = ReadAkRecord(request, record, length);
  if (result != kTeeSuccess) {
    return result;
  }
  if (!LoadChip()) {
    return kTeeErrorBadState;
  }
  if (Memory().akRecordSize == 0) {
    return kTeeErrorItemNotFound;
  }
  const bool same =
      Memory().akRecordSize == length && memcmp(Memory().akRecord, record, length) == 0;
  return same ? kTeeSuccess : kTeeErrorSecurity;
}

uint32_t TrustedApplication::ProvisionAkFromRpmb() {
  if (!LoadChip()) {
    return kTeeErrorBadState;
  }
  if (Memory().rpmbRecordSize == 0) {
    return kTeeErrorItemNotFound;
  }
  memcpy(Memory().akRecord, Memory().rpmbRecord, kAkRecordCapacity);
  Memory().akRecordSize = Memory().rpmbRecordSize;
  return SaveChip() ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t TrustedApplication::GetPublicKeyStatus() {
  if (!LoadChip()) {
    return kTeeErrorBadState;
  }
  return Memory().akRecordSize != 0 ? kTeeSuccess : kTeeErrorItemNotFound;
}

uint32_t TrustedApplication::RemoveAkKeys() {
  if (!LoadChip()) {
    return kTeeErrorBadState;
  }
  if (Memory().akRecordSize == 0) {
    return kTeeErrorItemNotFound;
  }
  memset(Memory().akRecord, 0, kAkRecordCapacity);
  Memory().akRecordSize = 0;
  return SaveChip() ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t TrustedApplication::SelfTest() {
  if (!LoadChip() || Memory().state == kChipInterrupted) {
    return kTeeErrorBadState;
  }
  return Memory().selfTestPasses != 0 ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t TrustedApplication::GetInfo() { return LoadChip() ? kTeeSuccess : kTeeErrorBadState; }

uint32_t TrustedApplication::ForceRecovery() {
  const bool readable = LoadChip();
  if (readable && Memory().state != kChipInterrupted) {
    return kTeeSuccess;
  }
  if (!readable) {
    // Nothing of a damaged memory is trusted; the chip starts as one that was never written.
    memset(&chip, 0, sizeof chip);
    Memory().implementsUpdates = 1;
    Memory().selfTestPasses = 1;
    Memory().partCapacity = kPartSizeLimit;
  }
  memset(&Memory().system, 0, sizeof Memory().system);
  memset(&Memory().app, 0, sizeof Memory().app);
  Memory().state = kChipRecovered;
  return SaveChip() ? kTeeSuccess : kTeeErrorGeneric;
}

uint32_t TrustedApplication::ForceRecoverySystemPart() {
  if (!LoadChip()) {
    return kTeeErrorBadState;
  }
  if (Memory().state != kChipInterrupted) {
    return kTeeSuccess;
  }
  memset(&Memory().system, 0, sizeof Memory().system);
  Memory().state = kChipRecovered;
  return SaveChip() ? kTeeSuccess : kTeeErrorGeneric;
}

}  // namespace vam
