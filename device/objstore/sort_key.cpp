#include "device/objstore/sort_key.h"

#include <bit>
#include <cstring>

namespace device {
namespace {

void AppendBigEndian(std::vector<std::uint8_t>& out, std::uint64_t value) {
  for (int shift = 56; shift >= 0; shift -= 8) {
    out.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

}  // namespace

char16_t FoldSortCase(char16_t unit) {
  if (unit >= u'a' && unit <= u'z') return unit - 0x20;
  if (unit >= 0xE0 && unit <= 0xFE && unit != 0xF7) return unit - 0x20;
  if (unit == 0xFF) return 0x178;
  if (unit >= 0x3B1 && unit <= 0x3C9 && unit != 0x3C2) return unit - 0x20;
  if (unit >= 0x430 && unit <= 0x44F) return unit - 0x20;
  if (unit >= 0x450 && unit <= 0x45F) return unit - 0x50;
  if (unit >= 0x100 && unit <= 0x17F && unit != 0x131 && unit != 0x138 &&
      unit != 0x149 && unit != 0x17F) {
    // Latin Extended-A pairs upper/lower as even/odd, with a shift of one
    // between 0x139 and 0x148 and from 0x179 on.
    bool oddUpper = (unit >= 0x139 && unit <= 0x148) || unit >= 0x179;
    if (oddUpper ? (unit % 2 == 0) : (unit % 2 == 1)) return unit - 1;
  }
  return unit;
}

std::vector<std::uint8_t> EncodeSortKey(const RecordValue* value, DWORD flags) {
  std::vector<std::uint8_t> key;
  if (value == nullptr) {
    key.push_back((flags & CEDB_SORT_UNKNOWNFIRST) != 0 ? 0x00 : 0x02);
    return key;
  }
  key.push_back(kSortKeyValueClass);
  switch (value->type()) {
    case CEVT_I2:
    case CEVT_I4:
    case CEVT_BOOL:
      AppendBigEndian(key, static_cast<std::uint64_t>(value->number) ^
                               (std::uint64_t{1} << 63));
      break;
    case CEVT_UI2:
    case CEVT_UI4:
    case CEVT_FILETIME:
      AppendBigEndian(key, static_cast<std::uint64_t>(value->number));
      break;
    case CEVT_R8: {
      auto bits = std::bit_cast<std::uint64_t>(value->real);
      bits = (bits >> 63) != 0 ? ~bits : bits | (std::uint64_t{1} << 63);
      AppendBigEndian(key, bits);
      break;
    }
    case CEVT_LPWSTR:
      for (char16_t unit : value->text) {
        if ((flags & CEDB_SORT_CASEINSENSITIVE) != 0) {
          unit = FoldSortCase(unit);
        }
        key.push_back(static_cast<std::uint8_t>(unit >> 8));
        key.push_back(static_cast<std::uint8_t>(unit));
      }
      key.push_back(0);
      key.push_back(0);
      break;
    case CEVT_BLOB:
      for (std::uint8_t byte : value->bytes) {
        key.push_back(byte);
        if (byte == 0) key.push_back(0xFF);
      }
      key.push_back(0);
      key.push_back(0);
      break;
    default:
      break;
  }
  if ((flags & CEDB_SORT_DESCENDING) != 0) {
    for (std::size_t i = 1; i < key.size(); ++i) key[i] = ~key[i];
  }
  return key;
}

}  // namespace device
