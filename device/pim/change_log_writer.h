// The handheld's change-log writer: the component beside the object model
// that records every change of an item, so that a desktop can later ask
// which records changed since it last looked.
//
// One log per kind of data, each a record database of the object store:
//   contacts      "\VornContactLog"
//   appointments  "\VornAppointmentLog"
//   tasks         "\VornTaskLog"
//   mail          "\VornMailLog"
// An entry is one record of three CEVT_I4 properties (protocol/change_log.h):
// the changed record's OID (0x12010003), the sequence number of the change
// (0x12020003) and the change kind (0x12030003: 1 added, 2 changed,
// 3 deleted). A log is created on its first entry with database type
// kChangeLogDatabaseType and one sort order, descending on the sequence, so
// that a walk from the beginning of the log meets the newest entry first;
// the mail log has a second one, ascending on the record key, by which the
// mail handler finds a message's entries.
//
// The current sequence of a log is the REG_DWORD under HKLM
// "SOFTWARE\Orvanet" whose value name is the log's name itself (leading
// backslash included); a missing value counts as 0. Each change takes the
// next number (wrapping from 0xFFFFFFFF to 0) and stores it back there.
//
// Appending is an index insertion: no entry of the log is visited, so it
// costs O(log n) however long the log has grown. The writer runs beside the
// caller of the object model and leaves that caller's last error as it was.
#ifndef VORN_DEVICE_PIM_CHANGE_LOG_WRITER_H_
#define VORN_DEVICE_PIM_CHANGE_LOG_WRITER_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device/image/device_context.h"
#include "device/image/status.h"
#include "platform/objstore_types.h"

namespace device {

class ObjectStore;
class Registry;

// The database type the writer gives the change logs it creates.
inline constexpr DWORD kChangeLogDatabaseType = 0x30B6;

class ChangeLogWriter {
 public:
  // One entry of a log as it is stored. A property the record lacks reads
  // as 0 (kind: 2, the reader's default).
  struct Entry {
    CEOID oid = 0;
    DWORD sequence = 0;
    int kind = 0;
  };

  // The context, store and registry outlive the writer.
  ChangeLogWriter(DeviceContext& context, ObjectStore& store,
                  Registry& registry);
  ChangeLogWriter(const ChangeLogWriter&) = delete;
  ChangeLogWriter& operator=(const ChangeLogWriter&) = delete;

  // The object model's change hook: logs a change of an item of
  // olContactItem, olAppointmentItem or olTaskItem with the next sequence
  // of its log. Other item types are ignored. The outcome is kept in
  // lastStatus() (the hook itself cannot fail its caller).
  void OnChange(int itemType, CEOID oid, int kind);

  // Logs a change of the mail message `oid` with the next sequence of the
  // mail log and removes the message's earlier entries, so that the log
  // holds each message's latest change only. Fails, leaving log and
  // registry as they were, when the log cannot be created or written or
  // the registry value is no REG_DWORD.
  Status AppendMail(CEOID oid, int kind);

  // Logs a change in the log `logName` (one of the four names above) with
  // the next sequence and stores that sequence in the registry. Fails as
  // AppendMail does, and for an unknown log name.
  Status Append(std::u16string_view logName, CEOID oid, int kind);

  // Adds an entry with the given sequence and kind to `logName`, creating
  // the log when missing, and leaves the registry alone. The kind is stored
  // as it is (any 32-bit value; a reader looks at its low byte only). Fails
  // for an unknown log name or when the log cannot be created or written.
  Status AppendRaw(std::u16string_view logName, CEOID oid, DWORD sequence,
                   DWORD kind);

  // Every entry of `logName` in log order (newest first); empty when the
  // log does not exist.
  std::vector<Entry> List(std::u16string_view logName);

  // The current sequence of `logName` (0 when the registry has no value);
  // fails when the value is not a REG_DWORD.
  Result<DWORD> CurrentSequence(std::u16string_view logName);

  // The outcome of the last OnChange that logged something.
  const Status& lastStatus() const { return lastStatus_; }

  // The log of an object model item type; null for any other type.
  static const char16_t* LogNameFor(int itemType);
  // True for the four log names above (exact spelling).
  static bool IsLogName(std::u16string_view logName);

 private:
  // Opens `logName` sorted on the sequence; creates it first when missing
  // and `create` is set. INVALID_HANDLE_VALUE when it is not there (with
  // ERROR_FILE_NOT_FOUND in the last error) or cannot be made.
  HANDLE OpenLog(std::u16string_view logName, bool create);
  // Append, also giving the new entry's record OID.
  Status Append(std::u16string_view logName, CEOID oid, int kind, CEOID* entry);
  // Adds one entry; returns the entry's record OID.
  Result<CEOID> WriteEntry(std::u16string_view logName, CEOID oid,
                           DWORD sequence, DWORD kind);
  Result<DWORD> ReadSequence(std::u16string_view logName);
  Status StoreSequence(std::u16string_view logName, DWORD sequence);

  DeviceContext& context_;
  ObjectStore& store_;
  Registry& registry_;
  Status lastStatus_;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_CHANGE_LOG_WRITER_H_
