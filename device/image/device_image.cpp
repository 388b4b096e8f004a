#include "device/image/device_image.h"

#include <sqlite3.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>

namespace device {
namespace {

// "VORN" in the SQLite header's application id.
constexpr std::int64_t kApplicationId = 0x564F524E;
constexpr std::int64_t kSchemaVersion = 1;
constexpr char kSqliteMagic[] = "SQLite format 3";

[[noreturn]] void Fail(sqlite3* db, std::string_view what) {
  throw ImageError(std::string(what) + ": " +
                   (db != nullptr ? sqlite3_errmsg(db) : "out of memory"));
}

void ExecOn(sqlite3* db, std::string_view sql) {
  std::string text(sql);
  if (sqlite3_exec(db, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail(db, "device image");
  }
}

std::int64_t PragmaValue(sqlite3* db, const char* pragma) {
  Statement statement(db, std::string("PRAGMA ") + pragma);
  return statement.Step() ? statement.Int(0) : 0;
}

// Opens a connection. An image's connection is used by one thread at a
// time (the one serving its conversation or running its command), so
// SQLite's own locking of the connection is left out; so is its count of
// memory in use, which takes a global lock on every allocation.
int OpenConnection(const char* path, sqlite3** db, int flags, const char* vfs) {
  static std::once_flag configured;
  std::call_once(configured, [] {
    // Fails harmlessly when SQLite was already started elsewhere.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  });
  return sqlite3_open_v2(path, db, flags | SQLITE_OPEN_NOMUTEX, vfs);
}

void Configure(sqlite3* db) {
  sqlite3_busy_timeout(db, 5000);
  ExecOn(db, "PRAGMA journal_mode=WAL");
  // Full sync: a reply that was answered must survive a power cut.
  ExecOn(db, "PRAGMA synchronous=FULL");
  ExecOn(db, "PRAGMA foreign_keys=ON");
}

}  // namespace

Statement::Statement(sqlite3* db, std::string_view sql) : db_(db) {
  if (sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &stmt_,
                         nullptr) != SQLITE_OK) {
    Fail(db, std::string("prepare ") + std::string(sql));
  }
}

Statement::Statement(Statement&& other) noexcept
    : db_(other.db_), stmt_(other.stmt_) {
  other.stmt_ = nullptr;
}

Statement::~Statement() { sqlite3_finalize(stmt_); }

Statement& Statement::Bind(int index, std::int64_t value) {
  sqlite3_bind_int64(stmt_, index, value);
  return *this;
}

Statement& Statement::Bind(int index, std::string_view text) {
  sqlite3_bind_text(stmt_, index, text.data(), static_cast<int>(text.size()),
                    SQLITE_TRANSIENT);
  return *this;
}

Statement& Statement::BindBlob(int index, std::span<const std::uint8_t> bytes) {
  static const std::uint8_t kEmpty = 0;
  sqlite3_bind_blob(stmt_, index, bytes.empty() ? &kEmpty : bytes.data(),
                    static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
  return *this;
}

Statement& Statement::BindNull(int index) {
  sqlite3_bind_null(stmt_, index);
  return *this;
}

bool Statement::Step() {
  int rc = sqlite3_step(stmt_);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  Fail(db_, "device image");
}

void Statement::Run() {
  while (Step()) {
  }
  Reset();
}

void Statement::Reset() {
  sqlite3_reset(stmt_);
  sqlite3_clear_bindings(stmt_);
}

bool Statement::IsNull(int column) const {
  return sqlite3_column_type(stmt_, column) == SQLITE_NULL;
}

std::int64_t Statement::Int(int column) const {
  return sqlite3_column_int64(stmt_, column);
}

std::string Statement::Text(int column) const {
  const auto* text = sqlite3_column_text(stmt_, column);
  int size = sqlite3_column_bytes(stmt_, column);
  return text == nullptr ? std::string()
                         : std::string(reinterpret_cast<const char*>(text),
                                       static_cast<std::size_t>(size));
}

std::string_view Statement::TextView(int column) const {
  const auto* text = sqlite3_column_text(stmt_, column);
  int size = sqlite3_column_bytes(stmt_, column);
  return text == nullptr ? std::string_view()
                         : std::string_view(reinterpret_cast<const char*>(text),
                                            static_cast<std::size_t>(size));
}

std::vector<std::uint8_t> Statement::Blob(int column) const {
  const auto* data =
      static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt_, column));
  int size = sqlite3_column_bytes(stmt_, column);
  return data == nullptr ? std::vector<std::uint8_t>()
                         : std::vector<std::uint8_t>(data, data + size);
}

DeviceImage::DeviceImage(sqlite3* db, std::string path)
    : db_(db), path_(std::move(path)) {}

DeviceImage::~DeviceImage() {
  cached_.clear();
  if (sqlite3_get_autocommit(db_) == 0) {
    sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  sqlite3_close(db_);
}

Result<std::unique_ptr<DeviceImage>> DeviceImage::Create(
    const std::string& path) {
  std::error_code error;
  if (std::filesystem::exists(path, error)) {
    return Status::Error(path + ": already exists");
  }
  sqlite3* db = nullptr;
  if (OpenConnection(path.c_str(), &db,
                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                     nullptr) != SQLITE_OK) {
    std::string message = path + ": cannot create: " + sqlite3_errmsg(db);
    sqlite3_close(db);
    return Status::Error(message);
  }
  std::unique_ptr<DeviceImage> image(new DeviceImage(db, path));
  try {
    Configure(db);
    image->InitializeSchema();
  } catch (const ImageError& e) {
    image.reset();
    std::filesystem::remove(path, error);
    return Status::Error(path + ": cannot create: " + e.what());
  }
  return image;
}

Result<std::unique_ptr<DeviceImage>> DeviceImage::Open(
    const std::string& path) {
  // Look at the file before SQLite does, so that a file that is not an image
  // is never touched (SQLite would happily write a journal next to it).
  std::ifstream file(path, std::ios::binary);
  if (!file) return Status::Error(path + ": cannot open device image");
  char magic[sizeof(kSqliteMagic)] = {};
  file.read(magic, sizeof(magic));
  if (!file || std::memcmp(magic, kSqliteMagic, sizeof(kSqliteMagic)) != 0) {
    return Status::Error(path + ": not a device image");
  }
  file.close();
  sqlite3* db = nullptr;
  if (OpenConnection(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) !=
      SQLITE_OK) {
    std::string message = path + ": cannot open device image: " +
                          (db ? sqlite3_errmsg(db) : "out of memory");
    sqlite3_close(db);
    return Status::Error(message);
  }
  std::unique_ptr<DeviceImage> image(new DeviceImage(db, path));
  try {
    if (PragmaValue(db, "application_id") != kApplicationId) {
      return Status::Error(path + ": not a device image");
    }
    Statement check(db, "PRAGMA quick_check");
    if (!check.Step() || check.Text(0) != "ok") {
      return Status::Error(path + ": device image is damaged");
    }
    if (PragmaValue(db, "user_version") != kSchemaVersion) {
      return Status::Error(path + ": device image of an unknown version");
    }
    Configure(db);
  } catch (const ImageError& e) {
    return Status::Error(path + ": device image is damaged (" + e.what() + ")");
  }
  return image;
}

std::unique_ptr<DeviceImage> DeviceImage::InMemory() {
  sqlite3* db = nullptr;
  if (OpenConnection(":memory:", &db,
                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                     nullptr) != SQLITE_OK) {
    Fail(db, "in-memory image");
  }
  std::unique_ptr<DeviceImage> image(new DeviceImage(db, ":memory:"));
  image->InitializeSchema();
  return image;
}

void DeviceImage::InitializeSchema() {
  ExecOn(db_, "PRAGMA application_id=" + std::to_string(kApplicationId));
  ExecOn(db_, "PRAGMA user_version=" + std::to_string(kSchemaVersion));
  ExecOn(db_,
         "CREATE TABLE IF NOT EXISTS meta(key TEXT PRIMARY KEY, value TEXT)");
  SetMeta("format", "vorn device image");
  SetMeta("next_oid", "65536");
}

Statement& DeviceImage::Cached(std::string_view sql) {
  auto found = cached_.find(sql);
  if (found != cached_.end()) {
    found->second->Reset();
    return *found->second;
  }
  return *cached_
              .emplace(std::string(sql), std::make_unique<Statement>(db_, sql))
              .first->second;
}

void DeviceImage::Exec(std::string_view sql) { ExecOn(db_, sql); }

bool DeviceImage::Begin() {
  if (InTransaction()) return false;
  if (held_) {
    ExecOn(db_, "SAVEPOINT held_step");
    inSavepoint_ = true;
  } else {
    ExecOn(db_, "BEGIN IMMEDIATE");
  }
  return true;
}

void DeviceImage::Commit() {
  if (!InTransaction()) return;
  if (held_) {
    ExecOn(db_, "RELEASE held_step");
    inSavepoint_ = false;
  } else {
    ExecOn(db_, "COMMIT");
  }
}

void DeviceImage::Rollback() {
  if (!InTransaction()) return;
  if (held_) {
    ExecOn(db_, "ROLLBACK TO held_step");
    ExecOn(db_, "RELEASE held_step");
    inSavepoint_ = false;
  } else {
    ExecOn(db_, "ROLLBACK");
  }
}

bool DeviceImage::InTransaction() const {
  if (held_) return inSavepoint_;
  return sqlite3_get_autocommit(db_) == 0;
}

void DeviceImage::Hold() {
  if (held_) return;
  Commit();
  ExecOn(db_, "BEGIN IMMEDIATE");
  held_ = true;
  inSavepoint_ = false;
}

void DeviceImage::Rewind() {
  if (!held_) return;
  for (auto& entry : cached_) entry.second->Reset();
  ExecOn(db_, "ROLLBACK");
  ExecOn(db_, "BEGIN IMMEDIATE");
  inSavepoint_ = false;
}

std::uint32_t DeviceImage::NewOid() {
  // The next OID is stored as text, like every meta value; the first one
  // handed out is 65536. The counter moves before it is read, inside one
  // transaction, so the write lock comes first and no two writers get the
  // same OID. (Two plain statements: one with a RETURNING clause builds a
  // temporary table on every call.)
  const bool own = Begin();
  Cached(
      "INSERT INTO meta(key, value) VALUES('next_oid', '65537') "
      "ON CONFLICT(key) DO UPDATE SET value=CAST(CAST(value AS INTEGER) + 1 "
      "AS TEXT)")
      .Run();
  Statement& read = Cached(
      "SELECT CAST(value AS INTEGER) - 1 FROM meta WHERE key='next_oid'");
  if (!read.Step()) Fail(db_, "device image");
  const std::int64_t next = read.Int(0);
  read.Reset();
  if (own) Commit();
  return static_cast<std::uint32_t>(next);
}

std::string DeviceImage::GetMeta(std::string_view key,
                                 std::string_view fallback) {
  Statement& statement = Cached("SELECT value FROM meta WHERE key=?");
  statement.Bind(1, key);
  std::string value =
      statement.Step() ? statement.Text(0) : std::string(fallback);
  statement.Reset();
  return value;
}

void DeviceImage::SetMeta(std::string_view key, std::string_view value) {
  Statement& statement = Cached(
      "INSERT INTO meta(key, value) VALUES(?, ?) "
      "ON CONFLICT(key) DO UPDATE SET value=excluded.value");
  statement.Bind(1, key).Bind(2, value).Run();
}

}  // namespace device
