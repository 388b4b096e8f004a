// The mail handler's index of messages: a doubly linked list of entries in
// ascending order of record key, with a count and a cached cursor (a
// position and the node there) through which positioned access walks
// forward or backward, or from the head when the cursor is empty. The index
// owns its entries and nodes.
#ifndef VORN_AGENT_MAIL_MAPI_MAIL_INDEX_H_
#define VORN_AGENT_MAIL_MAPI_MAIL_INDEX_H_

#include "agent/mail/mapi/mail_index_entry.h"
#include "platform/types.h"

namespace agent {

class MailIndex {
 public:
  struct Node {
    Node* previous = nullptr;
    Node* next = nullptr;
    MailIndexEntry* entry = nullptr;
  };

  MailIndex() = default;
  MailIndex(const MailIndex&) = delete;
  MailIndex& operator=(const MailIndex&) = delete;
  ~MailIndex() { Clear(); }

  // Adds the entry identifier `entryId` (16 bytes) under its key (bytes
  // 4..7). Rows in ascending order take the fast path at the tail; a key
  // already present keeps its one entry, which takes the new identifier.
  void Insert(const BYTE* entryId);

  // The entry of `key`, or null. Binary search while two or more positions
  // are left, then a forward scan.
  MailIndexEntry* Find(DWORD key);

  // Removes the entry of `key` when present; true when it was.
  bool Remove(DWORD key);

  // Frees every entry and node; count and cursor are reset.
  void Clear();

  DWORD count() const { return count_; }
  bool empty() const { return count_ == 0; }
  // The first node (lowest key) or null; walk on with Node::next.
  const Node* head() const { return head_; }

 private:
  // The node at `position` (below count), reached from the cursor.
  Node* At(DWORD position);
  // Search result: found, or the position where the search stopped.
  bool Search(DWORD key, DWORD* position);
  // `position` is where `node` goes (before `before`, or at the tail when
  // that is null) or stands; the cursor stays on its node.
  void InsertBefore(Node* before, DWORD position, Node* node);
  void Unlink(Node* node, DWORD position);

  Node* head_ = nullptr;
  Node* tail_ = nullptr;
  DWORD count_ = 0;
  Node* cursorNode_ = nullptr;
  DWORD cursor_ = 0;
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_MAPI_MAIL_INDEX_H_
