// Builds and reads the records of appointments and tasks in both of their
// wire forms:
//   written to the handheld (AddRecord, UpdateRecord, BatchWrite):
//     u32 field count, then per field u32 id and its value;
//   read from the handheld (GetRecord, GetRecords):
//     u8 1, u8 0, u32 object id, u8 property count, then per property u32
//     id and its value.
// Values: u32, counted UTF-16LE string (u32 byte count with the NUL, the
// text, the NUL), 16-byte time record, or raw bytes.
#ifndef VORN_DESKTOP_FORMATS_RECORD_BYTES_H_
#define VORN_DESKTOP_FORMATS_RECORD_BYTES_H_

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "desktop/wire/time_record.h"

namespace desktop {

class RecordBytes {
 public:
  // Starts a record in the written form (`reply` false) or the read form
  // with the object id `oid` (`reply` true).
  explicit RecordBytes(bool reply, std::uint32_t oid = 0);

  RecordBytes& Long(std::uint32_t id, std::uint32_t value);
  RecordBytes& Text(std::uint32_t id, std::u16string_view text);
  RecordBytes& Time(std::uint32_t id, const TimeRecord& time);
  // A property whose value is `bytes` as they stand.
  RecordBytes& Blob(std::uint32_t id, std::span<const std::uint8_t> bytes);
  // Bytes that are not a property (exception records after a block).
  RecordBytes& Raw(std::span<const std::uint8_t> bytes);
  RecordBytes& RawU32(std::uint32_t value);
  RecordBytes& RawString(std::u16string_view text);

  // The record with its count filled in.
  std::vector<std::uint8_t> Take();

 private:
  void Id(std::uint32_t id);

  bool reply_;
  std::uint32_t count_ = 0;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_RECORD_BYTES_H_
