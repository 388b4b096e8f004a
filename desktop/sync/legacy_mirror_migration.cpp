#include "desktop/sync/legacy_mirror_migration.h"

#include <set>

#include "desktop/formats/record_uid.h"
#include "desktop/sync/content_hash.h"
#include "desktop/sync/uid_file_stem.h"

namespace desktop {
namespace {

// The object id of an old card name "<decimal oid>.vcf".
std::optional<std::uint32_t> OidOfName(std::string_view name,
                                       std::string_view suffix) {
  if (!name.ends_with(suffix)) return std::nullopt;
  std::string_view digits = name.substr(0, name.size() - suffix.size());
  if (digits.empty() || digits.size() > 10) return std::nullopt;
  std::uint64_t value = 0;
  for (char c : digits) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + static_cast<std::uint64_t>(c - '0');
  }
  if (value == 0 || value > 0xFFFFFFFFu) return std::nullopt;
  return static_cast<std::uint32_t>(value);
}

}  // namespace

Result<std::size_t> LegacyMirrorMigration::Run(
    MirrorDirectory& top, MirrorDirectory& files, const SyncAdapter& adapter,
    const std::string& rev, SyncState& state,
    const std::function<Status()>& save) {
  CollectionState& collection = state.collections[adapter.collection()];
  Result<std::vector<DirectoryEntry>> cards = top.List(adapter.extension());
  if (!cards.ok()) return cards.status();
  std::size_t moved = 0;
  for (const DirectoryEntry& entry : *cards) {
    std::optional<std::uint32_t> oid =
        OidOfName(entry.name, adapter.extension());
    if (!oid) continue;
    Result<std::optional<std::string>> text = top.ReadFile(entry.name);
    if (!text.ok()) return text.status();
    if (!text->has_value()) continue;
    Result<DesktopItem> item = adapter.FromFile(**text);
    if (!item.ok()) {
      return item.status().WithContext(top.path() + "/" + entry.name);
    }
    std::string uid = RecordUid::For(state.machine_id, adapter.type(), *oid);
    Result<std::string> card = adapter.ToFile(item->canonical, "", uid, rev);
    if (!card.ok()) return card.status();
    std::string name = UidFileStem::Of(uid) + adapter.extension();
    VORN_RETURN_IF_ERROR(files.StageFile(name, *card));
    ItemState& known = collection.items[uid];
    known.uid = uid;
    known.oid = *oid;
    known.file = name;
    known.file_hash = ContentHash::Of(*card);
    known.handheld_hash = ContentHash::Of(item->canonical);
    ++moved;
  }
  VORN_RETURN_IF_ERROR(files.CommitStaged());
  VORN_RETURN_IF_ERROR(files.SyncDirectory());
  for (auto& [uid, item] : collection.items) {
    Result<std::optional<DirectoryEntry>> entry = files.Stat(item.file);
    if (!entry.ok()) return entry.status();
    if (entry->has_value()) {
      item.file_size = (*entry)->size;
      item.file_mtime = (*entry)->mtime;
      item.file_checked = (*entry)->checked;
    }
  }
  // The new state first: a cut after it leaves old cards behind, which
  // RemoveLeftovers of the next run takes away.
  state.legacy = false;
  VORN_RETURN_IF_ERROR(save());
  VORN_RETURN_IF_ERROR(RemoveLeftovers(top, adapter, collection));
  return moved;
}

Status LegacyMirrorMigration::RemoveLeftovers(
    MirrorDirectory& top, const SyncAdapter& adapter,
    const CollectionState& collection) {
  Result<std::vector<DirectoryEntry>> cards = top.List(adapter.extension());
  if (!cards.ok()) return cards.status();
  if (cards->empty()) return Status::Ok();
  std::set<std::uint32_t> migrated;
  for (const auto& [uid, item] : collection.items) migrated.insert(item.oid);
  bool any = false;
  for (const DirectoryEntry& entry : *cards) {
    std::optional<std::uint32_t> oid =
        OidOfName(entry.name, adapter.extension());
    if (!oid || !migrated.count(*oid)) continue;
    Result<bool> removed = top.RemoveFile(entry.name);
    if (!removed.ok()) return removed.status();
    any = true;
  }
  return any ? top.SyncDirectory() : Status::Ok();
}

}  // namespace desktop
