// Conformance tests of the change-log writer, checked through the object
// store's and the registry's platform calls alone.
#include "device/pim/change_log_writer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "device/objstore/object_store.h"
#include "device/pim/outlook_app.h"
#include "device/registry/registry.h"
#include "platform/api.h"
#include "protocol/change_log.h"

namespace device {
namespace {

constexpr BYTE kSentinel = 0xBD;
constexpr DWORD kSentinelDword = 0xBDBDBDBD;

struct LoggedEntry {
  LONG oid;
  LONG sequence;
  LONG kind;
};

class ChangeLogWriterTest : public ::testing::Test {
 protected:
  ChangeLogWriterTest()
      : image_(DeviceImage::InMemory()),
        faults_(*image_),
        context_{*image_, handles_, faults_, ERROR_SUCCESS},
        store_(context_),
        registry_(context_),
        writer_(context_, store_, registry_) {}

  // The registry value of `name` under HKLM "SOFTWARE\Orvanet": the Win32
  // result, and the type and data the query left.
  LONG QuerySequence(const char16_t* name, DWORD* type, BYTE (&data)[8],
                     DWORD* size) {
    std::memset(data, kSentinel, sizeof(data));
    *type = kSentinelDword;
    *size = sizeof(data);
    HKEY key = 0;
    LONG opened = registry_.RegOpenKeyExW(
        HKEY_LOCAL_MACHINE, protocol::kOrvanetKey, 0, KEY_READ, &key);
    if (opened != ERROR_SUCCESS) return opened;
    LONG result =
        registry_.RegQueryValueExW(key, name, nullptr, type, data, size);
    registry_.RegCloseKey(key);
    return result;
  }

  DWORD SequenceOf(const char16_t* name) {
    DWORD type = 0;
    BYTE data[8];
    DWORD size = 0;
    EXPECT_EQ(QuerySequence(name, &type, data, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, REG_DWORD);
    EXPECT_EQ(size, 4u);
    return data[0] | (data[1] << 8) | (data[2] << 16) |
           (static_cast<DWORD>(data[3]) << 24);
  }

  void SetSequence(const char16_t* name, DWORD type, const BYTE* data,
                   DWORD size) {
    HKEY key = 0;
    ASSERT_EQ(registry_.RegCreateKeyExW(HKEY_LOCAL_MACHINE,
                                        protocol::kOrvanetKey, 0, nullptr, 0,
                                        KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(registry_.RegSetValueExW(key, name, 0, type, data, size),
              ERROR_SUCCESS);
    registry_.RegCloseKey(key);
  }

  // Walks a log the way its reader does: opened on the sequence order, from
  // CEDB_SEEK_BEGINNING one entry at a time.
  std::vector<LoggedEntry> Walk(const char16_t* name) {
    std::vector<LoggedEntry> entries;
    CEOID oid = 0;
    HANDLE log =
        store_.CeOpenDatabase(&oid, name, protocol::kLogEntrySequence, 0, 0);
    if (log == INVALID_HANDLE_VALUE) return entries;
    DWORD index = kSentinelDword;
    CEOID record = store_.CeSeekDatabase(log, CEDB_SEEK_BEGINNING, 0, &index);
    while (record != 0) {
      WORD count = 0;
      LPBYTE buffer = nullptr;
      DWORD size = 0;
      EXPECT_NE(store_.CeReadRecordProps(log, CEDB_ALLOWREALLOC, &count,
                                         nullptr, &buffer, &size),
                0u);
      LoggedEntry entry = {-1, -1, -1};
      for (WORD i = 0; i < count; ++i) {
        CEPROPVAL value;
        std::memcpy(&value, buffer + i * sizeof(CEPROPVAL), sizeof(value));
        if (value.propid == protocol::kLogEntryOid) entry.oid = value.val.lVal;
        if (value.propid == protocol::kLogEntrySequence) {
          entry.sequence = value.val.lVal;
        }
        if (value.propid == protocol::kLogEntryKind) {
          entry.kind = value.val.lVal;
        }
      }
      LocalFree(buffer);
      entries.push_back(entry);
      record = store_.CeSeekDatabase(log, CEDB_SEEK_CURRENT, 1, &index);
    }
    EXPECT_EQ(context_.lastError, ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(handles_.Close(log), true);
    return entries;
  }

  std::unique_ptr<DeviceImage> image_;
  HandleTable handles_;
  FaultSet faults_;
  DeviceContext context_;
  ObjectStore store_;
  Registry registry_;
  ChangeLogWriter writer_;
};

TEST_F(ChangeLogWriterTest, FirstChangeCreatesLogSortedNewestFirst) {
  CEOID oid = 0;
  EXPECT_EQ(store_.CeOpenDatabase(&oid, protocol::kContactLog, 0, 0, 0),
            INVALID_HANDLE_VALUE);
  writer_.OnChange(olContactItem, 0x1234, 1);
  ASSERT_TRUE(writer_.lastStatus().ok()) << writer_.lastStatus().message();

  HANDLE log = store_.CeOpenDatabase(&oid, protocol::kContactLog, 0, 0, 0);
  ASSERT_NE(log, INVALID_HANDLE_VALUE);
  handles_.Close(log);
  CEOIDINFO info;
  std::memset(&info, kSentinel, sizeof(info));
  ASSERT_EQ(store_.CeOidGetInfo(oid, &info), TRUE);
  EXPECT_EQ(info.wObjType, OBJTYPE_DATABASE);
  EXPECT_EQ(info.infDatabase.dwDbaseType, kChangeLogDatabaseType);
  EXPECT_EQ(info.infDatabase.wNumRecords, 1);
  ASSERT_EQ(info.infDatabase.wNumSortOrder, 1);
  EXPECT_EQ(info.infDatabase.rgSortSpecs[0].propid,
            protocol::kLogEntrySequence);
  EXPECT_EQ(info.infDatabase.rgSortSpecs[0].dwFlags, CEDB_SORT_DESCENDING);
}

TEST_F(ChangeLogWriterTest, EachItemTypeHasItsOwnLogAndSequence) {
  writer_.OnChange(olContactItem, 101, 1);
  writer_.OnChange(olContactItem, 102, 1);
  writer_.OnChange(olAppointmentItem, 201, 1);
  writer_.OnChange(olTaskItem, 301, 1);
  writer_.OnChange(olContactItem, 101, 2);
  writer_.OnChange(olTaskItem, 301, 3);

  EXPECT_EQ(SequenceOf(protocol::kContactLog), 3u);
  EXPECT_EQ(SequenceOf(protocol::kAppointmentLog), 1u);
  EXPECT_EQ(SequenceOf(protocol::kTaskLog), 2u);

  std::vector<LoggedEntry> contacts = Walk(protocol::kContactLog);
  ASSERT_EQ(contacts.size(), 3u);
  EXPECT_EQ(contacts[0].sequence, 3);
  EXPECT_EQ(contacts[0].oid, 101);
  EXPECT_EQ(contacts[0].kind, 2);
  EXPECT_EQ(contacts[1].sequence, 2);
  EXPECT_EQ(contacts[1].oid, 102);
  EXPECT_EQ(contacts[2].sequence, 1);
  EXPECT_EQ(contacts[2].oid, 101);
  EXPECT_EQ(contacts[2].kind, 1);

  std::vector<LoggedEntry> appointments = Walk(protocol::kAppointmentLog);
  ASSERT_EQ(appointments.size(), 1u);
  EXPECT_EQ(appointments[0].oid, 201);
  EXPECT_EQ(appointments[0].sequence, 1);

  std::vector<LoggedEntry> tasks = Walk(protocol::kTaskLog);
  ASSERT_EQ(tasks.size(), 2u);
  EXPECT_EQ(tasks[0].sequence, 2);
  EXPECT_EQ(tasks[0].kind, 3);
  EXPECT_EQ(tasks[1].sequence, 1);
  EXPECT_EQ(tasks[1].kind, 1);

  // Mail is untouched: no log and no value.
  DWORD type = 0;
  BYTE data[8];
  DWORD size = 0;
  EXPECT_EQ(QuerySequence(protocol::kMailLog, &type, data, &size),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(type, kSentinelDword);
  EXPECT_EQ(data[0], kSentinel);
  EXPECT_TRUE(Walk(protocol::kMailLog).empty());
}

TEST_F(ChangeLogWriterTest, SequenceContinuesFromRegistryValue) {
  const BYTE fortyOne[4] = {41, 0, 0, 0};
  SetSequence(protocol::kContactLog, REG_DWORD, fortyOne, 4);
  writer_.OnChange(olContactItem, 7, 2);
  ASSERT_TRUE(writer_.lastStatus().ok());
  EXPECT_EQ(SequenceOf(protocol::kContactLog), 42u);
  std::vector<LoggedEntry> entries = Walk(protocol::kContactLog);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].sequence, 42);
}

TEST_F(ChangeLogWriterTest, SequenceValueOfAnotherTypeIsRefused) {
  const BYTE text[4] = {'4', 0, 0, 0};
  SetSequence(protocol::kContactLog, REG_SZ, text, 4);
  writer_.OnChange(olContactItem, 7, 2);
  EXPECT_FALSE(writer_.lastStatus().ok());
  EXPECT_TRUE(Walk(protocol::kContactLog).empty());
  EXPECT_FALSE(writer_.CurrentSequence(protocol::kContactLog).ok());
}

TEST_F(ChangeLogWriterTest, RawAppendLeavesRegistryAlone) {
  ASSERT_TRUE(writer_.AppendRaw(protocol::kTaskLog, 55, 9, 3).ok());
  DWORD type = 0;
  BYTE data[8];
  DWORD size = 0;
  EXPECT_EQ(QuerySequence(protocol::kTaskLog, &type, data, &size),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(type, kSentinelDword);
  EXPECT_EQ(data[0], kSentinel);

  // The counter still starts from a missing value (0).
  writer_.OnChange(olTaskItem, 56, 1);
  ASSERT_TRUE(writer_.lastStatus().ok());
  EXPECT_EQ(SequenceOf(protocol::kTaskLog), 1u);
  std::vector<ChangeLogWriter::Entry> entries =
      writer_.List(protocol::kTaskLog);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].sequence, 9u);
  EXPECT_EQ(entries[0].oid, 55u);
  EXPECT_EQ(entries[0].kind, 3);
  EXPECT_EQ(entries[1].sequence, 1u);
  EXPECT_EQ(entries[1].oid, 56u);
  EXPECT_EQ(entries[1].kind, 1);
}

TEST_F(ChangeLogWriterTest, ListGivesLogOrderNewestFirst) {
  for (DWORD sequence : {5u, 12u, 1u, 11u}) {
    ASSERT_TRUE(
        writer_.AppendRaw(protocol::kContactLog, 100 + sequence, sequence, 2)
            .ok());
  }
  std::vector<ChangeLogWriter::Entry> entries =
      writer_.List(protocol::kContactLog);
  ASSERT_EQ(entries.size(), 4u);
  EXPECT_EQ(entries[0].sequence, 12u);
  EXPECT_EQ(entries[1].sequence, 11u);
  EXPECT_EQ(entries[2].sequence, 5u);
  EXPECT_EQ(entries[3].sequence, 1u);
  EXPECT_EQ(entries[3].oid, 101u);
  EXPECT_EQ(handles_.OpenCount(), 0u);
}

TEST_F(ChangeLogWriterTest, EntryWithoutKindListsAsChanged) {
  ASSERT_TRUE(writer_.AppendRaw(protocol::kContactLog, 1, 1, 1).ok());
  CEOID oid = 0;
  HANDLE log = store_.CeOpenDatabase(&oid, protocol::kContactLog, 0, 0, 0);
  ASSERT_NE(log, INVALID_HANDLE_VALUE);
  CEPROPVAL values[2];
  std::memset(values, 0, sizeof(values));
  values[0].propid = protocol::kLogEntryOid;
  values[0].val.lVal = 77;
  values[1].propid = protocol::kLogEntrySequence;
  values[1].val.lVal = 2;
  ASSERT_NE(store_.CeWriteRecordProps(log, 0, 2, values), 0u);
  handles_.Close(log);
  std::vector<ChangeLogWriter::Entry> entries =
      writer_.List(protocol::kContactLog);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].oid, 77u);
  EXPECT_EQ(entries[0].kind, 2);
}

TEST_F(ChangeLogWriterTest, MissingLogListsEmptyAndUnknownNamesFail) {
  EXPECT_TRUE(writer_.List(protocol::kMailLog).empty());
  EXPECT_FALSE(writer_.AppendRaw(u"\\Elsewhere", 1, 1, 1).ok());
  EXPECT_FALSE(writer_.Append(u"\\vorncontactlog", 1, 1).ok());
  ASSERT_TRUE(writer_.CurrentSequence(protocol::kContactLog).ok());
  EXPECT_EQ(*writer_.CurrentSequence(protocol::kContactLog), 0u);
  CEOID oid = 0;
  EXPECT_EQ(store_.CeOpenDatabase(&oid, u"\\Elsewhere", 0, 0, 0),
            INVALID_HANDLE_VALUE);
}

TEST_F(ChangeLogWriterTest, MailHasItsOwnLog) {
  ASSERT_TRUE(writer_.AppendMail(900, 1).ok());
  ASSERT_TRUE(writer_.AppendMail(901, 3).ok());
  EXPECT_EQ(SequenceOf(protocol::kMailLog), 2u);
  std::vector<LoggedEntry> entries = Walk(protocol::kMailLog);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].oid, 901);
  EXPECT_EQ(entries[0].kind, 3);
}

TEST_F(ChangeLogWriterTest, OtherItemTypesAreIgnored) {
  writer_.OnChange(99, 1, 1);
  EXPECT_TRUE(writer_.lastStatus().ok());
  for (const char16_t* name : {protocol::kContactLog, protocol::kAppointmentLog,
                               protocol::kTaskLog, protocol::kMailLog}) {
    EXPECT_TRUE(writer_.List(name).empty());
  }
}

TEST_F(ChangeLogWriterTest, CallersLastErrorIsKept) {
  context_.lastError = kSentinelDword;
  writer_.OnChange(olContactItem, 1, 1);
  EXPECT_EQ(context_.lastError, kSentinelDword);
  writer_.List(protocol::kAppointmentLog);
  EXPECT_EQ(context_.lastError, kSentinelDword);
  EXPECT_EQ(handles_.OpenCount(), 0u);
}

TEST_F(ChangeLogWriterTest, ObjectModelChangesAreLoggedThroughTheHook) {
  auto* app = new OutlookApp(context_, store_);
  app->SetChangeHook([this](int itemType, CEOID oid, int kind) {
    writer_.OnChange(itemType, oid, kind);
  });
  ASSERT_EQ(app->Logon(0), S_OK);
  IDispatch* item = nullptr;
  ASSERT_EQ(app->CreateItem(olContactItem, &item), S_OK);
  IContact* contact = platform::ItemAs<IContact>(item);
  EXPECT_EQ(contact->put_FirstName(u"Ann"), S_OK);
  ASSERT_EQ(contact->Save(), S_OK);
  EXPECT_EQ(contact->put_LastName(u"Lee"), S_OK);
  ASSERT_EQ(contact->Save(), S_OK);
  LONG oid = 0;
  ASSERT_EQ(contact->get_Oid(&oid), S_OK);
  ASSERT_EQ(contact->Delete(), S_OK);
  contact->Release();
  app->Logoff();
  app->Release();

  std::vector<ChangeLogWriter::Entry> entries =
      writer_.List(protocol::kContactLog);
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].kind, OutlookApp::kItemDeleted);
  EXPECT_EQ(entries[1].kind, OutlookApp::kItemChanged);
  EXPECT_EQ(entries[2].kind, OutlookApp::kItemAdded);
  for (const ChangeLogWriter::Entry& entry : entries) {
    EXPECT_EQ(entry.oid, static_cast<CEOID>(oid));
  }
  EXPECT_EQ(SequenceOf(protocol::kContactLog), 3u);
}

TEST_F(ChangeLogWriterTest, LongLogKeepsOrderAndCount) {
  image_->Begin();
  for (CEOID i = 1; i <= 3000; ++i) {
    writer_.OnChange(olAppointmentItem, i, 2);
    ASSERT_TRUE(writer_.lastStatus().ok());
  }
  image_->Commit();
  EXPECT_EQ(SequenceOf(protocol::kAppointmentLog), 3000u);
  std::vector<ChangeLogWriter::Entry> entries =
      writer_.List(protocol::kAppointmentLog);
  ASSERT_EQ(entries.size(), 3000u);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    ASSERT_EQ(entries[i].sequence, 3000u - i);
    ASSERT_EQ(entries[i].oid, 3000u - i);
  }
}

}  // namespace
}  // namespace device
