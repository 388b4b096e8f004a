#include "tests/support/device_inspector.h"

#include "device/pim/outlook_app.h"
#include "platform/api.h"
#include "protocol/contact_fields.h"

namespace testing_support {
namespace {

// The getter of a contact's string property by name.
HRESULT GetByName(IContact* contact, const std::string& name, BSTR* value) {
#define VORN_MATCH(property) \
  if (name == #property) return contact->get_##property(value);
  VORN_CONTACT_STRING_PROPERTIES(VORN_MATCH)
#undef VORN_MATCH
  return E_INVALIDARG;
}

}  // namespace

DeviceInspector::DeviceInspector(device::Device& device)
    : services_(device.services()) {
  app_ = new device::OutlookApp(device.context(), device.objectStore());
}

DeviceInspector::~DeviceInspector() { app_->Release(); }

std::optional<std::u16string> DeviceInspector::ContactString(
    std::uint32_t oid, const std::string& name) {
  IDispatch* item = nullptr;
  if (FAILED(app_->GetItemFromOid(static_cast<LONG>(oid), &item))) {
    return std::nullopt;
  }
  auto* contact = dynamic_cast<IContact*>(item);
  std::optional<std::u16string> result;
  BSTR value = nullptr;
  if (contact != nullptr && SUCCEEDED(GetByName(contact, name, &value))) {
    result = value == nullptr ? u"" : std::u16string(value);
    app_->SysFreeString(value);
  }
  item->Release();
  return result;
}

std::optional<std::vector<std::uint8_t>> DeviceInspector::RecordBlob(
    std::uint32_t oid, std::uint32_t propId) {
  CEOID target = oid;
  CEOIDINFO info = {};
  if (!CeOidGetInfo(target, &info) || info.wObjType != OBJTYPE_RECORD) {
    return std::nullopt;
  }
  CEOID database = info.infRecord.oidParent;
  HANDLE handle = CeOpenDatabase(&database, nullptr, 0, 0, 0);
  if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
  std::optional<std::vector<std::uint8_t>> result;
  DWORD index = 0;
  if (CeSeekDatabase(handle, CEDB_SEEK_CEOID, oid, &index) == oid) {
    WORD count = 1;
    CEPROPID id = propId;
    LPBYTE buffer = nullptr;
    DWORD size = 0;
    if (CeReadRecordProps(handle, CEDB_ALLOWREALLOC, &count, &id, &buffer,
                          &size) != 0) {
      const auto* value = reinterpret_cast<const CEPROPVAL*>(buffer);
      if ((value->wFlags & CEDB_PROPNOTFOUND) == 0) {
        if (TypeFromPropID(propId) == CEVT_BLOB) {
          result = std::vector<std::uint8_t>(
              value->val.blob.lpb,
              value->val.blob.lpb + value->val.blob.dwCount);
        } else {
          result = std::vector<std::uint8_t>();
        }
      }
    }
    if (buffer != nullptr) LocalFree(buffer);
  }
  CloseHandle(handle);
  return result;
}

bool DeviceInspector::RecordHas(std::uint32_t oid, std::uint32_t propId) {
  return RecordBlob(oid, propId).has_value();
}

int DeviceInspector::Count(int folder) {
  IFolder* opened = nullptr;
  if (FAILED(app_->GetDefaultFolder(folder, &opened))) return -1;
  IPOutlookItemCollection* items = nullptr;
  int count = -1;
  if (SUCCEEDED(opened->get_Items(&items))) {
    items->get_Count(&count);
    items->Release();
  }
  opened->Release();
  return count;
}

}  // namespace testing_support
