// The two forms of a message's attachment list on the wire. Read from the
// handheld, the list is line-separated pairs: "FIRST\nSECOND\n" per
// attachment. Written by the desktop, it is counted: the number of
// attachments, one separator character, then per attachment a decimal
// length, one separator character and that many characters, for the first
// and then the second string (for example "1;4;a.gz;9;\\tmp\\a.gz").
#ifndef VORN_AGENT_MAIL_STORE_ATTACHMENT_LIST_H_
#define VORN_AGENT_MAIL_STORE_ATTACHMENT_LIST_H_

#include <string>
#include <vector>

#include "platform/types.h"

namespace agent {

// The most attachments one written message takes; larger counts are cut.
inline constexpr DWORD kMaxWrittenAttachments = 64;
// The room for an attachment's first string, in characters.
inline constexpr std::size_t kAttachmentNameChars = 260;

struct AttachmentStrings {
  std::u16string first;
  std::u16string second;
};

// Parses a counted list. Numbers are read as far as their decimal digits go
// (none reads as 0); a first string is cut to kAttachmentNameChars. Parsing
// stops at the end of the text: the attachments read whole until then are
// returned.
std::vector<AttachmentStrings> ParseWrittenAttachmentList(LPCWSTR text);

}  // namespace agent

#endif  // VORN_AGENT_MAIL_STORE_ATTACHMENT_LIST_H_
