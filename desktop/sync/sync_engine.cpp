#include "desktop/sync/sync_engine.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <unordered_map>
#include <unordered_set>

#include "desktop/base/utf16.h"
#include "desktop/formats/contact.h"
#include "desktop/formats/vcard.h"

namespace desktop {

using protocol::ChangeKind;
using protocol::DataType;

namespace {

constexpr DataType kContacts = DataType::kContacts;
// Rounds of asking for the change list again before the mark moves; each
// round only happens when the handheld changed during the one before.
constexpr int kLateChangeRounds = 5;

}  // namespace

SyncEngine::SyncEngine(HandheldClient& client, MirrorDirectory& dir,
                       SyncOptions options, const SyncCountingStream* counter)
    : client_(client),
      dir_(dir),
      options_(std::move(options)),
      counter_(counter) {
  if (options_.batch_size == 0) options_.batch_size = 1;
}

std::string SyncEngine::DefaultPartnerName(std::string_view host,
                                           std::string_view absolute_dir) {
  std::string name = "vorn-";
  for (char c : host.substr(0, 32)) {
    bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                (c >= '0' && c <= '9') || c == '-' || c == '.';
    name += keep ? c : '_';
  }
  std::uint32_t hash = 2166136261u;
  for (char c : absolute_dir) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 16777619u;
  }
  char hex[16];
  std::snprintf(hex, sizeof hex, "-%08x", hash);
  return name + hex;
}

std::vector<SyncEngine::Change> SyncEngine::NewestPerOid(
    std::span<const ChangeEntry> list) {
  std::vector<Change> changes;
  std::unordered_set<std::uint32_t> seen;
  for (const ChangeEntry& entry : list) {
    if (seen.insert(entry.oid).second) {
      changes.push_back({entry.oid, entry.kind});
    }
  }
  return changes;
}

void SyncEngine::Report(const char* phase, std::uint64_t done,
                        std::uint64_t total) {
  if (options_.on_progress) options_.on_progress({phase, done, total});
}

Result<SyncSummary> SyncEngine::Run() {
  auto started = std::chrono::steady_clock::now();
  std::uint64_t bytes_before = counter_ ? counter_->bytes_read() : 0;

  Result<std::u16string> machine = client_.GetMachineId();
  if (!machine.ok()) return machine.status();
  summary_.machine_id = Utf16ToUtf8(*machine);
  Result<std::optional<SyncState>> state = SyncState::Load(dir_);
  if (!state.ok()) return state.status();
  VORN_RETURN_IF_ERROR(Prepare(*state));

  if (!summary_.full) {
    Result<ChangeList> changes = ChangedRecords();
    if (!changes.ok()) return changes.status();
    if (changes->header.failed || !changes->header.complete) {
      summary_.full = true;
      summary_.full_reason = "the handheld could not list the changes";
    } else {
      VORN_RETURN_IF_ERROR(ApplyChanges(changes->changes));
      VORN_RETURN_IF_ERROR(ApplyLateChanges(changes->changes.size()));
    }
  }
  if (summary_.full) VORN_RETURN_IF_ERROR(RunFull());
  VORN_RETURN_IF_ERROR(Finish());

  summary_.bytes_received =
      counter_ ? counter_->bytes_read() - bytes_before : 0;
  summary_.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started)
          .count();
  return summary_;
}

Status SyncEngine::Prepare(const std::optional<SyncState>& state) {
  std::string partner = options_.partner;
  if (partner.empty() && state) partner = state->partner;
  if (partner.empty()) {
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) != 0) host[0] = '\0';
    char* absolute = realpath(dir_.path().c_str(), nullptr);
    std::string dir = absolute ? absolute : dir_.path();
    std::free(absolute);
    partner = DefaultPartnerName(host, dir);
  }
  summary_.partner = partner;
  partner16_ = Utf8ToUtf16(partner);

  Result<bool> found = client_.FindContract(kContacts, partner16_);
  if (!found.ok()) return found.status();
  contract_exists_ = *found;

  if (!contract_exists_) {
    summary_.full_reason = "the handheld has no contract \"" + partner + "\"";
  } else if (!state) {
    summary_.full_reason = "the directory has no sync state";
  } else if (state->partner != partner) {
    summary_.full_reason =
        "the directory mirrored contract \"" + state->partner + "\"";
  } else if (state->machine_id != summary_.machine_id) {
    summary_.full_reason = "the directory mirrored another handheld";
  } else if (state->full_mirror_pending) {
    summary_.full_reason = "the last full mirror did not finish";
  }
  summary_.full = !summary_.full_reason.empty();
  state_.partner = partner;
  state_.machine_id = summary_.machine_id;
  state_.full_mirror_pending = state ? state->full_mirror_pending : true;
  if (state) {
    state_.last_run = state->last_run;
    state_.last_run_kind = state->last_run_kind;
  }
  return Status::Ok();
}

Result<ChangeList> SyncEngine::ChangedRecords() {
  Result<ChangeList> changes = client_.GetChangedRecords(kContacts, partner16_);
  if (changes.ok()) return changes;
  // The handheld ends the conversation when its change list overflows the
  // reply. Nothing but a full mirror can catch up then, so the next run
  // makes one (a cut that merely happened here costs that run a full
  // mirror, never a lost change).
  state_.full_mirror_pending = true;
  (void)state_.Save(dir_);
  return changes.status().WithContext(
      "listing the changes failed (more than " + std::to_string(kMaxChanges) +
      " changes since the last run end the conversation; the next run "
      "mirrors everything)");
}

Status SyncEngine::RunFull() {
  state_.full_mirror_pending = true;
  VORN_RETURN_IF_ERROR(state_.Save(dir_));
  if (!contract_exists_) {
    VORN_RETURN_IF_ERROR(client_.AddContract(kContacts, partner16_));
    contract_exists_ = true;
    summary_.contract_added = true;
  }
  // The mark moves to "now" first: the change list asked for after the
  // listing then holds exactly what changed while this run went on. If the
  // run is cut, the pending flag makes the next run full again.
  VORN_RETURN_IF_ERROR(client_.UpdateContract(kContacts, partner16_));

  Result<std::uint32_t> count = client_.GetRecordCount(kContacts);
  if (!count.ok()) return count.status();
  if (*count > kMaxListedOids) {
    return Status::Error("the handheld has " + std::to_string(*count) +
                         " contacts; one listing carries at most " +
                         std::to_string(kMaxListedOids) +
                         ", so they cannot be mirrored whole");
  }
  Report("listing", 0, *count);
  Result<OidList> list = client_.GetAllRecords(kContacts);
  if (!list.ok()) return list.status();
  if (!list->header.complete) {
    return Status::Error("the handheld could not open its contacts database");
  }
  std::vector<std::uint32_t> missing;
  VORN_RETURN_IF_ERROR(FetchAndWrite(list->oids, true, "fetching", &missing));
  for (std::uint32_t oid : missing) VORN_RETURN_IF_ERROR(Remove(oid));

  std::unordered_set<std::uint32_t> present(list->oids.begin(),
                                            list->oids.end());
  Result<std::vector<std::uint32_t>> cards = dir_.ListCards();
  if (!cards.ok()) return cards.status();
  for (std::uint32_t oid : *cards) {
    if (!present.count(oid)) VORN_RETURN_IF_ERROR(Remove(oid));
  }
  VORN_RETURN_IF_ERROR(dir_.RemoveStrayTemporaries());

  Result<ChangeList> changes = ChangedRecords();
  if (!changes.ok()) return changes.status();
  if (changes->header.failed) {
    return Status::Error(
        "the handheld could not list the changes of contract " +
        summary_.partner);
  }
  VORN_RETURN_IF_ERROR(ApplyChanges(changes->changes));
  return ApplyLateChanges(changes->changes.size());
}

Status SyncEngine::ApplyChanges(std::span<const ChangeEntry> list) {
  std::vector<Change> changes = NewestPerOid(list);
  std::vector<std::uint32_t> fetch;
  std::unordered_map<std::uint32_t, std::uint8_t> kinds;
  for (const Change& change : changes) {
    if (change.kind == static_cast<std::uint8_t>(ChangeKind::kDeleted)) {
      VORN_RETURN_IF_ERROR(Remove(change.oid));
    } else {
      fetch.push_back(change.oid);
      kinds[change.oid] = change.kind;
    }
  }
  std::vector<std::uint32_t> missing;
  VORN_RETURN_IF_ERROR(FetchAndWrite(fetch, false, "changes", &missing));
  for (std::uint32_t oid : missing) {
    kinds.erase(oid);
    VORN_RETURN_IF_ERROR(Remove(oid));
  }
  for (const auto& [oid, kind] : kinds) {
    if (kind == static_cast<std::uint8_t>(ChangeKind::kAdded)) {
      ++summary_.added;
    } else {
      ++summary_.changed;
    }
  }
  return Status::Ok();
}

Status SyncEngine::ApplyLateChanges(std::size_t applied) {
  for (int round = 0; round < kLateChangeRounds; ++round) {
    Result<ChangeList> again = ChangedRecords();
    if (!again.ok()) return again.status();
    if (again->header.failed || again->changes.size() <= applied) break;
    // New entries are newer than every entry applied, so they come first.
    std::size_t fresh = again->changes.size() - applied;
    VORN_RETURN_IF_ERROR(ApplyChanges(
        std::span<const ChangeEntry>(again->changes).first(fresh)));
    applied = again->changes.size();
  }
  return Status::Ok();
}

Status SyncEngine::FetchAndWrite(std::span<const std::uint32_t> oids,
                                 bool compare, const char* phase,
                                 std::vector<std::uint32_t>* missing) {
  Report(phase, 0, oids.size());
  for (std::size_t start = 0; start < oids.size();
       start += options_.batch_size) {
    std::span<const std::uint32_t> ask =
        oids.subspan(start, std::min(options_.batch_size, oids.size() - start));
    Result<RecordBatch> batch =
        client_.GetRecords(kContacts, ask, Contact::PropertyKindOf);
    if (!batch.ok()) return batch.status();
    for (const WireRecord& record : batch->records) {
      Result<Contact> contact = Contact::FromWireRecord(record);
      if (!contact.ok()) {
        return contact.status().WithContext("contact " +
                                            std::to_string(record.oid));
      }
      std::string card = VCard::Write(*contact);
      ++summary_.records_fetched;
      if (compare) {
        Result<std::optional<std::string>> existing = dir_.ReadCard(record.oid);
        if (!existing.ok()) return existing.status();
        if (existing->has_value() && **existing == card) {
          ++summary_.unchanged;
          continue;
        }
        ++(existing->has_value() ? summary_.changed : summary_.added);
      }
      VORN_RETURN_IF_ERROR(dir_.StageCard(record.oid, card));
      if (options_.stop_after_records != 0 &&
          summary_.records_fetched >= options_.stop_after_records) {
        return Status::Error("stopped after " +
                             std::to_string(summary_.records_fetched) +
                             " records as asked");
      }
    }
    missing->insert(missing->end(), batch->missing.begin(),
                    batch->missing.end());
    VORN_RETURN_IF_ERROR(dir_.CommitStaged());
    Report(phase, start + ask.size(), oids.size());
  }
  return Status::Ok();
}

Status SyncEngine::Remove(std::uint32_t oid) {
  Result<bool> removed = dir_.RemoveCard(oid);
  if (!removed.ok()) return removed.status();
  if (*removed) ++summary_.deleted;
  return Status::Ok();
}

Status SyncEngine::Finish() {
  Report("finishing", 0, 0);
  VORN_RETURN_IF_ERROR(dir_.SyncDirectory());
  VORN_RETURN_IF_ERROR(client_.UpdateContract(kContacts, partner16_));
  state_.full_mirror_pending = false;
  state_.last_run = SyncState::NowUtc();
  state_.last_run_kind = summary_.full ? "full" : "incremental";
  return state_.Save(dir_);
}

}  // namespace desktop
