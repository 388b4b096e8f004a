#include "desktop/sync/sync_state.h"

#include <ctime>

#include "desktop/formats/json_text.h"
#include "desktop/sync/sync_state_store.h"

namespace desktop {
namespace {

constexpr int kLegacyFormat = 1;
constexpr int kFormat = 2;

// The string member `key`; empty when absent or of another kind.
std::string StringMember(const Json& object, const char* key) {
  auto value = object.find(key);
  if (value == object.end() || !value->is_string()) return {};
  return value->get<std::string>();
}

template <typename T>
T NumberMember(const Json& object, const char* key) {
  auto value = object.find(key);
  if (value == object.end() || !value->is_number()) return T{};
  return value->get<T>();
}

Result<CollectionState> ParseCollection(const Json& json) {
  CollectionState out;
  if (!json.is_object()) return Status::Error("a collection is no object");
  auto items = json.find("items");
  if (items != json.end()) {
    if (!items->is_array()) return Status::Error("items is no list");
    for (const Json& item : *items) {
      if (!item.is_object()) return Status::Error("an item is no object");
      ItemState state;
      state.uid = StringMember(item, "uid");
      state.oid = NumberMember<std::uint32_t>(item, "oid");
      state.file = StringMember(item, "file");
      state.file_hash = StringMember(item, "file_hash");
      state.file_size = NumberMember<std::uint64_t>(item, "file_size");
      state.file_mtime = NumberMember<std::int64_t>(item, "file_mtime");
      state.handheld_hash = StringMember(item, "handheld_hash");
      if (state.uid.empty()) return Status::Error("an item has no uid");
      out.items[state.uid] = std::move(state);
    }
  }
  auto pending = json.find("pending");
  if (pending != json.end() && pending->is_array()) {
    for (const Json& item : *pending) {
      if (!item.is_object()) return Status::Error("a pending write is odd");
      out.pending.push_back(
          {StringMember(item, "uid"), NumberMember<std::uint32_t>(item, "oid"),
           StringMember(item, "file"), StringMember(item, "file_hash"),
           StringMember(item, "sent_hash")});
    }
  }
  return out;
}

Json SerializeCollection(const CollectionState& collection) {
  Json items = Json::array();
  for (const auto& [uid, item] : collection.items) {
    items.push_back({{"uid", item.uid},
                     {"oid", item.oid},
                     {"file", item.file},
                     {"file_hash", item.file_hash},
                     {"file_size", item.file_size},
                     {"file_mtime", item.file_mtime},
                     {"handheld_hash", item.handheld_hash}});
  }
  Json pending = Json::array();
  for (const PendingWrite& write : collection.pending) {
    pending.push_back({{"uid", write.uid},
                       {"oid", write.oid},
                       {"file", write.file},
                       {"file_hash", write.file_hash},
                       {"sent_hash", write.sent_hash}});
  }
  return {{"items", items}, {"pending", pending}};
}

}  // namespace

Result<SyncState> SyncState::Parse(std::string_view text) {
  Result<Json> json = JsonText::Parse(text);
  if (!json.ok()) return json.status();
  if (!json->is_object()) return Status::Error("not a sync state object");
  auto format = json->find("format");
  if (format == json->end() || !format->is_number() ||
      (format->get<double>() != kFormat &&
       format->get<double>() != kLegacyFormat)) {
    return Status::Error("unknown sync state format");
  }
  SyncState state;
  state.legacy = format->get<double>() == kLegacyFormat;
  state.partner = StringMember(*json, "partner");
  if (state.partner.empty()) return Status::Error("sync state has no partner");
  state.machine_id = StringMember(*json, "machine_id");
  // A missing or odd flag counts as set: comparing everything again is
  // always safe.
  auto pending = json->find("full_mirror_pending");
  state.full_mirror_pending =
      pending == json->end() || !pending->is_boolean() || pending->get<bool>();
  state.last_run = StringMember(*json, "last_run");
  state.last_run_kind = StringMember(*json, "last_run_kind");
  state.last_run_epoch = NumberMember<std::int64_t>(*json, "last_run_epoch");
  state.time_zone = StringMember(*json, "time_zone");
  auto collections = json->find("collections");
  if (collections != json->end() && collections->is_object()) {
    for (const auto& [name, value] : collections->items()) {
      Result<CollectionState> collection = ParseCollection(value);
      if (!collection.ok()) {
        return collection.status().WithContext("collection " + name);
      }
      state.collections[name] = std::move(*collection);
    }
  }
  return state;
}

std::string SyncState::Serialize() const {
  Json out = Json::object();
  out["format"] = kFormat;
  out["partner"] = partner;
  out["machine_id"] = machine_id;
  bool pending = full_mirror_pending;
  for (const auto& [name, collection] : this->collections) {
    pending = pending || collection.full_mirror_pending;
  }
  out["full_mirror_pending"] = pending;
  out["last_run"] = last_run;
  out["last_run_kind"] = last_run_kind;
  out["last_run_epoch"] = last_run_epoch;
  if (!time_zone.empty()) out["time_zone"] = time_zone;
  Json collections = Json::object();
  for (const auto& [name, collection] : this->collections) {
    collections[name] = SerializeCollection(collection);
  }
  out["collections"] = collections;
  return JsonText::Write(out, 0) + "\n";
}

Result<std::optional<SyncState>> SyncState::Load(const MirrorDirectory& dir) {
  SyncStateStore store(dir);
  return store.Load();
}

Status SyncState::Save(const MirrorDirectory& dir) const {
  SyncStateStore store(dir);
  return store.Save(*this);
}

std::string SyncState::NowUtc() {
  std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

}  // namespace desktop
