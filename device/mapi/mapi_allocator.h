// The buffers the emulated MAPI hands out: property values and tag arrays
// (returned with MAPIFreeBuffer) and row sets (returned with FreeProws).
// Every buffer is one block that owns the values, texts and bytes it points
// at; freeing the block frees them all.
#ifndef VORN_DEVICE_MAPI_MAPI_ALLOCATOR_H_
#define VORN_DEVICE_MAPI_MAPI_ALLOCATOR_H_

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "device/mapi/mail_store.h"
#include "platform/mapi.h"

namespace device {

class MapiAllocator {
 public:
  MapiAllocator() = default;
  MapiAllocator(const MapiAllocator&) = delete;
  MapiAllocator& operator=(const MapiAllocator&) = delete;

  // The values of `props` in their order (at least one element is
  // allocated, so the pointer is never null).
  SPropValue* Values(const PropList& props);
  SPropTagArray* Tags(const std::vector<ULONG>& tags);
  SRowSet* Rows(const std::vector<PropList>& rows);

  // MAPIFreeBuffer: false when `buffer` is no block of values or tags.
  bool Free(void* buffer);
  // FreeProws: false when `rows` is no row set.
  bool FreeRows(SRowSet* rows);

  std::size_t OutstandingCount() const { return blocks_.size(); }
  void Clear() { blocks_.clear(); }

  // A property value as the store keeps it, from a caller's value.
  static MapiProp FromValue(const SPropValue& value);

 private:
  struct Block {
    bool rowSet = false;
    std::vector<SPropValue> values;
    std::deque<std::u16string> texts;
    std::deque<std::vector<BYTE>> bytes;
    SPropTagArray tags = {};
    SRowSet set = {};
    std::vector<SRow> rows;
  };

  void Fill(Block& block, const MapiProp& prop, SPropValue* value);

  std::map<const void*, std::unique_ptr<Block>> blocks_;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAPI_ALLOCATOR_H_
