// Conformance tests of the object store's record databases, written against
// the platform calls alone.
#include "device/objstore/object_store.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/api.h"

namespace device {
namespace {

constexpr BYTE kSentinel = 0xBD;
constexpr CEPROPID kName = 0x0001001F;     // LPWSTR
constexpr CEPROPID kNumber = 0x00020003;   // I4
constexpr CEPROPID kMissing = 0x00090013;  // UI4

class ObjectStoreTest : public ::testing::Test {
 protected:
  ObjectStoreTest()
      : image_(DeviceImage::InMemory()),
        faults_(*image_),
        context_{*image_, handles_, faults_},
        store_(context_) {}

  CEOID Create(const char16_t* name, std::vector<SORTORDERSPEC> sorts = {}) {
    return store_.CeCreateDatabase(name, 7, static_cast<WORD>(sorts.size()),
                                   sorts.empty() ? nullptr : sorts.data());
  }
  HANDLE Open(const char16_t* name, CEPROPID sort = 0, DWORD flags = 0) {
    CEOID oid = 0;
    return store_.CeOpenDatabase(&oid, name, sort, flags, 0);
  }
  CEOID Add(HANDLE db, const char16_t* name, LONG number) {
    CEPROPVAL values[2];
    std::memset(values, 0, sizeof(values));
    values[0].propid = kName;
    values[0].val.lpwstr = const_cast<LPWSTR>(name);
    values[1].propid = kNumber;
    values[1].val.lVal = number;
    return store_.CeWriteRecordProps(db, 0, 2, values);
  }
  CEOID AddNumberOnly(HANDLE db, LONG number) {
    CEPROPVAL value;
    std::memset(&value, 0, sizeof(value));
    value.propid = kNumber;
    value.val.lVal = number;
    return store_.CeWriteRecordProps(db, 0, 1, &value);
  }
  // The name of the current record (read with an allocated buffer).
  std::u16string CurrentName(HANDLE db) {
    WORD count = 1;
    CEPROPID id = kName;
    LPBYTE buffer = nullptr;
    DWORD size = 0;
    if (store_.CeReadRecordProps(db, CEDB_ALLOWREALLOC, &count, &id, &buffer,
                                 &size) == 0) {
      return u"<fail>";
    }
    CEPROPVAL value;
    std::memcpy(&value, buffer, sizeof(value));
    std::u16string name = (value.wFlags & CEDB_PROPNOTFOUND) != 0
                              ? u"<none>"
                              : std::u16string(value.val.lpwstr);
    LocalFree(buffer);
    return name;
  }
  // Names in the order of a walk with CEDB_SEEK_CURRENT.
  std::vector<std::u16string> Walk(HANDLE db) {
    std::vector<std::u16string> names;
    for (CEOID oid = store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, nullptr);
         oid != 0;
         oid = store_.CeSeekDatabase(db, CEDB_SEEK_CURRENT, 1, nullptr)) {
      names.push_back(CurrentName(db));
    }
    return names;
  }

  std::unique_ptr<DeviceImage> image_;
  HandleTable handles_;
  FaultSet faults_;
  DeviceContext context_;
  ObjectStore store_;
};

TEST_F(ObjectStoreTest, CreateRejectsBadNamesAndDuplicates) {
  context_.lastError = 0;
  EXPECT_EQ(store_.CeCreateDatabase(nullptr, 0, 0, nullptr), 0u);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
  std::u16string longName(32, u'x');
  EXPECT_EQ(store_.CeCreateDatabase(longName.c_str(), 0, 0, nullptr), 0u);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
  longName.pop_back();
  EXPECT_NE(store_.CeCreateDatabase(longName.c_str(), 0, 0, nullptr), 0u);
  EXPECT_NE(Create(u"\\Notes"), 0u);
  context_.lastError = 0;
  EXPECT_EQ(Create(u"\\NOTES"), 0u);
  EXPECT_EQ(context_.lastError, ERROR_DUP_NAME);
  SORTORDERSPEC five[5] = {};
  for (auto& s : five) s.propid = kNumber;
  EXPECT_EQ(store_.CeCreateDatabase(u"five", 0, 5, five), 0u);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
}

TEST_F(ObjectStoreTest, OpenByNameAndOid) {
  CEOID created = Create(u"Db", {{kNumber, 0}});
  CEOID oid = 0;
  HANDLE byName = store_.CeOpenDatabase(&oid, u"db", 0, 0, 0);
  ASSERT_NE(byName, INVALID_HANDLE_VALUE);
  EXPECT_EQ(oid, created);
  HANDLE byOid = store_.CeOpenDatabase(&oid, nullptr, kNumber, 0, 0);
  EXPECT_NE(byOid, INVALID_HANDLE_VALUE);
  context_.lastError = 0;
  EXPECT_EQ(store_.CeOpenDatabase(&oid, nullptr, kName, 0, 0),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
  CEOID none = 0;
  EXPECT_EQ(store_.CeOpenDatabase(&none, u"nothing", 0, 0, 0),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(context_.lastError, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(none, 0u);
  CEOID wrong = 12345;
  EXPECT_EQ(store_.CeOpenDatabase(&wrong, nullptr, 0, 0, 0),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
  context_.lastError = 0;
  EXPECT_EQ(store_.CeOpenDatabase(nullptr, u"Db", 0, 0, 0x1234),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(context_.lastError, ERROR_CALL_NOT_IMPLEMENTED);
}

TEST_F(ObjectStoreTest, ReadWithoutReallocReportsNeededSize) {
  Create(u"Db");
  HANDLE db = Open(u"Db");
  CEOID record = Add(db, u"abc", 42);
  ASSERT_NE(record, 0u);
  ASSERT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, nullptr), record);

  BYTE small[8];
  std::memset(small, kSentinel, sizeof(small));
  LPBYTE buffer = small;
  DWORD size = sizeof(small);
  WORD count = 0;
  context_.lastError = 0;
  EXPECT_EQ(store_.CeReadRecordProps(db, 0, &count, nullptr, &buffer, &size),
            0u);
  EXPECT_EQ(context_.lastError, ERROR_INSUFFICIENT_BUFFER);
  DWORD needed = 2 * sizeof(CEPROPVAL) + 4 * sizeof(char16_t);
  EXPECT_EQ(size, needed);
  EXPECT_EQ(buffer, small);
  for (BYTE b : small) EXPECT_EQ(b, kSentinel);

  alignas(CEPROPVAL) BYTE big[256];
  std::memset(big, kSentinel, sizeof(big));
  buffer = big;
  size = sizeof(big);
  count = 0;
  EXPECT_EQ(store_.CeReadRecordProps(db, 0, &count, nullptr, &buffer, &size),
            record);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(size, sizeof(big));
  CEPROPVAL values[2];
  std::memcpy(values, big, sizeof(values));
  EXPECT_EQ(values[0].propid, kName);
  EXPECT_EQ(values[0].wFlags, 0);
  EXPECT_EQ(std::u16string(values[0].val.lpwstr), u"abc");
  EXPECT_GE(reinterpret_cast<BYTE*>(values[0].val.lpwstr), big);
  EXPECT_LT(reinterpret_cast<BYTE*>(values[0].val.lpwstr), big + needed);
  EXPECT_EQ(values[1].propid, kNumber);
  EXPECT_EQ(values[1].val.lVal, 42);
  for (std::size_t i = needed; i < sizeof(big); ++i) {
    EXPECT_EQ(big[i], kSentinel) << i;
  }
}

TEST_F(ObjectStoreTest, MissingPropertiesAreFlagged) {
  Create(u"Db");
  HANDLE db = Open(u"Db");
  Add(db, u"abc", 1);
  store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, nullptr);
  CEPROPID ids[2] = {kMissing, kNumber};
  WORD count = 2;
  LPBYTE buffer = nullptr;
  DWORD size = 0;
  ASSERT_NE(store_.CeReadRecordProps(db, CEDB_ALLOWREALLOC, &count, ids,
                                     &buffer, &size),
            0u);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(size, 2 * sizeof(CEPROPVAL));
  EXPECT_EQ(count, 2);
  CEPROPVAL values[2];
  std::memcpy(values, buffer, sizeof(values));
  EXPECT_EQ(values[0].propid, kMissing);
  EXPECT_EQ(values[0].wFlags, CEDB_PROPNOTFOUND);
  EXPECT_EQ(values[1].wFlags, 0);
  EXPECT_EQ(values[1].val.lVal, 1);
  LocalFree(buffer);
}

TEST_F(ObjectStoreTest, AllocReallocGrowsTheCallersBuffer) {
  Create(u"Db");
  HANDLE db = Open(u"Db");
  Add(db, u"a longer name than fits", 1);
  store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, nullptr);
  auto* buffer = static_cast<LPBYTE>(LocalAlloc(LMEM_FIXED, 4));
  DWORD size = 4;
  WORD count = 0;
  ASSERT_NE(store_.CeReadRecordProps(db, CEDB_ALLOWREALLOC, &count, nullptr,
                                     &buffer, &size),
            0u);
  EXPECT_EQ(size, 2 * sizeof(CEPROPVAL) + 24 * sizeof(char16_t));
  CEPROPVAL value;
  std::memcpy(&value, buffer, sizeof(value));
  EXPECT_EQ(std::u16string(value.val.lpwstr), u"a longer name than fits");
  LocalFree(buffer);
}

TEST_F(ObjectStoreTest, EveryValueTypeRoundTrips) {
  Create(u"Db");
  HANDLE db = Open(u"Db");
  BYTE blob[3] = {1, 0, 255};
  CEPROPVAL in[9];
  std::memset(in, 0, sizeof(in));
  in[0].propid = 0x00010002;
  in[0].val.iVal = -5;
  in[1].propid = 0x00020012;
  in[1].val.uiVal = 65535;
  in[2].propid = 0x00030003;
  in[2].val.lVal = -70000;
  in[3].propid = 0x00040013;
  in[3].val.ulVal = 0xFFFFFFFF;
  in[4].propid = 0x00050005;
  in[4].val.dblVal = 0.1;
  in[5].propid = 0x0006000B;
  in[5].val.boolVal = TRUE;
  in[6].propid = 0x00070040;
  in[6].val.filetime = {0x89ABCDEF, 0x01234567};
  in[7].propid = 0x0008001F;
  in[7].val.lpwstr = const_cast<LPWSTR>(u"\u00e9t\u00e9 \U0001F600");
  in[8].propid = 0x00090041;
  in[8].val.blob = {3, blob};
  CEOID record = store_.CeWriteRecordProps(db, 0, 9, in);
  ASSERT_NE(record, 0u);
  ASSERT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_CEOID, record, nullptr),
            record);
  WORD count = 0;
  LPBYTE buffer = nullptr;
  DWORD size = 0;
  ASSERT_EQ(store_.CeReadRecordProps(db, CEDB_ALLOWREALLOC, &count, nullptr,
                                     &buffer, &size),
            record);
  ASSERT_EQ(count, 9);
  CEPROPVAL out[9];
  std::memcpy(out, buffer, sizeof(out));
  EXPECT_EQ(out[0].val.iVal, -5);
  EXPECT_EQ(out[1].val.uiVal, 65535);
  EXPECT_EQ(out[2].val.lVal, -70000);
  EXPECT_EQ(out[3].val.ulVal, 0xFFFFFFFFu);
  EXPECT_EQ(out[4].val.dblVal, 0.1);
  EXPECT_EQ(out[5].val.boolVal, TRUE);
  EXPECT_EQ(out[6].val.filetime.dwLowDateTime, 0x89ABCDEFu);
  EXPECT_EQ(out[6].val.filetime.dwHighDateTime, 0x01234567u);
  EXPECT_EQ(std::u16string(out[7].val.lpwstr), u"\u00e9t\u00e9 \U0001F600");
  ASSERT_EQ(out[8].val.blob.dwCount, 3u);
  EXPECT_EQ(std::memcmp(out[8].val.blob.lpb, blob, 3), 0);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(out[i].propid, in[i].propid);
  LocalFree(buffer);
}

TEST_F(ObjectStoreTest, PropDeleteRemovesAProperty) {
  Create(u"Db");
  HANDLE db = Open(u"Db");
  CEOID record = Add(db, u"x", 3);
  CEPROPVAL remove;
  std::memset(&remove, 0, sizeof(remove));
  remove.propid = kName;
  remove.wFlags = CEDB_PROPDELETE;
  EXPECT_EQ(store_.CeWriteRecordProps(db, record, 1, &remove), record);
  store_.CeSeekDatabase(db, CEDB_SEEK_CEOID, record, nullptr);
  EXPECT_EQ(CurrentName(db), u"<none>");
}

TEST_F(ObjectStoreTest, WriteRejectsForeignRecordsAndBadTypes) {
  Create(u"A");
  Create(u"B");
  HANDLE a = Open(u"A");
  HANDLE b = Open(u"B");
  CEOID inA = Add(a, u"x", 1);
  CEPROPVAL value;
  std::memset(&value, 0, sizeof(value));
  value.propid = kNumber;
  context_.lastError = 0;
  EXPECT_EQ(store_.CeWriteRecordProps(b, inA, 1, &value), 0u);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
  value.propid = 0x00010007;  // no such value type
  EXPECT_EQ(store_.CeWriteRecordProps(a, 0, 1, &value), 0u);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(store_.CeWriteRecordProps(0x999, 0, 1, &value), 0u);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(store_.CeDeleteRecord(b, inA));
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
}

TEST_F(ObjectStoreTest, SortOrdersAscendingDescendingCaseInsensitive) {
  Create(u"Db", {{kName, CEDB_SORT_CASEINSENSITIVE},
                 {kNumber, CEDB_SORT_DESCENDING},
                 {kName, 0}});
  HANDLE writer = Open(u"Db");
  Add(writer, u"bravo", 2);
  Add(writer, u"Alpha", 3);
  Add(writer, u"alpha", 1);
  Add(writer, u"Charlie", 5);
  AddNumberOnly(writer, 4);

  HANDLE byName = Open(u"Db", kName);
  EXPECT_EQ(Walk(byName),
            (std::vector<std::u16string>{u"Alpha", u"alpha", u"bravo",
                                         u"Charlie", u"<none>"}));
  HANDLE byNumber = Open(u"Db", kNumber);
  EXPECT_EQ(Walk(byNumber),
            (std::vector<std::u16string>{u"Charlie", u"<none>", u"Alpha",
                                         u"bravo", u"alpha"}));
}

TEST_F(ObjectStoreTest, UnknownFirstAndCaseSensitiveOrder) {
  Create(u"Db", {{kName, CEDB_SORT_UNKNOWNFIRST}});
  HANDLE db = Open(u"Db");
  Add(db, u"b", 1);
  Add(db, u"B", 2);
  AddNumberOnly(db, 3);
  EXPECT_EQ(Walk(db), (std::vector<std::u16string>{u"<none>", u"B", u"b"}));
}

TEST_F(ObjectStoreTest, RewrittenRecordMovesInTheOrder) {
  Create(u"Db", {{kNumber, 0}});
  HANDLE db = Open(u"Db");
  Add(db, u"one", 1);
  CEOID two = Add(db, u"two", 2);
  Add(db, u"three", 3);
  CEPROPVAL value;
  std::memset(&value, 0, sizeof(value));
  value.propid = kNumber;
  value.val.lVal = 10;
  ASSERT_EQ(store_.CeWriteRecordProps(db, two, 1, &value), two);
  EXPECT_EQ(Walk(db), (std::vector<std::u16string>{u"one", u"three", u"two"}));
}

TEST_F(ObjectStoreTest, SeekTypesAndIndexes) {
  Create(u"Db", {{kNumber, 0}});
  HANDLE db = Open(u"Db");
  CEOID r10 = Add(db, u"a", 10);
  CEOID r20 = Add(db, u"b", 20);
  CEOID r30 = Add(db, u"c", 30);
  DWORD index = 0xBDBDBDBD;
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 1, &index), r20);
  EXPECT_EQ(index, 1u);
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_END, 0, &index), r30);
  EXPECT_EQ(index, 2u);
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_CURRENT, static_cast<DWORD>(-2),
                                  &index),
            r10);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_CEOID, r30, &index), r30);
  EXPECT_EQ(index, 2u);

  index = 0xBDBDBDBD;
  context_.lastError = 0;
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_CURRENT, 1, &index), 0u);
  EXPECT_EQ(context_.lastError, ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(index, 0xBDBDBDBDu);
  WORD count = 0;
  LPBYTE buffer = nullptr;
  DWORD size = 0;
  EXPECT_EQ(store_.CeReadRecordProps(db, CEDB_ALLOWREALLOC, &count, nullptr,
                                     &buffer, &size),
            0u);
  EXPECT_EQ(context_.lastError, ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(buffer, nullptr);
  // From the end, one back is the last record.
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_CURRENT, static_cast<DWORD>(-1),
                                  nullptr),
            r30);
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 3, nullptr), 0u);
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_CEOID, 77777, nullptr), 0u);
  EXPECT_EQ(store_.CeSeekDatabase(db, 0x400, 0, nullptr), 0u);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
}

TEST_F(ObjectStoreTest, ValueSeeks) {
  Create(u"Db", {{kNumber, 0}});
  HANDLE db = Open(u"Db");
  CEOID a = Add(db, u"a", 10);
  CEOID b = Add(db, u"b", 20);
  CEOID b2 = Add(db, u"b2", 20);
  CEOID c = Add(db, u"c", 30);
  CEPROPVAL value;
  std::memset(&value, 0, sizeof(value));
  value.propid = kNumber;
  auto seek = [&](DWORD type, LONG number) {
    value.val.lVal = number;
    return store_.CeSeekDatabase(db, type, reinterpret_cast<DWORD_PTR>(&value),
                                 nullptr);
  };
  EXPECT_EQ(seek(CEDB_SEEK_VALUEFIRSTEQUAL, 20), b);
  EXPECT_EQ(seek(CEDB_SEEK_VALUENEXTEQUAL, 20), b2);
  context_.lastError = 0;
  EXPECT_EQ(seek(CEDB_SEEK_VALUENEXTEQUAL, 20), 0u);
  EXPECT_EQ(context_.lastError, ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(seek(CEDB_SEEK_VALUEFIRSTEQUAL, 25), 0u);
  EXPECT_EQ(seek(CEDB_SEEK_VALUESMALLER, 25), b2);
  store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, nullptr);
  EXPECT_EQ(seek(CEDB_SEEK_VALUEGREATER, 25), c);
  EXPECT_EQ(seek(CEDB_SEEK_VALUESMALLER, 5), 0u);
  store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, nullptr);
  EXPECT_EQ(seek(CEDB_SEEK_VALUESMALLER, 10), a);
  value.propid = kName;
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_VALUEFIRSTEQUAL,
                                  reinterpret_cast<DWORD_PTR>(&value), nullptr),
            0u);
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
}

TEST_F(ObjectStoreTest, AutoIncrementMovesAfterRead) {
  Create(u"Db");
  HANDLE writer = Open(u"Db");
  Add(writer, u"one", 1);
  Add(writer, u"two", 2);
  HANDLE db = Open(u"Db", 0, CEDB_AUTOINCREMENT);
  EXPECT_EQ(CurrentName(db), u"one");
  EXPECT_EQ(CurrentName(db), u"two");
  EXPECT_EQ(CurrentName(db), u"<fail>");
  EXPECT_EQ(context_.lastError, ERROR_NO_MORE_ITEMS);
}

TEST_F(ObjectStoreTest, DeletedCurrentRecordReportsKeyDeleted) {
  Create(u"Db");
  HANDLE db = Open(u"Db");
  CEOID one = Add(db, u"one", 1);
  Add(db, u"two", 2);
  ASSERT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_CEOID, one, nullptr), one);
  ASSERT_TRUE(store_.CeDeleteRecord(db, one));
  EXPECT_EQ(CurrentName(db), u"<fail>");
  EXPECT_EQ(context_.lastError, ERROR_KEY_DELETED);
  EXPECT_NE(store_.CeSeekDatabase(db, CEDB_SEEK_CURRENT, 1, nullptr), 0u);
  EXPECT_EQ(CurrentName(db), u"two");
}

TEST_F(ObjectStoreTest, OidInfoOfDatabasesAndRecords) {
  CEOID dbOid = Create(u"\\Contracts", {{kName, CEDB_SORT_DESCENDING}});
  HANDLE db = Open(u"\\Contracts");
  CEOID record = Add(db, u"x", 1);
  Add(db, u"y", 2);
  CEOIDINFO info;
  std::memset(&info, kSentinel, sizeof(info));
  ASSERT_TRUE(store_.CeOidGetInfo(dbOid, &info));
  EXPECT_EQ(info.wObjType, OBJTYPE_DATABASE);
  EXPECT_EQ(std::u16string(info.infDatabase.szDbaseName), u"\\Contracts");
  EXPECT_EQ(info.infDatabase.dwDbaseType, 7u);
  EXPECT_EQ(info.infDatabase.wNumRecords, 2);
  EXPECT_EQ(info.infDatabase.wNumSortOrder, 1);
  EXPECT_EQ(info.infDatabase.rgSortSpecs[0].propid, kName);
  EXPECT_EQ(info.infDatabase.rgSortSpecs[0].dwFlags, CEDB_SORT_DESCENDING);
  std::memset(&info, kSentinel, sizeof(info));
  ASSERT_TRUE(store_.CeOidGetInfo(record, &info));
  EXPECT_EQ(info.wObjType, OBJTYPE_RECORD);
  EXPECT_EQ(info.infRecord.oidParent, dbOid);
  context_.lastError = 0;
  EXPECT_FALSE(store_.CeOidGetInfo(4242, &info));
  EXPECT_EQ(context_.lastError, ERROR_INVALID_HANDLE);
  store_.SetFileInfoSource([](CEOID oid, CEOIDINFO* out) {
    if (oid != 4242) return FALSE;
    out->wObjType = OBJTYPE_FILE;
    return TRUE;
  });
  EXPECT_TRUE(store_.CeOidGetInfo(4242, &info));
  EXPECT_EQ(info.wObjType, OBJTYPE_FILE);
}

TEST_F(ObjectStoreTest, DeleteDatabaseRefusesOpenOnes) {
  CEOID oid = Create(u"Db");
  HANDLE db = Open(u"Db");
  context_.lastError = 0;
  EXPECT_FALSE(store_.CeDeleteDatabase(oid));
  EXPECT_EQ(context_.lastError, ERROR_SHARING_VIOLATION);
  handles_.Close(db);
  CEGUID volume = {};
  EXPECT_TRUE(store_.CeDeleteDatabaseEx(&volume, oid));
  EXPECT_FALSE(store_.CeDeleteDatabase(oid));
  EXPECT_EQ(context_.lastError, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Open(u"Db"), INVALID_HANDLE_VALUE);
}

TEST_F(ObjectStoreTest, CreateDatabaseExTakesTheDescription) {
  CEDBASEINFO info;
  std::memset(&info, 0, sizeof(info));
  info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDSORTSPEC;
  std::u16string name = u"\\vnNoteDb";
  std::copy(name.begin(), name.end(), info.szDbaseName);
  info.wNumSortOrder = 2;
  info.rgSortSpecs[0] = {0x00010013, 0};
  info.rgSortSpecs[1] = {0x00020040, 0};
  CEGUID volume = {};
  CEOID oid = store_.CeCreateDatabaseEx(&volume, &info);
  ASSERT_NE(oid, 0u);
  CEOIDINFO out;
  ASSERT_TRUE(store_.CeOidGetInfoEx(&volume, oid, &out));
  EXPECT_EQ(out.infDatabase.wNumSortOrder, 2);
  EXPECT_EQ(out.infDatabase.dwDbaseType, 0u);
  CEGUID other = {1, 0, 0, 0};
  context_.lastError = 0;
  EXPECT_EQ(store_.CeCreateDatabaseEx(&other, &info), 0u);
  EXPECT_EQ(context_.lastError, ERROR_CALL_NOT_IMPLEMENTED);
  EXPECT_EQ(store_.CeReadRecordPropsEx(0, 0, nullptr, nullptr, nullptr, nullptr,
                                       0x55),
            0u);
  EXPECT_EQ(context_.lastError, ERROR_CALL_NOT_IMPLEMENTED);
}

TEST_F(ObjectStoreTest, RecordsPersistInTheImage) {
  Create(u"Db", {{kNumber, CEDB_SORT_DESCENDING}});
  HANDLE db = Open(u"Db");
  Add(db, u"low", 1);
  Add(db, u"high", 9);
  handles_.Close(db);
  ObjectStore again(context_);
  CEOID oid = 0;
  HANDLE reopened = again.CeOpenDatabase(&oid, u"Db", 0, 0, 0);
  ASSERT_NE(reopened, INVALID_HANDLE_VALUE);
  WORD count = 0;
  LPBYTE buffer = nullptr;
  DWORD size = 0;
  ASSERT_NE(again.CeReadRecordProps(reopened, CEDB_ALLOWREALLOC, &count,
                                    nullptr, &buffer, &size),
            0u);
  CEPROPVAL value;
  std::memcpy(&value, buffer, sizeof(value));
  EXPECT_EQ(std::u16string(value.val.lpwstr), u"high");
  LocalFree(buffer);
}

// A walk of 100,000 records one seek at a time: every step is an index
// search, so the walk takes about as long as writing the records.
TEST_F(ObjectStoreTest, WalksALargeDatabaseByCurrentSeeks) {
  constexpr int kRecords = 100000;
  Create(u"Big", {{kNumber, CEDB_SORT_DESCENDING}});
  HANDLE db = Open(u"Big");
  image_->Begin();
  for (int i = 0; i < kRecords; ++i) AddNumberOnly(db, (i * 7919) % kRecords);
  image_->Commit();
  int seen = 0;
  LONG previous = kRecords;
  bool ordered = true;
  DWORD index = 0;
  for (CEOID oid = store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, &index);
       oid != 0;
       oid = store_.CeSeekDatabase(db, CEDB_SEEK_CURRENT, 1, &index)) {
    ordered = ordered && index == static_cast<DWORD>(seen);
    if (seen % 1000 == 0) {
      WORD count = 1;
      CEPROPID id = kNumber;
      alignas(CEPROPVAL) BYTE raw[sizeof(CEPROPVAL)];
      LPBYTE buffer = raw;
      DWORD size = sizeof(raw);
      ASSERT_EQ(store_.CeReadRecordProps(db, 0, &count, &id, &buffer, &size),
                oid);
      CEPROPVAL value;
      std::memcpy(&value, raw, sizeof(value));
      ordered = ordered && value.val.lVal < previous;
      previous = value.val.lVal;
    }
    ++seen;
  }
  EXPECT_TRUE(ordered);
  EXPECT_EQ(seen, kRecords);
  EXPECT_EQ(store_.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, nullptr) != 0,
            true);
  CEOIDINFO info;
  CEOID oid = 0;
  store_.CeSeekDatabase(db, CEDB_SEEK_END, 0, nullptr);
  ASSERT_TRUE(store_.CeOidGetInfo(
      store_.CeSeekDatabase(db, CEDB_SEEK_CURRENT, 0, nullptr), &info));
  EXPECT_EQ(info.wObjType, OBJTYPE_RECORD);
  (void)oid;
}

}  // namespace
}  // namespace device
