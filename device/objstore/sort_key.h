// Sort keys of the object store: the value of a record's sort property turned
// into bytes whose plain byte order (memcmp, shorter first on a common
// prefix) is the handheld's order for that sort, so that SQLite can keep and
// search the order in an index.
//
// Layout: one class byte, then the value.
//   0x00  the record lacks the property and the sort has
//         CEDB_SORT_UNKNOWNFIRST (nothing follows)
//   0x01  the property is present; the encoded value follows
//   0x02  the record lacks the property (unknowns last; nothing follows)
// Values: signed integers (I2, I4, BOOL) as 8 bytes big-endian with the sign
// bit flipped; unsigned ones (UI2, UI4) and FILETIME as 8 bytes big-endian;
// R8 as its IEEE bits made order-preserving; LPWSTR as big-endian UTF-16
// units (folded to upper case with CEDB_SORT_CASEINSENSITIVE) ending in a
// zero unit; BLOB bytes with 0x00 written as 0x00 0xFF, ending in 0x00 0x00.
// With CEDB_SORT_DESCENDING every value byte (not the class byte) is
// inverted. Ties between equal keys are broken by the record's OID.
#ifndef VORN_DEVICE_OBJSTORE_SORT_KEY_H_
#define VORN_DEVICE_OBJSTORE_SORT_KEY_H_

#include <cstdint>
#include <vector>

#include "device/objstore/record_value.h"

namespace device {

inline constexpr std::uint8_t kSortKeyValueClass = 0x01;

// The key of a record whose sort property is `value` (null when the record
// lacks it) in a sort with `flags` (CEDB_SORT_*).
std::vector<std::uint8_t> EncodeSortKey(const RecordValue* value, DWORD flags);

// UTF-16 unit folded to upper case the way case-insensitive sorts compare
// (Latin letters, Latin-1, Greek and Cyrillic basic ranges).
char16_t FoldSortCase(char16_t unit);

}  // namespace device

#endif  // VORN_DEVICE_OBJSTORE_SORT_KEY_H_
