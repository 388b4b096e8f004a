#include "desktop/sync/handheld_change_reader.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "desktop/formats/record_uid.h"
#include "desktop/sync/content_hash.h"

namespace desktop {

Status HandheldChangeReader::Fetch(std::span<const std::uint32_t> oids,
                                   const char* phase,
                                   std::vector<HandheldItem>* items,
                                   std::vector<std::uint32_t>* missing) {
  std::size_t batch = std::max<std::size_t>(options_.batch_size, 1);
  if (options_.report) options_.report(phase, 0, oids.size());
  for (std::size_t start = 0; start < oids.size(); start += batch) {
    std::span<const std::uint32_t> ask =
        oids.subspan(start, std::min(batch, oids.size() - start));
    Result<RecordBatch> got =
        client_.GetRecords(adapter_.type(), ask, adapter_.layout());
    if (!got.ok()) return got.status();
    for (const WireRecord& record : got->records) {
      Result<HandheldItem> item = adapter_.FromWire(record);
      if (!item.ok()) return item.status();
      items->push_back(std::move(*item));
      ++fetched_;
      if (options_.stop_after_records != 0 &&
          fetched_ >= options_.stop_after_records) {
        return Status::Error("stopped after " + std::to_string(fetched_) +
                             " records as asked");
      }
    }
    missing->insert(missing->end(), got->missing.begin(), got->missing.end());
    if (options_.report)
      options_.report(phase, start + ask.size(), oids.size());
  }
  return Status::Ok();
}

void HandheldChangeReader::Classify(const std::vector<HandheldItem>& items,
                                    const std::vector<std::uint32_t>& deleted,
                                    std::vector<HandheldChange>* out) const {
  std::unordered_map<std::uint32_t, const ItemState*> by_oid;
  for (const auto& [uid, item] : state_.items) by_oid[item.oid] = &item;
  for (const HandheldItem& item : items) {
    HandheldChange change;
    change.oid = item.oid;
    change.canonical = item.canonical;
    change.hash = ContentHash::Of(item.canonical);
    auto known = by_oid.find(item.oid);
    if (known == by_oid.end()) {
      change.kind = SideChange::kAdded;
      change.uid = RecordUid::For(machine_id_, adapter_.type(), item.oid);
    } else if (known->second->handheld_hash != change.hash) {
      change.kind = SideChange::kChanged;
      change.uid = known->second->uid;
    } else {
      continue;
    }
    out->push_back(std::move(change));
  }
  for (std::uint32_t oid : deleted) {
    auto known = by_oid.find(oid);
    if (known == by_oid.end()) continue;
    HandheldChange change;
    change.kind = SideChange::kDeleted;
    change.oid = oid;
    change.uid = known->second->uid;
    out->push_back(std::move(change));
  }
}

Result<std::vector<HandheldChange>> HandheldChangeReader::ReadAll(
    const char* phase) {
  Result<OidList> list = client_.GetAllRecords(adapter_.type());
  if (!list.ok()) return list.status();
  if (!list->header.complete) {
    return Status::Error("the handheld could not open its " +
                         adapter_.collection() + " database");
  }
  std::vector<HandheldItem> items;
  std::vector<std::uint32_t> missing;
  VORN_RETURN_IF_ERROR(Fetch(list->oids, phase, &items, &missing));
  std::unordered_set<std::uint32_t> present;
  for (const HandheldItem& item : items) present.insert(item.oid);
  std::vector<std::uint32_t> deleted;
  for (const auto& [uid, item] : state_.items) {
    if (!present.count(item.oid)) deleted.push_back(item.oid);
  }
  std::vector<HandheldChange> changes;
  Classify(items, deleted, &changes);
  return changes;
}

Result<std::vector<HandheldChange>> HandheldChangeReader::ReadList(
    std::span<const ChangeEntry> list, const char* phase) {
  std::unordered_set<std::uint32_t> seen;
  std::vector<std::uint32_t> fetch, deleted;
  for (const ChangeEntry& entry : list) {
    if (!seen.insert(entry.oid).second) continue;
    if (entry.kind ==
        static_cast<std::uint8_t>(protocol::ChangeKind::kDeleted)) {
      deleted.push_back(entry.oid);
    } else {
      fetch.push_back(entry.oid);
    }
  }
  std::vector<HandheldItem> items;
  VORN_RETURN_IF_ERROR(Fetch(fetch, phase, &items, &deleted));
  std::vector<HandheldChange> changes;
  Classify(items, deleted, &changes);
  return changes;
}

}  // namespace desktop
