#include "device/pim/pim_item.h"

#include "device/kernel/ole_date.h"
#include "device/pim/outlook_app.h"

namespace device {

std::u16string DecodeWesternBytes(const std::vector<std::uint8_t>& bytes) {
  // Bytes 0x80..0x9F; the five the code page leaves undefined map to the
  // control characters of the same value.
  static constexpr char16_t kHigh[32] = {
      0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
      0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
      0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
      0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
  std::u16string text;
  text.reserve(bytes.size());
  for (std::uint8_t byte : bytes) {
    text.push_back(byte >= 0x80 && byte < 0xA0 ? kHigh[byte - 0x80]
                                               : static_cast<char16_t>(byte));
  }
  return text;
}

PimItem::PimItem(OutlookApp& app, int itemType, CEOID oid)
    : PimObject(app), itemType_(itemType), oid_(oid) {
  if (oid_ != 0) {
    for (RecordValue& value : app_.items().Load(oid_)) {
      CEPROPID id = value.id;
      values_[id] = std::move(value);
    }
  }
}

void PimItem::Set(RecordValue value) {
  CEPROPID id = value.id;
  values_[id] = std::move(value);
  changed_.insert(id);
  removed_.erase(id);
}

void PimItem::Remove(CEPROPID id) {
  values_.erase(id);
  changed_.erase(id);
  removed_.insert(id);
}

HRESULT PimItem::GetText(CEPROPID id, BSTR* value) {
  if (value == nullptr) return E_POINTER;
  auto it = values_.find(id);
  *value = app_.AllocString(it == values_.end() ? std::u16string_view()
                                                : it->second.text);
  return S_OK;
}

HRESULT PimItem::PutText(CEPROPID id, LPCWSTR value) {
  if (value == nullptr || value[0] == 0) {
    Remove(id);
    return S_OK;
  }
  RecordValue text;
  text.id = id;
  text.text.assign(value, Utf16Length(value));
  Set(std::move(text));
  return S_OK;
}

HRESULT PimItem::GetDate(CEPROPID id, DATE* value) {
  if (value == nullptr) return E_POINTER;
  auto it = values_.find(id);
  *value = it == values_.end() ? kOleNoDate : it->second.real;
  return S_OK;
}

HRESULT PimItem::PutDate(CEPROPID id, DATE value) {
  if (value == kOleNoDate) {
    Remove(id);
    return S_OK;
  }
  RecordValue date;
  date.id = id;
  date.real = value;
  Set(std::move(date));
  return S_OK;
}

HRESULT PimItem::GetBody(BSTR* value) {
  if (value == nullptr) return E_POINTER;
  auto bytes = values_.find(kPimBodyBytes);
  if (bytes != values_.end()) {
    *value = app_.AllocString(DecodeWesternBytes(bytes->second.bytes));
    return S_OK;
  }
  return GetText(kPimBodyText, value);
}

HRESULT PimItem::PutBody(LPCWSTR value) {
  Remove(kPimBodyBytes);
  return PutText(kPimBodyText, value);
}

HRESULT PimItem::GetOid(LONG* value) {
  if (value == nullptr) return E_POINTER;
  *value = static_cast<LONG>(oid_);
  return S_OK;
}

HRESULT PimItem::GetLong(CEPROPID id, LONG* value, LONG absent) {
  if (value == nullptr) return E_POINTER;
  const RecordValue* held = Find(id);
  *value = held == nullptr ? absent : static_cast<LONG>(held->number);
  return S_OK;
}

HRESULT PimItem::PutLong(CEPROPID id, LONG value) {
  RecordValue number;
  number.id = id;
  number.number = value;
  Set(std::move(number));
  return S_OK;
}

HRESULT PimItem::GetBool(CEPROPID id, VARIANT_BOOL* value,
                         VARIANT_BOOL absent) {
  if (value == nullptr) return E_POINTER;
  const RecordValue* held = Find(id);
  if (held == nullptr) {
    *value = absent;
  } else {
    *value = held->number != 0 ? VARIANT_TRUE : VARIANT_FALSE;
  }
  return S_OK;
}

HRESULT PimItem::PutBool(CEPROPID id, VARIANT_BOOL value) {
  RecordValue flag;
  flag.id = id;
  flag.number = value != 0 ? 1 : 0;
  Set(std::move(flag));
  return S_OK;
}

void PimItem::PutBytes(CEPROPID id, std::vector<std::uint8_t> bytes) {
  RecordValue blob;
  blob.id = id;
  blob.bytes = std::move(bytes);
  Set(std::move(blob));
}

const RecordValue* PimItem::Find(CEPROPID id) const {
  auto it = values_.find(id);
  return it == values_.end() ? nullptr : &it->second;
}

void PimItem::LoadValues(std::vector<RecordValue> values) {
  values_.clear();
  changed_.clear();
  removed_.clear();
  for (RecordValue& value : values) {
    CEPROPID id = value.id;
    values_[id] = std::move(value);
  }
}

HRESULT PimItem::SaveItem() {
  if (deleted_) return E_FAIL;
  bool added = oid_ == 0;
  if (!added && !app_.items().Exists(itemType_, oid_)) return E_FAIL;
  std::vector<RecordValue> set;
  for (CEPROPID id : changed_) set.push_back(values_[id]);
  std::vector<CEPROPID> remove(removed_.begin(), removed_.end());
  oid_ = app_.items().Write(itemType_, oid_, set, remove);
  changed_.clear();
  removed_.clear();
  app_.NotifyChange(itemType_, oid_,
                    added ? OutlookApp::kItemAdded : OutlookApp::kItemChanged);
  return S_OK;
}

HRESULT PimItem::DeleteItem() {
  if (deleted_ || oid_ == 0 || !app_.items().Exists(itemType_, oid_)) {
    return E_FAIL;
  }
  app_.items().Delete(oid_);
  deleted_ = true;
  app_.NotifyChange(itemType_, oid_, OutlookApp::kItemDeleted);
  return S_OK;
}

}  // namespace device
