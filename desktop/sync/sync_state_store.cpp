#include "desktop/sync/sync_state_store.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string_view>

namespace desktop {
namespace {

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS meta(key TEXT PRIMARY KEY, value)"
    " WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS collections(name TEXT PRIMARY KEY)"
    " WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS items(collection TEXT, uid TEXT, oid INTEGER,"
    " file TEXT, file_hash TEXT, file_size INTEGER, file_mtime INTEGER,"
    " handheld_hash TEXT, file_checked INTEGER,"
    " PRIMARY KEY(collection, uid)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS pending(collection TEXT, position INTEGER,"
    " uid TEXT, oid INTEGER, file TEXT, file_hash TEXT, sent_hash TEXT,"
    " PRIMARY KEY(collection, position)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS pulled(collection TEXT, uid TEXT, oid INTEGER,"
    " file TEXT, file_hash TEXT, file_size INTEGER, file_mtime INTEGER,"
    " handheld_hash TEXT, file_checked INTEGER,"
    " PRIMARY KEY(collection, uid)) WITHOUT ROWID;";

// The meta row of one collection's full_mirror_pending flag.
constexpr std::string_view kPendingPrefix = "full_mirror_pending/";

// One prepared statement, finalized when it goes.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql) {
    if (sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr) != SQLITE_OK) {
      stmt_ = nullptr;
    }
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { sqlite3_finalize(stmt_); }

  bool ok() const { return stmt_ != nullptr; }
  Statement& Text(int at, std::string_view text) {
    sqlite3_bind_text(stmt_, at, text.data(), static_cast<int>(text.size()),
                      SQLITE_STATIC);
    return *this;
  }
  Statement& Int(int at, std::int64_t value) {
    sqlite3_bind_int64(stmt_, at, value);
    return *this;
  }
  // Runs a statement that returns no rows, ready to be bound again.
  bool Run() {
    int rc = sqlite3_step(stmt_);
    sqlite3_reset(stmt_);
    return rc == SQLITE_DONE;
  }
  // Steps; true while there is a row.
  bool Next() { return sqlite3_step(stmt_) == SQLITE_ROW; }
  std::string TextAt(int column) const {
    const unsigned char* text = sqlite3_column_text(stmt_, column);
    if (text == nullptr) return {};
    return {reinterpret_cast<const char*>(text),
            static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column))};
  }
  std::int64_t IntAt(int column) const {
    return sqlite3_column_int64(stmt_, column);
  }

 private:
  sqlite3_stmt* stmt_ = nullptr;
};

// The item columns after the collection: uid, oid, file, file_hash,
// file_size, file_mtime, handheld_hash, file_checked (from column `first`).
ItemState ItemAt(const Statement& row, int first) {
  ItemState item;
  item.uid = row.TextAt(first);
  item.oid = static_cast<std::uint32_t>(row.IntAt(first + 1));
  item.file = row.TextAt(first + 2);
  item.file_hash = row.TextAt(first + 3);
  item.file_size = static_cast<std::uint64_t>(row.IntAt(first + 4));
  item.file_mtime = row.IntAt(first + 5);
  item.handheld_hash = row.TextAt(first + 6);
  item.file_checked = row.IntAt(first + 7);
  return item;
}

void BindItem(Statement& statement, const std::string& collection,
              const ItemState& item) {
  statement.Text(1, collection)
      .Text(2, item.uid)
      .Int(3, item.oid)
      .Text(4, item.file)
      .Text(5, item.file_hash)
      .Int(6, static_cast<std::int64_t>(item.file_size))
      .Int(7, item.file_mtime)
      .Text(8, item.handheld_hash)
      .Int(9, item.file_checked);
}

Result<std::optional<std::string>> ReadText(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    if (errno == ENOENT) return std::optional<std::string>();
    return Status::Error("cannot open " + path + ": " + std::strerror(errno));
  }
  std::string text;
  char buffer[65536];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    text.append(buffer, n);
  }
  bool failed = std::ferror(file) != 0;
  std::fclose(file);
  if (failed) return Status::Error("cannot read " + path);
  return std::optional<std::string>(std::move(text));
}

}  // namespace

SyncStateStore::SyncStateStore(const MirrorDirectory& dir)
    : path_(dir.path() + "/" + kFileName),
      text_path_(dir.path() + "/" + kTextFileName) {}

SyncStateStore::~SyncStateStore() { sqlite3_close(db_); }

Status SyncStateStore::Failed(const std::string& what) const {
  return Status::Error(what + " " + path_ + ": " +
                       (db_ ? sqlite3_errmsg(db_) : "out of memory"));
}

Status SyncStateStore::Exec(const char* sql) {
  if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    return Failed("cannot write");
  }
  return Status::Ok();
}

Status SyncStateStore::OpenDatabase(bool create) {
  if (db_ != nullptr) return Status::Ok();
  int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX |
              (create ? SQLITE_OPEN_CREATE : 0);
  if (sqlite3_open_v2(path_.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
    Status failed = Failed("cannot open");
    sqlite3_close(db_);
    db_ = nullptr;
    return failed;
  }
  sqlite3_busy_timeout(db_, 5000);
  VORN_RETURN_IF_ERROR(Exec("PRAGMA journal_mode=WAL"));
  VORN_RETURN_IF_ERROR(Exec("PRAGMA synchronous=FULL"));
  return Exec(kSchema);
}

Result<std::optional<SyncState>> SyncStateStore::Load() {
  if (access(path_.c_str(), F_OK) == 0) {
    VORN_RETURN_IF_ERROR(OpenDatabase(false));
    Result<std::optional<SyncState>> state = LoadDatabase();
    if (!state.ok() || state->has_value()) return state;
  }
  // No database (or one made by a Save cut before its first commit).
  Result<std::optional<std::string>> text = ReadText(text_path_);
  if (!text.ok()) return text.status();
  if (!text->has_value()) return std::optional<SyncState>();
  Result<SyncState> state = SyncState::Parse(**text);
  if (!state.ok()) return state.status().WithContext(text_path_);
  text_file_ = true;
  known_ = false;
  return std::optional<SyncState>(std::move(*state));
}

Result<std::optional<SyncState>> SyncStateStore::LoadDatabase() {
  SyncState state;
  bool found = false;
  // Collections with a flag of their own; without any, the one flag of
  // an older program counts for all.
  std::map<std::string, bool> pending_full;
  {
    Statement meta(db_, "SELECT key, value FROM meta");
    if (!meta.ok()) return Failed("cannot read");
    while (meta.Next()) {
      std::string key = meta.TextAt(0);
      if (key == "partner") {
        state.partner = meta.TextAt(1);
        found = true;
      } else if (key == "machine_id") {
        state.machine_id = meta.TextAt(1);
      } else if (key == "full_mirror_pending") {
        state.full_mirror_pending = meta.IntAt(1) != 0;
      } else if (key.starts_with(kPendingPrefix)) {
        pending_full[key.substr(kPendingPrefix.size())] = meta.IntAt(1) != 0;
      } else if (key == "last_run") {
        state.last_run = meta.TextAt(1);
      } else if (key == "last_run_kind") {
        state.last_run_kind = meta.TextAt(1);
      } else if (key == "last_run_epoch") {
        state.last_run_epoch = meta.IntAt(1);
      } else if (key == "time_zone") {
        state.time_zone = meta.TextAt(1);
      }
    }
  }
  if (!found) return std::optional<SyncState>();
  Statement names(db_, "SELECT name FROM collections");
  if (!names.ok()) return Failed("cannot read");
  while (names.Next()) state.collections[names.TextAt(0)];
  if (!pending_full.empty()) {
    state.full_mirror_pending = false;
    for (auto& [name, collection] : state.collections) {
      auto flag = pending_full.find(name);
      collection.full_mirror_pending =
          flag != pending_full.end() && flag->second;
    }
  }
  for (const char* table : {"items", "pulled"}) {
    std::string sql = std::string("SELECT collection, uid, oid, file, ") +
                      "file_hash, file_size, file_mtime, handheld_hash, " +
                      "file_checked FROM " + table +
                      " ORDER BY collection, uid";
    Statement rows(db_, sql.c_str());
    if (!rows.ok()) return Failed("cannot read");
    std::map<std::string, ItemState>* into = nullptr;
    std::string current;
    while (rows.Next()) {
      std::string collection = rows.TextAt(0);
      if (into == nullptr || collection != current) {
        CollectionState& c = state.collections[collection];
        into = table == std::string_view("items") ? &c.items : &c.pulled;
        current = collection;
      }
      ItemState item = ItemAt(rows, 1);
      std::string uid = item.uid;
      into->emplace_hint(into->end(), std::move(uid), std::move(item));
    }
  }
  Statement pending(db_,
                    "SELECT collection, uid, oid, file, file_hash, sent_hash "
                    "FROM pending ORDER BY collection, position");
  if (!pending.ok()) return Failed("cannot read");
  while (pending.Next()) {
    state.collections[pending.TextAt(0)].pending.push_back(
        {pending.TextAt(1), static_cast<std::uint32_t>(pending.IntAt(2)),
         pending.TextAt(3), pending.TextAt(4), pending.TextAt(5)});
  }
  saved_ = state;
  known_ = true;
  return std::optional<SyncState>(std::move(state));
}

Status SyncStateStore::Save(const SyncState& state) {
  VORN_RETURN_IF_ERROR(OpenDatabase(true));
  VORN_RETURN_IF_ERROR(Exec("BEGIN IMMEDIATE"));
  Status written = Status::Ok();
  if (!known_) {
    written = Exec(
        "DELETE FROM meta; DELETE FROM collections; DELETE FROM items;"
        "DELETE FROM pending; DELETE FROM pulled;");
    saved_ = SyncState();
  }
  known_ = false;  // until the commit: saved_ moves ahead of the database
  if (written.ok()) written = WriteChanges(state);
  if (written.ok()) written = Exec("COMMIT");
  if (!written.ok()) {
    (void)Exec("ROLLBACK");
    return written;
  }
  known_ = true;
  if (text_file_) {
    // The database holds everything now; the old text file goes.
    if (unlink(text_path_.c_str()) != 0 && errno != ENOENT) {
      return Status::Error("cannot remove " + text_path_ + ": " +
                           std::strerror(errno));
    }
    text_file_ = false;
  }
  return Status::Ok();
}

namespace {

// Writes the rows of `now` that differ from `before` into `table` and
// makes `before` equal to `now`.
bool WriteItems(sqlite3* db, const char* table, const std::string& collection,
                const std::map<std::string, ItemState>& now,
                std::map<std::string, ItemState>& before) {
  std::string upsert_sql = std::string("INSERT OR REPLACE INTO ") + table +
                           " VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)";
  std::string delete_sql =
      std::string("DELETE FROM ") + table + " WHERE collection = ? AND uid = ?";
  std::optional<Statement> upsert, remove;
  auto put = [&](const ItemState& item) {
    if (!upsert) upsert.emplace(db, upsert_sql.c_str());
    if (!upsert->ok()) return false;
    BindItem(*upsert, collection, item);
    return upsert->Run();
  };
  auto drop = [&](const std::string& uid) {
    if (!remove) remove.emplace(db, delete_sql.c_str());
    if (!remove->ok()) return false;
    return remove->Text(1, collection).Text(2, uid).Run();
  };
  auto n = now.begin();
  auto b = before.begin();
  while (n != now.end() || b != before.end()) {
    if (b == before.end() || (n != now.end() && n->first < b->first)) {
      if (!put(n->second)) return false;
      before.emplace_hint(b, n->first, n->second);
      ++n;
    } else if (n == now.end() || b->first < n->first) {
      if (!drop(b->first)) return false;
      b = before.erase(b);
    } else {
      if (!(n->second == b->second)) {
        if (!put(n->second)) return false;
        b->second = n->second;
      }
      ++n;
      ++b;
    }
  }
  return true;
}

}  // namespace

Status SyncStateStore::WriteChanges(const SyncState& state) {
  Statement meta(db_, "INSERT OR REPLACE INTO meta VALUES(?, ?)");
  if (!meta.ok()) return Failed("cannot write");
  // Older programs read the one flag: set while any collection waits.
  bool any_pending = state.full_mirror_pending;
  for (const auto& [name, collection] : state.collections) {
    bool pending = state.full_mirror_pending || collection.full_mirror_pending;
    any_pending = any_pending || pending;
    if (!meta.Text(1, std::string(kPendingPrefix) + name)
             .Int(2, pending ? 1 : 0)
             .Run()) {
      return Failed("cannot write");
    }
  }
  bool ok =
      meta.Text(1, "partner").Text(2, state.partner).Run() &&
      meta.Text(1, "machine_id").Text(2, state.machine_id).Run() &&
      meta.Text(1, "full_mirror_pending").Int(2, any_pending ? 1 : 0).Run() &&
      meta.Text(1, "last_run").Text(2, state.last_run).Run() &&
      meta.Text(1, "last_run_kind").Text(2, state.last_run_kind).Run() &&
      meta.Text(1, "last_run_epoch").Int(2, state.last_run_epoch).Run() &&
      meta.Text(1, "time_zone").Text(2, state.time_zone).Run();
  if (!ok) return Failed("cannot write");
  saved_.partner = state.partner;
  saved_.machine_id = state.machine_id;
  saved_.full_mirror_pending = state.full_mirror_pending;
  saved_.last_run = state.last_run;
  saved_.last_run_kind = state.last_run_kind;
  saved_.last_run_epoch = state.last_run_epoch;
  saved_.time_zone = state.time_zone;

  // Collections that went: all their rows.
  for (auto it = saved_.collections.begin(); it != saved_.collections.end();) {
    if (state.collections.count(it->first) != 0) {
      ++it;
      continue;
    }
    Statement flag(db_, "DELETE FROM meta WHERE key = ?");
    if (!flag.ok() ||
        !flag.Text(1, std::string(kPendingPrefix) + it->first).Run()) {
      return Failed("cannot write");
    }
    for (const char* sql : {"DELETE FROM collections WHERE name = ?",
                            "DELETE FROM items WHERE collection = ?",
                            "DELETE FROM pending WHERE collection = ?",
                            "DELETE FROM pulled WHERE collection = ?"}) {
      Statement drop(db_, sql);
      if (!drop.ok() || !drop.Text(1, it->first).Run()) {
        return Failed("cannot write");
      }
    }
    it = saved_.collections.erase(it);
  }
  for (const auto& [name, collection] : state.collections) {
    auto [before, added] = saved_.collections.try_emplace(name);
    if (added) {
      Statement insert(db_, "INSERT OR REPLACE INTO collections VALUES(?)");
      if (!insert.ok() || !insert.Text(1, name).Run()) {
        return Failed("cannot write");
      }
    }
    CollectionState& old = before->second;
    old.full_mirror_pending = collection.full_mirror_pending;
    if (!WriteItems(db_, "items", name, collection.items, old.items) ||
        !WriteItems(db_, "pulled", name, collection.pulled, old.pulled)) {
      return Failed("cannot write");
    }
    if (collection.pending == old.pending) continue;
    Statement clear(db_, "DELETE FROM pending WHERE collection = ?");
    if (!clear.ok() || !clear.Text(1, name).Run()) {
      return Failed("cannot write");
    }
    Statement insert(db_, "INSERT INTO pending VALUES(?, ?, ?, ?, ?, ?, ?)");
    if (!insert.ok()) return Failed("cannot write");
    std::int64_t position = 0;
    for (const PendingWrite& write : collection.pending) {
      if (!insert.Text(1, name)
               .Int(2, position++)
               .Text(3, write.uid)
               .Int(4, write.oid)
               .Text(5, write.file)
               .Text(6, write.file_hash)
               .Text(7, write.sent_hash)
               .Run()) {
        return Failed("cannot write");
      }
    }
    old.pending = collection.pending;
  }
  return Status::Ok();
}

}  // namespace desktop
