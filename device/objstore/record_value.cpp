#include "device/objstore/record_value.h"

#include <cstring>

namespace device {

bool IsRecordValueType(WORD type) {
  switch (type) {
    case CEVT_I2:
    case CEVT_UI2:
    case CEVT_I4:
    case CEVT_UI4:
    case CEVT_R8:
    case CEVT_BOOL:
    case CEVT_FILETIME:
    case CEVT_LPWSTR:
    case CEVT_BLOB:
      return true;
    default:
      return false;
  }
}

std::size_t Utf16Length(const char16_t* text) {
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

std::optional<RecordValue> RecordValueFromPropVal(const CEPROPVAL& value) {
  RecordValue out;
  out.id = value.propid;
  switch (out.type()) {
    case CEVT_I2:
      out.number = value.val.iVal;
      break;
    case CEVT_UI2:
      out.number = value.val.uiVal;
      break;
    case CEVT_I4:
      out.number = value.val.lVal;
      break;
    case CEVT_UI4:
      out.number = value.val.ulVal;
      break;
    case CEVT_BOOL:
      out.number = value.val.boolVal;
      break;
    case CEVT_R8:
      out.real = value.val.dblVal;
      break;
    case CEVT_FILETIME: {
      std::uint64_t bits =
          (std::uint64_t{value.val.filetime.dwHighDateTime} << 32) |
          value.val.filetime.dwLowDateTime;
      out.number = static_cast<std::int64_t>(bits);
      break;
    }
    case CEVT_LPWSTR:
      if (value.val.lpwstr == nullptr) return std::nullopt;
      out.text.assign(value.val.lpwstr, Utf16Length(value.val.lpwstr));
      break;
    case CEVT_BLOB:
      if (value.val.blob.dwCount != 0) {
        if (value.val.blob.lpb == nullptr) return std::nullopt;
        out.bytes.assign(value.val.blob.lpb,
                         value.val.blob.lpb + value.val.blob.dwCount);
      }
      break;
    default:
      return std::nullopt;
  }
  return out;
}

std::size_t RecordValueDataSize(const RecordValue& value) {
  switch (value.type()) {
    case CEVT_LPWSTR:
      return (value.text.size() + 1) * sizeof(char16_t);
    case CEVT_BLOB:
      return value.bytes.size();
    default:
      return 0;
  }
}

void RecordValueToPropVal(const RecordValue& value, void* data,
                          CEPROPVAL* out) {
  std::memset(out, 0, sizeof(*out));
  out->propid = value.id;
  switch (value.type()) {
    case CEVT_I2:
      out->val.iVal = static_cast<short>(value.number);
      break;
    case CEVT_UI2:
      out->val.uiVal = static_cast<WORD>(value.number);
      break;
    case CEVT_I4:
      out->val.lVal = static_cast<LONG>(value.number);
      break;
    case CEVT_UI4:
      out->val.ulVal = static_cast<ULONG>(value.number);
      break;
    case CEVT_BOOL:
      out->val.boolVal = static_cast<BOOL>(value.number);
      break;
    case CEVT_R8:
      out->val.dblVal = value.real;
      break;
    case CEVT_FILETIME: {
      auto bits = static_cast<std::uint64_t>(value.number);
      out->val.filetime.dwLowDateTime = static_cast<DWORD>(bits);
      out->val.filetime.dwHighDateTime = static_cast<DWORD>(bits >> 32);
      break;
    }
    case CEVT_LPWSTR:
      out->val.lpwstr = static_cast<LPWSTR>(data);
      break;
    case CEVT_BLOB:
      out->val.blob.dwCount = static_cast<DWORD>(value.bytes.size());
      out->val.blob.lpb = static_cast<LPBYTE>(data);
      break;
    default:
      break;
  }
}

}  // namespace device
