// "msgstore.dll" of the emulated handheld: the message store's exports by
// ordinal (platform/msgstore.h) over the messages of MessageStore.
//
// The exports are plain functions, so they find their handheld through the
// library whose export was handed out last (as a module's code reaches its
// own process); called after that handheld is gone they fault.
//
// What the library allocates inside a caller's message record (service,
// header buffer, body, header values, attachment strings) is kept per record
// address and freed by ordinal 19 (or 17, which ends the message), by the
// next fetch into the same record, or when the library ends. Header fields
// set with ordinal 24 are kept for the record until its next add or update.
// Fetching by OID ignores the folder byte of the flag word; with
// kMsgStoreFetchAll the whole message is returned, else its state (OID and
// flag word) only. Ordinal 18 drops the attachment's entry and leaves any
// file it names alone.
//
// Faults: "msgstore-open-fails" (ordinal 3 fails), "msgstore-write-fails"
// (ordinals 8 and 16 fail and change nothing).
#ifndef VORN_DEVICE_MSGSTORE_MSGSTORE_LIBRARY_H_
#define VORN_DEVICE_MSGSTORE_MSGSTORE_LIBRARY_H_

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "device/image/device_context.h"
#include "device/msgstore/message_store.h"
#include "platform/msgstore.h"

namespace device {

class MsgStoreLibrary {
 public:
  // The context and the store outlive the library.
  MsgStoreLibrary(DeviceContext& context, MessageStore& store);
  MsgStoreLibrary(const MsgStoreLibrary&) = delete;
  MsgStoreLibrary& operator=(const MsgStoreLibrary&) = delete;
  ~MsgStoreLibrary();

  // GetProcAddressW of the module: the export of an ordinal, or null (also
  // for every name: the library exports by ordinal only).
  FARPROC Export(LPCWSTR name);

  // The conversation's caller is gone: what it held is freed.
  void EndConversation();

  // What the library still holds for callers' records (0 once everything
  // was freed).
  std::size_t LiveRecordCount() const { return records_.size(); }

 private:
  struct RecordState;

  static MsgStoreLibrary& Current();
  RecordState& StateOf(MsgStoreMessage* message);
  void Release(MsgStoreMessage* message);
  // Header fields set for the record end with its add or update (whether
  // that succeeded or not).
  void EndPendingHeaders(MsgStoreMessage* message);
  LPWSTR Keep(RecordState& state, const std::u16string& text);
  // The header text of the record: the fields set since its last write, or
  // its header buffer.
  std::u16string HeadersOf(MsgStoreMessage* message);
  DWORD* LastErrorOf(HANDLE store);
  bool Fill(MsgStoreMessage* message, const StoredMessage& stored,
            DWORD request);
  StoredMessage FromRecord(MsgStoreMessage* message);

  static DWORD LastError(HANDLE store);
  static BOOL Open(HANDLE* store, DWORD mode);
  static BOOL AddMessage(HANDLE store, MsgStoreMessage* message);
  static BOOL AddAttachment(HANDLE store, MsgStoreMessage* message,
                            MsgStoreAttachment* attachment);
  static BOOL GetMessage(HANDLE store, MsgStoreMessage* message);
  static int GetAttachment(HANDLE store, MsgStoreMessage* message,
                           MsgStoreAttachment* attachment);
  static BOOL FirstMessage(HANDLE store, MsgStoreMessage* message);
  static BOOL UpdateMessage(HANDLE store, MsgStoreMessage* message, DWORD mode);
  static BOOL DeleteMessage(HANDLE store, MsgStoreMessage* message);
  static BOOL DeleteAttachment(HANDLE store, MsgStoreMessage* message,
                               MsgStoreAttachment* attachment, DWORD mode);
  static void Free(MsgStoreMessage* message);
  static BOOL Close(HANDLE store);
  static LPCWSTR GetHeader(MsgStoreMessage* message, LPCWSTR field,
                           DWORD flags);
  static BOOL SetHeader(MsgStoreMessage* message, LPCWSTR field, LPCWSTR value);
  static int FurtherProps(HANDLE store, MsgStoreMessage* message, DWORD* count,
                          CEPROPVAL** values);

  DeviceContext& context_;
  MessageStore& store_;
  std::map<const MsgStoreMessage*, std::unique_ptr<RecordState>> records_;
};

}  // namespace device

#endif  // VORN_DEVICE_MSGSTORE_MSGSTORE_LIBRARY_H_
