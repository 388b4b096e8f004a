// The device image: one SQLite file (write-ahead log) that holds the whole
// state of an emulated handheld. Each service keeps its own tables in it
// (docs/device-image.md lists them).
//
// Changes are grouped in transactions by the owner of the image: one per
// served packet while a conversation runs, one per command of vorn-device
// otherwise. A failure of SQLite itself (a full disk, an image damaged while
// open) raises ImageError; callers at the program's edge report it.
#ifndef VORN_DEVICE_IMAGE_DEVICE_IMAGE_H_
#define VORN_DEVICE_IMAGE_DEVICE_IMAGE_H_

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "device/image/status.h"

struct sqlite3;
struct sqlite3_stmt;

namespace device {

class ImageError : public std::runtime_error {
 public:
  explicit ImageError(const std::string& what) : std::runtime_error(what) {}
};

// One prepared statement. Bind indexes count from 1, columns from 0.
class Statement {
 public:
  Statement(sqlite3* db, std::string_view sql);
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&&) = delete;
  ~Statement();

  Statement& Bind(int index, std::int64_t value);
  Statement& Bind(int index, std::string_view text);
  Statement& BindBlob(int index, std::span<const std::uint8_t> bytes);
  Statement& BindNull(int index);

  // Runs to the next row: true when a row is there, false when done.
  bool Step();
  // Runs a statement that returns no rows.
  void Run();
  // Makes the statement ready to run again, keeping no bindings.
  void Reset();

  bool IsNull(int column) const;
  std::int64_t Int(int column) const;
  std::string Text(int column) const;
  // The same without a copy; valid until the statement steps, resets or
  // reads the column as another type.
  std::string_view TextView(int column) const;
  std::vector<std::uint8_t> Blob(int column) const;

 private:
  sqlite3* db_;
  sqlite3_stmt* stmt_ = nullptr;
};

class DeviceImage {
 public:
  // Creates a new, empty image at `path`. Refuses a path that exists.
  static Result<std::unique_ptr<DeviceImage>> Create(const std::string& path);
  // Opens an existing image. Refuses a file that is not a device image or is
  // damaged, without writing to it.
  static Result<std::unique_ptr<DeviceImage>> Open(const std::string& path);
  // A new image that lives in memory only (tests, fuzzing).
  static std::unique_ptr<DeviceImage> InMemory();

  DeviceImage(const DeviceImage&) = delete;
  DeviceImage& operator=(const DeviceImage&) = delete;
  ~DeviceImage();

  Statement Prepare(std::string_view sql) { return Statement(db_, sql); }
  // Prepared once per image and kept; for statements on hot paths.
  Statement& Cached(std::string_view sql);
  void Exec(std::string_view sql);

  // Transactions do not nest: Begin inside a transaction does nothing and
  // reports false.
  bool Begin();
  void Commit();
  void Rollback();
  bool InTransaction() const;

  // Holds one transaction open from here on, so that Rewind() brings the
  // whole image back to this moment in the time a rollback of the changes
  // takes (tests and fuzzing run thousands of conversations on one image
  // built once). While held, Begin, Commit and Rollback work on a savepoint
  // inside it and InTransaction reports that savepoint. Nothing changes the
  // schema in the meantime: every service creates its tables when built.
  void Hold();
  // Drops every change since Hold() and holds again.
  void Rewind();
  bool held() const { return held_; }

  // A new object identifier, unique across the whole object store (files,
  // directories, databases and records share one space). Never 0.
  std::uint32_t NewOid();

  // Small named values of the image (schema version, machine settings).
  std::string GetMeta(std::string_view key, std::string_view fallback = "");
  void SetMeta(std::string_view key, std::string_view value);

  const std::string& path() const { return path_; }
  sqlite3* handle() const { return db_; }

 private:
  DeviceImage(sqlite3* db, std::string path);
  void InitializeSchema();

  sqlite3* db_;
  std::string path_;
  bool held_ = false;
  bool inSavepoint_ = false;
  // Prepared statements by their text, looked up without copying the text.
  struct SqlHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view sql) const {
      return std::hash<std::string_view>{}(sql);
    }
  };
  std::unordered_map<std::string, std::unique_ptr<Statement>, SqlHash,
                     std::equal_to<>>
      cached_;
};

}  // namespace device

#endif  // VORN_DEVICE_IMAGE_DEVICE_IMAGE_H_
