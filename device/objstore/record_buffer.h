// The buffer CeReadRecordProps fills: an array of CEPROPVAL, one per property
// read, followed by the strings and blobs they point to, all inside the one
// buffer. Strings are UTF-16 with their terminating zero and start on an
// even offset; the array starts at offset 0.
#ifndef VORN_DEVICE_OBJSTORE_RECORD_BUFFER_H_
#define VORN_DEVICE_OBJSTORE_RECORD_BUFFER_H_

#include <cstddef>
#include <span>
#include <vector>

#include "device/objstore/record_value.h"

namespace device {

class RecordBuffer {
 public:
  // The properties of `record` to return: every one of them in their order
  // when `all` is set, else one entry per id of `wanted` (an id the record
  // lacks gives an entry flagged CEDB_PROPNOTFOUND with a zero value).
  RecordBuffer(std::vector<RecordValue> record, bool all,
               std::span<const CEPROPID> wanted);

  // Bytes the buffer needs.
  std::size_t size() const { return size_; }
  // Entries in the CEPROPVAL array.
  std::size_t count() const { return entries_.size(); }

  // Lays the properties out at `buffer`, which holds at least size() bytes
  // and is aligned for CEPROPVAL.
  void WriteTo(BYTE* buffer) const;

 private:
  struct Entry {
    const RecordValue* value;  // null when not found
    CEPROPID id;
    std::size_t dataOffset;
  };

  std::vector<RecordValue> record_;
  std::vector<Entry> entries_;
  std::size_t size_ = 0;
};

}  // namespace device

#endif  // VORN_DEVICE_OBJSTORE_RECORD_BUFFER_H_
