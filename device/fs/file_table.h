// The tables of the handheld's file system in the device image:
//
//   fs_node(oid INTEGER PRIMARY KEY, parent INTEGER, name TEXT, fold TEXT,
//           directory INTEGER, attributes INTEGER, created INTEGER,
//           written INTEGER, size INTEGER, UNIQUE(parent, fold))
//     One row per file or directory. `oid` comes from DeviceImage::NewOid()
//     (the object store's identifier space); `parent` is the directory's oid,
//     0 for the root (which has no row and no object identifier). `name` is
//     UTF-8 as given by its creator, `fold` the UTF-8 of its case-folded form
//     (names are unique per directory regardless of case). `attributes` holds
//     FILE_ATTRIBUTE_READONLY/HIDDEN/SYSTEM/ARCHIVE/TEMPORARY; the directory
//     and normal bits are derived. `created`/`written` are FILETIME values
//     (100 ns since 1601-01-01 UTC, host clock).
//   fs_chunk(oid INTEGER, idx INTEGER, data BLOB, PRIMARY KEY(oid, idx))
//     File contents in pieces of kChunkSize bytes: piece `idx` covers bytes
//     [idx * kChunkSize, (idx + 1) * kChunkSize). A missing piece, or bytes
//     past a piece's stored length but below the file's size, read as zeros.
//
// No method here sets a last error; FileSystem maps outcomes to the
// handheld's codes. A failure of SQLite raises ImageError.
#ifndef VORN_DEVICE_FS_FILE_TABLE_H_
#define VORN_DEVICE_FS_FILE_TABLE_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "device/image/device_image.h"
#include "platform/types.h"

namespace device {

struct FileNode {
  std::uint32_t oid = 0;  // 0 stands for the root
  std::uint32_t parent = 0;
  std::u16string name;
  bool directory = false;
  DWORD attributes = 0;  // as stored (see above)
  std::uint64_t created = 0;
  std::uint64_t written = 0;
  std::uint64_t size = 0;

  // The attributes as the handheld reports them.
  DWORD ReportedAttributes() const;
};

class FileTable {
 public:
  static constexpr std::uint64_t kChunkSize = std::uint64_t{64} * 1024;
  // The attributes a caller may set.
  static constexpr DWORD kSettableAttributes =
      0x00000001 | 0x00000002 | 0x00000004 | 0x00000020 | 0x00000100;

  // Creates the tables when missing and, on the first use of an image, the
  // initial directories "\My Documents", "\Windows" and "\Temp".
  explicit FileTable(DeviceImage& image);
  FileTable(const FileTable&) = delete;
  FileTable& operator=(const FileTable&) = delete;

  // The current host time as a FILETIME value.
  static std::uint64_t Now();

  // The entry `name` (any case) of directory `parent`, if there is one.
  std::optional<FileNode> Find(std::uint32_t parent, std::u16string_view name);
  // The file or directory `oid`; nullopt for 0 and unknown identifiers.
  std::optional<FileNode> Get(std::uint32_t oid);
  // The entries of `parent`, ordered by folded name.
  std::vector<FileNode> Children(std::uint32_t parent);
  bool HasChildren(std::uint32_t parent);

  // The directory reached by `names` from the root: its oid (0 for the root)
  // or nullopt when a name is missing or is a file.
  std::optional<std::uint32_t> FindDirectory(
      std::span<const std::u16string> names);

  // Adds an entry; its name must be valid and free in `parent`. Returns it.
  FileNode Create(std::uint32_t parent, std::u16string_view name,
                  bool directory, DWORD attributes);
  void SetAttributes(std::uint32_t oid, DWORD attributes);
  // Gives `oid` a new directory and name (the oid stays).
  void Move(std::uint32_t oid, std::uint32_t parent, std::u16string_view name);
  // Removes the entry and its contents (a directory must be empty).
  void Remove(std::uint32_t oid);
  // Cuts a file to 0 bytes and marks it written.
  void Truncate(std::uint32_t oid);

  // Copies the bytes [offset, offset + out.size()) of a file of `size`
  // bytes to `out`, stopping at the end; returns how many were copied.
  std::size_t Read(std::uint32_t oid, std::uint64_t size, std::uint64_t offset,
                   std::span<std::uint8_t> out);
  // Writes `data` at `offset` of a file of `size` bytes (a gap before
  // `offset` reads as zeros), sets the new size, the write time and the
  // archive attribute. Only the pieces the range covers are rewritten.
  void Write(std::uint32_t oid, std::uint64_t size, std::uint64_t offset,
             std::span<const std::uint8_t> data);

  // "\dir\name" of an entry; "\" for 0.
  std::u16string FullPath(std::uint32_t oid);
  // True when `oid` is `ancestor` or lies below it.
  bool IsWithin(std::uint32_t oid, std::uint32_t ancestor);

 private:
  FileNode NodeFrom(Statement& row);
  // The first row of `query` (which is reset after it), if any.
  std::optional<FileNode> FirstNode(Statement& query);

  DeviceImage& image_;
};

}  // namespace device

#endif  // VORN_DEVICE_FS_FILE_TABLE_H_
