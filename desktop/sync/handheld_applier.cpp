#include "desktop/sync/handheld_applier.h"

#include <algorithm>

#include "desktop/formats/record_uid.h"
#include "desktop/sync/content_hash.h"

namespace desktop {
namespace {

constexpr std::size_t kBatch = 100;

}  // namespace

void HandheldApplier::Recover(CollectionState& state,
                              std::vector<HandheldChange>& changes) {
  for (const PendingWrite& write : state.pending) {
    auto match = std::find_if(
        changes.begin(), changes.end(), [&](const HandheldChange& change) {
          if (change.hash != write.sent_hash) return false;
          return write.oid == 0 ? change.kind == SideChange::kAdded
                                : change.oid == write.oid;
        });
    if (match == changes.end()) continue;
    std::string uid = write.uid;
    if (uid.empty() || (write.oid == 0 && state.items.count(uid) != 0)) {
      uid = match->uid;  // derived from the new object id
    }
    ItemState& item = state.items[uid];
    item.uid = uid;
    item.oid = match->oid;
    item.file = write.file;
    // A file without a UID of its own still has to get the record's: an
    // empty hash makes the directory scan take it for a changed file.
    item.file_hash = write.uid.empty() ? std::string() : write.file_hash;
    item.file_size = 0;  // unknown: the next look hashes the file
    item.file_mtime = 0;
    item.file_checked = 0;
    item.handheld_hash = write.sent_hash;
    changes.erase(match);
  }
  state.pending.clear();
}

Status HandheldApplier::Apply(const std::vector<Push>& pushes) {
  std::vector<const Push*> writes, deletes;
  for (const Push& push : pushes) {
    (push.remove ? deletes : writes).push_back(&push);
  }
  for (std::size_t start = 0; start < writes.size(); start += kBatch) {
    std::vector<const Push*> batch(
        writes.begin() + static_cast<std::ptrdiff_t>(start),
        writes.begin() + static_cast<std::ptrdiff_t>(
                             std::min(writes.size(), start + kBatch)));
    VORN_RETURN_IF_ERROR(Write(batch));
  }
  return Delete(deletes);
}

Status HandheldApplier::Write(const std::vector<const Push*>& writes) {
  if (writes.empty()) return Status::Ok();
  std::vector<BatchEntry> entries;
  state_.pending.clear();
  for (std::size_t i = 0; i < writes.size(); ++i) {
    const Push& push = *writes[i];
    state_.pending.push_back({push.uid, push.oid, push.file, push.file_hash,
                              ContentHash::Of(push.item.canonical)});
    entries.push_back({push.oid == 0,
                       push.oid == 0 ? static_cast<std::uint32_t>(i) : push.oid,
                       push.item.record});
  }
  VORN_RETURN_IF_ERROR(save_state_());

  Result<BatchResult> result = client_.BatchWrite(adapter_.type(), entries);
  if (!result.ok()) return result.status();
  std::vector<std::string> rewritten;
  for (std::size_t i = 0; i < writes.size(); ++i) {
    const Push& push = *writes[i];
    if (i >= result->statuses.size() || !result->statuses[i].ok) {
      return Status::Error("the handheld could not write " +
                           adapter_.collection() + "/" + push.file);
    }
    std::uint32_t oid = result->statuses[i].oid;
    std::string uid = push.uid;
    bool taken = push.oid == 0 && state_.items.count(uid) != 0;
    if (uid.empty() || taken) {
      uid = RecordUid::For(machine_id_, adapter_.type(), oid);
    }
    if (push.oid != 0 && push.uid != uid) state_.items.erase(push.uid);
    ItemState& item = state_.items[uid];
    ++(push.oid == 0 ? summary_.sent_added : summary_.sent_changed);
    item.uid = uid;
    item.oid = oid;
    item.file = push.file;
    item.file_hash = push.file_hash;
    item.file_size = push.entry.size;
    item.file_mtime = push.entry.mtime;
    item.file_checked = push.entry.checked;
    item.handheld_hash = ContentHash::Of(push.item.canonical);
    if (uid != push.item.uid) {
      // The file gets the record's UID; what else it holds stays.
      Result<std::string> text =
          adapter_.ToFile(push.item.canonical, push.text, uid, rev_);
      if (!text.ok()) return text.status();
      item.file_hash = ContentHash::Of(*text);
      VORN_RETURN_IF_ERROR(files_.StageFile(push.file, *text));
      rewritten.push_back(uid);
    }
  }
  VORN_RETURN_IF_ERROR(files_.CommitStaged());
  for (const std::string& uid : rewritten) {
    ItemState& item = state_.items[uid];
    Result<std::optional<DirectoryEntry>> entry = files_.Stat(item.file);
    if (!entry.ok()) return entry.status();
    if (entry->has_value()) {
      item.file_size = (*entry)->size;
      item.file_mtime = (*entry)->mtime;
      item.file_checked = (*entry)->checked;
    }
  }
  state_.pending.clear();
  VORN_RETURN_IF_ERROR(save_state_());
  if (result->failed) {
    return Status::Error("the handheld stopped part way through a batch");
  }
  return Status::Ok();
}

Status HandheldApplier::Delete(const std::vector<const Push*>& deletes) {
  if (deletes.empty()) return Status::Ok();
  std::vector<std::uint32_t> oids;
  for (const Push* push : deletes) {
    auto item = state_.items.find(push->uid);
    if (item != state_.items.end()) oids.push_back(item->second.oid);
  }
  // In the handheld's order, whatever the UIDs are.
  std::sort(oids.begin(), oids.end());
  for (std::size_t start = 0; start < oids.size(); start += 1000) {
    std::span<const std::uint32_t> ask(
        oids.data() + start, std::min<std::size_t>(1000, oids.size() - start));
    Result<std::vector<std::uint32_t>> gone =
        client_.DeleteRecords(adapter_.type(), ask);
    if (!gone.ok()) return gone.status();
    summary_.sent_deleted += gone->size();
  }
  for (const Push* push : deletes) state_.items.erase(push->uid);
  return save_state_();
}

}  // namespace desktop
