#ifndef VIRTUAL_DEVICE_TRUSTED_APPLICATION_SECURE_STORAGE_H_
#define VIRTUAL_DEVICE_TRUSTED_APPLICATION_SECURE_STORAGE_H_

#include <stddef.h>
#include <stdint.h>
#include <tee_api_types.h>

#include "virtual_device/trusted_application/test_commands.h"

namespace vam {

/// A persistent object of this trusted application, open until the end of its scope. Where it
/// cannot be opened there is nothing in it.
class OpenObject {
 public:
  /// `access` holds TEE_DATA_FLAG_ bits.
  OpenObject(StoredObject object, uint32_t access);
  ~OpenObject();
  OpenObject(const OpenObject&) = delete;
  OpenObject& operator=(const OpenObject&) = delete;

  bool IsOpen() const { return handle != TEE_HANDLE_NULL; }
  /// Bytes of the object.
  uint32_t Size() const;
  /// Reads at most `count` bytes from `offset` on; returns their number.
  size_t Read(uint32_t offset, void* bytes, size_t count) const;
  /// Adds bytes at the end.
  TEE_Result Append(const void* bytes, size_t count);
  void Remove();

 private:
  TEE_ObjectHandle handle = TEE_HANDLE_NULL;
};

/// Replaces the object by `size` bytes, in one step that a power cut does not divide.
TEE_Result ReplaceObject(StoredObject object, const void* bytes, size_t size);

}  // namespace vam

#endif  // VIRTUAL_DEVICE_TRUSTED_APPLICATION_SECURE_STORAGE_H_
