// The VAM's trusted application in a real secure world: the simulated board's model, with the
// chip's memory and the firmware image as persistent objects and the TEE's own SHA-256.

#include <stddef.h>
#include <stdint.h>
#include <tee_internal_api.h>
#include <trace.h>

#include "simulator/model/trusted_application.h"
#include "virtual_device/trusted_application/secure_storage.h"
#include "virtual_device/trusted_application/test_commands.h"
#include "virtual_device/trusted_application/test_setup.h"

namespace vam {
namespace {

class ObjectChipMemoryStore final : public ChipMemoryStore {
 public:
  bool Load(void* bytes, uint32_t size) override {
    OpenObject object(kChipMemory, TEE_DATA_FLAG_ACCESS_READ);
    return object.Size() == size && object.Read(0, bytes, size) == size;
  }

  bool Save(const void* bytes, uint32_t size) override {
    if (ReplaceObject(kChipMemory, bytes, size) != TEE_SUCCESS) {
      return false;
    }
    ChipMemoryWritten();
    return true;
  }
};

class ObjectImageSource final : public ImageSource {
 public:
  bool Size(uint32_t* size) override {
    *size = object.Size();
    return object.IsOpen();
  }

  bool Read(uint32_t offset, void* bytes, uint32_t count) override {
    return object.Read(offset, bytes, count) == count;
  }

 private:
  OpenObject object{kFirmwareImage, TEE_DATA_FLAG_ACCESS_READ};
};

/// Ends the trusted application where the TEE's own digest fails, which only a lack of memory makes
/// it do.
void Require(TEE_Result result) {
  if (result != TEE_SUCCESS) {
    TEE_Panic(result);
  }
}

class TeeDigest final : public Digest {
 public:
  TeeDigest() { Require(TEE_AllocateOperation(&operation, TEE_ALG_SHA256, TEE_MODE_DIGEST, 0)); }
  ~TeeDigest() { TEE_FreeOperation(operation); }
  TeeDigest(const TeeDigest&) = delete;
  TeeDigest& operator=(const TeeDigest&) = delete;

  void Begin() override { TEE_ResetOperation(operation); }
  void Update(const void* bytes, uint32_t count) override {
    TEE_DigestUpdate(operation, bytes, count);
  }
  void End(uint8_t digest[kDigestSize]) override {
    size_t size = kDigestSize;
    Require(TEE_DigestDoFinal(operation, nullptr, 0, digest, &size));
  }

 private:
  TEE_OperationHandle operation = TEE_HANDLE_NULL;
};

TEE_Result Invoke(uint32_t command, uint32_t types, TEE_Param* params) {
  if (command >= kFirstTestCommand) {
    return RunTestCommand(command, types, params);
  }
  const auto& block = params[0].memref;
  if (types != TEE_PARAM_TYPES(TEE_PARAM_TYPE_MEMREF_INOUT, TEE_PARAM_TYPE_NONE,
                               TEE_PARAM_TYPE_NONE, TEE_PARAM_TYPE_NONE) ||
      block.size < kFirstValue) {
    return TEE_ERROR_BAD_PARAMETERS;
  }
  ObjectChipMemoryStore store;
  ObjectImageSource image;
  TeeDigest digest;
  TrustedApplication application(store, image, digest, DeclaredFaults());
  const uint32_t result =
      application.Invoke(command, static_cast<uint8_t*>(block.buffer), block.size);
  IMSG("command %" PRIu32 ": 0x%08" PRIX32, command, result);
  return result;
}

}  // namespace
}  // namespace vam

extern "C" {

TEE_Result TA_CreateEntryPoint() { return TEE_SUCCESS; }

void TA_DestroyEntryPoint() {}

TEE_Result TA_OpenSessionEntryPoint(uint32_t /*types*/, TEE_Param* /*params*/, void** /*session*/) {
  return TEE_SUCCESS;
}

void TA_CloseSessionEntryPoint(void* /*session*/) {}

TEE_Result TA_InvokeCommandEntryPoint(void* /*session*/, uint32_t command, uint32_t types,
                                      TEE_Param* params) {
  return vam::Invoke(command, types, params);
}

/// The compiler names this function in every abstract class; nothing calls it.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the compiler's name
void __cxa_pure_virtual() { TEE_Panic(TEE_ERROR_BAD_STATE); }
}
