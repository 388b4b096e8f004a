// One property of an object store record as the handheld keeps it, apart from
// the caller's memory: the value of a CEPROPVAL with its strings and blobs
// copied. Also the text conversions the store needs (UTF-16 on the handheld,
// UTF-8 in the image).
#ifndef VORN_DEVICE_OBJSTORE_RECORD_VALUE_H_
#define VORN_DEVICE_OBJSTORE_RECORD_VALUE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device/image/utf8.h"
#include "platform/objstore_types.h"

namespace device {

struct RecordValue {
  CEPROPID id = 0;
  // CEVT_I2, CEVT_UI2, CEVT_I4, CEVT_UI4, CEVT_BOOL: the value; CEVT_FILETIME:
  // the 64 bits of the time (high word first).
  std::int64_t number = 0;
  double real = 0;                  // CEVT_R8
  std::u16string text;              // CEVT_LPWSTR
  std::vector<std::uint8_t> bytes;  // CEVT_BLOB

  WORD type() const { return TypeFromPropID(id); }
};

// True for the nine value types a record property may have.
bool IsRecordValueType(WORD type);

// Copies the value out of `value`. Nullopt when its type is unknown or a
// string or blob pointer is null (with a non-zero blob size).
std::optional<RecordValue> RecordValueFromPropVal(const CEPROPVAL& value);

// Fills `out` (every byte of it) with `value`; strings and blobs are not
// copied: `data` is where the caller placed them (UTF-16 with its
// terminating zero for strings), and is stored in the pointer member.
void RecordValueToPropVal(const RecordValue& value, void* data, CEPROPVAL* out);

// The bytes a string or blob value takes after the CEPROPVAL array: UTF-16
// with its terminating zero, or the blob's bytes. 0 for other types.
std::size_t RecordValueDataSize(const RecordValue& value);

// The length of a zero-terminated UTF-16 text.
std::size_t Utf16Length(const char16_t* text);

}  // namespace device

#endif  // VORN_DEVICE_OBJSTORE_RECORD_VALUE_H_
