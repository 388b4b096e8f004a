#include "device/objstore/record_buffer.h"

#include <cstring>

namespace device {

RecordBuffer::RecordBuffer(std::vector<RecordValue> record, bool all,
                           std::span<const CEPROPID> wanted)
    : record_(std::move(record)) {
  if (all) {
    for (const RecordValue& value : record_) {
      entries_.push_back({&value, value.id, 0});
    }
  } else {
    for (CEPROPID id : wanted) {
      const RecordValue* found = nullptr;
      for (const RecordValue& value : record_) {
        if (value.id == id) {
          found = &value;
          break;
        }
      }
      entries_.push_back({found, id, 0});
    }
  }
  size_ = entries_.size() * sizeof(CEPROPVAL);
  for (Entry& entry : entries_) {
    if (entry.value == nullptr) continue;
    std::size_t bytes = RecordValueDataSize(*entry.value);
    if (bytes == 0 && entry.value->type() != CEVT_LPWSTR) continue;
    size_ += size_ % 2;
    entry.dataOffset = size_;
    size_ += bytes;
  }
}

void RecordBuffer::WriteTo(BYTE* buffer) const {
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    const Entry& entry = entries_[i];
    CEPROPVAL out;
    if (entry.value == nullptr) {
      std::memset(&out, 0, sizeof(out));
      out.propid = entry.id;
      out.wFlags = CEDB_PROPNOTFOUND;
    } else {
      BYTE* data = entry.dataOffset != 0 ? buffer + entry.dataOffset : nullptr;
      RecordValueToPropVal(*entry.value, data, &out);
      if (entry.value->type() == CEVT_LPWSTR) {
        // The caller reads the text through the LPWSTR, in host order.
        const std::u16string& text = entry.value->text;
        std::memcpy(data, text.c_str(), (text.size() + 1) * sizeof(char16_t));
      } else if (entry.value->type() == CEVT_BLOB &&
                 !entry.value->bytes.empty()) {
        std::memcpy(data, entry.value->bytes.data(), entry.value->bytes.size());
      }
    }
    std::memcpy(buffer + i * sizeof(CEPROPVAL), &out, sizeof(out));
  }
}

}  // namespace device
