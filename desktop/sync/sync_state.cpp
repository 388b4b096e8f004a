#include "desktop/sync/sync_state.h"

#include <ctime>

#include "desktop/formats/json_text.h"

namespace desktop {
namespace {

constexpr int kFormat = 1;

// The string member `key`; empty when absent or of another kind.
std::string StringMember(const Json& object, const char* key) {
  auto value = object.find(key);
  if (value == object.end() || !value->is_string()) return {};
  return value->get<std::string>();
}

}  // namespace

Result<SyncState> SyncState::Parse(std::string_view text) {
  Result<Json> json = JsonText::Parse(text);
  if (!json.ok()) return json.status();
  if (!json->is_object()) return Status::Error("not a sync state object");
  auto format = json->find("format");
  if (format == json->end() || !format->is_number() ||
      format->get<double>() != kFormat) {
    return Status::Error("unknown sync state format");
  }
  SyncState state;
  state.partner = StringMember(*json, "partner");
  if (state.partner.empty()) return Status::Error("sync state has no partner");
  state.machine_id = StringMember(*json, "machine_id");
  // A missing or odd flag counts as set: mirroring everything again is
  // always safe.
  auto pending = json->find("full_mirror_pending");
  state.full_mirror_pending =
      pending == json->end() || !pending->is_boolean() || pending->get<bool>();
  state.last_run = StringMember(*json, "last_run");
  state.last_run_kind = StringMember(*json, "last_run_kind");
  return state;
}

std::string SyncState::Serialize() const {
  Json out = Json::object();
  out["format"] = kFormat;
  out["partner"] = partner;
  out["machine_id"] = machine_id;
  out["full_mirror_pending"] = full_mirror_pending;
  out["last_run"] = last_run;
  out["last_run_kind"] = last_run_kind;
  return JsonText::Write(out) + "\n";
}

Result<std::optional<SyncState>> SyncState::Load(const MirrorDirectory& dir) {
  Result<std::optional<std::string>> text = dir.ReadFile(kFileName);
  if (!text.ok()) return text.status();
  if (!text->has_value()) return std::optional<SyncState>();
  Result<SyncState> state = Parse(**text);
  if (!state.ok()) {
    return state.status().WithContext(dir.path() + "/" + kFileName);
  }
  return std::optional<SyncState>(std::move(*state));
}

Status SyncState::Save(MirrorDirectory& dir) const {
  return dir.WriteFileDurably(kFileName, Serialize());
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
