#include "desktop/sync/sync_state.h"

#include <ctime>

#include "desktop/formats/json_value.h"

namespace desktop {
namespace {

constexpr int kFormat = 1;

std::string StringMember(const JsonValue& object, std::string_view key) {
  const JsonValue* value = object.Find(key);
  if (value == nullptr || !value->is_string()) return {};
  return value->as_string();
}

}  // namespace

Result<SyncState> SyncState::Parse(std::string_view text) {
  Result<JsonValue> json = JsonValue::Parse(text);
  if (!json.ok()) return json.status();
  if (!json->is_object()) return Status::Error("not a sync state object");
  const JsonValue* format = json->Find("format");
  if (format == nullptr || !format->is_number() ||
      format->as_number() != kFormat) {
    return Status::Error("unknown sync state format");
  }
  SyncState state;
  state.partner = StringMember(*json, "partner");
  if (state.partner.empty()) return Status::Error("sync state has no partner");
  state.machine_id = StringMember(*json, "machine_id");
  const JsonValue* pending = json->Find("full_mirror_pending");
  state.full_mirror_pending =
      pending == nullptr || !pending->is_bool() || pending->as_bool();
  state.last_run = StringMember(*json, "last_run");
  state.last_run_kind = StringMember(*json, "last_run_kind");
  return state;
}

std::string SyncState::Serialize() const {
  JsonValue out = JsonValue::MakeObject();
  out.Set("format", JsonValue(kFormat));
  out.Set("partner", JsonValue(partner));
  out.Set("machine_id", JsonValue(machine_id));
  out.Set("full_mirror_pending", JsonValue(full_mirror_pending));
  out.Set("last_run", JsonValue(last_run));
  out.Set("last_run_kind", JsonValue(last_run_kind));
  return out.Serialize() + "\n";
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
