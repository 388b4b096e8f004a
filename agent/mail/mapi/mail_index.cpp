#include "agent/mail/mapi/mail_index.h"

#include <cstring>

namespace agent {

MailIndex::Node* MailIndex::At(DWORD position) {
  if (cursorNode_ == nullptr) {
    cursorNode_ = head_;
    cursor_ = 0;
  }
  while (cursor_ < position) {
    cursorNode_ = cursorNode_->next;
    ++cursor_;
  }
  while (cursor_ > position) {
    cursorNode_ = cursorNode_->previous;
    --cursor_;
  }
  return cursorNode_;
}

bool MailIndex::Search(DWORD key, DWORD* position) {
  DWORD lo = 0;
  DWORD hi = count_;
  while (hi - lo >= 2) {
    DWORD mid = lo + (hi - lo) / 2;
    DWORD midKey = At(mid)->entry->key;
    if (key > midKey) {
      lo = mid;
    } else if (key == midKey) {
      *position = mid;
      return true;
    } else {
      hi = mid;
    }
  }
  while (lo < hi) {
    DWORD atKey = At(lo)->entry->key;
    if (atKey == key) {
      *position = lo;
      return true;
    }
    if (atKey > key) break;
    ++lo;
  }
  *position = lo;
  return false;
}

MailIndexEntry* MailIndex::Find(DWORD key) {
  DWORD position = 0;
  return Search(key, &position) ? At(position)->entry : nullptr;
}

void MailIndex::InsertBefore(Node* before, DWORD position, Node* node) {
  if (before == nullptr) {
    node->previous = tail_;
    if (tail_ != nullptr) tail_->next = node;
    tail_ = node;
    if (head_ == nullptr) head_ = node;
  } else {
    node->next = before;
    node->previous = before->previous;
    if (before->previous != nullptr) {
      before->previous->next = node;
    } else {
      head_ = node;
    }
    before->previous = node;
  }
  ++count_;
  // The cursor keeps its node, which moved one place on when the new node
  // went in before it.
  if (cursorNode_ != nullptr && position <= cursor_) ++cursor_;
}

void MailIndex::Insert(const BYTE* entryId) {
  DWORD key = RecordKeyOf(entryId);
  Node* before = nullptr;
  DWORD position = count_;
  if (count_ != 0 && tail_->entry->key >= key) {
    if (Search(key, &position)) {
      std::memcpy(At(position)->entry->entryId, entryId, kEntryIdSize);
      return;
    }
    before = position < count_ ? At(position) : nullptr;
  }
  auto* entry = new MailIndexEntry;
  entry->key = key;
  std::memcpy(entry->entryId, entryId, kEntryIdSize);
  auto* node = new Node;
  node->entry = entry;
  InsertBefore(before, position, node);
}

void MailIndex::Unlink(Node* node, DWORD position) {
  if (node->previous != nullptr) {
    node->previous->next = node->next;
  } else {
    head_ = node->next;
  }
  if (node->next != nullptr) {
    node->next->previous = node->previous;
  } else {
    tail_ = node->previous;
  }
  --count_;
  if (cursorNode_ == node) {
    cursorNode_ = nullptr;
    cursor_ = 0;
  } else if (cursorNode_ != nullptr && position < cursor_) {
    --cursor_;
  }
  delete node->entry;
  delete node;
}

bool MailIndex::Remove(DWORD key) {
  DWORD position = 0;
  if (!Search(key, &position)) return false;
  Unlink(At(position), position);
  return true;
}

void MailIndex::Clear() {
  Node* node = head_;
  while (node != nullptr) {
    Node* next = node->next;
    delete node->entry;
    delete node;
    node = next;
  }
  head_ = tail_ = nullptr;
  count_ = 0;
  cursorNode_ = nullptr;
  cursor_ = 0;
}

}  // namespace agent
