#include "device/pim/outlook_app.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "device/kernel/ole_date.h"
#include "device/pim/appointment_item.h"
#include "device/pim/contact_item.h"
#include "device/pim/pim_folder.h"
#include "device/pim/task_item.h"

namespace device {

OutlookApp::OutlookApp(DeviceContext& context, ObjectStore& store)
    : context_(context), items_(store.records()) {
  for (int type : {olContactItem, olAppointmentItem, olTaskItem}) {
    items_.Database(type);
  }
}

OutlookApp::~OutlookApp() {
  pool_.clear();
  for (const LiveString& live : strings_) delete[] live.text;
  for (std::vector<BSTR>& spare : spare_) {
    for (BSTR text : spare) delete[] text;
  }
}

HRESULT OutlookApp::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (iid == IID_IPOutlookApp || iid == kIidUnknown || iid == kIidDispatch) {
    AddRef();
    *object = static_cast<IPOutlookApp*>(this);
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

ULONG OutlookApp::AddRef() { return ++references_; }

ULONG OutlookApp::Release() {
  ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

HRESULT OutlookApp::Logon(LONG /*hwnd*/) {
  if (context_.faults.IsSet("logon-fails")) return E_FAIL;
  loggedOn_ = true;
  return S_OK;
}

HRESULT OutlookApp::Logoff() {
  loggedOn_ = false;
  return S_OK;
}

HRESULT OutlookApp::GetDefaultFolder(int folder, IFolder** result) {
  if (result == nullptr) return E_POINTER;
  int type = 0;
  switch (folder) {
    case olFolderContacts:
      type = olContactItem;
      break;
    case olFolderCalendar:
      type = olAppointmentItem;
      break;
    case olFolderTasks:
      type = olTaskItem;
      break;
    default:
      *result = nullptr;
      return E_INVALIDARG;
  }
  *result = Adopt(std::make_unique<PimFolder>(*this, type));
  return S_OK;
}

IDispatch* OutlookApp::NewItem(int itemType, CEOID oid) {
  switch (itemType) {
    case olContactItem:
      return Adopt(std::make_unique<ContactItem>(*this, oid));
    case olAppointmentItem:
      return Adopt(std::make_unique<AppointmentItem>(*this, oid));
    case olTaskItem:
      return Adopt(std::make_unique<TaskItem>(*this, oid));
    default:
      return nullptr;
  }
}

HRESULT OutlookApp::CreateItem(int itemType, IDispatch** item) {
  if (item == nullptr) return E_POINTER;
  *item = NewItem(itemType, 0);
  return *item != nullptr ? S_OK : E_INVALIDARG;
}

HRESULT OutlookApp::GetItemFromOid(LONG oid, IDispatch** item) {
  if (item == nullptr) return E_POINTER;
  std::optional<int> type = items_.ItemTypeOf(static_cast<CEOID>(oid));
  if (oid == 0 || !type) {
    *item = nullptr;
    return E_INVALIDARG;
  }
  *item = NewItem(*type, static_cast<CEOID>(oid));
  return S_OK;
}

HRESULT OutlookApp::SystemTimeToVariantTime(SYSTEMTIME* time, DATE* date) {
  if (time == nullptr || date == nullptr) return E_INVALIDARG;
  std::optional<double> value = SystemTimeToOleDate(*time);
  if (!value) return E_INVALIDARG;
  *date = *value;
  return S_OK;
}

HRESULT OutlookApp::VariantTimeToSystemTime(DATE date, SYSTEMTIME* time) {
  if (time == nullptr) return E_INVALIDARG;
  std::optional<SYSTEMTIME> value = OleDateToSystemTime(date);
  if (!value) return E_INVALIDARG;
  *time = *value;
  return S_OK;
}

BSTR OutlookApp::AllocString(std::u16string_view text) {
  std::size_t units = text.size() + 1;
  std::size_t size_class = (units - 1) / kStringClassUnits;
  BSTR copy = nullptr;
  if (size_class < kStringClasses) {
    units = (size_class + 1) * kStringClassUnits;
    std::vector<BSTR>& spare = spare_[size_class];
    if (!spare.empty()) {
      copy = spare.back();
      spare.pop_back();
    }
  }
  if (copy == nullptr) copy = new WCHAR[units];
  std::copy(text.begin(), text.end(), copy);
  copy[text.size()] = 0;
  strings_.push_back({copy, units});
  return copy;
}

HRESULT OutlookApp::SysFreeString(BSTR text) {
  if (text == nullptr) return S_OK;
  auto it = std::find_if(
      strings_.rbegin(), strings_.rend(),
      [text](const LiveString& live) { return live.text == text; });
  if (it == strings_.rend()) return E_INVALIDARG;
  std::size_t units = it->units;
  strings_.erase(std::next(it).base());
  std::size_t size_class = units / kStringClassUnits - 1;
  if (units % kStringClassUnits == 0 && size_class < kStringClasses &&
      spare_[size_class].size() < kSparePerClass) {
    spare_[size_class].push_back(text);
  } else {
    delete[] text;
  }
  return S_OK;
}

void OutlookApp::NotifyChange(int itemType, CEOID oid, int kind) {
  if (changeHook_) changeHook_(itemType, oid, kind);
}

std::size_t OutlookApp::SweepReleasedItems() {
  std::size_t before = pool_.size();
  std::erase_if(pool_, [](const std::unique_ptr<PimObject>& object) {
    return object->references() == 0;
  });
  return before - pool_.size();
}

}  // namespace device
