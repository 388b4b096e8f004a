#include "device/objstore/record_table.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "device/objstore/sort_key.h"

namespace device {
namespace {

// FILETIME counts 100 ns units from 1601-01-01; the Unix epoch is this many
// units later.
constexpr std::uint64_t kUnixEpochFileTime = 116444736000000000ULL;

// Room reserved for a record's properties before reading them: enough for
// most items without growing, small enough for the allocator's quick path.
constexpr std::size_t kTypicalPropertyCount = 12;

std::string FoldedName(std::u16string_view name) {
  std::u16string folded(name);
  for (char16_t& unit : folded) unit = FoldSortCase(unit);
  return Utf16ToUtf8(folded);
}

std::span<const std::uint8_t> KeyBytes(const RecordPosition& position) {
  return position.key;
}

RecordValue ValueFromRow(Statement& row, int first) {
  RecordValue value;
  value.id = static_cast<CEPROPID>(row.Int(first));
  switch (value.type()) {
    case CEVT_R8:
      value.real = row.IsNull(first + 2) ? 0.0 : std::stod(row.Text(first + 2));
      break;
    case CEVT_LPWSTR:
      value.text = Utf8ToUtf16(row.TextView(first + 3));
      break;
    case CEVT_BLOB:
      value.bytes = row.Blob(first + 4);
      break;
    default:
      value.number = row.Int(first + 1);
      break;
  }
  return value;
}

}  // namespace

std::uint64_t CurrentFileTime() {
  auto since = std::chrono::system_clock::now().time_since_epoch();
  auto units =
      std::chrono::duration_cast<std::chrono::nanoseconds>(since).count() / 100;
  return kUnixEpochFileTime + static_cast<std::uint64_t>(units);
}

RecordTable::RecordTable(DeviceImage& image) : image_(image) {
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS objstore_databases("
      "oid INTEGER PRIMARY KEY, name TEXT NOT NULL, "
      "folded_name TEXT NOT NULL UNIQUE, type INTEGER NOT NULL, "
      "modified INTEGER NOT NULL)");
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS objstore_sort_orders("
      "db INTEGER NOT NULL, position INTEGER NOT NULL, "
      "propid INTEGER NOT NULL, flags INTEGER NOT NULL, "
      "PRIMARY KEY(db, position)) WITHOUT ROWID");
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS objstore_records("
      "oid INTEGER PRIMARY KEY, db INTEGER NOT NULL)");
  image_.Exec(
      "CREATE INDEX IF NOT EXISTS objstore_records_by_db "
      "ON objstore_records(db, oid)");
  // One row per property; R8 values are kept as text of their exact
  // decimal form so that no value changes on the way through SQLite.
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS objstore_properties("
      "record INTEGER NOT NULL, propid INTEGER NOT NULL, "
      "seq INTEGER NOT NULL, number INTEGER, real TEXT, text TEXT, "
      "bytes BLOB, PRIMARY KEY(record, propid)) WITHOUT ROWID");
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS objstore_sort_keys("
      "db INTEGER NOT NULL, sort INTEGER NOT NULL, key BLOB NOT NULL, "
      "oid INTEGER NOT NULL, PRIMARY KEY(db, sort, key, oid)) WITHOUT ROWID");
  image_.Exec(
      "CREATE INDEX IF NOT EXISTS objstore_sort_keys_by_oid "
      "ON objstore_sort_keys(oid, sort)");
}

std::optional<DatabaseInfo> RecordTable::FindDatabase(CEOID oid) {
  Statement& row = image_.Cached(
      "SELECT name, type, modified FROM objstore_databases WHERE oid=?");
  row.Bind(1, std::int64_t{oid});
  return DatabaseFrom(row, oid);
}

std::optional<DatabaseInfo> RecordTable::DatabaseFrom(Statement& row,
                                                      CEOID oid) {
  if (!row.Step()) {
    row.Reset();
    return std::nullopt;
  }
  DatabaseInfo info;
  info.oid = oid != 0 ? oid : static_cast<CEOID>(row.Int(3));
  info.name = Utf8ToUtf16(row.Text(0));
  info.type = static_cast<DWORD>(row.Int(1));
  info.modified = static_cast<std::uint64_t>(row.Int(2));
  row.Reset();
  info.sorts = SortOrders(info.oid);
  return info;
}

std::optional<CEOID> RecordTable::FindDatabaseOid(std::u16string_view name) {
  Statement& row =
      image_.Cached("SELECT oid FROM objstore_databases WHERE folded_name=?");
  row.Bind(1, FoldedName(name));
  std::optional<CEOID> oid;
  if (row.Step()) oid = static_cast<CEOID>(row.Int(0));
  row.Reset();
  return oid;
}

std::optional<DatabaseInfo> RecordTable::FindDatabaseByName(
    std::u16string_view name) {
  Statement& row = image_.Cached(
      "SELECT name, type, modified, oid FROM objstore_databases WHERE "
      "folded_name=?");
  row.Bind(1, FoldedName(name));
  return DatabaseFrom(row, 0);
}

std::vector<SortOrder> RecordTable::SortOrders(CEOID database) {
  Statement& sorts = image_.Cached(
      "SELECT propid, flags FROM objstore_sort_orders WHERE db=? "
      "ORDER BY position");
  sorts.Bind(1, std::int64_t{database});
  std::vector<SortOrder> orders;
  while (sorts.Step()) {
    orders.push_back({static_cast<CEPROPID>(sorts.Int(0)),
                      static_cast<DWORD>(sorts.Int(1))});
  }
  sorts.Reset();
  return orders;
}

CEOID RecordTable::CreateDatabase(std::u16string_view name, DWORD type,
                                  std::span<const SortOrder> sorts) {
  CEOID oid = image_.NewOid();
  image_
      .Cached(
          "INSERT INTO objstore_databases(oid, name, folded_name, type, "
          "modified) VALUES(?, ?, ?, ?, ?)")
      .Bind(1, std::int64_t{oid})
      .Bind(2, Utf16ToUtf8(name))
      .Bind(3, FoldedName(name))
      .Bind(4, std::int64_t{type})
      .Bind(5, static_cast<std::int64_t>(CurrentFileTime()))
      .Run();
  for (std::size_t i = 0; i < sorts.size(); ++i) {
    image_
        .Cached(
            "INSERT INTO objstore_sort_orders(db, position, propid, flags) "
            "VALUES(?, ?, ?, ?)")
        .Bind(1, std::int64_t{oid})
        .Bind(2, static_cast<std::int64_t>(i))
        .Bind(3, std::int64_t{sorts[i].propid})
        .Bind(4, std::int64_t{sorts[i].flags})
        .Run();
  }
  return oid;
}

void RecordTable::DeleteDatabase(CEOID oid) {
  image_
      .Prepare(
          "DELETE FROM objstore_properties WHERE record IN "
          "(SELECT oid FROM objstore_records WHERE db=?)")
      .Bind(1, std::int64_t{oid})
      .Run();
  for (const char* sql : {"DELETE FROM objstore_records WHERE db=?",
                          "DELETE FROM objstore_sort_keys WHERE db=?",
                          "DELETE FROM objstore_sort_orders WHERE db=?",
                          "DELETE FROM objstore_databases WHERE oid=?"}) {
    image_.Prepare(sql).Bind(1, std::int64_t{oid}).Run();
  }
  Touch(oid);
}

std::uint32_t RecordTable::RecordCount(CEOID database) {
  Statement& row =
      image_.Cached("SELECT COUNT(*) FROM objstore_records WHERE db=?");
  row.Bind(1, std::int64_t{database});
  std::uint32_t count = row.Step() ? static_cast<std::uint32_t>(row.Int(0)) : 0;
  row.Reset();
  return count;
}

std::uint32_t RecordTable::DataSize(CEOID database) {
  Statement& row = image_.Cached(
      "SELECT COALESCE(SUM(8 + COALESCE(LENGTH(CAST(text AS BLOB)), 0) + "
      "COALESCE(LENGTH(bytes), 0)), 0) FROM objstore_properties WHERE record "
      "IN (SELECT oid FROM objstore_records WHERE db=?)");
  row.Bind(1, std::int64_t{database});
  std::uint32_t size = row.Step() ? static_cast<std::uint32_t>(row.Int(0)) : 0;
  row.Reset();
  return size;
}

std::optional<CEOID> RecordTable::RecordParent(CEOID record) {
  Statement& row = image_.Cached("SELECT db FROM objstore_records WHERE oid=?");
  row.Bind(1, std::int64_t{record});
  std::optional<CEOID> parent;
  if (row.Step()) parent = static_cast<CEOID>(row.Int(0));
  row.Reset();
  return parent;
}

std::optional<std::u16string> RecordTable::ParentName(CEOID record) {
  Statement& row = image_.Cached(
      "SELECT d.name FROM objstore_records AS r JOIN objstore_databases AS d "
      "ON d.oid=r.db WHERE r.oid=?");
  row.Bind(1, std::int64_t{record});
  std::optional<std::u16string> name;
  if (row.Step()) name = Utf8ToUtf16(row.Text(0));
  row.Reset();
  return name;
}

std::vector<RecordValue> RecordTable::ReadRecordById(CEOID record) {
  Statement& row = image_.Cached(
      "SELECT propid, number, real, text, bytes FROM objstore_properties "
      "WHERE record=? ORDER BY propid");
  row.Bind(1, std::int64_t{record});
  std::vector<RecordValue> values;
  values.reserve(kTypicalPropertyCount);
  while (row.Step()) values.push_back(ValueFromRow(row, 0));
  row.Reset();
  return values;
}

std::vector<RecordValue> RecordTable::ReadRecord(CEOID record) {
  // The rows come in the primary key's order and are put in write order
  // here: an ORDER BY would make SQLite sort through a temporary b-tree for
  // every record read.
  Statement& row = image_.Cached(
      "SELECT propid, number, real, text, bytes, seq FROM objstore_properties "
      "WHERE record=?");
  row.Bind(1, std::int64_t{record});
  std::vector<std::pair<std::int64_t, RecordValue>> rows;
  while (row.Step()) rows.emplace_back(row.Int(5), ValueFromRow(row, 0));
  row.Reset();
  std::sort(rows.begin(), rows.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<RecordValue> values;
  values.reserve(rows.size());
  for (auto& [seq, value] : rows) values.push_back(std::move(value));
  return values;
}

CEOID RecordTable::WriteRecord(CEOID database, CEOID record,
                               std::span<const RecordValue> set,
                               std::span<const CEPROPID> remove) {
  bool added = record == 0;
  if (added) {
    record = image_.NewOid();
    image_.Cached("INSERT INTO objstore_records(oid, db) VALUES(?, ?)")
        .Bind(1, std::int64_t{record})
        .Bind(2, std::int64_t{database})
        .Run();
    image_
        .Cached(
            "INSERT INTO objstore_sort_keys(db, sort, key, oid) "
            "VALUES(?, ?, x'', ?)")
        .Bind(1, std::int64_t{database})
        .Bind(2, std::int64_t{kOidOrder})
        .Bind(3, std::int64_t{record})
        .Run();
  }
  // A new record has no properties to remove.
  for (CEPROPID id : added ? std::span<const CEPROPID>() : remove) {
    image_.Cached("DELETE FROM objstore_properties WHERE record=? AND propid=?")
        .Bind(1, std::int64_t{record})
        .Bind(2, std::int64_t{id})
        .Run();
  }
  std::int64_t seq = 0;
  for (const RecordValue& value : set) {
    // A new record's properties are numbered in the order given; a
    // record's new properties go after its last one.
    Statement& write =
        added ? image_.Cached(
                    "INSERT INTO objstore_properties(record, propid, seq, "
                    "number, real, text, bytes) VALUES(?1, ?2, ?7, ?3, ?4, "
                    "?5, ?6) ON CONFLICT(record, propid) DO UPDATE SET "
                    "number=excluded.number, real=excluded.real, "
                    "text=excluded.text, bytes=excluded.bytes")
              : image_.Cached(
                    "INSERT INTO objstore_properties(record, propid, seq, "
                    "number, real, text, bytes) VALUES(?1, ?2, (SELECT "
                    "COALESCE(MAX(seq), 0) + 1 FROM objstore_properties "
                    "WHERE record=?1), ?3, ?4, ?5, ?6) "
                    "ON CONFLICT(record, propid) DO UPDATE SET "
                    "number=excluded.number, real=excluded.real, "
                    "text=excluded.text, bytes=excluded.bytes");
    write.Bind(1, std::int64_t{record}).Bind(2, std::int64_t{value.id});
    if (added) write.Bind(7, ++seq);
    write.BindNull(3).BindNull(4).BindNull(5).BindNull(6);
    switch (value.type()) {
      case CEVT_R8: {
        char text[40];
        std::snprintf(text, sizeof(text), "%.17g", value.real);
        write.Bind(4, std::string_view(text));
        break;
      }
      case CEVT_LPWSTR:
        write.Bind(5, Utf16ToUtf8(value.text));
        break;
      case CEVT_BLOB:
        write.BindBlob(6, value.bytes);
        break;
      default:
        write.Bind(3, value.number);
        break;
    }
    write.Run();
  }
  UpdateSortKeys(database, SortOrders(database), record, added);
  Touch(database);
  return record;
}

void RecordTable::DeleteRecord(CEOID record) {
  std::optional<CEOID> parent = RecordParent(record);
  image_.Cached("DELETE FROM objstore_properties WHERE record=?")
      .Bind(1, std::int64_t{record})
      .Run();
  image_.Cached("DELETE FROM objstore_sort_keys WHERE oid=?")
      .Bind(1, std::int64_t{record})
      .Run();
  image_.Cached("DELETE FROM objstore_records WHERE oid=?")
      .Bind(1, std::int64_t{record})
      .Run();
  if (parent) Touch(*parent);
}

void RecordTable::UpdateSortKeys(CEOID database,
                                 const std::vector<SortOrder>& sorts,
                                 CEOID record, bool added) {
  for (std::size_t sort = 0; sort < sorts.size(); ++sort) {
    const SortOrder& order = sorts[sort];
    Statement& read = image_.Cached(
        "SELECT propid, number, real, text, bytes FROM objstore_properties "
        "WHERE record=? AND propid=?");
    read.Bind(1, std::int64_t{record}).Bind(2, std::int64_t{order.propid});
    std::optional<RecordValue> value;
    if (read.Step()) value = ValueFromRow(read, 0);
    read.Reset();
    std::vector<std::uint8_t> key =
        EncodeSortKey(value ? &*value : nullptr, order.flags);
    // A new record has a key in the OID order only.
    if (!added) {
      image_.Cached("DELETE FROM objstore_sort_keys WHERE oid=? AND sort=?")
          .Bind(1, std::int64_t{record})
          .Bind(2, static_cast<std::int64_t>(sort))
          .Run();
    }
    image_
        .Cached(
            "INSERT INTO objstore_sort_keys(db, sort, key, oid) "
            "VALUES(?, ?, ?, ?)")
        .Bind(1, std::int64_t{database})
        .Bind(2, static_cast<std::int64_t>(sort))
        .BindBlob(3, key)
        .Bind(4, std::int64_t{record})
        .Run();
  }
  image_.Cached("UPDATE objstore_databases SET modified=? WHERE oid=?")
      .Bind(1, static_cast<std::int64_t>(CurrentFileTime()))
      .Bind(2, std::int64_t{database})
      .Run();
}

void RecordTable::Touch(CEOID database) { ++generations_[database]; }

std::uint64_t RecordTable::Generation(CEOID database) const {
  auto it = generations_.find(database);
  return it == generations_.end() ? 0 : it->second;
}

std::optional<RecordPosition> RecordTable::PositionFrom(Statement& statement) {
  std::optional<RecordPosition> position;
  if (statement.Step()) {
    position =
        RecordPosition{statement.Blob(0), static_cast<CEOID>(statement.Int(1))};
  }
  statement.Reset();
  return position;
}

std::optional<RecordPosition> RecordTable::PositionOf(CEOID database, int sort,
                                                      CEOID record) {
  Statement& row = image_.Cached(
      "SELECT key, oid FROM objstore_sort_keys WHERE oid=? AND sort=? AND "
      "db=?");
  row.Bind(1, std::int64_t{record})
      .Bind(2, sort)
      .Bind(3, std::int64_t{database});
  return PositionFrom(row);
}

std::optional<RecordPosition> RecordTable::FromStart(CEOID database, int sort,
                                                     std::uint32_t skip) {
  Statement& row = image_.Cached(
      "SELECT key, oid FROM objstore_sort_keys WHERE db=? AND sort=? "
      "ORDER BY key, oid LIMIT 1 OFFSET ?");
  row.Bind(1, std::int64_t{database}).Bind(2, sort).Bind(3, std::int64_t{skip});
  return PositionFrom(row);
}

std::optional<RecordPosition> RecordTable::FromEnd(CEOID database, int sort,
                                                   std::uint32_t skip) {
  Statement& row = image_.Cached(
      "SELECT key, oid FROM objstore_sort_keys WHERE db=? AND sort=? "
      "ORDER BY key DESC, oid DESC LIMIT 1 OFFSET ?");
  row.Bind(1, std::int64_t{database}).Bind(2, sort).Bind(3, std::int64_t{skip});
  return PositionFrom(row);
}

std::optional<RecordPosition> RecordTable::After(CEOID database, int sort,
                                                 const RecordPosition& from,
                                                 std::uint32_t skip) {
  Statement& row = image_.Cached(
      "SELECT key, oid FROM objstore_sort_keys WHERE db=? AND sort=? AND "
      "(key, oid) > (?, ?) ORDER BY key, oid LIMIT 1 OFFSET ?");
  row.Bind(1, std::int64_t{database}).Bind(2, sort);
  row.BindBlob(3, KeyBytes(from)).Bind(4, std::int64_t{from.oid});
  row.Bind(5, std::int64_t{skip});
  return PositionFrom(row);
}

std::optional<RecordPosition> RecordTable::Before(CEOID database, int sort,
                                                  const RecordPosition& from,
                                                  std::uint32_t skip) {
  Statement& row = image_.Cached(
      "SELECT key, oid FROM objstore_sort_keys WHERE db=? AND sort=? AND "
      "(key, oid) < (?, ?) ORDER BY key DESC, oid DESC LIMIT 1 OFFSET ?");
  row.Bind(1, std::int64_t{database}).Bind(2, sort);
  row.BindBlob(3, KeyBytes(from)).Bind(4, std::int64_t{from.oid});
  row.Bind(5, std::int64_t{skip});
  return PositionFrom(row);
}

std::optional<RecordPosition> RecordTable::FirstWithKey(
    CEOID database, int sort, std::span<const std::uint8_t> key) {
  Statement& row = image_.Cached(
      "SELECT key, oid FROM objstore_sort_keys WHERE db=? AND sort=? AND "
      "key=? ORDER BY oid LIMIT 1");
  row.Bind(1, std::int64_t{database}).Bind(2, sort).BindBlob(3, key);
  return PositionFrom(row);
}

std::optional<RecordPosition> RecordTable::LastValueAtMost(
    CEOID database, int sort, std::span<const std::uint8_t> key,
    const RecordPosition* limit) {
  static const std::uint8_t kValueClass[] = {kSortKeyValueClass};
  if (limit == nullptr) {
    Statement& row = image_.Cached(
        "SELECT key, oid FROM objstore_sort_keys WHERE db=? AND sort=? AND "
        "key>=? AND key<=? ORDER BY key DESC, oid DESC LIMIT 1");
    row.Bind(1, std::int64_t{database}).Bind(2, sort);
    row.BindBlob(3, kValueClass).BindBlob(4, key);
    return PositionFrom(row);
  }
  Statement& row = image_.Cached(
      "SELECT key, oid FROM objstore_sort_keys WHERE db=? AND sort=? AND "
      "key>=? AND key<=? AND (key, oid) <= (?, ?) "
      "ORDER BY key DESC, oid DESC LIMIT 1");
  row.Bind(1, std::int64_t{database}).Bind(2, sort);
  row.BindBlob(3, kValueClass).BindBlob(4, key);
  row.BindBlob(5, KeyBytes(*limit)).Bind(6, std::int64_t{limit->oid});
  return PositionFrom(row);
}

std::optional<RecordPosition> RecordTable::FirstValueAtLeast(
    CEOID database, int sort, std::span<const std::uint8_t> key,
    const RecordPosition* limit) {
  static const std::uint8_t kPastValues[] = {kSortKeyValueClass + 1};
  if (limit == nullptr) {
    Statement& row = image_.Cached(
        "SELECT key, oid FROM objstore_sort_keys WHERE db=? AND sort=? AND "
        "key>=? AND key<? ORDER BY key, oid LIMIT 1");
    row.Bind(1, std::int64_t{database}).Bind(2, sort);
    row.BindBlob(3, key).BindBlob(4, kPastValues);
    return PositionFrom(row);
  }
  Statement& row = image_.Cached(
      "SELECT key, oid FROM objstore_sort_keys WHERE db=? AND sort=? AND "
      "key>=? AND key<? AND (key, oid) >= (?, ?) ORDER BY key, oid LIMIT 1");
  row.Bind(1, std::int64_t{database}).Bind(2, sort);
  row.BindBlob(3, key).BindBlob(4, kPastValues);
  row.BindBlob(5, KeyBytes(*limit)).Bind(6, std::int64_t{limit->oid});
  return PositionFrom(row);
}

std::uint32_t RecordTable::CountBefore(CEOID database, int sort,
                                       const RecordPosition& position) {
  Statement& row = image_.Cached(
      "SELECT COUNT(*) FROM objstore_sort_keys WHERE db=? AND sort=? AND "
      "(key, oid) < (?, ?)");
  row.Bind(1, std::int64_t{database}).Bind(2, sort);
  row.BindBlob(3, KeyBytes(position)).Bind(4, std::int64_t{position.oid});
  std::uint32_t count = row.Step() ? static_cast<std::uint32_t>(row.Int(0)) : 0;
  row.Reset();
  return count;
}

}  // namespace device
