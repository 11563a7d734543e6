#include "virtual_device/trusted_application/secure_storage.h"

#include <tee_internal_api.h>

namespace vam {

OpenObject::OpenObject(StoredObject object, uint32_t access) {
  // An object's identifier is the one byte of its number.
  const auto identifier = static_cast<uint8_t>(object);
  // Leaves TEE_HANDLE_NULL where it fails.
  TEE_OpenPersistentObject(TEE_STORAGE_PRIVATE, &identifier, sizeof identifier, access, &handle);
}

OpenObject::~OpenObject() { TEE_CloseObject(handle); }

uint32_t OpenObject::Size() const {
  TEE_ObjectInfo information{};
  if (IsOpen()) {
    TEE_GetObjectInfo1(handle, &information);
  }
  return static_cast<uint32_t>(information.dataSize);
}

size_t OpenObject::Read(uint32_t offset, void* bytes, size_t count) {
  if (!IsOpen() ||
      TEE_SeekObjectData(handle, static_cast<intmax_t>(offset), TEE_DATA_SEEK_SET) != TEE_SUCCESS) {
    return 0;
  }
  size_t read = 0;
  const TEE_Result result = TEE_ReadObjectData(handle, bytes, count, &read);
  if (result == TEE_ERROR_CORRUPT_OBJECT) {
    // The storage has removed the object, and closed its handle.
    handle = TEE_HANDLE_NULL;
  }
  return result == TEE_SUCCESS ? read : 0;
}

TEE_Result OpenObject::Append(const void* bytes, size_t count) {
  if (!IsOpen()) {
    return TEE_ERROR_ITEM_NOT_FOUND;
  }
  const TEE_Result result = TEE_SeekObjectData(handle, 0, TEE_DATA_SEEK_END);
  return result == TEE_SUCCESS ? TEE_WriteObjectData(handle, bytes, count) : result;
}

void OpenObject::Remove() {
  if (IsOpen()) {
    TEE_CloseAndDeletePersistentObject1(handle);
    handle = TEE_HANDLE_NULL;
  }
}

TEE_Result ReplaceObject(StoredObject object, const void* bytes, size_t size) {
  const auto identifier = static_cast<uint8_t>(object);
  TEE_ObjectHandle handle = TEE_HANDLE_NULL;
  const TEE_Result result = TEE_CreatePersistentObject(
      TEE_STORAGE_PRIVATE, &identifier, sizeof identifier,
      TEE_DATA_FLAG_ACCESS_WRITE | TEE_DATA_FLAG_OVERWRITE, TEE_HANDLE_NULL, bytes, size, &handle);
  TEE_CloseObject(handle);
  return result;
}

}  // namespace vam
