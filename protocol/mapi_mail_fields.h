// Field ids of mail records of handhelds with MAPI (data type 4, version
// test says yes) and the folder and read word (docs/wire-format.md, "Mail
// records"). Strings travel as counted UTF-16 strings, times as 16-byte
// time records in the handheld's local time, the other values as u32.
#ifndef VORN_PROTOCOL_MAPI_MAIL_FIELDS_H_
#define VORN_PROTOCOL_MAPI_MAIL_FIELDS_H_

#include <cstdint>

namespace protocol {

inline constexpr std::uint32_t kMailSender = 1;
inline constexpr std::uint32_t kMailTo = 2;
inline constexpr std::uint32_t kMailCc = 3;
inline constexpr std::uint32_t kMailBcc = 4;
inline constexpr std::uint32_t kMailSubject = 5;
inline constexpr std::uint32_t kMailTime = 6;
inline constexpr std::uint32_t kMailBody = 7;
inline constexpr std::uint32_t kMailAttachments = 8;
// Written only: the same time as id 6 (the later of the two wins).
inline constexpr std::uint32_t kMailTime2 = 9;
// Written only: a u32 the handheld keeps and never uses.
inline constexpr std::uint32_t kMailField10 = 10;
// Read only: the folder and read word. Ids 11 and 12 carry no value in a
// written record.
inline constexpr std::uint32_t kMailFolderWord = 11;
// Written only: a string the handheld reads and drops.
inline constexpr std::uint32_t kMailField13 = 13;
// Read only: 1 when the message has the named property "PR_SPLUS_WHERE".
inline constexpr std::uint32_t kMailHasWhere = 14;
// Read only: the value of that named property.
inline constexpr std::uint32_t kMailWhere = 15;
// Read only: start and end dates.
inline constexpr std::uint32_t kMailStart = 16;
inline constexpr std::uint32_t kMailEnd = 17;

// Folder codes of the folder and read word.
inline constexpr std::uint32_t kMailFolderDrafts = 0x400000;
inline constexpr std::uint32_t kMailFolderSent = 252;
inline constexpr std::uint32_t kMailFolderOutbox = 253;
inline constexpr std::uint32_t kMailFolderInbox = 254;
// Set in the word when the message has been read.
inline constexpr std::uint32_t kMailRead = 0x100000;

}  // namespace protocol

#endif  // VORN_PROTOCOL_MAPI_MAIL_FIELDS_H_
