#include "device/pim/pim_item.h"

#include <algorithm>

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

namespace {

bool IdLess(const RecordValue& value, CEPROPID id) { return value.id < id; }

}  // namespace

PimItem::PimItem(OutlookApp& app, int itemType, CEOID oid)
    : PimObject(app), itemType_(itemType), oid_(oid) {
  if (oid_ != 0) {
    values_ = app_.items().LoadById(oid_);
  }
}

void PimItem::OnReleased() {
  std::vector<RecordValue>().swap(values_);
  changed_.clear();
  removed_.clear();
}

const RecordValue* PimItem::Find(CEPROPID id) const {
  auto it = std::lower_bound(values_.begin(), values_.end(), id, IdLess);
  return it != values_.end() && it->id == id ? &*it : nullptr;
}

void PimItem::Set(RecordValue value) {
  CEPROPID id = value.id;
  auto it = std::lower_bound(values_.begin(), values_.end(), id, IdLess);
  if (it != values_.end() && it->id == id) {
    *it = std::move(value);
  } else {
    values_.insert(it, std::move(value));
  }
  changed_.insert(id);
  removed_.erase(id);
}

void PimItem::Remove(CEPROPID id) {
  auto it = std::lower_bound(values_.begin(), values_.end(), id, IdLess);
  if (it != values_.end() && it->id == id) values_.erase(it);
  changed_.erase(id);
  removed_.insert(id);
}

HRESULT PimItem::GetText(CEPROPID id, BSTR* value) {
  if (value == nullptr) return E_POINTER;
  const RecordValue* found = Find(id);
  *value =
      app_.AllocString(found == nullptr ? std::u16string_view() : found->text);
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
  const RecordValue* found = Find(id);
  *value = found == nullptr ? kOleNoDate : found->real;
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
  if (const RecordValue* bytes = Find(kPimBodyBytes)) {
    *value = app_.AllocString(DecodeWesternBytes(bytes->bytes));
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

void PimItem::LoadValues(std::vector<RecordValue> values) {
  changed_.clear();
  removed_.clear();
  std::stable_sort(
      values.begin(), values.end(),
      [](const RecordValue& a, const RecordValue& b) { return a.id < b.id; });
  // One value per id, the last given winning.
  values_.clear();
  for (RecordValue& value : values) {
    if (!values_.empty() && values_.back().id == value.id) {
      values_.back() = std::move(value);
    } else {
      values_.push_back(std::move(value));
    }
  }
}

HRESULT PimItem::SaveItem() {
  if (deleted_) return E_FAIL;
  bool added = oid_ == 0;
  if (!added && !app_.items().Exists(itemType_, oid_)) return E_FAIL;
  std::vector<RecordValue> set;
  for (CEPROPID id : changed_) set.push_back(*Find(id));
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
