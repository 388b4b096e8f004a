// The handheld's older message store, "msgstore.dll", as the mail handler of
// handhelds without MAPI imports it: by ordinal only (GetProcAddressW with
// the ordinal in place of the name, see OrdinalName).
//
// A message is exchanged in a MsgStoreMessage that the caller zeroes and
// fills with what it asks for; the store fills in the rest. What a fetch
// allocates inside the record (service name, header buffer, body) belongs to
// the store and is returned with kMsgStoreFree. On the handheld the record
// is 48 bytes:
//   0 u32 reserved            4 u32 flag word        8 u32 third word
//  12 u16 body length (bytes, NUL included)         16 FILETIME date
//  24 u32 reserved           28 service name ptr    32 header buffer ptr
//  36 body text ptr          40 CEOID of the message 44 u32 reserved
// and an attachment record is 24 bytes: u32 index (from 1), u32 0, u32 0,
// pointer to the attachment's second string, pointer to its first string.
// Here the pointers are the host's own, so the records are larger.
#ifndef VORN_PLATFORM_MSGSTORE_H_
#define VORN_PLATFORM_MSGSTORE_H_

#include <cstdint>

#include "platform/objstore_types.h"
#include "platform/types.h"

struct MsgStoreMessage {
  DWORD reserved0;
  // In: what to fetch or write; out: the message's state.
  DWORD flags;
  DWORD thirdWord;
  WORD bodyLength;
  WORD reserved1;
  FILETIME date;
  DWORD reserved2;
  LPWSTR service;
  LPWSTR header;
  LPWSTR body;
  CEOID oid;
  DWORD reserved3;
};

struct MsgStoreAttachment {
  DWORD index;
  DWORD reserved0;
  DWORD reserved1;
  LPWSTR second;
  LPWSTR first;
};

// Flag words a caller passes in MsgStoreMessage::flags. The low byte selects
// the folders (0xFF: all); the high bits say how much of the message to
// fetch: its state only, or everything.
inline constexpr DWORD kMsgStoreAnyFolder = 0x000000FF;
inline constexpr DWORD kMsgStoreFetchState = 0x10000000;
inline constexpr DWORD kMsgStoreFetchAll = 0x08000000;

// The state a fetch returns in the flag word: the folder in the low byte,
// the read mark, and the mark of a message kept out of synchronisation.
inline constexpr DWORD kMsgStoreFolderMask = 0x000000FF;
inline constexpr DWORD kMsgStoreRead = 0x00010000;
inline constexpr DWORD kMsgStoreLocalOnly = 0x00020000;
inline constexpr BYTE kMsgStoreInbox = 0xFE;
inline constexpr BYTE kMsgStoreOutbox = 0xFD;
inline constexpr BYTE kMsgStoreSent = 0xFC;
inline constexpr BYTE kMsgStoreDrafts = 0xFB;
inline constexpr BYTE kMsgStoreDeleted = 0xFA;

// Ordinal 1's answer when the message asked for does not exist.
inline constexpr DWORD kMsgStoreNoSuchMessage = 16;

// The message store's exports by ordinal, with their shapes.
inline constexpr WORD kMsgStoreLastError = 1;
inline constexpr WORD kMsgStoreOpen = 3;
inline constexpr WORD kMsgStoreAddMessage = 8;
inline constexpr WORD kMsgStoreAddAttachment = 9;
inline constexpr WORD kMsgStoreGetMessage = 10;
inline constexpr WORD kMsgStoreGetAttachment = 11;
inline constexpr WORD kMsgStoreFirstMessage = 14;
inline constexpr WORD kMsgStoreUpdateMessage = 16;
inline constexpr WORD kMsgStoreDeleteMessage = 17;
inline constexpr WORD kMsgStoreDeleteAttachment = 18;
inline constexpr WORD kMsgStoreFree = 19;
inline constexpr WORD kMsgStoreClose = 20;
inline constexpr WORD kMsgStoreGetHeader = 23;
inline constexpr WORD kMsgStoreSetHeader = 24;
inline constexpr WORD kMsgStoreFurtherProps = 56;

// 1: the store's last error.
using MsgStoreLastErrorFn = DWORD (*)(HANDLE store);
// 3: opens the store into *store (mode 1); non-zero on success.
using MsgStoreOpenFn = BOOL (*)(HANDLE* store, DWORD mode);
// 8, 10, 14, 17: add, fetch by oid, fetch the first (of the folders in the
// flag word), delete; non-zero on success.
using MsgStoreMessageFn = BOOL (*)(HANDLE store, MsgStoreMessage* message);
// 9: adds an attachment to the message named by message->oid.
using MsgStoreAttachmentFn = BOOL (*)(HANDLE store, MsgStoreMessage* message,
                                      MsgStoreAttachment* attachment);
// 11: with a null attachment the number of attachments; else fetches the
// attachment attachment->index into it (non-zero when there is one).
using MsgStoreGetAttachmentFn = int (*)(HANDLE store, MsgStoreMessage* message,
                                        MsgStoreAttachment* attachment);
// 16: updates the message (mode 1).
using MsgStoreUpdateFn = BOOL (*)(HANDLE store, MsgStoreMessage* message,
                                  DWORD mode);
// 18: deletes the attachment attachment->index (mode 1).
using MsgStoreDeleteAttachmentFn = BOOL (*)(HANDLE store,
                                            MsgStoreMessage* message,
                                            MsgStoreAttachment* attachment,
                                            DWORD mode);
// 19: frees what a fetch allocated in the record, and the record's headers.
using MsgStoreFreeFn = void (*)(MsgStoreMessage* message);
// 20: closes the store.
using MsgStoreCloseFn = BOOL (*)(HANDLE store);
// 23: the value of a header field (kept until kMsgStoreFree), or null.
using MsgStoreGetHeaderFn = LPCWSTR (*)(MsgStoreMessage* message, LPCWSTR field,
                                        DWORD flags);
// 24: sets a header field for the next add or update of the record.
using MsgStoreSetHeaderFn = BOOL (*)(MsgStoreMessage* message, LPCWSTR field,
                                     LPCWSTR value);
// 56: the message's further properties; on 1 *values is a LocalAlloc'ed
// array of *count CEPROPVALs (strings inside the same block).
using MsgStoreFurtherPropsFn = int (*)(HANDLE store, MsgStoreMessage* message,
                                       DWORD* count, CEPROPVAL** values);

// An export as GetProcAddressW hands it out, and back to its own shape (the
// only shape it may be called in). The way through void (*)() is the
// compilers' agreed spelling of a cast between function types.
using GenericFunction = void (*)();
template <typename F>
FARPROC ToFarProc(F function) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<GenericFunction>(function));
}
template <typename F>
F FromFarProc(FARPROC function) {
  return reinterpret_cast<F>(reinterpret_cast<GenericFunction>(function));
}

// The name argument of GetProcAddressW that asks for an export by ordinal.
inline LPCWSTR OrdinalName(WORD ordinal) {
  return reinterpret_cast<LPCWSTR>(static_cast<std::uintptr_t>(ordinal));
}
// The ordinal GetProcAddressW was asked for, or 0 for a name.
inline WORD OrdinalOf(LPCWSTR name) {
  auto value = reinterpret_cast<std::uintptr_t>(name);
  return value <= 0xFFFF ? static_cast<WORD>(value) : 0;
}

#endif  // VORN_PLATFORM_MSGSTORE_H_
