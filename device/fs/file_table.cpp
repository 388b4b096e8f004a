#include "device/fs/file_table.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "device/fs/file_name.h"
#include "platform/objstore_types.h"

namespace device {
namespace {

// FILETIME of 1970-01-01 00:00:00 UTC.
constexpr std::uint64_t kUnixEpoch = 116444736000000000ULL;

std::string Utf8(std::u16string_view name) {
  // Names reach this table only after FilePath has checked them.
  return FileNameToUtf8(name).value_or(std::string());
}

std::string FoldKey(std::u16string_view name) {
  return Utf8(FoldFileName(name));
}

constexpr std::string_view kNodeColumns =
    "oid, parent, name, directory, attributes, created, written, size";

}  // namespace

DWORD FileNode::ReportedAttributes() const {
  DWORD reported = attributes;
  if (directory) reported |= FILE_ATTRIBUTE_DIRECTORY;
  return reported == 0 ? FILE_ATTRIBUTE_NORMAL : reported;
}

FileTable::FileTable(DeviceImage& image) : image_(image) {
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS fs_node("
      "oid INTEGER PRIMARY KEY, parent INTEGER NOT NULL, name TEXT NOT NULL, "
      "fold TEXT NOT NULL, directory INTEGER NOT NULL, "
      "attributes INTEGER NOT NULL, created INTEGER NOT NULL, "
      "written INTEGER NOT NULL, size INTEGER NOT NULL, "
      "UNIQUE(parent, fold))");
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS fs_chunk("
      "oid INTEGER NOT NULL, idx INTEGER NOT NULL, data BLOB NOT NULL, "
      "PRIMARY KEY(oid, idx))");
  if (image_.GetMeta("fs_initialized") != "1") {
    for (std::u16string_view name : {u"My Documents", u"Windows", u"Temp"}) {
      if (!Find(0, name)) Create(0, name, true, 0);
    }
    image_.SetMeta("fs_initialized", "1");
  }
}

std::uint64_t FileTable::Now() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  const auto ticks =
      std::chrono::duration_cast<std::chrono::nanoseconds>(since).count() / 100;
  return kUnixEpoch + static_cast<std::uint64_t>(ticks);
}

FileNode FileTable::NodeFrom(Statement& row) {
  FileNode node;
  node.oid = static_cast<std::uint32_t>(row.Int(0));
  node.parent = static_cast<std::uint32_t>(row.Int(1));
  node.name = FileNameFromUtf8(row.Text(2));
  node.directory = row.Int(3) != 0;
  node.attributes = static_cast<DWORD>(row.Int(4));
  node.created = static_cast<std::uint64_t>(row.Int(5));
  node.written = static_cast<std::uint64_t>(row.Int(6));
  node.size = static_cast<std::uint64_t>(row.Int(7));
  return node;
}

std::optional<FileNode> FileTable::FirstNode(Statement& query) {
  std::optional<FileNode> node;
  if (query.Step()) node = NodeFrom(query);
  query.Reset();
  return node;
}

std::optional<FileNode> FileTable::Find(std::uint32_t parent,
                                        std::u16string_view name) {
  Statement& query =
      image_.Cached(std::string("SELECT ") + std::string(kNodeColumns) +
                    " FROM fs_node WHERE parent = ? AND fold = ?");
  query.Bind(1, std::int64_t{parent}).Bind(2, FoldKey(name));
  return FirstNode(query);
}

std::optional<FileNode> FileTable::Get(std::uint32_t oid) {
  if (oid == 0) return std::nullopt;
  Statement& query =
      image_.Cached(std::string("SELECT ") + std::string(kNodeColumns) +
                    " FROM fs_node WHERE oid = ?");
  query.Bind(1, std::int64_t{oid});
  return FirstNode(query);
}

std::vector<FileNode> FileTable::Children(std::uint32_t parent) {
  Statement& query =
      image_.Cached(std::string("SELECT ") + std::string(kNodeColumns) +
                    " FROM fs_node WHERE parent = ? ORDER BY fold, oid");
  query.Bind(1, std::int64_t{parent});
  std::vector<FileNode> children;
  while (query.Step()) children.push_back(NodeFrom(query));
  query.Reset();
  return children;
}

bool FileTable::HasChildren(std::uint32_t parent) {
  Statement& query =
      image_.Cached("SELECT 1 FROM fs_node WHERE parent = ? LIMIT 1");
  query.Bind(1, std::int64_t{parent});
  bool any = query.Step();
  query.Reset();
  return any;
}

std::optional<std::uint32_t> FileTable::FindDirectory(
    std::span<const std::u16string> names) {
  std::uint32_t current = 0;
  for (const auto& name : names) {
    auto node = Find(current, name);
    if (!node || !node->directory) return std::nullopt;
    current = node->oid;
  }
  return current;
}

FileNode FileTable::Create(std::uint32_t parent, std::u16string_view name,
                           bool directory, DWORD attributes) {
  FileNode node;
  node.oid = image_.NewOid();
  node.parent = parent;
  node.name = std::u16string(name);
  node.directory = directory;
  node.attributes = attributes & kSettableAttributes;
  node.created = node.written = Now();
  Statement& insert = image_.Cached(
      "INSERT INTO fs_node(oid, parent, name, fold, directory, attributes, "
      "created, written, size) VALUES(?, ?, ?, ?, ?, ?, ?, ?, 0)");
  insert.Bind(1, std::int64_t{node.oid})
      .Bind(2, std::int64_t{parent})
      .Bind(3, Utf8(name))
      .Bind(4, FoldKey(name))
      .Bind(5, std::int64_t{directory ? 1 : 0})
      .Bind(6, std::int64_t{node.attributes})
      .Bind(7, static_cast<std::int64_t>(node.created))
      .Bind(8, static_cast<std::int64_t>(node.written));
  insert.Run();
  return node;
}

void FileTable::SetAttributes(std::uint32_t oid, DWORD attributes) {
  Statement& update =
      image_.Cached("UPDATE fs_node SET attributes = ? WHERE oid = ?");
  update.Bind(1, std::int64_t{attributes & kSettableAttributes})
      .Bind(2, std::int64_t{oid});
  update.Run();
}

void FileTable::Move(std::uint32_t oid, std::uint32_t parent,
                     std::u16string_view name) {
  Statement& update = image_.Cached(
      "UPDATE fs_node SET parent = ?, name = ?, fold = ? WHERE oid = ?");
  update.Bind(1, std::int64_t{parent})
      .Bind(2, Utf8(name))
      .Bind(3, FoldKey(name))
      .Bind(4, std::int64_t{oid});
  update.Run();
}

void FileTable::Remove(std::uint32_t oid) {
  Statement& chunks = image_.Cached("DELETE FROM fs_chunk WHERE oid = ?");
  chunks.Bind(1, std::int64_t{oid});
  chunks.Run();
  Statement& node = image_.Cached("DELETE FROM fs_node WHERE oid = ?");
  node.Bind(1, std::int64_t{oid});
  node.Run();
}

void FileTable::Truncate(std::uint32_t oid) {
  Statement& chunks = image_.Cached("DELETE FROM fs_chunk WHERE oid = ?");
  chunks.Bind(1, std::int64_t{oid});
  chunks.Run();
  Statement& update = image_.Cached(
      "UPDATE fs_node SET size = 0, written = ?, "
      "attributes = attributes | ? WHERE oid = ?");
  update.Bind(1, static_cast<std::int64_t>(Now()))
      .Bind(2, std::int64_t{FILE_ATTRIBUTE_ARCHIVE})
      .Bind(3, std::int64_t{oid});
  update.Run();
}

std::size_t FileTable::Read(std::uint32_t oid, std::uint64_t size,
                            std::uint64_t offset, std::span<std::uint8_t> out) {
  if (offset >= size || out.empty()) return 0;
  const std::uint64_t count =
      std::min<std::uint64_t>(out.size(), size - offset);
  std::fill_n(out.begin(), count, std::uint8_t{0});
  Statement& query = image_.Cached(
      "SELECT idx, data FROM fs_chunk WHERE oid = ? AND idx BETWEEN ? AND ?");
  query.Bind(1, std::int64_t{oid})
      .Bind(2, static_cast<std::int64_t>(offset / kChunkSize))
      .Bind(3, static_cast<std::int64_t>((offset + count - 1) / kChunkSize));
  while (query.Step()) {
    const std::uint64_t base =
        static_cast<std::uint64_t>(query.Int(0)) * kChunkSize;
    const std::vector<std::uint8_t> data = query.Blob(1);
    const std::uint64_t from = std::max(base, offset);
    const std::uint64_t to = std::min(base + data.size(), offset + count);
    if (from < to) {
      std::memcpy(out.data() + (from - offset), data.data() + (from - base),
                  to - from);
    }
  }
  query.Reset();
  return static_cast<std::size_t>(count);
}

void FileTable::Write(std::uint32_t oid, std::uint64_t size,
                      std::uint64_t offset,
                      std::span<const std::uint8_t> data) {
  std::uint64_t done = 0;
  while (done < data.size()) {
    const std::uint64_t position = offset + done;
    const std::uint64_t index = position / kChunkSize;
    const std::uint64_t within = position % kChunkSize;
    const std::uint64_t piece =
        std::min<std::uint64_t>(kChunkSize - within, data.size() - done);
    std::vector<std::uint8_t> chunk;
    if (within != 0 || piece != kChunkSize) {
      Statement& load =
          image_.Cached("SELECT data FROM fs_chunk WHERE oid = ? AND idx = ?");
      load.Bind(1, std::int64_t{oid}).Bind(2, static_cast<std::int64_t>(index));
      if (load.Step()) chunk = load.Blob(0);
      load.Reset();
    }
    if (chunk.size() < within + piece) chunk.resize(within + piece, 0);
    std::memcpy(chunk.data() + within, data.data() + done, piece);
    Statement& store = image_.Cached(
        "INSERT OR REPLACE INTO fs_chunk(oid, idx, data) VALUES(?, ?, ?)");
    store.Bind(1, std::int64_t{oid})
        .Bind(2, static_cast<std::int64_t>(index))
        .BindBlob(3, chunk);
    store.Run();
    done += piece;
  }
  const std::uint64_t end = std::max(size, offset + data.size());
  Statement& update = image_.Cached(
      "UPDATE fs_node SET size = ?, written = ?, attributes = attributes | ? "
      "WHERE oid = ?");
  update.Bind(1, static_cast<std::int64_t>(end))
      .Bind(2, static_cast<std::int64_t>(Now()))
      .Bind(3, std::int64_t{FILE_ATTRIBUTE_ARCHIVE})
      .Bind(4, std::int64_t{oid});
  update.Run();
}

std::u16string FileTable::FullPath(std::uint32_t oid) {
  std::vector<std::u16string> names;
  // The depth is bounded by MAX_PATH; the bound also guards a damaged image
  // whose parents form a cycle.
  for (int depth = 0; oid != 0 && depth < MAX_PATH; ++depth) {
    auto node = Get(oid);
    if (!node) break;
    names.push_back(node->name);
    oid = node->parent;
  }
  if (names.empty()) return u"\\";
  std::u16string path;
  for (auto it = names.rbegin(); it != names.rend(); ++it) {
    path += u'\\';
    path += *it;
  }
  return path;
}

bool FileTable::IsWithin(std::uint32_t oid, std::uint32_t ancestor) {
  for (int depth = 0; depth < MAX_PATH; ++depth) {
    if (oid == ancestor) return true;
    if (oid == 0) return false;
    auto node = Get(oid);
    if (!node) return false;
    oid = node->parent;
  }
  return false;
}

}  // namespace device
