// The object store's record databases as tables of the device image: the
// databases with their sort orders, the records with their properties, and
// one sort key per record and sort order that keeps every order in an index
// (so that seeks are index searches, never walks).
//
// This is the store's storage layer: it checks nothing the platform calls
// check (names, handles, parameters) and reports no last errors; the object
// store and the object model build on it. A failure of SQLite raises
// ImageError.
#ifndef VORN_DEVICE_OBJSTORE_RECORD_TABLE_H_
#define VORN_DEVICE_OBJSTORE_RECORD_TABLE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "device/image/device_image.h"
#include "device/objstore/record_value.h"

namespace device {

struct SortOrder {
  CEPROPID propid = 0;
  DWORD flags = 0;
};

struct DatabaseInfo {
  CEOID oid = 0;
  std::u16string name;
  DWORD type = 0;
  std::vector<SortOrder> sorts;
  // FILETIME bits of the last change.
  std::uint64_t modified = 0;
};

// A place in one order of a database: the record's sort key and OID.
struct RecordPosition {
  std::vector<std::uint8_t> key;
  CEOID oid = 0;
};

class RecordTable {
 public:
  // The order of a database by OID alone, kept beside its sort orders
  // (which are numbered 0 to 3).
  static constexpr int kOidOrder = CEDB_MAXSORTORDER;

  // Creates the tables when missing. The image outlives the table.
  explicit RecordTable(DeviceImage& image);
  RecordTable(const RecordTable&) = delete;
  RecordTable& operator=(const RecordTable&) = delete;

  // Databases. Names compare without regard to letter case.
  std::optional<DatabaseInfo> FindDatabase(CEOID oid);
  std::optional<DatabaseInfo> FindDatabaseByName(std::u16string_view name);
  // The OID alone of the database named `name` (compared without regard to
  // case).
  std::optional<CEOID> FindDatabaseOid(std::u16string_view name);
  // The sort orders of `database` in their order; empty when it has none
  // or does not exist.
  std::vector<SortOrder> SortOrders(CEOID database);
  // Creates a database with a new OID; the name must not be in use.
  CEOID CreateDatabase(std::u16string_view name, DWORD type,
                       std::span<const SortOrder> sorts);
  // Removes a database with all its records.
  void DeleteDatabase(CEOID oid);
  std::uint32_t RecordCount(CEOID database);
  // Bytes of property data held by the database's records.
  std::uint32_t DataSize(CEOID database);

  // Records.
  // The database a record belongs to; nullopt when `record` is no record.
  std::optional<CEOID> RecordParent(CEOID record);
  // The name of the database that holds `record`; nullopt when it is no
  // record.
  std::optional<std::u16string> ParentName(CEOID record);
  // Every property of the record in the order they were first written.
  std::vector<RecordValue> ReadRecord(CEOID record);
  // The same sorted by property id instead (the table's own order, read
  // without sorting).
  std::vector<RecordValue> ReadRecordById(CEOID record);
  // Writes `set` and removes `remove` on `record` of `database`, or on a new
  // record when `record` is 0; keeps every sort key current. Returns the
  // record's OID.
  CEOID WriteRecord(CEOID database, CEOID record,
                    std::span<const RecordValue> set,
                    std::span<const CEPROPID> remove);
  void DeleteRecord(CEOID record);

  // Walks of one order (`sort` 0-3 or kOidOrder) of a database. Each returns
  // nullopt when no record is there.
  std::optional<RecordPosition> PositionOf(CEOID database, int sort,
                                           CEOID record);
  // The record `skip` places after the first (from the start) or before the
  // last (from the end).
  std::optional<RecordPosition> FromStart(CEOID database, int sort,
                                          std::uint32_t skip);
  std::optional<RecordPosition> FromEnd(CEOID database, int sort,
                                        std::uint32_t skip);
  // The record `skip` + 1 places after / before `from`.
  std::optional<RecordPosition> After(CEOID database, int sort,
                                      const RecordPosition& from,
                                      std::uint32_t skip);
  std::optional<RecordPosition> Before(CEOID database, int sort,
                                       const RecordPosition& from,
                                       std::uint32_t skip);
  // The first record whose key equals `key`.
  std::optional<RecordPosition> FirstWithKey(CEOID database, int sort,
                                             std::span<const std::uint8_t> key);
  // The last record at or before `limit` (or anywhere, when null) whose key
  // is a present value at most `key`.
  std::optional<RecordPosition> LastValueAtMost(
      CEOID database, int sort, std::span<const std::uint8_t> key,
      const RecordPosition* limit);
  // The first record at or after `limit` (or anywhere, when null) whose key
  // is a present value at least `key`.
  std::optional<RecordPosition> FirstValueAtLeast(
      CEOID database, int sort, std::span<const std::uint8_t> key,
      const RecordPosition* limit);
  // How many records come before `position`.
  std::uint32_t CountBefore(CEOID database, int sort,
                            const RecordPosition& position);

  // Changes every time a record of the database is written or deleted.
  std::uint64_t Generation(CEOID database) const;

 private:
  std::optional<RecordPosition> PositionFrom(Statement& statement);
  void UpdateSortKeys(CEOID database, const std::vector<SortOrder>& sorts,
                      CEOID record, bool added);
  // The database of the row `row` steps to (name, type, modified and, when
  // `oid` is 0, its OID); nullopt when there is none. Resets `row`.
  std::optional<DatabaseInfo> DatabaseFrom(Statement& row, CEOID oid);
  void Touch(CEOID database);

  DeviceImage& image_;
  std::map<CEOID, std::uint64_t> generations_;
};

// The current time as FILETIME bits.
std::uint64_t CurrentFileTime();

}  // namespace device

#endif  // VORN_DEVICE_OBJSTORE_RECORD_TABLE_H_
