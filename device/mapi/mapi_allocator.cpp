#include "device/mapi/mapi_allocator.h"

namespace device {

void MapiAllocator::Fill(Block& block, const MapiProp& prop,
                         SPropValue* value) {
  *value = SPropValue{};
  value->ulPropTag = prop.tag;
  switch (PROP_TYPE(prop.tag)) {
    case PT_LONG:
    case PT_ERROR:
      value->Value.ul = MailStore::AsLong(prop);
      break;
    case PT_SYSTIME: {
      MapiProp low{prop.tag, {}};
      MapiProp high{prop.tag, {}};
      for (std::size_t i = 0; i < prop.value.size() && i < 8; ++i) {
        (i < 4 ? low : high).value.push_back(prop.value[i]);
      }
      value->Value.ft.dwLowDateTime = MailStore::AsLong(low);
      value->Value.ft.dwHighDateTime = MailStore::AsLong(high);
      break;
    }
    case PT_UNICODE:
      block.texts.push_back(MailStore::AsText(prop));
      value->Value.lpszW = block.texts.back().data();
      break;
    case PT_BINARY:
      block.bytes.push_back(prop.value);
      block.bytes.back().push_back(0);  // never an empty allocation
      value->Value.bin.cb = static_cast<ULONG>(prop.value.size());
      value->Value.bin.lpb = block.bytes.back().data();
      break;
    default:
      value->ulPropTag = PROP_TAG(PT_ERROR, PROP_ID(prop.tag));
      value->Value.err = MAPI_E_NO_SUPPORT;
      break;
  }
}

SPropValue* MapiAllocator::Values(const PropList& props) {
  auto block = std::make_unique<Block>();
  block->values.resize(props.empty() ? 1 : props.size());
  for (std::size_t i = 0; i < props.size(); ++i) {
    Fill(*block, props[i], &block->values[i]);
  }
  SPropValue* result = block->values.data();
  blocks_[result] = std::move(block);
  return result;
}

SPropTagArray* MapiAllocator::Tags(const std::vector<ULONG>& tags) {
  auto block = std::make_unique<Block>();
  block->tags.cValues = 0;
  for (ULONG tag : tags) {
    if (block->tags.cValues == kMaxPropTags) break;
    block->tags.aulPropTag[block->tags.cValues++] = tag;
  }
  SPropTagArray* result = &block->tags;
  blocks_[result] = std::move(block);
  return result;
}

SRowSet* MapiAllocator::Rows(const std::vector<PropList>& rows) {
  auto block = std::make_unique<Block>();
  block->rowSet = true;
  std::size_t total = 0;
  for (const PropList& row : rows) total += row.size();
  block->values.resize(total == 0 ? 1 : total);
  block->rows.resize(rows.empty() ? 1 : rows.size());
  std::size_t next = 0;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    SRow& row = block->rows[r];
    row.ulAdrEntryPad = 0;
    row.cValues = static_cast<ULONG>(rows[r].size());
    row.lpProps = block->values.data() + next;
    for (const MapiProp& prop : rows[r]) {
      Fill(*block, prop, &block->values[next++]);
    }
  }
  block->set.cRows = static_cast<ULONG>(rows.size());
  block->set.aRow = block->rows.data();
  SRowSet* result = &block->set;
  blocks_[result] = std::move(block);
  return result;
}

bool MapiAllocator::Free(void* buffer) {
  auto it = blocks_.find(buffer);
  if (it == blocks_.end() || it->second->rowSet) return false;
  blocks_.erase(it);
  return true;
}

bool MapiAllocator::FreeRows(SRowSet* rows) {
  auto it = blocks_.find(rows);
  if (it == blocks_.end() || !it->second->rowSet) return false;
  blocks_.erase(it);
  return true;
}

MapiProp MapiAllocator::FromValue(const SPropValue& value) {
  switch (PROP_TYPE(value.ulPropTag)) {
    case PT_LONG:
      return MailStore::Long(value.ulPropTag, value.Value.ul);
    case PT_SYSTIME:
      return MailStore::Time(value.ulPropTag, value.Value.ft);
    case PT_UNICODE: {
      std::u16string text;
      for (const WCHAR* p = value.Value.lpszW; p != nullptr && *p != 0; ++p) {
        text.push_back(*p);
      }
      return MailStore::Text(value.ulPropTag, text);
    }
    case PT_BINARY:
      if (value.Value.bin.lpb == nullptr) return {value.ulPropTag, {}};
      return MailStore::Binary(value.ulPropTag, value.Value.bin.lpb,
                               value.Value.bin.cb);
    default:
      return {0, {}};
  }
}

}  // namespace device
