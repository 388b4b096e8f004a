// The handheld's messaging interfaces (MAPI) as far as the mail handler uses
// them: the session, the message store, folders, contents and recipient
// tables, messages, attachments and property streams.
//
// The library "CEMAPI.DLL" is loaded at run time: LoadLibraryW, then
// GetProcAddressW of "MAPILogonEx", "MAPIFreeBuffer" and "FreeProws", each
// cast to its type below. Property values, tag arrays and row sets that the
// store hands out belong to the store's allocator: values and tag arrays are
// returned with MAPIFreeBuffer, row sets with FreeProws. Interfaces are
// released with Release.
//
// Differences from the handheld's C layout, kept small: variable-length
// arrays (row sets, entry lists, address lists) hold a pointer to their
// elements instead of trailing storage, and a tag array has room for
// kMaxPropTags tags. Objects that come out of OpenEntry and OpenProperty as
// IUnknown are viewed as their interface with platform::MapiAs.
#ifndef VORN_PLATFORM_MAPI_H_
#define VORN_PLATFORM_MAPI_H_

#include <cstdint>

#include "platform/com.h"
#include "platform/fault.h"
#include "platform/types.h"

using SCODE = std::int32_t;
using ENTRYID = BYTE;
using LPCIID = const IID*;
using BOOKMARK = ULONG;

struct LARGE_INTEGER {
  std::int64_t QuadPart;
};
struct ULARGE_INTEGER {
  std::uint64_t QuadPart;
};

// Property tags: the upper 16 bits name the property, the lower 16 its type.
constexpr ULONG PROP_TAG(ULONG type, ULONG id) { return (id << 16) | type; }
constexpr ULONG PROP_TYPE(ULONG tag) { return tag & 0xFFFFU; }
constexpr ULONG PROP_ID(ULONG tag) { return tag >> 16; }

inline constexpr ULONG PT_LONG = 0x0003;
inline constexpr ULONG PT_ERROR = 0x000A;
inline constexpr ULONG PT_UNICODE = 0x001F;
inline constexpr ULONG PT_SYSTIME = 0x0040;
inline constexpr ULONG PT_BINARY = 0x0102;

inline constexpr ULONG PR_ENTRYID = 0x0FFF0102;
inline constexpr ULONG PR_PARENT_ENTRYID = 0x0E090102;
inline constexpr ULONG PR_IPM_WASTEBASKET_ENTRYID = 0x35E30102;
inline constexpr ULONG PR_IPM_SENTMAIL_ENTRYID = 0x35E40102;
inline constexpr ULONG PR_IPM_OUTBOX_ENTRYID = 0x35E20102;
// Store properties of this handheld naming its Drafts and Inbox folders.
inline constexpr ULONG PR_CE_IPM_DRAFTS_ENTRYID = 0x81040102;
inline constexpr ULONG PR_CE_IPM_INBOX_ENTRYID = 0x81060102;
inline constexpr ULONG PR_MESSAGE_SIZE = 0x0E080003;
inline constexpr ULONG PR_MESSAGE_DELIVERY_TIME = 0x0E060040;
inline constexpr ULONG PR_SUBJECT = 0x0037001F;
inline constexpr ULONG PR_MESSAGE_FLAGS = 0x0E070003;
inline constexpr ULONG PR_SENDER_EMAIL_ADDRESS = 0x0C1F001F;
inline constexpr ULONG PR_START_DATE = 0x00600040;
inline constexpr ULONG PR_END_DATE = 0x00610040;
inline constexpr ULONG PR_BODY = 0x1000001F;
inline constexpr ULONG PR_EMAIL_ADDRESS = 0x3003001F;
inline constexpr ULONG PR_ADDRTYPE = 0x3002001F;
inline constexpr ULONG PR_RECIPIENT_TYPE = 0x0C150003;
inline constexpr ULONG PR_ATTACH_NUM = 0x0E210003;
inline constexpr ULONG PR_ATTACH_DATA_BIN = 0x37010102;
inline constexpr ULONG PR_ATTACH_FILENAME = 0x3704001F;

inline constexpr ULONG MAPI_TO = 1;
inline constexpr ULONG MAPI_CC = 2;
inline constexpr ULONG MAPI_BCC = 3;
inline constexpr ULONG MSGFLAG_READ = 0x00000001;

// Flags.
inline constexpr ULONG MAPI_MODIFY = 0x00000001;
inline constexpr ULONG MAPI_CREATE = 0x00000002;
inline constexpr ULONG MAPI_UNICODE = 0x80000000;
inline constexpr ULONG MODRECIP_ADD = 0x00000002;
inline constexpr ULONG MNID_ID = 0;
inline constexpr ULONG MNID_STRING = 1;
inline constexpr BOOKMARK BOOKMARK_BEGINNING = 0;
inline constexpr BOOKMARK BOOKMARK_CURRENT = 1;
inline constexpr BOOKMARK BOOKMARK_END = 2;
inline constexpr DWORD STATFLAG_NONAME = 1;
inline constexpr DWORD STREAM_SEEK_SET = 0;
inline constexpr DWORD STREAM_SEEK_CUR = 1;
inline constexpr DWORD STREAM_SEEK_END = 2;
inline constexpr ULONG MAPI_STORE = 0x00000001;
inline constexpr ULONG MAPI_FOLDER = 0x00000003;
inline constexpr ULONG MAPI_MESSAGE = 0x00000005;
inline constexpr ULONG MAPI_ATTACH = 0x00000007;

// Results.
inline constexpr HRESULT MAPI_E_NOT_FOUND = static_cast<HRESULT>(0x8004010FU);
inline constexpr HRESULT MAPI_E_TIMEOUT = static_cast<HRESULT>(0x80040401U);
inline constexpr HRESULT MAPI_E_INVALID_ENTRYID =
    static_cast<HRESULT>(0x80040107U);
inline constexpr HRESULT MAPI_E_NO_SUPPORT = static_cast<HRESULT>(0x80040102U);
inline constexpr HRESULT MAPI_E_INVALID_PARAMETER = E_INVALIDARG;
inline constexpr HRESULT MAPI_W_ERRORS_RETURNED =
    static_cast<HRESULT>(0x00040380U);
inline constexpr HRESULT MAPI_E_NOT_ENOUGH_MEMORY = E_OUTOFMEMORY;

// {00020328-0000-0000-C000-000000000046}
inline constexpr GUID PS_PUBLIC_STRINGS = {
    0x00020328,
    0x0000,
    0x0000,
    {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

struct SBinary {
  ULONG cb;
  LPBYTE lpb;
};

// One property value. The member of Value that is meant is the one the
// type of ulPropTag names (PT_ERROR: err holds why the value is missing).
struct SPropValue {
  ULONG ulPropTag;
  ULONG dwAlignPad;
  union {
    LONG l;
    ULONG ul;
    LPWSTR lpszW;
    SBinary bin;
    FILETIME ft;
    SCODE err;
  } Value;
};

inline constexpr ULONG kMaxPropTags = 16;
struct SPropTagArray {
  ULONG cValues;
  ULONG aulPropTag[kMaxPropTags];
};

struct SRow {
  ULONG ulAdrEntryPad;
  ULONG cValues;
  SPropValue* lpProps;
};
struct SRowSet {
  ULONG cRows;
  SRow* aRow;
};

struct ADRENTRY {
  ULONG ulReserved1;
  ULONG cValues;
  SPropValue* rgPropVals;
};
struct ADRLIST {
  ULONG cEntries;
  ADRENTRY* aEntries;
};

struct SBinaryArray {
  ULONG cValues;
  SBinary* lpbin;
};
using ENTRYLIST = SBinaryArray;

struct MAPINAMEID {
  GUID* lpguid;
  ULONG ulKind;
  union {
    LONG lID;
    LPWSTR lpwstrName;
  } Kind;
};

struct STATSTG {
  LPWSTR pwcsName;
  DWORD type;
  ULARGE_INTEGER cbSize;
};

class IStream : public IUnknown {
 public:
  virtual HRESULT Read(void* buffer, ULONG count, ULONG* done) = 0;
  virtual HRESULT Write(const void* buffer, ULONG count, ULONG* done) = 0;
  virtual HRESULT Seek(LARGE_INTEGER move, DWORD origin,
                       ULARGE_INTEGER* position) = 0;
  virtual HRESULT Stat(STATSTG* stat, DWORD flags) = 0;

 protected:
  ~IStream() = default;
};

class IMAPITable : public IUnknown {
 public:
  virtual HRESULT SetColumns(SPropTagArray* columns, ULONG flags) = 0;
  virtual HRESULT GetRowCount(ULONG flags, ULONG* count) = 0;
  virtual HRESULT SeekRow(BOOKMARK origin, LONG rowCount, LONG* sought) = 0;
  virtual HRESULT WaitForCompletion(ULONG flags, ULONG timeout,
                                    ULONG* tableStatus) = 0;
  // The next rows from the current position (at most rowCount); the set is
  // returned with FreeProws.
  virtual HRESULT QueryRows(LONG rowCount, ULONG flags, SRowSet** rows) = 0;

 protected:
  ~IMAPITable() = default;
};

class IMAPIProp : public IUnknown {
 public:
  // A null tag array asks for every property. The values are returned with
  // MAPIFreeBuffer; a tag the object lacks comes back as PT_ERROR with
  // MAPI_E_NOT_FOUND, and the call then returns MAPI_W_ERRORS_RETURNED.
  virtual HRESULT GetProps(SPropTagArray* tags, ULONG flags, ULONG* count,
                           SPropValue** values) = 0;
  // Entries whose tag is 0 (a zeroed entry) are skipped.
  virtual HRESULT SetProps(ULONG count, SPropValue* values,
                           void** problems) = 0;
  virtual HRESULT SaveChanges(ULONG flags) = 0;
  // A stream on the property `tag`; *object is an IStream.
  virtual HRESULT OpenProperty(ULONG tag, LPCIID iid, ULONG options,
                               ULONG flags, IUnknown** object) = 0;
  // Tags of named properties; the array is returned with MAPIFreeBuffer.
  virtual HRESULT GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                                  SPropTagArray** tags) = 0;

 protected:
  ~IMAPIProp() = default;
};

class IAttach : public IMAPIProp {
 protected:
  ~IAttach() = default;
};

class IMessage : public IMAPIProp {
 public:
  virtual HRESULT GetRecipientTable(ULONG flags, IMAPITable** table) = 0;
  virtual HRESULT ModifyRecipients(ULONG flags, ADRLIST* recipients) = 0;
  virtual HRESULT GetAttachmentTable(ULONG flags, IMAPITable** table) = 0;
  virtual HRESULT OpenAttach(ULONG number, LPCIID iid, ULONG flags,
                             IAttach** attach) = 0;
  virtual HRESULT CreateAttach(LPCIID iid, ULONG flags, ULONG* number,
                               IAttach** attach) = 0;

 protected:
  ~IMessage() = default;
};

class IMAPIContainer : public IMAPIProp {
 public:
  virtual HRESULT GetContentsTable(ULONG flags, IMAPITable** table) = 0;
  // *object is an IMessage.
  virtual HRESULT OpenEntry(ULONG idSize, const ENTRYID* id, LPCIID iid,
                            ULONG flags, ULONG* objectType,
                            IUnknown** object) = 0;

 protected:
  ~IMAPIContainer() = default;
};

class IMAPIFolder : public IMAPIContainer {
 public:
  virtual HRESULT CreateMessage(LPCIID iid, ULONG flags,
                                IMessage** message) = 0;
  virtual HRESULT DeleteMessages(ENTRYLIST* messages, ULONG uiParam,
                                 void* progress, ULONG flags) = 0;

 protected:
  ~IMAPIFolder() = default;
};

class IMsgStore : public IMAPIProp {
 public:
  // *object is an IMAPIFolder or an IMessage.
  virtual HRESULT OpenEntry(ULONG idSize, const ENTRYID* id, LPCIID iid,
                            ULONG flags, ULONG* objectType,
                            IUnknown** object) = 0;

 protected:
  ~IMsgStore() = default;
};

class IMAPISession : public IUnknown {
 public:
  // idSize 0 and a null id open the default store.
  virtual HRESULT OpenMsgStore(ULONG uiParam, ULONG idSize, const ENTRYID* id,
                               LPCIID iid, ULONG flags, IMsgStore** store) = 0;

 protected:
  ~IMAPISession() = default;
};

// The exports of "CEMAPI.DLL".
using LPMAPILOGONEX = HRESULT (*)(ULONG uiParam, LPWSTR profileName,
                                  LPWSTR password, ULONG flags,
                                  IMAPISession** session);
using LPMAPIFREEBUFFER = ULONG (*)(void* buffer);
using LPFREEPROWS = void (*)(SRowSet* rows);

namespace platform {

// An export as GetProcAddressW hands it out, and back as the function it
// is. The detour through void (*)() is the conversion between function
// types that carries no assumption about either; calling through the
// result is only valid with the export's own type.
template <typename Function>
FARPROC AsFarProc(Function function) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function));
}
template <typename Function>
Function FromFarProc(FARPROC export_) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(export_));
}

// Views an object that came out of OpenEntry or OpenProperty as the
// interface the caller expects; an object of another kind is a wild call on
// the handheld and a fault here.
template <typename Interface>
Interface* MapiAs(IUnknown* object) {
  auto* typed = dynamic_cast<Interface*>(object);
  if (typed == nullptr) {
    throw Fault("MAPI object used as an interface it does not have");
  }
  return typed;
}

}  // namespace platform

#endif  // VORN_PLATFORM_MAPI_H_
