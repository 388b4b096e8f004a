// One message of the mail index: its record key and its 16-byte entry
// identifier, whose bytes 4..7 (little-endian) are the key.
#ifndef VORN_AGENT_MAIL_MAPI_MAIL_INDEX_ENTRY_H_
#define VORN_AGENT_MAIL_MAPI_MAIL_INDEX_ENTRY_H_

#include "platform/types.h"

namespace agent {

inline constexpr DWORD kEntryIdSize = 16;

struct MailIndexEntry {
  DWORD key = 0;
  BYTE entryId[kEntryIdSize] = {};
};

// Bytes 4..7 of an entry identifier: the record key of a message, the
// folder key of a folder.
inline DWORD RecordKeyOf(const BYTE* entryId) {
  return static_cast<DWORD>(entryId[4]) |
         (static_cast<DWORD>(entryId[5]) << 8) |
         (static_cast<DWORD>(entryId[6]) << 16) |
         (static_cast<DWORD>(entryId[7]) << 24);
}

}  // namespace agent

#endif  // VORN_AGENT_MAIL_MAPI_MAIL_INDEX_ENTRY_H_
