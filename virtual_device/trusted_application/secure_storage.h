#ifndef VIRTUAL_DEVICE_TRUSTED_APPLICATION_SECURE_STORAGE_H_
#define VIRTUAL_DEVICE_TRUSTED_APPLICATION_SECURE_STORAGE_H_

#include <stddef.h>
#include <stdint.h>
#include <tee_api_types.h>

#include "virtual_device/trusted_application/test_commands.h"

namespace vam {

/// A persistent object of this trusted application, open until the end of its scope. One that
/// cannot be opened reads as empty.
class OpenObject {
 public:
  /// Opens the object; `access` holds TEE_DATA_FLAG_ bits.
  OpenObject(StoredObject object, uint32_t access);
  ~OpenObject();
  OpenObject(const OpenObject&) = delete;
  OpenObject& operator=(const OpenObject&) = delete;

  bool IsOpen() const { return handle != TEE_HANDLE_NULL; }
  /// Returns the object's size in bytes; 0 when it is not open.
  uint32_t Size() const;
  /// Reads at most `count` bytes from `offset` on. Returns how many; 0 also for a failure. An
  /// object that was changed outside the secure world is gone after it.
  size_t Read(uint32_t offset, void* bytes, size_t count);
  /// Appends `count` bytes. Returns TEE_ERROR_ITEM_NOT_FOUND when the object is not open, else the
  /// result of the storage.
  TEE_Result Append(const void* bytes, size_t count);
  /// Deletes the object, which needs TEE_DATA_FLAG_ACCESS_WRITE_META, and closes it.
  void Remove();

 private:
  TEE_ObjectHandle handle = TEE_HANDLE_NULL;
};

/// Replaces the object by one of `size` bytes; a power cut leaves the old one or the new one.
TEE_Result ReplaceObject(StoredObject object, const void* bytes, size_t size);

}  // namespace vam

#endif  // VIRTUAL_DEVICE_TRUSTED_APPLICATION_SECURE_STORAGE_H_
